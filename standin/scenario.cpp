#include "standin/scenario.h"

#include <QCoreApplication>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QSlider>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <optional>

namespace standin {

namespace {

/// Why playing stops.
struct Problem
{
    Scenario::Outcome outcome;
    QString message;
};

[[noreturn]] void refuse(const QString &why) { throw Problem{Scenario::Unplayable, why}; }

/// Splits a line at blanks; double or single quotes keep blanks together, and a # outside of them
/// starts a comment.
QStringList split(const QString &line)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"re("([^"]*)"|'([^']*)'|([^\s"'#]+)|(#).*|(["']))re"));
    QStringList words;
    for (auto matches = pattern.globalMatch(line); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        if (match.capturedLength(5) > 0)
            refuse(QStringLiteral("a quoted text has no end"));
        if (match.capturedLength(4) == 0)
            words.append(match.captured(1) + match.captured(2) + match.captured(3));
    }
    return words;
}

/// A button or a field of the settings dialog, by the name that scenarios have for it.
template<typename T>
T *control(const QString &name)
{
    static const QMap<QString, const char *> objects{
        {QStringLiteral("save"), "buttonApply"},    {QStringLiteral("remove"), "buttonRemove"},
        {QStringLiteral("reload"), "buttonReload"}, {QStringLiteral("text"), "lineCustomNotify"},
        {QStringLiteral("notify"), "sliderNotify"}, {QStringLiteral("idledock"), "sliderIdleDock"},
    };
    const QWidget *dialog = Stage::dialog();
    T *found = dialog ? dialog->findChild<T *>(QLatin1String(objects.value(name))) : nullptr;
    if (!found)
        throw Problem{Scenario::Failed, QStringLiteral("there is no settings dialog")};
    return found;
}

const QString nothing = QStringLiteral("nothing");
const QString absent = QStringLiteral("(absent)");

/// What somebody would read who opens the settings file now.
QString stored(const QString &file, const QString &key)
{
    const QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("copy.ini"));
    QFile::copy(file, copy);
    const QSettings settings(copy, QSettings::IniFormat);
    return settings.contains(key) ? settings.value(key).toString() : absent;
}

/// The number that a word is; a negative one counts from the end.
std::optional<quint64> number(const QString &word, quint64 highest)
{
    bool isNumber = false;
    quint64 number = word.toULongLong(&isNumber);
    if (!isNumber)
        number = quint64(word.toLongLong(&isNumber));
    return isNumber && number <= highest ? std::optional<quint64>(number) : std::nullopt;
}

/// The id of the one of that name; `word` may also be an id.
template<typename List>
std::optional<quint64> idOf(const List &list, const QString &word, quint64 highest)
{
    for (const auto &one : list) {
        if (!one.name.isEmpty() && QString::fromUtf8(one.name) == word)
            return one.id;
    }
    return number(word, highest);
}

// The host's values of the connection status, and of how a move relates to the user's view.
constexpr int disconnected = 0;
constexpr int established = 4;
enum Visibility { enters = 0, retains = 1, leaves = 2 };

}

/// The words behind a statement's name, by the names that the statement gives them.
class Scenario::Words
{
public:
    /// Takes `words` as `pattern` says: SERVER, NUMBER and what ends in CHANNEL or CLIENT stand for
    /// an id, FUNCTION for one of the table's, other names for a text, NAME:a|b for one of several
    /// words; what is in small letters stands for itself, and what is in brackets may be missing.
    Words(const Host &host, const QString &pattern, QStringList words)
    {
        bool isSkipping = false;
        const QStringList tokens = pattern.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (QString token : tokens) {
            const bool opens = token.startsWith(QLatin1Char('['));
            const bool closes = token.endsWith(QLatin1Char(']'));
            token.remove(QLatin1Char('[')).remove(QLatin1Char(']'));
            if (opens)
                isSkipping = words.isEmpty() || (isFixed(token) && words.first() != token);
            if (!isSkipping)
                take(host, token, words);
            if (closes)
                isSkipping = false;
        }
        if (!words.isEmpty())
            refuse(QStringLiteral("too much: %1").arg(words.join(QLatin1Char(' '))));
    }

