#include "settings-tool/commands.h"

#include "settings-tool/storedsettings.h"

using settingsKeys::customNotify;
using settingsKeys::excludedServer;
using settingsKeys::sendNotify;

namespace {

/// A command under way.
struct Job
{
    StoredSettings &settings;
    QStringList words; // behind the command
    QTextStream &output;

    void show(const StoredSettings::Fact &fact) const
    {
        output << fact.key << "\n    " << fact.meaning << '\n';
        if (fact.uid)
            output << "    server: " << *fact.uid << '\n';
        output << "    stored: " << fact.stored << "\n    the plug-in: " << fact.effect << '\n';
        warn(fact.warnings);
    }

    void warn(const QStringList &warnings) const
    {
        for (const QString &warning : warnings)
            output << "    WARNING: " << warning << '\n';
    }

    void change(const QVariantMap &values, const QString &done) const
    {
        const QStringList notes = settings.change(values);
        output << done << '\n' << notes.join(QLatin1Char('\n')) << '\n';
    }
};

[[noreturn]] void refuse(const QString &why) { throw Mistake{why}; }

/// The server that a command is about.
QString uidOf(const Job &job)
{
    QString uid = job.words.constFirst();
    // One that was copied brings blanks along.
    if (!job.settings.contains(storedKey(excludedServer, uid))
        && !job.settings.contains(storedKey(settingsKeys::idleDockTarget, uid)))
        uid = uid.trimmed();
    const QString mistake = mistakeIn(uid);
    if (!mistake.isEmpty())
        refuse(mistake);
    return uid;
}

void list(const Job &job)
{
    job.warn(job.settings.fileWarnings());
    const QVector<StoredSettings::Fact> facts =
        job.words.isEmpty() ? job.settings.facts() : job.settings.factsOf(uidOf(job));
    for (const StoredSettings::Fact &fact : facts)
        job.show(fact);
}

void exclude(const Job &job)
{
    const QString uid = uidOf(job);
    job.change({{storedKey(excludedServer, uid), true}},
               QStringLiteral("The server %1 is left alone.").arg(uid));
    job.warn(warningsOf(uid));
}

void include(const Job &job)
{
    const QString uid = uidOf(job);
    if (!job.settings.contains(storedKey(excludedServer, uid)))
        refuse(QStringLiteral("the server %1 is not excluded").arg(uid));
    job.change({{storedKey(excludedServer, uid), QVariant()}},
               QStringLiteral("The server %1 is protected.").arg(uid));
    job.warn(warningsOf(uid));
}

void idleDock(const Job &job)
{
    const QString state = job.words.constFirst();
    const bool isOn = state == QLatin1String("on");
    if (!isOn && state != QLatin1String("off"))
        refuse(QStringLiteral("idledock takes on or off, not %1").arg(state));
    job.change({{settingsKeys::idleDock.text(), isOn}},
               isOn ? QStringLiteral("Moves into the idleDock channel of a server are let through.")
                    : QStringLiteral("Moves into the idleDock channel of a server are undone."));
    if (isOn && !job.settings.hasIdleDockChannel()) {
        job.warn({QStringLiteral("no server has an idleDock channel yet; say staybolt-settings "
                                 "idledock-target UID CHANNEL")});
    }
}

void idleDockTarget(const Job &job)
{
    const QString uid = uidOf(job);
    const QString text = job.words.constLast();
    const QString key = storedKey(settingsKeys::idleDockTarget, uid);
    const std::optional<uint> channel = channelIn(text);
    if (channel) {
        job.change({{key, *channel}},
                   QStringLiteral("The idleDock channel of the server %1 is %2.")
                       .arg(uid, QString::number(*channel)));
    } else if (text != QLatin1String("none")) {
        refuse(QStringLiteral("%1 or none, not %2").arg(whatAChannelIs(), text));
    } else if (!job.settings.contains(key)) {
        refuse(QStringLiteral("the server %1 has no idleDock channel").arg(uid));
    } else {
        job.change({{key, QVariant()}},
                   QStringLiteral("The server %1 has no idleDock channel any more.").arg(uid));
    }
    job.warn(warningsOf(uid));
}

/// Has movers told what `values` say, which is `text`.
void tell(const Job &job, QVariantMap values, const QString &text)
{
    values.insert(sendNotify.text(), 1);
    job.change(values, QStringLiteral("Movers are told \"%1\".").arg(text));
}

void notifyText(const Job &job)
{
    if (job.words.constFirst() != QLatin1String("text")) {
        refuse(QStringLiteral("a text with blanks must stand in quotes: notify text \"%1\"")
                   .arg(job.words.join(QLatin1Char(' '))));
    }
    const QString text = job.words.constLast();
    tell(job, {{customNotify.text(), text}}, text);
}

void notify(const Job &job)
{
    const QString word = job.words.constFirst();
    if (word == QLatin1String("text"))
        refuse(QStringLiteral("notify text takes the text as well"));
    if (word == QLatin1String("off")) {
        job.change({{sendNotify.text(), 0}}, QStringLiteral("Movers are not told."));
    } else if (word == QLatin1String("on")) {
        tell(job, {}, job.settings.notice());
    } else if (word == QLatin1String("standard")) {
        tell(job, {{customNotify.text(), QVariant()}}, QLatin1String(settingsKeys::standardNotice));
    } else {
        tell(job, {{customNotify.text(), word}}, word);
    }
    static const QStringList words{QStringLiteral("on"), QStringLiteral("off"),
                                   QStringLiteral("standard"), QStringLiteral("text")};
    const QString meant = word.toLower();
    if (meant != word && words.contains(meant)) {
        job.warn(
            {QStringLiteral("\"%1\" counts as a text here; the word is \"%2\"").arg(word, meant)});
    }
}

struct Command
{
    const char *name;
    const char *arguments; // as the help names them
    int count;
    void (*run)(const Job &job);
    const char *purpose;

