#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

class QSettings;

/// What the settings file needs around Qt's own reading and writing of it. Qt reads what it can of
/// a file that somebody edited by hand, and drops the rest with its next write.
namespace settingsFile {

/// What Qt makes of one line of the file.
enum class Line {
    Written, ///< Qt would write it just so: an empty line, a [section] or a key=value
    Read, ///< Qt reads all of it and spells it in another way
    Unread ///< Qt does not read it, or only in part: a comment, a note, a key that comes again
};

/// The lines of a file's bytes, without a byte-order mark at the front.
QList<QByteArray> split(const QByteArray &bytes);

/// What Qt makes of each of them.
QList<Line> lines(const QByteArray &bytes);

/// Whether the bytes begin with a byte-order mark. Qt reads the rest as UTF-8 then, and as Latin-1
/// otherwise.
bool hasByteOrderMark(const QByteArray &bytes);

/// Reads the whole file of `settings` in the encoding in which it stands, and has it written in the
/// one that every reader takes it for.
void readAll(QSettings &settings);

/// What came of keep().
struct Kept
{
    /// The copy that was made, or could not be made; empty when there was no need for one.
    QString copy;
    /// Why it could not be made, in the system's words; empty when all is well.
    QString error;
};

/// The bytes of a file, none when it can't be read.
QByteArray read(const QString &path);

/// Keeps the bytes of the settings file `path` beside it, as NAME.kept-1.ini or the next free
/// number, unless Qt's next write would lose nothing of them or an equal copy is there already.
Kept keep(const QString &path);
/// The same for bytes that the file held a moment ago.
Kept keep(const QString &path, const QByteArray &bytes);

}
