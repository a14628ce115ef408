#include "settings-tool/storedsettings.h"

#include "shared/settings/settingsfile.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

using namespace settingsKeys;

namespace {

/// The folder of the file itself, where the path is a link to it.
QString folderOf(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() ? QFileInfo(info.canonicalFilePath()).path() : info.path();
}

QString noFolder(const QString &folder)
{
    return QStringLiteral("there is no folder %1. Is the client installed there?").arg(folder);
}

/// The server id for which a key of the file stands if it is one of the `key`, nothing when it is
/// none. It is empty where the `key` is not per server.
std::optional<QString> uidIn(const QString &stored, const Key &key)
{
    const int start = key.text().section(QLatin1String("%1"), 0, 0).size();
    const QString uid = stored.mid(start, stored.size() - key.of(QString()).size());
    return key.of(uid) == stored ? std::optional(uid) : std::nullopt;
}

/// A key as Qt looks it up: without doubled slashes and those at its ends.
QString lookedUp(const QString &key)
{
    return key.split(QLatin1Char('/'), Qt::SkipEmptyParts).join(QLatin1Char('/'));
}

/// Which of the settings a key of the file is, none when nothing reads it. Several may match, since
/// a server's id can be any text; the one that says most is meant.
const Key *settingOf(const QString &stored)
{
    const Key *found = nullptr;
    if (stored != lookedUp(stored))
        return nullptr; // somebody wrote it by hand, and Qt finds it under no name
    for (const Key *key : settingsKeys::all) {
        if (uidIn(stored, *key) && (!found || key->text().size() > found->text().size()))
            found = key;
    }
    return found;
}

QVariantMap valuesOf(const QSettings &settings)
{
    QVariantMap result;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys)
        result.insert(key, settings.value(key));
    return result;
}

/// Why a file can't be written, empty when nothing seems to be in the way.
QString whyNotWritten(const QString &path)
{
    QFile file(path);
    if (file.exists() && !file.open(QIODevice::ReadWrite))
        return file.errorString();
    QSaveFile probe(path);
    constexpr int more = 4096;
    if (!probe.open(QIODevice::WriteOnly)
        || probe.write(QByteArray(int(file.size()) + more, ' ')) < 0 || !probe.flush()) {
        return probe.errorString();
    }
    return QString();
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

FolderLock::FolderLock(const QString &path, std::chrono::seconds patience)
{
    const QString folder = folderOf(path);
    mFolder = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (mFolder < 0 && (errno == ENOENT || errno == ENOTDIR))
        throw Error{noFolder(folder)};
    const QDeadlineTimer deadline(patience);
    constexpr unsigned long pauseMs = 20;
    // A folder that can't be read, or on some network file systems, has no such lock.
    while (flock(mFolder, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        if (deadline.hasExpired()) {
            close(mFolder);
            throw Error{
                QStringLiteral(
                    "gave up after %1 s: another staybolt-settings is still changing a file in %2")
                    .arg(QString::number(patience.count()), folder)};
        }
        QThread::msleep(pauseMs);
    }
}

FolderLock::~FolderLock()
{
    if (mFolder >= 0)
        close(mFolder);
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
    if (setting && setting->isPerServer())
        lines.append(QStringLiteral("server: ") + *uidIn(key, *setting));
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
        return QStringLiteral("\"%1\"").arg(ownText().value_or(QLatin1String(standardNotice)));
    case Kind::Channel:
        return QStringLiteral("channel %1").arg(value.toUInt());
    case Kind::Presence:
        break;
    }
    return mValues.contains(stored) ? QStringLiteral("left alone") : QLatin1String(key.whenAbsent);
}

QStringList StoredSettings::warnings() const
{
    QStringList result;
    const QString folder = folderOf(mPath);
    if (!QFileInfo(folder).isDir())
        result.append(noFolder(folder));
    const std::optional<QList<int>> changing = settingsFile::linesThatChange(mBytes);
    if (!changing) {
        result.append(QStringLiteral("No temporary file can be created, so it is unknown what the "
                                     "next save drops. It keeps a copy of the old file."));
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

QStringList StoredSettings::change(const QVariantMap &values) const
{
    const auto refuse = [this](const QString &why) {
        throw Error{QStringLiteral("%1 can't be written: %2").arg(mPath, why)};
    };
    // Asked first: what Qt could not write it tries again later, whatever the user was told.
    const QString why = whyNotWritten(mPath);
    if (!why.isEmpty())
        refuse(why);
    const QByteArray old = settingsFile::read(mPath);
    const settingsFile::Kept kept =
        settingsFile::isSafe(old) ? settingsFile::Kept() : settingsFile::keep(mPath, old);
    if (!kept.error.isEmpty()) {
        throw Error{
            QStringLiteral("%1 could not be copied to %2: %3").arg(mPath, kept.copy, kept.error)};
    }
    QSettings file(mPath, QSettings::IniFormat);
    settingsFile::readAll(file);
    const QVariantMap before = valuesOf(file);
    for (auto one = values.begin(); one != values.end(); ++one) {
        if (one->isValid())
            file.setValue(one.key(), *one);
        else
            file.remove(one.key());
    }
    // Qt has removed what is below a key as well, but the ids of two servers may begin alike.
    for (auto one = before.begin(); one != before.end(); ++one) {
        const QString &key = one.key();
        if (!values.contains(key) && !file.contains(key) && key == lookedUp(key))
            file.setValue(key, *one);
    }
    file.sync();
    // An object that met lines it can't read hides every later error. A new one tells what came
    // of the change: it writes what is still pending and reads what somebody else has written.
    const QSettings again(mPath, QSettings::IniFormat);
    bool isDone = again.status() != QSettings::AccessError;
    for (auto one = values.begin(); one != values.end(); ++one) {
        isDone = isDone && again.contains(one.key()) == one->isValid()
            && again.value(one.key()).toString() == one->toString();
    }
    if (!isDone) {
        const QString since = whyNotWritten(mPath);
        refuse(since.isEmpty() ? QStringLiteral("the system gives no reason") : since);
    }
    QStringList result;
    if (!kept.copy.isEmpty())
        result.append(QStringLiteral("A copy of the old file is in %1.").arg(kept.copy));
    result.append(QStringLiteral("Your changes apply from the next move."));
    if (values.contains(sendNotify.text()) || values.contains(customNotify.text())) {
        result.append(
            QStringLiteral("In the plug-in's own dialog, press Reload before you press Save. Save "
                           "stores what its fields show."));
    }
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
