#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QList>
#include <QString>

#include <optional>

class QSettings;

/// Helpers for the settings file, which Qt itself reads and writes. If somebody has edited the file
/// by hand, Qt reads what it can, and its next write drops the rest.
namespace settingsFile {

/// A file's bytes, split into lines.
QList<QByteArray> lines(const QByteArray &bytes);

/// Which file a path leads to, and when its bytes last changed. All zero if there is no file.
struct FileState
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modified = 0; ///< in nanoseconds

    bool operator==(const FileState &other) const;
};

/// The state of the file at the path `name`, which is in the system's encoding. Nothing if the
/// system doesn't let us look; then we can't tell whether the file exists.
std::optional<FileState> stateOf(const QByteArray &name);

/// The numbers, counted from 1, of the lines that Qt ignores, reads only in part or would write
/// differently. Found by having Qt rewrite a temporary file; nothing if none can be created.
std::optional<QList<int>> linesThatChange(const QByteArray &bytes);

/// Whether the bytes begin with a byte-order mark. If they do, Qt reads the rest as UTF-8,
/// otherwise as Latin-1.
bool hasByteOrderMark(const QByteArray &bytes);

/// Reads the whole file behind `settings` in the file's own encoding. When Qt later writes the
/// file, it writes plain ASCII, which reads the same in any encoding.
void readAll(QSettings &settings);

/// The bytes of a file, none if it can't be read.
QByteArray read(const QString &path);

/// Whether Qt would write every line of these bytes back unchanged.
bool isSafe(const QByteArray &bytes);

/// Why a file `newBytes` longer than the settings file `path` doesn't fit beside it on the disk, in
/// the system's words. Empty if it fits, or if no file can be created there at all. Ask before Qt
/// writes: it may overlook that the disk is full, and replace the file with a truncated one.
QString whyNoRoom(const QString &path, qint64 newBytes);

/// Writes a complete file in place of any that is there, or changes nothing. Returns why it
/// couldn't, in the system's words; empty once the bytes are on the disk.
QString write(const QString &path, const QByteArray &bytes, QFileDevice::Permissions permissions);

/// The result of keep().
struct Kept
{
    /// The path of the copy, even if it couldn't be made; empty if none was needed.
    QString copy;
    /// Why it couldn't be made, in the system's words; empty if it was.
    QString error;
};

/// Keeps a copy of these bytes beside the settings file `path`, which holds them or held them a
/// moment ago. The copy is named NAME.kept-1.ini, or gets the next free number. Does nothing if an
/// identical copy is there already.
Kept keep(const QString &path, const QByteArray &bytes);

}