    bool has(const char *name) const { return mWords.contains(QLatin1String(name)); }
    QString text(const char *name) const { return word(name).text; }
    QByteArray bytes(const char *name) const { return text(name).toUtf8(); }
    bool is(const char *name, const char *word) const { return text(name) == QLatin1String(word); }
    quint64 id(const char *name) const { return word(name).id; }
    Id server() const { return id("SERVER"); }
    Id channel() const { return id("CHANNEL"); }
    ClientId client(const char *name = "CLIENT") const { return ClientId(id(name)); }
    int view() const
    {
        return is("VIEW", "enters") ? enters : is("VIEW", "leaves") ? leaves : retains;
    }
    /// The line of the story for what a statement means: names stand in place of capital words.
    QString told(const char *meaning) const
    {
        QStringList words = QString::fromLatin1(meaning).split(QLatin1Char(' '));
        for (QString &word : words)
            word = mWords.value(word, {QString(), word}).name;
        QString line = words.join(QLatin1Char(' '));
        line[0] = line.at(0).toUpper();
        return line;
    }

private:
    struct Word
    {
        QString text;
        QString name; ///< what the story calls it
        quint64 id = 0;
    };

    Word word(const char *name) const { return mWords.value(QLatin1String(name)); }
    static bool isFixed(const QString &token) { return token.at(0).isLower(); }
    void take(const Host &host, const QString &token, QStringList &words);

    QMap<QString, Word> mWords;
};

void Scenario::Words::take(const Host &host, const QString &token, QStringList &words)
{
    if (words.isEmpty())
        refuse(QStringLiteral("%1 is missing").arg(token));
    const QString word = words.takeFirst();
    const QString name = token.section(QLatin1Char(':'), 0, 0);
    const QString choices = token.section(QLatin1Char(':'), -1);
    if ((isFixed(token) || name != token) && !choices.split(QLatin1Char('|')).contains(word))
        refuse(QStringLiteral("%1 is due, not %2").arg(choices, word));
    Word &taken = mWords[name];
    taken.text = word;
    taken.name = quoted(word.toUtf8());

    const Server server = host.servers.value(this->server());
    std::optional<quint64> id;
    if (name == QLatin1String("SERVER")) {
        for (const Server &one : host.servers) {
            if (QString::fromUtf8(one.name) == word)
                id = one.connection;
        }
    } else if (name.endsWith(QLatin1String("CHANNEL"))) {
        id = idOf(server.channels, word, std::numeric_limits<Id>::max());
        taken.name = host.channelName(server.connection, id.value_or(0));
    } else if (name.endsWith(QLatin1String("CLIENT"))) {
        id = idOf(server.clients, word, std::numeric_limits<ClientId>::max());
        taken.name = host.clientName(server.connection, id.value_or(0));
    } else if (name == QLatin1String("NUMBER")) {
        id = number(word, std::numeric_limits<quint64>::max());
    } else if (name != QLatin1String("FUNCTION") || Host::knows(word.toUtf8())) {
        return;
    }
    if (!id)
        refuse(QStringLiteral("there is no %1 \"%2\"").arg(name, word));
    taken.id = *id;
}

/// One statement of the language: its name, its words, what it means and does, and when it may be
/// played.
struct Scenario::Statement
{
    enum When {
        Always,
        Unloaded, ///< while the plug-in is not loaded
        Loaded,
        Event ///< while it is loaded, and told as a line of the story
    };

    const char *name;
    const char *pattern;
    const char *meaning;
    When when;
    void (*play)(Scenario &scenario, const Words &words);
};

Scenario::Scenario(const QString &library, QTextStream &errors, const QString &configFolder) :
    Stage(configFolder), mLibrary(library), mErrors(errors)
{
}

