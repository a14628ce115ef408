#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QList>
#include <QString>

#include <optional>

class QSettings;

/// What the settings file needs around Qt's own reading and writing of it. Qt reads what it can of
/// a file that somebody edited by hand, and drops the rest with its next write.
namespace settingsFile {

/// The lines of a file's bytes.
QList<QByteArray> lines(const QByteArray &bytes);

/// Which file a path leads to and when its bytes last changed; all zero where there is none.
struct FileState
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modified = 0; ///< in nanoseconds

    bool operator==(const FileState &other) const;
};

/// Looks at a file, whose name is in the system's encoding. Nothing if the system doesn't let us,
/// so that there may or may not be one.
std::optional<FileState> stateOf(const QByteArray &name);

/// The numbers, counted from 1, of the lines that Qt ignores, reads only in part or would write
/// differently. Found by having Qt rewrite a temporary file; nothing if none can be created.
std::optional<QList<int>> linesThatChange(const QByteArray &bytes);

/// Whether the bytes begin with a byte-order mark. Qt reads the rest as UTF-8 then, and as Latin-1
/// otherwise.
bool hasByteOrderMark(const QByteArray &bytes);

/// Reads the whole file of `settings` in its own encoding, and makes Qt write it back in the
/// encoding that every reader assumes.
void readAll(QSettings &settings);

/// The bytes of a file, none when it can't be read.
QByteArray read(const QString &path);

/// Whether Qt would write every line of these bytes back as it stands.
bool isSafe(const QByteArray &bytes);

/// Why `newBytes` more than the settings file `path` holds can't be written beside it, in the
/// system's words. Empty when there is room, and where no file can be made at all. Asked before a
/// write, since Qt forgets the last error of one, and then a cut file takes the place of a whole.
QString whyNoRoom(const QString &path, qint64 newBytes);

/// Writes a file whole, and in place of the one that was there, or not at all. Returns why it could
/// not be done, in the system's words; empty when the bytes are on the disk.
QString write(const QString &path, const QByteArray &bytes, QFileDevice::Permissions permissions);

/// What came of keep().
struct Kept
{
    /// The copy that was made, or could not be made; empty when there was no need for one.
    QString copy;
    /// Why it could not be made, in the system's words; empty when all is well.
    QString error;
};

/// Keeps these bytes, which the settings file `path` holds or held a moment ago, beside it as
/// NAME.kept-1.ini or the next free number, unless an identical copy is there already.
Kept keep(const QString &path, const QByteArray &bytes);

}
