// staybolt-settings: shows and changes the plug-in's settings file, the keys included that the
// dialog does not know. A server's unique id is base64, which the file holds in an escaped form
// that nobody gets right by hand.

#include "shared/settings/settingsfile.h"
#include "shared/settings/settingskeys.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>
#include <QTextStream>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

namespace {

constexpr int mistakeStatus = 2;

/// Something that can't be done; the file is left as it is.
struct Mistake
{
    QString message;
};

const QString leftAlone = QStringLiteral("left alone");
const QString unread = QStringLiteral("nothing reads this key");

/// What the file makes of a key: slashes are separators to it, so doubled ones and those at the
/// ends are lost.
QString storedKey(const QString &key)
{
    return key.split(QLatin1Char('/'), Qt::SkipEmptyParts)
        .join(QLatin1Char('/'))
        .prepend(QLatin1String(key.startsWith(QLatin1Char('/')) ? "/" : ""));
}

/// How many single letters two texts are apart.
int distance(const QString &a, const QString &b)
{
    QVector<int> row(b.size() + 1);
    for (int j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (int i = 1; i <= a.size(); ++i) {
        int diagonal = std::exchange(row[0], i);
        for (int j = 1; j <= b.size(); ++j) {
            const int changed = diagonal + (a.at(i - 1) == b.at(j - 1) ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, changed}));
        }
    }
    return row.last();
}

/// The keys that are not per server.
const QStringList &fixedKeys()
{
    static const QStringList keys = [] {
        QStringList fixed;
        for (const settingsKeys::Key *key : settingsKeys::all) {
            if (!key->isPerServer())
                fixed.append(key->text());
        }
        return fixed;
    }();
    return keys;
}

/// The fixed key that `key` looks like a mistyped form of, empty when it looks like none.
QString lookalike(const QString &key)
{
    for (const QString &fixed : fixedKeys()) {
        if (key != fixed && distance(key.toLower(), fixed.toLower()) <= 2)
            return fixed;
    }
    return QString();
}

/// The server id in a key that follows `pattern`, nothing when it does not.
std::optional<QString> uidIn(const QString &key, const QString &pattern)
{
    const QString start = pattern.section(QLatin1String("%1"), 0, 0);
    const QString end = pattern.section(QLatin1String("%1"), 1);
    if (!key.startsWith(start) || !key.endsWith(end) || key.size() < start.size() + end.size())
        return std::nullopt;
    return key.mid(start.size(), key.size() - start.size() - end.size());
}

QString systemWords(int error) { return QString::fromLocal8Bit(strerror(error)); }

/// Keeps others of this tool from the files in a folder; nothing is left behind in it. The plug-in
/// never waits for it: Qt's own lock keeps a save of the plug-in and one of ours apart.
class FolderLock
{
public:
    explicit FolderLock(const QString &folder) :
        mFolder(open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        if (mFolder < 0 && (errno == ENOENT || errno == ENOTDIR)) {
            throw Mistake{QStringLiteral("there is no folder %1; is the client installed there?")
                              .arg(folder)};
        }
        const QDeadlineTimer deadline(patience);
        // A folder that can't be read, or on some network file systems, has no such lock.
        while (flock(mFolder, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            if (deadline.hasExpired()) {
                close(mFolder);
                throw Mistake{QStringLiteral("waited 15 seconds for another staybolt-settings that "
                                             "changes a file in %1")
                                  .arg(folder)};
            }
            QThread::msleep(pauseMs);
        }
    }
    ~FolderLock()
    {
        if (mFolder >= 0)
            close(mFolder);
    }
    FolderLock(const FolderLock &) = delete;
    FolderLock &operator=(const FolderLock &) = delete;

private:
    static constexpr std::chrono::seconds patience{15};
    static constexpr unsigned long pauseMs = 20;

    int mFolder;
};

/// Why the file could not be written.
QString whyNotWritten(const QString &path)
{
    if (QFileInfo(path).isDir())
        return systemWords(EISDIR);
    QFile file(path);
    if (file.exists() && !file.open(QIODevice::ReadWrite))
        return file.errorString();
    QSaveFile probe(path);
    constexpr int more = 4096;
    if (!probe.open(QIODevice::WriteOnly)
        || probe.write(QByteArray(int(file.size()) + more, ' ')) < 0 || !probe.flush()) {
        return probe.errorString();
    }
    // In a folder with the sticky bit only the owner may replace a file.
    struct stat folder
    {
    };
    struct stat owned
    {
    };
    const QByteArray name = QFile::encodeName(path);
    const QByteArray folderName = QFile::encodeName(QFileInfo(path).path());
    if (stat(folderName.constData(), &folder) == 0 && stat(name.constData(), &owned) == 0
        && (folder.st_mode & S_ISVTX) != 0 && owned.st_uid != geteuid()
        && folder.st_uid != geteuid()) {
        return systemWords(EPERM);
    }
    return QStringLiteral("the system does not say why");
}

class Settings
{
public:
    explicit Settings(const QString &path) : mFile(path, QSettings::IniFormat)
    {
        QFile file(path);
        const bool isThere = file.exists();
        if (isThere && !QFileInfo(path).isFile()) {
            throw Mistake{QStringLiteral("%1 can't be read: %2")
                              .arg(path,
                                   QFileInfo(path).isDir()
                                       ? systemWords(EISDIR)
                                       : QStringLiteral("it is not an ordinary file"))};
        }
        if (isThere && !file.open(QIODevice::ReadOnly))
            throw Mistake{QStringLiteral("%1 can't be read: %2").arg(path, file.errorString())};
        mBytes = isThere ? file.readAll() : QByteArray();
        settingsFile::readAll(mFile);
    }