const QList<Scenario::Statement> &Scenario::statements()
{
    using S = Scenario &;
    using W = const Words &;
    const auto always = Statement::Always;
    const auto unloaded = Statement::Unloaded;
    const auto loaded = Statement::Loaded;
    const auto event = Statement::Event;
    static const QList<Statement> all{
        // The stage.
        {"server", "NAME UID [NUMBER]", "there is a server, of that connection", always,
         [](S s, W w) {
             QMap<Id, Server> &servers = s.host.servers;
             const Id next = servers.isEmpty() ? 1 : servers.lastKey() + 1;
             const Id connection = w.has("NUMBER") ? w.id("NUMBER") : next;
             servers.insert(connection, {connection, w.bytes("UID"), w.bytes("NAME")});
         }},
        {"channel", "SERVER CHANNEL NAME [default] [password TEXT]", "it has a channel", always,
         [](S s, W w) {
             const int isDefault = w.has("default") ? 1 : 0;
             s.server(w).channels.insert(
                 w.channel(), {w.channel(), w.bytes("NAME"), w.bytes("TEXT"), isDefault});
         }},
        {"client", "SERVER CLIENT NAME CHANNEL [UID]", "somebody is there, or comes", always,
         [](S s, W w) { s.addClient(w); }},
        {"user", "SERVER CLIENT NAME CHANNEL", "you will be there", always,
         [](S s, W w) {
             if (s.server(w).status != disconnected)
                 refuse(QStringLiteral("the user must be there before the server is connected"));
             s.server(w).own = w.client();
             s.addClient(w);
         }},
        {"setting", "KEY [VALUE]", "the settings file holds that, or nothing", unloaded,
         [](S s, W w) { s.store(w); }},
        {"load", "", "the host loads the plug-in", unloaded,
         [](S s, W) {
             const QString error = s.load(s.mLibrary);
             if (!error.isEmpty())
                 refuse(error);
         }},
        {"unload", "", "the host unloads it", loaded, [](S s, W) { s.unload(); }},

        // What happens on the servers.
        {"connect", "SERVER", "you connected to SERVER", event,
         [](S s, W w) {
             Server &server = s.server(w);
             s.host.currentConnection = server.connection;
             for (int status = disconnected + 1; status <= established; ++status) {
                 server.status = status;
                 s.call(&Plugin::onConnectStatusChangeEvent, server.connection, status, 0);
             }
         }},
        {"disconnect", "SERVER [error NUMBER]", "the connection to SERVER ended", event,
         [](S s, W w) {
             s.server(w).status = disconnected;
             s.call(&Plugin::onConnectStatusChangeEvent, w.server(), disconnected,
                    unsigned(w.id("NUMBER")));
         }},
        {"tab", "SERVER", "the host shows the tab of SERVER", always,
         [](S s, W w) { s.host.currentConnection = w.server(); }},
        {"move", "SERVER CLIENT CHANNEL [VIEW:enters|leaves]", "CLIENT went to CHANNEL on SERVER",
         event,
         [](S s, W w) {
             const Id oldChannel = s.put(w);
             s.call(&Plugin::onClientMoveEvent, w.server(), w.client(), oldChannel, w.channel(),
                    w.view(), "");
         }},
        {"moved", "SERVER CLIENT CHANNEL by OTHER-CLIENT [VIEW:enters|leaves]",
         "OTHER-CLIENT moved CLIENT to CHANNEL on SERVER", event,
         [](S s, W w) {
             const Id oldChannel = s.put(w);
             s.call(&Plugin::onClientMoveMovedEvent, w.server(), w.client(), oldChannel,
                    w.channel(), w.view(), w.client("OTHER-CLIENT"), "", "", "");
         }},
        {"leave", "SERVER CLIENT", "CLIENT left SERVER", event,
         [](S s, W w) {
             const Id oldChannel = s.server(w).clients.take(w.client()).channel;
             s.call(&Plugin::onClientMoveEvent, w.server(), w.client(), oldChannel, 0, leaves, "");
         }},
        {"rename", "SERVER CLIENT NAME", "CLIENT took the name NAME", event,
         [](S s, W w) {
             if (Client *client = find(s.server(w).clients, w.client()))
                 client->name = w.bytes("NAME");
             s.call(&Plugin::onUpdateClientEvent, w.server(), w.client(), w.client(), "", "");
         }},
        {"news", "SERVER CLIENT by OTHER-CLIENT", "there was news of CLIENT", event,
         [](S s, W w) {
             s.call(&Plugin::onUpdateClientEvent, w.server(), w.client(), w.client("OTHER-CLIENT"),
                    "", "");
         }},
        {"create", "SERVER CHANNEL NAME", "the channel NAME was created on SERVER", event,
         [](S s, W w) {
             s.server(w).channels.insert(w.channel(), {w.channel(), w.bytes("NAME")});
             s.call(&Plugin::onNewChannelCreatedEvent, w.server(), w.channel(), 0, 0, "", "");
         }},
        {"edit", "SERVER CHANNEL NAME", "the channel CHANNEL was given the name NAME", event,
         [](S s, W w) {
             if (Channel *channel = find(s.server(w).channels, w.channel()))
                 channel->name = w.bytes("NAME");
             s.call(&Plugin::onUpdateChannelEditedEvent, w.server(), w.channel(), 0, "", "");
         }},
        {"update", "SERVER CHANNEL", "there was news of the channel CHANNEL", event,
         [](S s, W w) { s.call(&Plugin::onUpdateChannelEvent, w.server(), w.channel()); }},
        {"reorder", "SERVER CHANNEL PARENT-CHANNEL",
         "the channel CHANNEL moved elsewhere in the tree", event,
         [](S s, W w) {
             s.call(&Plugin::onChannelMoveEvent, w.server(), w.channel(), w.id("PARENT-CHANNEL"), 0,
                    "", "");
         }},
        {"delete", "SERVER CHANNEL", "the channel CHANNEL was deleted", event,
         [](S s, W w) {
             s.server(w).channels.remove(w.channel());
             s.call(&Plugin::onDelChannelEvent, w.server(), w.channel(), 0, "", "");
         }},

        // What the user does in the host and in the plug-in's dialog, and elsewhere.
        {"menu", "SERVER NUMBER [channel CHANNEL] [client CLIENT]",
         "you chose NUMBER in the plug-in's menu", event,
         [](S s, W w) {
             const int type = w.has("channel") ? 1 : w.has("client") ? 2 : 0;
             s.call(&Plugin::onMenuItemEvent, w.server(), type, int(w.id("NUMBER")),
                    type == 1 ? w.channel() : w.client());
         }},
        {"hotkey", "KEYWORD", "you pressed the hotkey KEYWORD", event,
         [](S s, W w) { s.call(&Plugin::onHotkeyEvent, w.bytes("KEYWORD").constData()); }},
        {"configure", "", "you opened the plug-in's settings", event,
         [](S s, W) {
             // The dialog has to open on the thread of the host's windows.
             if (s.call(&Plugin::offersConfigure) != 2)
                 s.host.complain(QStringLiteral("the settings are not offered on this thread"));
             s.call(&Plugin::configure, nullptr, nullptr);
         }},
        {"press", "BUTTON:save|remove|reload|close", "you pressed BUTTON in the dialog", event,
         [](S, W w) {
             if (!w.is("BUTTON", "close"))
                 control<QPushButton>(w.text("BUTTON"))->click();
             else if (Stage::dialog())
                 Stage::dialog()->close();
         }},
        {"set", "FIELD:text|notify|idledock VALUE", "you set FIELD to VALUE", event,
         [](S, W w) {
             const QString value = w.text("VALUE");
             if (w.is("FIELD", "text"))
                 return control<QLineEdit>(w.text("FIELD"))->setText(value);
             if (!w.is("VALUE", "on") && !w.is("VALUE", "off"))
                 refuse(QStringLiteral("on or off is due, not %1").arg(value));
             control<QSlider>(w.text("FIELD"))->setValue(w.is("VALUE", "on") ? 1 : 0);
         }},
        {"window", "STATE:shown|hidden", "you set the host's window to STATE", event,
         [](S s, W w) { s.window.setVisible(w.is("STATE", "shown")); }},
        {"change", "KEY [VALUE]", "another program changed the setting KEY", event,
         [](S s, W w) { s.store(w); }},

        // How the host answers.
        {"refuse", "FUNCTION [TEXT]", "a function of the host fails", always,
         [](S s, W w) {
             s.host.faults.insert(w.bytes("FUNCTION"), Fault::Refuse);
             if (w.has("TEXT"))
                 s.host.refusal = w.bytes("TEXT");
         }},
        {"empty", "FUNCTION", "it hands out a null pointer", always,
         [](S s, W w) { s.host.faults.insert(w.bytes("FUNCTION"), Fault::Null); }},
        {"garble", "FUNCTION", "it hands out bytes that are not UTF-8", always,
         [](S s, W w) { s.host.faults.insert(w.bytes("FUNCTION"), Fault::Garble); }},
        {"allow", "FUNCTION", "it works again", always,
         [](S s, W w) { s.host.faults.remove(w.bytes("FUNCTION")); }},
        {"callbacks", "WHEN:inside|after", "when the host reports a move that was asked for",
         always, [](S s, W w) { s.host.answersInside = w.is("WHEN", "inside"); }},

        // For people.
        {"show", "", "who is where", always, [](S s, W) { s.show(); }},
        {"say", "TEXT", "a line of the story", always, [](S s, W w) { s.tell(w.text("TEXT")); }},
        {"help", "[STATEMENT]", "this list, or a part of it", always,
         [](S s, W w) { s.mErrors << help(w.text("STATEMENT")) << Qt::flush; }},
        {"quit", "", "the end", always, [](S s, W) { s.mIsOver = true; }},

        // What must have followed.
        {"expect move", "SERVER CLIENT CHANNEL [password TEXT]", "the plug-in asked for a move",
         always,
         [](S s, W w) {
             s.expectRequest(
                 s.host.describeMove(w.server(), w.client(), w.channel(), w.bytes("TEXT")));
         }},
        {"expect message", "SERVER CLIENT TEXT", "it asked for a message to somebody", always,
         [](S s, W w) {
             s.expectRequest(s.host.describeMessage(w.server(), w.client(), w.bytes("TEXT")));
         }},
        {"expect log", "SERVER TEXT [level NUMBER]", "it wrote to the log, as a warning (2)",
         always,
         [](S s, W w) {
             const int level = w.has("level") ? int(w.id("NUMBER")) : 2;
             s.expectRequest(s.host.describeLog(w.server(), w.bytes("TEXT"), level));
         }},
        {"expect nothing", "", "it asked for nothing more", always,
         [](S s, W) { s.expectRequest(nothing); }},
        {"expect in", "SERVER CLIENT CHANNEL", "somebody is in that channel", always,
         [](S s, W w) {
             const auto name = [&](Id channel) {
                 return withId(s.host.channelName(w.server(), channel), channel);
             };
             const Client client = s.server(w).clients.value(w.client());
             s.expect(name(w.channel()), name(client.channel));
         }},
        {"expect info", "TEXT", "the info panel of servers, channels and clients", loaded,
         [](S s, W w) {
             for (int itemType : {0, 1, 2})
                 s.expect(w.text("TEXT"), s.info(itemType));
         }},
        {"expect menu", "[TEXT]", "the plug-in's menu", loaded,
         [](S s, W w) { s.expect(w.text("TEXT"), s.menu()); }},
        {"expect hotkeys", "[TEXT]", "its hotkeys", loaded,
         [](S s, W w) { s.expect(w.text("TEXT"), s.hotkeys()); }},
        {"expect dialog", "STATE:open|closed", "its dialog", always,
         [](S s, W w) {
             const bool isOpen = Stage::dialog() && Stage::dialog()->isVisible();
             s.expect(w.text("STATE"), QLatin1String(isOpen ? "open" : "closed"));
         }},
        {"expect field", "FIELD:text|notify|idledock VALUE", "a field of the dialog", always,
         [](S s, W w) {
             const QString field = w.text("FIELD");
             const QString shown = field == QLatin1String("text")
                 ? control<QLineEdit>(field)->text()
                 : QLatin1String(control<QSlider>(field)->value() == 1 ? "on" : "off");
             s.expect(w.text("VALUE"), shown);
         }},
        {"expect setting", "KEY [VALUE]", "the settings file holds that, or nothing", always,
         [](S s, W w) {
             const QString value = w.has("VALUE") ? w.text("VALUE") : absent;
             s.expect(value, stored(s.settingsFile(), w.text("KEY")));
         }},
        {"expect calls", "NUMBER", "how often the last statement had the host called", always,
         [](S s, W w) {
             s.expect(w.text("NUMBER"), QString::number(s.host.callCount - s.mCallsBefore));
         }},
    };
    return all;
}