    QString usage() const
    {
        return QStringLiteral("%1 %2").arg(QLatin1String(name), QLatin1String(arguments)).trimmed();
    }
};

constexpr Command all[] = {
    {"list", "", 0, list, "each key, what is stored and what the plug-in makes of it"},
    {"list", "UID", 1, list, "the same for one server"},
    {"exclude", "UID", 1, exclude, "leave the server with that unique id alone"},
    {"include", "UID", 1, include, "protect you on that server again"},
    {"idledock", "on|off", 1, idleDock,
     "let moves into the idleDock channels through, or undo them"},
    {"idledock-target", "UID CHANNEL|none", 2, idleDockTarget,
     "the idleDock channel on that server"},
    {"notify", "on|off", 1, notify, "whether movers are told: your text, else the standard notice"},
    {"notify", "standard", 1, notify, "tell them the standard notice, and remove your text"},
    {"notify", "text TEXT", 2, notifyText, "tell them that text"},
};

}

QString commands::help()
{
    QString result = QStringLiteral("Commands:");
    for (const Command &one : all) {
        constexpr int column = 34;
        result +=
            QStringLiteral("\n  ") + one.usage().leftJustified(column) + QLatin1String(one.purpose);
    }
    return result;
}

void commands::run(const QString &path, std::chrono::seconds patience, QStringList words,
                   QTextStream &output)
{
    const QString name = words.takeFirst();
    QStringList usages;
    for (const Command &one : all) {
        if (name != QLatin1String(one.name))
            continue;
        if (words.size() != one.count) {
            usages.append(one.usage());
            continue;
        }
        const bool isReader = one.run == list;
        const auto settings = isReader ? std::make_unique<StoredSettings>(path)
                                       : std::make_unique<StoredSettings>(path, patience);
        if (isReader)
            output << "Settings in " << path << "\n\n";
        one.run({*settings, words, output});
        return;
    }
    if (usages.isEmpty())
        refuse(QStringLiteral("there is no command \"%1\"; see --help").arg(name));
    refuse(QStringLiteral("%1 takes other arguments: %2; see --help")
               .arg(name, usages.join(QStringLiteral(", "))));
}