    bool contains(const QString &key) const { return mFile.contains(key); }
    QVariant value(const QString &key) const { return mFile.value(key); }
    QStringList keys() const { return mFile.allKeys(); }
    /// The bytes of the file as it was opened.
    QByteArray bytes() const { return mBytes; }

    /// Stores the values under their keys, and removes a key whose value is invalid. Answers the
    /// copy of what the file held before, where one was made.
    QString change(const QVariantMap &values)
    {
        const QString path = mFile.fileName();
        const settingsFile::Kept kept = settingsFile::keep(path);
        if (!kept.error.isEmpty()) {
            throw Mistake{QStringLiteral("what %1 holds could not be kept in %2: %3")
                              .arg(path, kept.copy, kept.error)};
        }
        for (auto one = values.begin(); one != values.end(); ++one) {
            if (one->isValid())
                mFile.setValue(one.key(), *one);
            else
                mFile.remove(one.key());
        }
        mFile.sync();
        // An object that met lines it can't read hides every later error. A new one tells what came
        // of the change: it writes what is still pending and reads what somebody else has written.
        const QSettings again(path, QSettings::IniFormat);
        bool isDone = again.status() != QSettings::AccessError;
        for (auto one = values.begin(); one != values.end(); ++one) {
            isDone = isDone && again.contains(one.key()) == one->isValid()
                && again.value(one.key()).toString() == one->toString();
        }
        if (!isDone) {
            throw Mistake{QStringLiteral("%1 can't be written: %2").arg(path, whyNotWritten(path))};
        }
        return kept.copy;
    }

private:
    QSettings mFile;
    QByteArray mBytes;
};

class Tool
{
public:
    Tool(const QString &path, QTextStream &output) : mSettings(path), mPath(path), mOutput(output)
    {
    }

    void list()
    {
        mOutput << "Settings in " << mPath << "\n\n";
        warnOfLines();
        for (const settingsKeys::Key *key : settingsKeys::all) {
            if (!key->isPerServer())
                show(key->text(), QLatin1String(key->meaning), effectOf(*key));
        }
        const QStringList keys = mSettings.keys();
        for (const QString &key : keys) {
            if (fixedKeys().contains(key))
                continue;
            const auto server = uidIn(key, settingsKeys::excludedServer.text());
            const auto target = uidIn(key, settingsKeys::idleDockTarget.text());
            if (target) {
                show(key, QStringLiteral("the idleDock channel on server %1").arg(*target),
                     QStringLiteral("channel %1").arg(mSettings.value(key).toUInt()));
            } else if (server) {
                show(key, QStringLiteral("server %1").arg(*server), leftAlone);
            } else {
                show(key, QStringLiteral("unknown"), unread);
            }
            if (!lookalike(key).isEmpty())
                warn(QStringLiteral("did you mean %1?").arg(lookalike(key)));
            else if (server && !target && !server->endsWith(QLatin1Char('=')))
                warn(QStringLiteral("this does not look like a server's unique id"));
        }
    }

    void exclude(const QString &uid)
    {
        const QString key = settingsKeys::excludedServer.of(checked(uid));
        change({{key, true}});
        say(QStringLiteral("The server %1 is left alone.").arg(uid), key);
    }

    void include(const QString &uid)
    {
        const QString key = settingsKeys::excludedServer.of(checked(uid));
        if (!mSettings.contains(key))
            throw Mistake{QStringLiteral("the server %1 is not excluded").arg(uid)};
        change({{key, QVariant()}});
        say(QStringLiteral("The server %1 is protected.").arg(uid), key);
    }

    void idleDock(const QString &state)
    {
        if (state != QLatin1String("on") && state != QLatin1String("off"))
            throw Mistake{QStringLiteral("idledock takes on or off, not %1").arg(state)};
        const bool on = state == QLatin1String("on");
        change({{settingsKeys::idleDock.text(), on}});
        say(on ? QStringLiteral("Moves into the idleDock channel of a server are let through.")
               : QStringLiteral("Moves into the idleDock channel of a server are undone."));
    }

