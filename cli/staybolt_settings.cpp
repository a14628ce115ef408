// staybolt-settings: shows and changes the plug-in's settings file, the keys included that the
// dialog does not know. A server's unique id is base64, which the file holds in an escaped form
// that nobody gets right by hand.

#include "shared/settings/settingskeys.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QTextStream>

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

const QStringList &fixedKeys()
{
    static const QStringList keys{settingsKeys::sendNotify(), settingsKeys::customNotify(),
                                  settingsKeys::permitIdleDock(), settingsKeys::idleDock()};
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

class Settings
{
public:
    explicit Settings(const QString &path) : mFile(path, QSettings::IniFormat)
    {
        const QFileInfo info(path);
        if (info.exists() && (!info.isFile() || !QFile(path).open(QIODevice::ReadOnly)))
            throw Mistake{QStringLiteral("%1 can't be read").arg(path)};
        mFile.allKeys(); // only now is everything parsed
        if (mFile.status() == QSettings::FormatError) {
            throw Mistake{
                QStringLiteral("%1 is damaged; the plug-in takes it for empty and keeps a "
                               "copy at the next Save")
                    .arg(path)};
        }
    }

    bool contains(const QString &key) const { return mFile.contains(key); }
    QVariant value(const QString &key) const { return mFile.value(key); }
    QStringList keys() const { return mFile.allKeys(); }

    void set(const QString &key, const QVariant &value)
    {
        needsFolder();
        mFile.setValue(key, value);
        write();
    }

    void remove(const QString &key)
    {
        mFile.remove(key);
        write();
    }

private:
    void needsFolder() const
    {
        const QDir folder = QFileInfo(mFile.fileName()).dir();
        if (!folder.exists()) {
            throw Mistake{QStringLiteral("there is no folder %1; is the client installed there?")
                              .arg(folder.path())};
        }
    }

    void write()
    {
        mFile.sync();
        if (mFile.status() != QSettings::NoError)
            throw Mistake{QStringLiteral("%1 can't be written").arg(mFile.fileName())};
    }

    QSettings mFile;
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
        QStringList shown;
        for (const settingsKeys::Description &description : settingsKeys::descriptions) {
            const QString key = QLatin1String(description.key);
            if (!fixedKeys().contains(key))
                continue;
            show(key, QLatin1String(description.meaning), effectOf(key));
            shown.append(key);
        }
        const QStringList keys = mSettings.keys();
        for (const QString &key : keys) {
            if (shown.contains(key))
                continue;
            const auto server = uidIn(key, settingsKeys::excludedServer(QStringLiteral("%1")));
            const auto target = uidIn(key, settingsKeys::idleDockTarget(QStringLiteral("%1")));
            if (target) {
                show(key, QStringLiteral("the idleDock channel on server %1").arg(*target),
                     effectOf(key));
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
        const QString key = settingsKeys::excludedServer(checked(uid));
        mSettings.set(key, true);
        say(QStringLiteral("The server %1 is left alone.").arg(uid), key);
    }

    void include(const QString &uid)
    {
        const QString key = settingsKeys::excludedServer(checked(uid));
        if (!mSettings.contains(key))
            throw Mistake{QStringLiteral("the server %1 is not excluded").arg(uid)};
        mSettings.remove(key);
        say(QStringLiteral("The server %1 is protected.").arg(uid), key);
    }

    void idleDock(const QString &state)
    {
        if (state != QLatin1String("on") && state != QLatin1String("off"))
            throw Mistake{QStringLiteral("idledock takes on or off, not %1").arg(state)};
        const bool on = state == QLatin1String("on");
        mSettings.set(settingsKeys::idleDock(), on);
        say(on ? QStringLiteral("Moves into the idleDock channel of a server are let through.")
               : QStringLiteral("Moves into the idleDock channel of a server are undone."));
    }

    void idleDockTarget(const QString &uid, const QString &channel)
    {
        const QString key = settingsKeys::idleDockTarget(checked(uid));
        if (channel == QLatin1String("none")) {
            if (!mSettings.contains(key))
                throw Mistake{QStringLiteral("the server %1 has no idleDock channel").arg(uid)};
            mSettings.remove(key);
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
        mSettings.set(key, id);
        say(QStringLiteral("The idleDock channel of the server %1 is %2.").arg(uid).arg(id), key);
    }

    void notify(const QString &what)
    {
        if (what == QLatin1String("standard")) {
            mSettings.remove(settingsKeys::customNotify());
        } else if (what != QLatin1String("off")) {
            mSettings.set(settingsKeys::customNotify(), what);
        }
        mSettings.set(settingsKeys::sendNotify(), what == QLatin1String("off") ? 0 : 1);
        say(what == QLatin1String("off") ? QStringLiteral("Movers are not told.")
                : what == QLatin1String("standard")
                ? QStringLiteral("Movers are told \"This operation is not permitted!\".")
                : QStringLiteral("Movers are told \"%1\".").arg(what));
    }

private:
    /// A server id that the file can hold and that does not turn into some other setting.
    static QString checked(const QString &uid)
    {
        const QString key = storedKey(settingsKeys::excludedServer(uid));
        if (uid.isEmpty() || key == settingsKeys::excludedServer(QString()))
            throw Mistake{QStringLiteral("a server's unique id is not empty")};
        if (fixedKeys().contains(key)) {
            throw Mistake{
                QStringLiteral("the file can't hold the id %1: its key is a setting").arg(uid)};
        }
        return uid;
    }

    QString effectOf(const QString &key) const
    {
        const QVariant value = mSettings.value(key);
        if (key == settingsKeys::customNotify()) {
            return QStringLiteral("movers are told \"%1\"")
                .arg(mSettings.contains(key) ? value.toString()
                                             : QStringLiteral("This operation is not permitted!"));
        }
        if (key == settingsKeys::permitIdleDock())
            return value.toBool() ? QStringLiteral("on, without effect") : QStringLiteral("off");
        if (fixedKeys().contains(key))
            return value.toBool() ? QStringLiteral("on") : QStringLiteral("off");
        return QStringLiteral("channel %1").arg(value.toUInt());
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

    void warn(const QString &warning) { mOutput << "    WARNING: " << warning << '\n'; }

    void say(const QString &done, const QString &key = QString())
    {
        mOutput << done << '\n';
        if (storedKey(key) != key) {
            mOutput << "The file does not tell doubled slashes and those at the end of an id, so "
                       "this holds for "
                    << storedKey(key) << " as well.\n";
        }
        mOutput << "A running client sees this when it is started anew.\n";
    }

    Settings mSettings;
    QString mPath;
    QTextStream &mOutput;
};

const char *const commandHelp =
    "Commands:\n"
    "  list                          every key, what is stored and what the plug-in makes of it\n"
    "  exclude UID                   leave the server with that unique id alone\n"
    "  include UID                   protect you on that server again\n"
    "  idledock on|off               let moves into the idleDock channels through, or not\n"
    "  idledock-target UID CHANNEL   the idleDock channel on a server; none removes it\n"
    "  notify off|standard|TEXT      whether and what movers are told";

void run(Tool &tool, const QStringList &words)
{
    const QString command = words.value(0);
    const auto takes = [&](const char *name, int count) {
        if (command != QLatin1String(name))
            return false;
        if (words.size() != count + 1) {
            throw Mistake{QStringLiteral("%1 takes %2 argument(s); see --help")
                              .arg(command, QString::number(count))};
        }
        return true;
    };
    if (takes("list", 0))
        tool.list();
    else if (takes("exclude", 1))
        tool.exclude(words.at(1));
    else if (takes("include", 1))
        tool.include(words.at(1));
    else if (takes("idledock", 1))
        tool.idleDock(words.at(1));
    else if (takes("idledock-target", 2))
        tool.idleDockTarget(words.at(1), words.at(2));
    else if (takes("notify", 1))
        tool.notify(words.at(1));
    else
        throw Mistake{QStringLiteral("there is no command \"%1\"; see --help").arg(command)};
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
    const QCommandLineOption file(
        QStringLiteral("file"), QStringLiteral("The settings file."), QStringLiteral("FILE"),
        QDir::homePath() + QStringLiteral("/.ts3client/Kestrelsoft Staybolt.ini"));
    parser.addOption(file);
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("See above."),
                                 QStringLiteral("command [argument...]"));
    parser.process(application);

    QTextStream output(stdout);
    try {
        Tool tool(parser.value(file), output);
        run(tool, parser.positionalArguments());
    } catch (const Mistake &mistake) {
        QTextStream(stderr) << "staybolt-settings: " << mistake.message << '\n';
        return mistakeStatus;
    }
    return 0;
}
