#include "settings-tool/commands.h"

#include "settings-tool/draft.h"

#include <limits>

namespace {

/// A command that is being run.
struct Job
{
    Draft draft;
    QStringList words; // after the command's name
    QString usage; // printed when it doesn't understand the words
    const FolderLock *lock; // null if it changes nothing
    QStringList output{}; // line by line

    void warn(const QStringList &warnings)
    {
        for (const QString &warning : warnings)
            output.append(QStringLiteral("WARNING: ") + warning);
    }

    /// Warns of what is odd about the server.
    void warnOf(const Draft::Server &server)
    {
        for (const QString &warning : Draft::warningsOf(server))
            warn({QStringLiteral("%1: %2").arg(server.uid, warning)});
    }

    /// Stores what the draft changes.
    void save(const QString &done)
    {
        if (draft.changes().isEmpty())
            output.append(QStringLiteral("Nothing to change: ") + done);
        else
            output += QStringList(QStringLiteral("Saved: ") + done) + draft.save(*lock);
    }
};

[[noreturn]] void refuse(const QString &why) { throw Error{why}; }

/// The command's server in the draft.
int serverOf(Job &job)
{
    QString uid = job.words.constFirst();
    if (!job.draft.stored.servers().contains(uid)) {
        uid = uid.trimmed(); // a pasted id may contain blanks
        const QString error = errorInUid(uid);
        if (!error.isEmpty())
            refuse(error);
    }
    return job.draft.indexOf(uid);
}

void list(Job &job)
{
    QStringList keys = job.draft.stored.keys();
    job.output += {QStringLiteral("Settings in ") + job.draft.stored.path(), QString()};
    job.warn(job.draft.stored.warnings());
    if (job.words.isEmpty()) {
        job.warn(job.draft.warningOfIdleDock());
        for (const Draft::Server &server : qAsConst(job.draft.servers))
            job.warnOf(server);
    } else {
        const int index = serverOf(job);
        job.warnOf(job.draft.servers.at(index));
        keys.clear();
        for (const settingsKeys::Key *key :
             {&settingsKeys::excludedServer, &settingsKeys::idleDockTarget,
              &settingsKeys::serverName})
            keys.append(storedKey(*key, job.draft.servers.at(index).uid));
    }
    for (const QString &key : qAsConst(keys))
        job.output.append(job.draft.stored.describe(key));
}

void exclude(Job &job)
{
    const int index = serverOf(job);
    Draft::Server server = job.draft.servers.at(index);
    server.isLeftAlone = true;
    if (const auto problem = job.draft.problemWith(server, index))
        refuse(problem->message);
    job.draft.servers[index] = server;
    job.save(QStringLiteral("Staybolt will leave %1 alone.").arg(server.uid));
    job.warnOf(server);
}

void include(Job &job)
{
    Draft::Server &server = job.draft.servers[serverOf(job)];
    server.isLeftAlone = false;
    job.save(QStringLiteral("Staybolt will protect you on %1.").arg(server.uid));
}

void setName(Job &job)
{
    Draft::Server &server = job.draft.servers[serverOf(job)];
    if (!server.isLeftAlone && !server.channel) {
        refuse(
            QStringLiteral("%1 has no settings. Leave it alone or set its idleDock channel first")
                .arg(server.uid));
    }
    const QString name = job.words.constLast().simplified();
    server.name = name == QLatin1String("none") ? QString() : name;
    job.save(server.name.isEmpty()
                 ? QStringLiteral("%1 has no name.").arg(server.uid)
                 : QStringLiteral("the name of %1 is \"%2\".").arg(server.uid, server.name));
}

void allowIdleDock(Job &job)
{
    const QString state = job.words.constFirst();
    job.draft.allowsIdleDock = state == QLatin1String("on");
    if (!job.draft.allowsIdleDock && state != QLatin1String("off"))
        throw Error{job.usage, true};
    job.save(QStringLiteral("moves into idleDock channels will be %1.")
                 .arg(QLatin1String(job.draft.allowsIdleDock ? "allowed" : "undone")));
    job.warn(job.draft.warningOfIdleDock());
}

void setIdleDockChannel(Job &job)
{
    const int index = serverOf(job);
    const QString text = job.words.constLast();
    const std::optional<uint> channel = channelIn(text);
    Draft::Server &server = job.draft.servers[index];
    if (channel) {
        server.channel = QString::number(*channel);
        job.save(
            QStringLiteral("the idleDock channel of %1 is %2.").arg(server.uid, *server.channel));
        job.warnOf(server);
        return;
    }
    if (text != QLatin1String("none"))
        refuse(QStringLiteral("%1, or none to remove it; not \"%2\"").arg(channelRule(), text));
    server.channel.reset();
    job.save(QStringLiteral("%1 has no idleDock channel.").arg(server.uid));
}

void setNotice(Job &job)
{
    const QString word = job.words.constFirst();
    Draft &draft = job.draft;
    const auto whenOn = draft.stored.ownText() ? Draft::Notice::Own : Draft::Notice::Standard;
    const QMap<QString, Draft::Notice> notices{
        {QStringLiteral("on"), whenOn},
        {QStringLiteral("off"), Draft::Notice::Off},
        {QStringLiteral("standard"), Draft::Notice::Standard},
        {QStringLiteral("text"), Draft::Notice::Own}};
    const bool isText = word == QLatin1String("text");
    if (isText && job.words.size() > 2) {
        refuse(QStringLiteral("put the message in quotes: staybolt-settings notify text \"%1\"")
                   .arg(job.words.mid(1).join(QLatin1Char(' '))));
    }
    if (job.words.size() != (isText ? 2 : 1) || !notices.contains(word))
        throw Error{job.usage, true};
    draft.notice = notices.value(word);
    if (isText)
        draft.ownText = job.words.constLast();
    job.save(draft.notice == Draft::Notice::Off
                 ? QStringLiteral("whoever moves you will get no message.")
                 : QStringLiteral("whoever moves you will get the message \"%1\".")
                       .arg(draft.notice == Draft::Notice::Own
                                ? draft.ownText
                                : QLatin1String(settingsKeys::standardNotice)));
    if (draft.notice == Draft::Notice::Own)
        job.warn(draft.warningOfNotice());
}

struct Command
{
    const char *usage; // its name, and its arguments as the help names them
    int least;
    int most;
    void (*run)(Job &job);
    const char *purpose;
};

constexpr Command all[] = {
    {"list [UID]", 0, 1, list, "show all settings, or those of one server"},
    {"exclude UID", 1, 1, exclude, "leave the server with that unique id alone"},
    {"include UID", 1, 1, include, "turn protection on again for that server"},
    {"idledock on|off", 1, 1, allowIdleDock,
     "allow moves into idleDock channels, or undo them\nlike any other move"},
    {"idledock-target UID CHANNEL|none", 2, 2, setIdleDockChannel,
     "set the idleDock channel of that server"},
    {"name UID TEXT|none", 2, 2, setName, "name that server, for your eyes only"},
    {"notify on|off|standard|text TEXT", 1, std::numeric_limits<int>::max(), setNotice,
     "on: send your message, or the standard one if you have none\noff: send nothing\n"
     "standard: send the standard message, and delete yours\ntext: send TEXT"},
};

}

