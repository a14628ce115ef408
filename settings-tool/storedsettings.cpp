#include "settings-tool/storedsettings.h"

#include "shared/settings/settingsfile.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>

#include <algorithm>
#include <cerrno>

using namespace settingsKeys;

namespace {

/// The server id in `stored` if it matches `key`, empty if `key` isn't per server; nothing if it
/// doesn't match.
std::optional<QString> uidIn(const QString &stored, const Key &key)
{
    const int start = key.text().section(QLatin1String("%1"), 0, 0).size();
    const QString uid = stored.mid(start, stored.size() - key.of(QString()).size());
    return key.of(uid) == stored ? std::optional(uid) : std::nullopt;
}

/// The setting that a key of the file stands for, null if there is none. Several may match, since a
/// server's id can be any text; the longest pattern wins.
const Key *settingOf(const QString &stored)
{
    const Key *found = nullptr;
    if (stored != lookedUp(stored))
        return nullptr; // written by hand in such a way that Qt finds it under no name
    for (const Key *key : settingsKeys::all) {
        if (uidIn(stored, *key) && (!found || key->text().size() > found->text().size()))
            found = key;
    }
    return found;
}

/// "Line 1 is read", "Lines 1, 2 and 10 are read": what happens to the lines, if there are any.
QStringList linesAre(const QString &what, const QList<int> &lines)
{
    if (lines.isEmpty())
        return {};
    QStringList numbers;
    for (const int line : lines)
        numbers.append(QString::number(line));
    const QString last = numbers.takeLast();
    return {numbers.isEmpty() ? QStringLiteral("Line %1 is %2").arg(last, what)
                              : QStringLiteral("Lines %1 and %2 are %3")
                                    .arg(numbers.join(QStringLiteral(", ")), last, what)};
}

}

StoredSettings::StoredSettings(const QString &path) : mPath(path)
{
    if (path.isEmpty())
        throw Error{QStringLiteral("HOME is not set; name the settings file with --file")};
    QFile file(path);
    const QFileInfo info(path);
    QString why;
    if (info.isDir())
        why = qt_error_string(EISDIR);
    else if (info.exists() && !info.isFile())
        why = QStringLiteral("it is not an ordinary file");
    else if (info.exists() && !file.open(QIODevice::ReadOnly))
        why = file.errorString();
    else if (info.exists())
        mBytes = file.readAll();
    if (!why.isEmpty())
        throw Error{QStringLiteral("%1 can't be read: %2").arg(path, why)};
    mValues = valuesOf(QSettings(path, QSettings::IniFormat));
    const QStringList keys = mValues.keys();
    for (const QString &key : keys) {
        const Key *setting = settingOf(key);
        if (setting == &excludedServer)
            mServers[*uidIn(key, *setting)].isLeftAlone = true;
        else if (setting == &idleDockTarget)
            mServers[*uidIn(key, *setting)].channel = textOf(key);
        else if (setting == &serverName)
            mNames[*uidIn(key, *setting)] = textOf(key);
    }
}

std::optional<QString> StoredSettings::ownText() const
{
    const auto found = mValues.find(customNotify.text());
    return found == mValues.end() ? std::nullopt : std::optional(found->toString());
}

QStringList StoredSettings::keys() const
{
    QStringList result;
    for (const Key *key : settingsKeys::all) {
        if (!key->isPerServer())
            result.append(key->text());
    }
    result += mValues.keys();
    result.removeDuplicates();
    return result;
}

QString StoredSettings::describe(const QString &key) const
{
    const Key *setting = settingOf(key);
    QStringList lines{key, setting ? QLatin1String(setting->meaning) : QStringLiteral("unknown")};
    if (setting && setting->isPerServer()) {
        const QString uid = *uidIn(key, *setting);
        const QString name = mNames.value(uid);
        lines.append(QStringLiteral("server: ")
                     + (name.isEmpty() ? uid : QStringLiteral("%1 (%2)").arg(uid, name)));
    }
    lines.append(QStringLiteral("in the file: ")
                 + (mValues.contains(key) ? textOf(key) : QStringLiteral("(not set)")));
    lines.append(QStringLiteral("the plug-in uses: ")
                 + (setting ? effectOf(*setting, key) : QStringLiteral("nothing")));
    return lines.join(QStringLiteral("\n    "));
}

/// What the file holds under a key, a list included.
QString StoredSettings::textOf(const QString &key) const
{
    const QVariant value = mValues.value(key);
    return value.type() == QVariant::StringList ? value.toStringList().join(QStringLiteral(", "))
                                                : value.toString();
}