QString Scenario::help(const QString &word)
{
    QString text;
    for (const Statement &statement : statements()) {
        const QString name = QLatin1String(statement.name);
        if (word.isEmpty() || name.startsWith(word)) {
            text +=
                QStringLiteral("  %1 %2\n      %3\n")
                    .arg(name, QLatin1String(statement.pattern), QLatin1String(statement.meaning));
        }
    }
    return text.isEmpty() ? help() : text;
}

void Scenario::play(const QString &line)
{
    QStringList words = split(line);
    if (words.isEmpty())
        return;
    QString name = words.takeFirst();
    const bool isExpectation = name == QLatin1String("expect") && !words.isEmpty();
    if (isExpectation) {
        name += QLatin1Char(' ') + words.takeFirst();
        mExpects = true;
    } else {
        mCallsBefore = host.callCount;
    }
    for (const Statement &statement : statements()) {
        if (name != QLatin1String(statement.name))
            continue;
        const Words arguments(host, QLatin1String(statement.pattern), words);
        const bool isLoaded = plugin.isOpen();
        if (statement.when >= Statement::Loaded && !isLoaded)
            refuse(QStringLiteral("the plug-in is not loaded; say \"load\" first"));
        if (statement.when == Statement::Unloaded && isLoaded)
            refuse(QStringLiteral("the plug-in is loaded already; say \"unload\" first"));
        if (statement.when == Statement::Event)
            tell(arguments.told(statement.meaning));
        mStatement = name;
        statement.play(*this, arguments);
        QCoreApplication::processEvents();
        return;
    }
    refuse(QStringLiteral("there is no statement \"%1\"; say \"help\"").arg(name));
}

