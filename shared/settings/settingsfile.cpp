#include "shared/settings/settingsfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr QLatin1Char backslash('\\');
const char *const byteOrderMark = "\xef\xbb\xbf";

QRegularExpression wholeLine(const QString &pattern)
{
    return QRegularExpression(QStringLiteral("\\A(?:%1)\\z").arg(pattern));
}

/// What a line can look like; the first group is the section or the key. No repetition gives
/// anything back, so that the longest text is matched in little room.
struct Patterns
{
    // As Qt writes it: all but plain characters escaped, a text in quotes where it needs them. A
    // text with an at sign at the front stands for a value of another type, unless it is doubled;
    // what does not belong to that type is dropped.
    const QString number = QStringLiteral("-?(?:0|[1-9][0-9]{0,8})");
    const QString start =
        QStringLiteral(R"((?!@(?!@|String\(|(?:Size|Point)\(%1 %1\)|Rect\(%1 %1 %1 %1\)|)"
                       R"(ByteArray\((?:[^\\]|\\[^x]|\\x[0-9a-f]{1,2}(?![0-9a-f]))*+$)))")
            .arg(number);
    const QString escape =
        QStringLiteral(R"(\\(?:[abfnrtv"\\]|0(?![0-7])|x[0-9a-f]{1,4}(?![0-9A-Fa-f])))");
    const QString character = QStringLiteral(R"((?:[!#-+\--:<>-\[\]-~]++|%1))").arg(escape);
    const QString item = QStringLiteral("(?:%2%1++(?:[ ]++%1++)*+)?+").arg(character).arg(start);
    const QString quoted = QStringLiteral("\"%2(?:[ ,;=]++|%1)*+\"").arg(character).arg(start);
    const QString items = QStringLiteral("(?:%2|%1)(?:, (?:%2|%1))*+").arg(item).arg(quoted);
    // Letters, digits and what a name may hold besides are never escaped.
    const QString name = QStringLiteral(R"((?:[\w.-]++|%(?!2[DEF]|3\d|4[1-9A-F]|5[0-9AF]|)"
                                        R"(6[1-9A-F]|7[0-9A])[0-9A-F]{2}|%U(?!00)[0-9A-F]{4})++)");
    const QRegularExpression writtenSection =
        wholeLine(QStringLiteral(R"(\[(%General|%1)\])").arg(name));
    const QRegularExpression writtenValue = wholeLine(
        QStringLiteral(R"(((?:%1(?:\\%1)*+)?+)=(?:@Invalid\(\)|%2))").arg(name).arg(items));

    // Any spelling of which Qt reads all.
    const QString readable = QStringLiteral(
        R"((?:[^;"\\]++|\\(?:[abfnrtv"\\?']|[0-7]{1,5}|x[0-9A-Fa-f]{1,4}(?![0-9A-Fa-f]))))");
    const QRegularExpression blank = wholeLine(QStringLiteral("[ \t]*"));
    const QRegularExpression section = wholeLine(QStringLiteral(R"(\s*\[([^\]]*)\]\s*)"));
    const QRegularExpression value =
        wholeLine(QStringLiteral(R"re(((?!\s*\[)(?:[^=;"\\]|\\[^=;"])*)=(?:%1|"(?:;|%1)*+")*+)re")
                      .arg(readable));
};

/// Whether the text goes on behind the end of the line: an open quote, or a backslash at the end.
bool goesOn(const QString &line, bool &inQuotes)
{
    for (int i = 0; i < line.size(); ++i) {
        if (line.at(i) == QLatin1Char('"'))
            inQuotes = !inQuotes;
        else if (line.at(i) == QLatin1Char(';') && !inQuotes)
            return false;
        else if (line.at(i) == QLatin1Char('\\') && ++i == line.size())
            return true;
    }
    return inQuotes;
}

bool isGeneral(const QString &section)
{
    return section.isEmpty() || section.compare(QLatin1String("general"), Qt::CaseInsensitive) == 0;
}

/// A key as Qt knows it, whichever way it is written.
QByteArray fullKey(const QString &section, const QString &key)
{
    const QString full = isGeneral(section) ? key : section + backslash + key;
    return QByteArray::fromPercentEncoding(full.toLatin1().replace('\\', '/'));
}

/// Whether Qt's next write would lose something of these bytes. In doubt it would.
bool wouldLose(const QByteArray &bytes)
{
    const QList<settingsFile::Line> all = settingsFile::lines(bytes);
    return settingsFile::hasByteOrderMark(bytes)
        || all.count(settingsFile::Line::Written) != all.size();
}

}