QString StoredSettings::effectOf(const Key &key, const QString &stored) const
{
    const QVariant value = mValues.value(stored);
    switch (key.kind) {
    case Kind::Switch:
        return value.toBool() ? QStringLiteral("on") : QStringLiteral("off");
    case Kind::Text:
        return mValues.contains(stored) ? QStringLiteral("\"%1\"").arg(value.toString())
                                        : QLatin1String(key.whenAbsent);
    case Kind::Channel:
        return QStringLiteral("channel %1").arg(value.toUInt());
    case Kind::Note:
        return QStringLiteral("nothing");
    case Kind::Presence:
        break;
    }
    return mValues.contains(stored) ? QStringLiteral("left alone") : QLatin1String(key.whenAbsent);
}

QStringList StoredSettings::warnings() const
{
    QStringList result;
    const QString folder = QFileInfo(fileAt(mPath)).path();
    if (!QFileInfo(folder).isDir())
        result.append(noFolder(folder));
    const std::optional<QList<int>> changing = settingsFile::linesThatChange(mBytes);
    if (!changing) {
        result.append(
            QStringLiteral("No temporary file can be created, so Staybolt can't tell what "
                           "the next save will drop. That save will keep a copy of the "
                           "old file."));
    } else {
        result += linesAre(QStringLiteral("ignored or rewritten; the next save keeps a copy of the "
                                          "old file."),
                           *changing);
    }
    QList<int> garbled;
    const QList<QByteArray> lines = settingsFile::lines(mBytes);
    for (int i = 0; i < lines.size() && !settingsFile::hasByteOrderMark(mBytes); ++i) {
        const QByteArray &line = lines.at(i);
        if (std::any_of(line.begin(), line.end(), [](uchar c) { return c > 0x7f; }))
            garbled.append(i + 1);
    }
    result += linesAre(QStringLiteral("read with garbled non-ASCII letters. Text that you enter in "
                                      "Staybolt Settings is saved correctly."),
                       garbled);
    for (auto one = mValues.begin(); one != mValues.end(); ++one) {
        const Key *key = settingOf(one.key());
        if (!key) {
            result.append(one.key() + QStringLiteral(": the plug-in doesn't know this key"));
        } else if (one->type() == QVariant::StringList && !key->isPerServer()) {
            result.append(one.key()
                          + QStringLiteral(": an unquoted comma makes this a list, which the "
                                           "plug-in reads as empty"));
        }
    }
    return result;
}

QString fileAt(const QString &path)
{
    constexpr int longestChain = 40;
    QString file = path;
    for (int i = 0; i < longestChain && QFileInfo(file).isSymLink(); ++i)
        file = QFileInfo(file).symLinkTarget();
    return file;
}

QString noFolder(const QString &folder)
{
    return QStringLiteral("there is no folder %1. Is the client installed there?").arg(folder);
}

QString lookedUp(const QString &key)
{
    return key.split(QLatin1Char('/'), Qt::SkipEmptyParts).join(QLatin1Char('/'));
}

QVariantMap valuesOf(const QSettings &settings)
{
    QVariantMap result;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys)
        result.insert(key, settings.value(key));
    return result;
}

QString storedKey(const Key &key, const QString &uid)
{
    return lookedUp(key.of(uid)); // none of ours begins with a slash
}

QString uidAsStored(const QString &uid)
{
    return *uidIn(storedKey(excludedServer, uid), excludedServer);
}

QString errorInUid(const QString &uid)
{
    static const QRegularExpression foreign(QStringLiteral("[^A-Za-z0-9+/=]"));
    if (uidAsStored(uid).isEmpty())
        return QStringLiteral("the server's unique id is missing");
    if (foreign.match(uid).hasMatch()) {
        return QStringLiteral(
                   "\"%1\" is not a unique id. Unique ids contain only letters, digits, "
                   "+, / and =. To find a server's id, click the server's name in the client and "
                   "look at the info panel.")
            .arg(uid);
    }
    if (settingOf(storedKey(excludedServer, uid)) != &excludedServer)
        return QStringLiteral("%1: this id clashes with the name of a setting").arg(uid);
    return QString();
}

std::optional<uint> channelIn(const QString &text)
{
    static const QRegularExpression digits(QStringLiteral("\\A[0-9]+\\z"));
    bool isNumber = false;
    const uint id = text.toUInt(&isNumber);
    return isNumber && digits.match(text).hasMatch() ? std::optional(id) : std::nullopt;
}

QString channelRule() { return QStringLiteral("a channel is a number from 0 to 4294967295"); }