    void idleDockTarget(const QString &uid, const QString &channel)
    {
        const QString key = settingsKeys::idleDockTarget.of(checked(uid));
        if (channel == QLatin1String("none")) {
            if (!mSettings.contains(key))
                throw Mistake{QStringLiteral("the server %1 has no idleDock channel").arg(uid)};
            change({{key, QVariant()}});
            say(QStringLiteral("The server %1 has no idleDock channel any more.").arg(uid), key);
            return;
        }
        bool isNumber = false;
        const uint id = channel.toUInt(&isNumber);
        static const QRegularExpression digits(QStringLiteral("^[0-9]+$"));
        if (!isNumber || !digits.match(channel).hasMatch()) {
            throw Mistake{
                QStringLiteral("a channel is a number from 0 to 4294967295 or none, not %1")
                    .arg(channel)};
        }
        change({{key, id}});
        say(QStringLiteral("The idleDock channel of the server %1 is %2.").arg(uid).arg(id), key);
    }

    void notify(const QString &what)
    {
        QVariantMap values{{settingsKeys::sendNotify.text(), what == QLatin1String("off") ? 0 : 1}};
        if (what == QLatin1String("standard"))
            values.insert(settingsKeys::customNotify.text(), QVariant());
        else if (what != QLatin1String("off"))
            values.insert(settingsKeys::customNotify.text(), what);
        change(values);
        say(what == QLatin1String("off") ? QStringLiteral("Movers are not told.")
                : what == QLatin1String("standard")
                ? QStringLiteral("Movers are told \"This operation is not permitted!\".")
                : QStringLiteral("Movers are told \"%1\".").arg(what));
    }

private:
    /// A server id that the file can hold and that does not turn into some other setting.
    static QString checked(const QString &uid)
    {
        const QString key = storedKey(settingsKeys::excludedServer.of(uid));
        if (uid.isEmpty() || key == settingsKeys::excludedServer.of(QString()))
            throw Mistake{QStringLiteral("a server's unique id is not empty")};
        if (fixedKeys().contains(key)) {
            throw Mistake{
                QStringLiteral("the file can't hold the id %1: its key is a setting").arg(uid)};
        }
        return uid;
    }

    QString effectOf(const settingsKeys::Key &key) const
    {
        const QVariant value = mSettings.value(key.text());
        if (key.kind == settingsKeys::Kind::Text) {
            return QStringLiteral("movers are told \"%1\"")
                .arg(mSettings.contains(key.text()) ? value.toString()
                                                    : QLatin1String(settingsKeys::standardNotice));
        }
        if (&key == &settingsKeys::permitIdleDock)
            return value.toBool() ? QStringLiteral("on, without effect") : QStringLiteral("off");
        return value.toBool() ? QStringLiteral("on") : QStringLiteral("off");
    }

    void show(const QString &key, const QString &meaning, const QString &effect)
    {
        const QVariant value = mSettings.value(key);
        const bool isList = value.type() == QVariant::StringList;
        const QString stored = !mSettings.contains(key) ? QStringLiteral("(absent)")
            : isList ? value.toStringList().join(QStringLiteral(", "))
                     : value.toString();
        mOutput << key << "\n    " << meaning << "\n    stored: " << stored
                << "\n    the plug-in: " << effect << '\n';
        if (isList && effect != leftAlone) {
            warn(QStringLiteral("an unquoted comma makes this a list, which the plug-in reads as "
                                "empty"));
        }
    }

    void warnOfLines()
    {
        const QByteArray bytes = mSettings.bytes();
        QStringList unreadLines;
        QStringList beyondAscii;
        const QList<settingsFile::Line> lines = settingsFile::lines(bytes);
        for (int i = 0; i < lines.size(); ++i) {
            if (lines.at(i) == settingsFile::Line::Unread)
                unreadLines.append(QString::number(i + 1));
        }
        const QList<QByteArray> texts = settingsFile::split(bytes);
        for (int i = 0; i < texts.size(); ++i) {
            if (std::any_of(texts.at(i).begin(), texts.at(i).end(),
                            [](char c) { return static_cast<uchar>(c) > 0x7f; }))
                beyondAscii.append(QString::number(i + 1));
        }
        if (!unreadLines.isEmpty()) {
            warn(QStringLiteral(
                     "not read, or only in part: line %1. The next change drops this from "
                     "the file and keeps it in a copy.")
                     .arg(unreadLines.join(QStringLiteral(", "))));
        }
        if (!beyondAscii.isEmpty() && !settingsFile::hasByteOrderMark(bytes)) {
            warn(
                QStringLiteral("the plug-in takes letters beyond ASCII for others than your editor "
                               "shows: line %1. notify TEXT stores them right.")
                    .arg(beyondAscii.join(QStringLiteral(", "))));
        }
    }