bool settingsFile::hasByteOrderMark(const QByteArray &bytes)
{
    return bytes.startsWith(byteOrderMark);
}

QList<QByteArray> settingsFile::split(const QByteArray &bytes)
{
    QByteArray text = hasByteOrderMark(bytes) ? bytes.mid(int(qstrlen(byteOrderMark))) : bytes;
    return text.replace("\r\n", "\n").replace('\r', '\n').split('\n');
}

QList<settingsFile::Line> settingsFile::lines(const QByteArray &bytes)
{
    const Patterns patterns;
    const bool isMarked = hasByteOrderMark(bytes);
    QList<Line> result;
    QString section;
    QHash<QByteArray, int> lineOfKey;
    bool inQuotes = false;
    bool isContinued = false;
    const QList<QByteArray> all = split(bytes);
    for (const QByteArray &one : all) {
        const QString line = QString::fromLatin1(one.constData(), one.size());
        const bool belongsToLineAbove = isContinued;
        isContinued = goesOn(line, inQuotes);
        const bool isWhole = !belongsToLineAbove && !isContinued;
        // Qt takes a byte-order mark for a part of the first key.
        const bool isPlain = isWhole && !(isMarked && result.isEmpty());
        Line kind = Line::Unread;
        QRegularExpressionMatch match;
        if (isWhole && (match = patterns.section.match(line)).hasMatch()) {
            section = match.captured(1).trimmed();
            kind = patterns.writtenSection.match(line).hasMatch() ? Line::Written : Line::Read;
        } else if (isPlain && patterns.blank.match(line).hasMatch()) {
            kind = Line::Written;
        } else if (isPlain && (match = patterns.value.match(line)).hasMatch()) {
            // Of a key that stands there more than once the last one counts.
            const QByteArray key = fullKey(section, match.captured(1).trimmed());
            if (lineOfKey.contains(key))
                result[lineOfKey.value(key)] = Line::Unread;
            lineOfKey.insert(key, result.size());
            // Qt makes a section of what stands before the first slash.
            const bool isInPlace = !isGeneral(section) || !match.captured(1).contains(backslash);
            const bool isWritten = isInPlace && patterns.writtenValue.match(line).hasMatch();
            kind = isWritten ? Line::Written : Line::Read;
        }
        result.append(kind);
    }
    return result;
}

void settingsFile::readAll(QSettings &settings)
{
    // Qt parses a section when it is first asked for, and another settings object on the file may
    // not know of the byte-order mark any more.
    settings.allKeys();
    // It would write UTF-8 without the mark, which is not what is read back.
    settings.setIniCodec(static_cast<QTextCodec *>(nullptr));
}

QByteArray settingsFile::read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

settingsFile::Kept settingsFile::keep(const QString &path)
{
    const QByteArray bytes = read(path);
    Kept kept = keep(path, bytes);
    // Read by an object of its own, the mark does not decide how others write what they have read.
    // Last, since this object writes what another one could not.
    if (hasByteOrderMark(bytes))
        QSettings(path, QSettings::IniFormat).allKeys();
    return kept;
}

settingsFile::Kept settingsFile::keep(const QString &path, const QByteArray &bytes)
{
    if (!wouldLose(bytes))
        return {};

    const QFileInfo info(path);
    const QString start = info.completeBaseName() + QStringLiteral(".kept-");
    const QFileInfoList others = info.dir().entryInfoList(QDir::Files | QDir::Hidden);
    for (const QFileInfo &other : others) {
        if (other.fileName().startsWith(start) && !other.isSymLink()
            && read(other.filePath()) == bytes)
            return {};
    }

    const QByteArray name = QFile::encodeName(path);
    for (int number = 1;; ++number) {
        const QString copy =
            info.dir().filePath(start + QString::number(number) + QStringLiteral(".ini"));
        // A link needs no room on a full disk. Qt replaces the file by renaming, and so leaves the
        // linked bytes alone. Where somebody has replaced it already, they are written.
        if (linkat(AT_FDCWD, name.constData(), AT_FDCWD, QFile::encodeName(copy).constData(),
                   AT_SYMLINK_FOLLOW)
            == 0) {
            if (read(copy) == bytes)
                return {copy, QString()};
            QFile::remove(copy);
        } else if (errno == EEXIST) {
            continue;
        }
        QSaveFile file(copy);
        const bool isKept =
            file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
        return {copy, isKept ? QString() : file.errorString()};
    }
}