Scenario::Outcome Scenario::playLine(const QString &line, const QString &place)
{
    host.place = place;
    try {
        play(line);
        return Held;
    } catch (const Problem &problem) {
        mErrors << place << (place.isEmpty() ? "" : ": ") << problem.message << '\n' << Qt::flush;
        return problem.outcome;
    }
}

Scenario::Outcome Scenario::play(QString text, const QString &name)
{
    int number = 0;
    const auto place = [&] { return QStringLiteral("%1:%2").arg(name).arg(number); };
    QTextStream lines(&text);
    while (!lines.atEnd() && !mIsOver) {
        ++number;
        const Outcome outcome = playLine(lines.readLine(), place());
        if (outcome != Held)
            return outcome;
    }
    if (mExpects)
        return finish(place());
    mErrors << place() << ": there is no expectation, so this checks nothing\n" << Qt::flush;
    return Unplayable;
}

Scenario::Outcome Scenario::playFile(const QString &path)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        return play(QString::fromUtf8(file.readAll()), path);
    mErrors << path << ":0: " << file.errorString() << '\n' << Qt::flush;
    return Unplayable;
}

Scenario::Outcome Scenario::finish(const QString &place)
{
    const Outcome outcome = mExpects ? playLine(QStringLiteral("expect nothing"), place) : Held;
    mExpects = false;
    return outcome;
}