    void change(const QVariantMap &values) { mCopy = mSettings.change(values); }

    void warn(const QString &warning) { mOutput << "    WARNING: " << warning << '\n'; }

    void say(const QString &done, const QString &key = QString())
    {
        mOutput << done << '\n';
        if (storedKey(key) != key) {
            mOutput << "The file does not tell doubled slashes and those at the end of an id, so "
                       "this holds for "
                    << storedKey(key) << " as well.\n";
        }
        if (!mCopy.isEmpty())
            mOutput << "What the file held before is kept in " << mCopy << ".\n";
        mOutput << "A running client sees this after a restart or its next Save.\n";
    }

    Settings mSettings;
    QString mPath;
    QTextStream &mOutput;
    QString mCopy;
};

const char *const commandHelp =
    "Commands:\n"
    "  list                          every key, what is stored and what the plug-in makes of it\n"
    "  exclude UID                   leave the server with that unique id alone\n"
    "  include UID                   protect you on that server again\n"
    "  idledock on|off               let moves into the idleDock channels through, or not\n"
    "  idledock-target UID CHANNEL   the idleDock channel on a server; none removes it\n"
    "  notify off|standard|TEXT      whether and what movers are told";

/// The folder of the file itself, where the path is a link to it.
QString folderOf(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() ? QFileInfo(info.canonicalFilePath()).path() : info.path();
}

struct Command
{
    const char *name;
    int arguments;
    void (*run)(Tool &tool, const QStringList &arguments);
};

const Command commands[] = {
    {"list", 0, [](Tool &tool, const QStringList &) { tool.list(); }},
    {"exclude", 1, [](Tool &tool, const QStringList &words) { tool.exclude(words.at(0)); }},
    {"include", 1, [](Tool &tool, const QStringList &words) { tool.include(words.at(0)); }},
    {"idledock", 1, [](Tool &tool, const QStringList &words) { tool.idleDock(words.at(0)); }},
    {"idledock-target", 2,
     [](Tool &tool, const QStringList &words) { tool.idleDockTarget(words.at(0), words.at(1)); }},
    {"notify", 1, [](Tool &tool, const QStringList &words) { tool.notify(words.at(0)); }},
};

void run(const QString &path, QStringList words, QTextStream &output)
{
    const QString name = words.isEmpty() ? QString() : words.takeFirst();
    const auto *command =
        std::find_if(std::begin(commands), std::end(commands),
                     [&](const Command &one) { return name == QLatin1String(one.name); });
    if (command == std::end(commands))
        throw Mistake{QStringLiteral("there is no command \"%1\"; see --help").arg(name)};
    if (words.size() != command->arguments) {
        throw Mistake{QStringLiteral("%1 takes %2 argument(s); see --help")
                          .arg(name, QString::number(command->arguments))};
    }
    // Held from before the file is read until it is written.
    std::optional<FolderLock> lock;
    if (name != QLatin1String("list"))
        lock.emplace(folderOf(path));
    Tool tool(path, output);
    command->run(tool, words);
}

}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("staybolt-settings"));
    QCoreApplication::setApplicationVersion(QStringLiteral(STAYBOLT_VERSION));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows and changes the settings of the Kestrelsoft Staybolt plug-in.\n\n")
        + QLatin1String(commandHelp));
    parser.addHelpOption();
    parser.addVersionOption();
    const QString home = QFile::decodeName(qgetenv("HOME"));
    const QCommandLineOption file(
        QStringLiteral("file"), QStringLiteral("The settings file."), QStringLiteral("FILE"),
        home.isEmpty() ? QString() : home + QStringLiteral("/.ts3client/Kestrelsoft Staybolt.ini"));
    parser.addOption(file);
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("See above."),
                                 QStringLiteral("command [argument...]"));
    parser.process(application);

    QTextStream output(stdout);
    try {
        if (parser.value(file).isEmpty()) {
            throw Mistake{parser.isSet(file)
                              ? QStringLiteral("--file takes the name of a file")
                              : QStringLiteral("HOME is not set; name the settings file with "
                                               "--file")};
        }
        run(parser.value(file), parser.positionalArguments(), output);
        output.flush();
        if (fflush(stdout) != 0 || output.status() != QTextStream::Ok) {
            throw Mistake{
                QStringLiteral("the output can't be written: %1").arg(systemWords(errno))};
        }
    } catch (const Mistake &mistake) {
        QTextStream(stderr) << "staybolt-settings: " << mistake.message << '\n';
        return mistakeStatus;
    }
    return 0;
}