QString commands::help()
{
    constexpr int column = 36;
    QString result = QStringLiteral("Commands:");
    const QString nextLine = QLatin1Char('\n') + QString(column + 2, QLatin1Char(' '));
    for (const Command &one : all) {
        const QString usage = QLatin1String(one.usage);
        QString purpose = QLatin1String(one.purpose);
        purpose.replace(QLatin1Char('\n'), nextLine);
        result += QStringLiteral("\n  ") + usage.leftJustified(column) + purpose;
    }
    return result;
}

QString commands::run(const QString &path, std::chrono::seconds patience, QStringList words)
{
    const QString name = words.takeFirst();
    for (const Command &one : all) {
        const QString form = QLatin1String(one.usage);
        if (name != form.section(QLatin1Char(' '), 0, 0))
            continue;
        if (words.size() < one.least || words.size() > one.most)
            throw Error{form, true};
        // Lock before reading, so that nobody changes the file in between.
        std::optional<FolderLock> lock;
        if (one.run != list && !path.isEmpty())
            lock.emplace(path, patience);
        Job job{Draft(path), words, form, lock ? &*lock : nullptr};
        one.run(job);
        return job.output.join(QLatin1Char('\n')) + QLatin1Char('\n');
    }
    refuse(QStringLiteral("there is no command \"%1\". See --help.").arg(name));
}