Server &Scenario::server(const Words &words) { return host.servers[words.server()]; }

/// Puts a client into a channel and returns the one that it leaves, 0 for a client who is not
/// there.
Id Scenario::put(const Words &words)
{
    Client *client = find(server(words).clients, words.client());
    return client ? std::exchange(client->channel, words.channel()) : 0;
}

void Scenario::addClient(const Words &words)
{
    Server &server = this->server(words);
    Client client{words.client(), words.bytes("UID"), words.bytes("NAME")};
    client.channel = words.channel();
    if (!words.has("UID"))
        client.uid = client.name.toBase64();
    server.clients.insert(client.id, client);
    if (server.status == disconnected || !plugin.isOpen())
        return;
    tell(words.told("NAME came to CHANNEL on SERVER"));
    call(&Plugin::onClientMoveEvent, server.connection, client.id, 0, client.channel, enters, "");
}

/// Stores or removes a setting as another program does, which puts a new file in the place of the
/// old one. Qt must not be asked to write that file itself: within a program, all settings objects
/// on a file share what they hold, and the plug-in would know the change without reading it.
void Scenario::store(const Words &words)
{
    const QTemporaryDir folder(settingsFile());
    const QString copy = folder.filePath(QStringLiteral("copy.ini"));
    QFile::copy(settingsFile(), copy);
    {
        QSettings settings(copy, QSettings::IniFormat);
        settings.setValue(words.text("KEY"), words.text("VALUE"));
        if (!words.has("VALUE"))
            settings.remove(words.text("KEY"));
    }
    // Files that follow each other faster than the clock ticks would look alike.
    mStored = std::max(mStored, QDateTime::currentDateTime()).addSecs(1);
    QFile file(copy);
    if (!file.open(QIODevice::ReadWrite) || !file.setFileTime(mStored, QFile::FileModificationTime)
        || std::rename(QFile::encodeName(copy).constData(),
                       QFile::encodeName(settingsFile()).constData())
            != 0)
        refuse(QStringLiteral("the settings file can't be replaced"));
}

void Scenario::show()
{
    for (const Server &server : qAsConst(host.servers)) {
        const Id connection = server.connection;
        tell(host.describeServer(connection)
             + QLatin1String(server.status == disconnected ? ", not connected" : ""));
        for (const Channel &channel : server.channels) {
            QStringList clients;
            for (const Client &client : server.clients) {
                if (client.channel == channel.id)
                    clients.append(withId(host.clientName(connection, client.id), client.id));
            }
            tell(QStringLiteral("  %1: %2")
                     .arg(withId(host.channelName(connection, channel.id), channel.id),
                          clients.join(QLatin1String(", "))));
        }
    }
}

void Scenario::expect(const QString &expected, const QString &came)
{
    const QString text = QStringLiteral("%1: expected: %2; came: %3");
    if (expected != came)
        throw Problem{Failed, text.arg(mStatement, expected, came)};
}

void Scenario::expectRequest(const QString &expected)
{
    expect(expected, host.requests.isEmpty() ? nothing : host.requests.takeFirst());
}

}
