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

/// Splits a line at blanks. Single or double quotes keep a text with blanks together, and a #
/// outside of quotes starts a comment.
QStringList split(const QString &line)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"re("([^"]*)"|'([^']*)'|([^\s"'#]+)|(#).*|(["']))re"));
    QStringList words;
    for (auto matches = pattern.globalMatch(line); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        if (match.capturedLength(5) > 0)
            refuse(QStringLiteral("missing closing quote"));
        if (match.capturedLength(4) == 0)
            words.append(match.captured(1) + match.captured(2) + match.captured(3));
    }
    return words;
}

/// A button or a field of the settings dialog, by its name in scenarios.
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

/// What a program that opens the settings file now would read.
QString stored(const QString &file, const QString &key)
{
    const QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("copy.ini"));
    QFile::copy(file, copy);
    const QSettings settings(copy, QSettings::IniFormat);
    return settings.contains(key) ? settings.value(key).toString() : absent;
}

/// A word as a number; a negative one counts from the end of the range.
std::optional<quint64> number(const QString &word, quint64 highest)
{
    bool isNumber = false;
    quint64 number = word.toULongLong(&isNumber);
    if (!isNumber)
        number = quint64(word.toLongLong(&isNumber));
    return isNumber && number <= highest ? std::optional<quint64>(number) : std::nullopt;
}

/// The id of the entry with that name; `word` may also be the id itself.
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

/// The words that follow a statement's name, by the names that its pattern gives them.
class Scenario::Words
{
public:
    /// Matches `words` with `pattern`. SERVER, NUMBER and names that end in CHANNEL or CLIENT take
    /// an id, FUNCTION one of the host's functions, NAME:a|b one of these words, and other capital
    /// words a text. Words in small letters stand for themselves; brackets enclose what may be
    /// missing.
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
            refuse(QStringLiteral("unexpected words: %1").arg(words.join(QLatin1Char(' '))));
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
        if (is("VIEW", "enters"))
            return enters;
        return is("VIEW", "leaves") ? leaves : retains;
    }
    /// A statement's meaning as a line of the story, with names in place of capital words.
    QString told(const char *meaning) const
    {
        QStringList words = QString::fromLatin1(meaning).split(QLatin1Char(' '));
        for (QString &word : words) {
            if (mWords.contains(word))
                word = mWords.value(word).name;
        }
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
        refuse(QStringLiteral("expected %1, got %2").arg(choices, word));
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

/// One statement of the language: its name, its words, what it means, when it may be played and
/// what it does.
struct Scenario::Statement
{
    enum When {
        Always,
        Unloaded, ///< while the plug-in is not loaded
        Loaded,
        Event ///< while it is loaded; the meaning becomes a line of the story
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
    const auto always = Statement::Always;
    const auto unloaded = Statement::Unloaded;
    const auto loaded = Statement::Loaded;
    const auto event = Statement::Event;
    static const QList<Statement> all{
        // Set the stage.
        {"server", "NAME UID [NUMBER]", "adds a server; NUMBER is its connection", always,
         [](Scenario &s, const Words &w) {
             QMap<Id, Server> &servers = s.host.servers;
             const Id next = servers.isEmpty() ? 1 : servers.lastKey() + 1;
             const Id connection = w.has("NUMBER") ? w.id("NUMBER") : next;
             servers.insert(connection, {connection, w.bytes("UID"), w.bytes("NAME")});
         }},
        {"channel", "SERVER CHANNEL NAME [default] [password TEXT]", "adds a channel to SERVER",
         always,
         [](Scenario &s, const Words &w) {
             const int isDefault = w.has("default") ? 1 : 0;
             s.server(w).channels.insert(
                 w.channel(), {w.channel(), w.bytes("NAME"), w.bytes("TEXT"), isDefault});
         }},
        {"client", "SERVER CLIENT NAME CHANNEL [UID]",
         "adds a client; on a connected server, it arrives", always,
         [](Scenario &s, const Words &w) { s.addClient(w); }},
        {"user", "SERVER CLIENT NAME CHANNEL", "adds your own client, before you connect", always,
         [](Scenario &s, const Words &w) {
             if (s.server(w).status != disconnected)
                 refuse(QStringLiteral("the user must be added before the server is connected"));
             s.server(w).own = w.client();
             s.addClient(w);
         }},
        {"setting", "KEY [VALUE]", "stores a setting, or removes it", unloaded,
         [](Scenario &s, const Words &w) { s.store(w); }},
        {"load", "", "loads the plug-in", unloaded,
         [](Scenario &s, const Words &) {
             const QString error = s.load(s.mLibrary);
             if (!error.isEmpty())
                 refuse(error);
         }},
        {"unload", "", "unloads the plug-in", loaded,
         [](Scenario &s, const Words &) { s.unload(); }},

        // Let something happen on the servers.
        {"connect", "SERVER", "you connected to SERVER", event,
         [](Scenario &s, const Words &w) {
             Server &server = s.server(w);
             s.host.currentConnection = server.connection;
             for (int status = disconnected + 1; status <= established; ++status) {
                 server.status = status;
                 s.call(&Plugin::onConnectStatusChangeEvent, server.connection, status, 0);
             }
         }},
        {"disconnect", "SERVER [error NUMBER]", "the connection to SERVER ended", event,
         [](Scenario &s, const Words &w) {
             s.server(w).status = disconnected;
             s.call(&Plugin::onConnectStatusChangeEvent, w.server(), disconnected,
                    unsigned(w.id("NUMBER")));
         }},
        {"tab", "SERVER", "makes SERVER the current tab", always,
         [](Scenario &s, const Words &w) { s.host.currentConnection = w.server(); }},
        {"move", "SERVER CLIENT CHANNEL [VIEW:enters|leaves]", "CLIENT went to CHANNEL on SERVER",
         event,
         [](Scenario &s, const Words &w) {
             const Id oldChannel = s.put(w);
             s.call(&Plugin::onClientMoveEvent, w.server(), w.client(), oldChannel, w.channel(),
                    w.view(), "");
         }},
        {"moved", "SERVER CLIENT CHANNEL by OTHER-CLIENT [VIEW:enters|leaves]",
         "OTHER-CLIENT moved CLIENT to CHANNEL on SERVER", event,
         [](Scenario &s, const Words &w) {
             const Id oldChannel = s.put(w);
             s.call(&Plugin::onClientMoveMovedEvent, w.server(), w.client(), oldChannel,
                    w.channel(), w.view(), w.client("OTHER-CLIENT"), "", "", "");
         }},
        {"leave", "SERVER CLIENT", "CLIENT left SERVER", event,
         [](Scenario &s, const Words &w) {
             const Id oldChannel = s.server(w).clients.take(w.client()).channel;
             s.call(&Plugin::onClientMoveEvent, w.server(), w.client(), oldChannel, 0, leaves, "");
         }},
        {"rename", "SERVER CLIENT NAME", "CLIENT took the name NAME", event,
         [](Scenario &s, const Words &w) {
             if (Client *client = find(s.server(w).clients, w.client()))
                 client->name = w.bytes("NAME");
             s.call(&Plugin::onUpdateClientEvent, w.server(), w.client(), w.client(), "", "");
         }},
        {"news", "SERVER CLIENT by OTHER-CLIENT", "there was news of CLIENT", event,
         [](Scenario &s, const Words &w) {
             s.call(&Plugin::onUpdateClientEvent, w.server(), w.client(), w.client("OTHER-CLIENT"),
                    "", "");
         }},
        {"create", "SERVER CHANNEL NAME", "the channel NAME was created on SERVER", event,
         [](Scenario &s, const Words &w) {
             s.server(w).channels.insert(w.channel(), {w.channel(), w.bytes("NAME")});
             s.call(&Plugin::onNewChannelCreatedEvent, w.server(), w.channel(), 0, 0, "", "");
         }},
        {"edit", "SERVER CHANNEL NAME", "the channel CHANNEL was given the name NAME", event,
         [](Scenario &s, const Words &w) {
             if (Channel *channel = find(s.server(w).channels, w.channel()))
                 channel->name = w.bytes("NAME");
             s.call(&Plugin::onUpdateChannelEditedEvent, w.server(), w.channel(), 0, "", "");
         }},
        {"update", "SERVER CHANNEL", "there was news of the channel CHANNEL", event,
         [](Scenario &s, const Words &w) {
             s.call(&Plugin::onUpdateChannelEvent, w.server(), w.channel());
         }},
        {"reorder", "SERVER CHANNEL PARENT-CHANNEL",
         "the channel CHANNEL moved elsewhere in the tree", event,
         [](Scenario &s, const Words &w) {
             s.call(&Plugin::onChannelMoveEvent, w.server(), w.channel(), w.id("PARENT-CHANNEL"), 0,
                    "", "");
         }},
        {"delete", "SERVER CHANNEL", "the channel CHANNEL was deleted", event,
         [](Scenario &s, const Words &w) {
             s.server(w).channels.remove(w.channel());
             s.call(&Plugin::onDelChannelEvent, w.server(), w.channel(), 0, "", "");
         }},

        // Let the user do something in the host, in the plug-in's dialog or elsewhere.
        {"menu", "SERVER NUMBER [channel CHANNEL] [client CLIENT]",
         "you chose NUMBER in the plug-in's menu", event,
         [](Scenario &s, const Words &w) {
             int type = 0;
             Id selected = 0;
             if (w.has("channel")) {
                 type = 1;
                 selected = w.channel();
             } else if (w.has("client")) {
                 type = 2;
                 selected = w.client();
             }
             s.call(&Plugin::onMenuItemEvent, w.server(), type, int(w.id("NUMBER")), selected);
         }},
        {"hotkey", "KEYWORD", "you pressed the hotkey KEYWORD", event,
         [](Scenario &s, const Words &w) {
             s.call(&Plugin::onHotkeyEvent, w.bytes("KEYWORD").constData());
         }},
        {"configure", "", "you opened the plug-in's settings", event,
         [](Scenario &s, const Words &) {
             // The dialog has to open on the thread of the host's windows.
             if (s.call(&Plugin::offersConfigure) != 2)
                 s.host.complain(QStringLiteral("the settings are not offered on this thread"));
             s.call(&Plugin::configure, nullptr, nullptr);
         }},
        {"press", "BUTTON:save|remove|reload|close", "you pressed BUTTON in the dialog", event,
         [](Scenario &, const Words &w) {
             if (!w.is("BUTTON", "close"))
                 control<QPushButton>(w.text("BUTTON"))->click();
             else if (Stage::dialog())
                 Stage::dialog()->close();
         }},
        {"set", "FIELD:text|notify|idledock VALUE", "you set FIELD to VALUE", event,
         [](Scenario &, const Words &w) {
             const QString field = w.text("FIELD");
             if (field == QLatin1String("text"))
                 control<QLineEdit>(field)->setText(w.text("VALUE"));
             else if (w.is("VALUE", "on") || w.is("VALUE", "off"))
                 control<QSlider>(field)->setValue(w.is("VALUE", "on") ? 1 : 0);
             else
                 refuse(QStringLiteral("expected on or off, got %1").arg(w.text("VALUE")));
         }},
        {"window", "STATE:shown|hidden", "you set the host's window to STATE", event,
         [](Scenario &s, const Words &w) { s.window.setVisible(w.is("STATE", "shown")); }},
        {"change", "KEY [VALUE]", "another program changed the setting KEY", event,
         [](Scenario &s, const Words &w) { s.store(w); }},

        // Change how the host answers.
        {"refuse", "FUNCTION [TEXT]", "makes a function of the host fail", always,
         [](Scenario &s, const Words &w) {
             s.host.faults.insert(w.bytes("FUNCTION"), Fault::Refuse);
             if (w.has("TEXT"))
                 s.host.refusal = w.bytes("TEXT");
         }},
        {"empty", "FUNCTION", "makes a function of the host hand out a null pointer", always,
         [](Scenario &s, const Words &w) {
             s.host.faults.insert(w.bytes("FUNCTION"), Fault::Null);
         }},
        {"garble", "FUNCTION", "makes a function hand out bytes that are not UTF-8", always,
         [](Scenario &s, const Words &w) {
             s.host.faults.insert(w.bytes("FUNCTION"), Fault::Garble);
         }},
        {"allow", "FUNCTION", "makes a function of the host work again", always,
         [](Scenario &s, const Words &w) { s.host.faults.remove(w.bytes("FUNCTION")); }},
        {"callbacks", "WHEN:inside|after",
         "reports a requested move from inside the request or after it", always,
         [](Scenario &s, const Words &w) { s.host.answersInside = w.is("WHEN", "inside"); }},

        // Show things to people.
        {"show", "", "shows who is where", always, [](Scenario &s, const Words &) { s.show(); }},
        {"say", "TEXT", "adds a line to the story", always,
         [](Scenario &s, const Words &w) { s.tell(w.text("TEXT")); }},
        {"help", "[STATEMENT]", "prints this list, or a part of it", always,
         [](Scenario &s, const Words &w) { s.mErrors << help(w.text("STATEMENT")) << Qt::flush; }},
        {"quit", "", "ends the program", always,
         [](Scenario &s, const Words &) { s.mIsOver = true; }},

        // Expect what must have followed.
        {"expect move", "SERVER CLIENT CHANNEL [password TEXT]", "the plug-in asked for a move",
         always,
         [](Scenario &s, const Words &w) {
             s.expectRequest(
                 s.host.describeMove(w.server(), w.client(), w.channel(), w.bytes("TEXT")));
         }},
        {"expect message", "SERVER CLIENT TEXT", "the plug-in asked for a private message", always,
         [](Scenario &s, const Words &w) {
             s.expectRequest(s.host.describeMessage(w.server(), w.client(), w.bytes("TEXT")));
         }},
        {"expect log", "SERVER TEXT [level NUMBER]",
         "the plug-in wrote to the log, as a warning (2)", always,
         [](Scenario &s, const Words &w) {
             const int level = w.has("level") ? int(w.id("NUMBER")) : 2;
             s.expectRequest(s.host.describeLog(w.server(), w.bytes("TEXT"), level));
         }},
        {"expect nothing", "", "the plug-in asked for nothing else", always,
         [](Scenario &s, const Words &) { s.expectRequest(nothing); }},
        {"expect in", "SERVER CLIENT CHANNEL", "CLIENT is in CHANNEL", always,
         [](Scenario &s, const Words &w) {
             const auto name = [&](Id channel) {
                 return withId(s.host.channelName(w.server(), channel), channel);
             };
             const Client client = s.server(w).clients.value(w.client());
             s.expect(name(w.channel()), name(client.channel));
         }},
        {"expect info", "TEXT", "the info panel shows TEXT for servers, channels and clients",
         loaded,
         [](Scenario &s, const Words &w) {
             for (int itemType : {0, 1, 2})
                 s.expect(w.text("TEXT"), s.info(itemType));
         }},
        {"expect menu", "[TEXT]", "the plug-in has these menu items", loaded,
         [](Scenario &s, const Words &w) { s.expect(w.text("TEXT"), s.menu()); }},
        {"expect hotkeys", "[TEXT]", "the plug-in has these hotkeys", loaded,
         [](Scenario &s, const Words &w) { s.expect(w.text("TEXT"), s.hotkeys()); }},
        {"expect dialog", "STATE:open|closed", "the settings dialog is open or closed", always,
         [](Scenario &s, const Words &w) {
             const bool isOpen = Stage::dialog() && Stage::dialog()->isVisible();
             s.expect(w.text("STATE"), QLatin1String(isOpen ? "open" : "closed"));
         }},
        {"expect field", "FIELD:text|notify|idledock VALUE", "a field of the dialog shows VALUE",
         always,
         [](Scenario &s, const Words &w) {
             const QString field = w.text("FIELD");
             const QString shown = field == QLatin1String("text")
                 ? control<QLineEdit>(field)->text()
                 : QLatin1String(control<QSlider>(field)->value() == 1 ? "on" : "off");
             s.expect(w.text("VALUE"), shown);
         }},
        {"expect setting", "KEY [VALUE]", "the settings file holds VALUE, or no such key", always,
         [](Scenario &s, const Words &w) {
             const QString value = w.has("VALUE") ? w.text("VALUE") : absent;
             s.expect(value, stored(s.settingsFile(), w.text("KEY")));
         }},
        {"expect calls", "NUMBER", "how often the last statement made the plug-in call the host",
         always,
         [](Scenario &s, const Words &w) {
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
        if (!place.isEmpty())
            mErrors << place << ": ";
        mErrors << problem.message << '\n' << Qt::flush;
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
    mErrors << place() << ": no line expects anything, so this checks nothing\n" << Qt::flush;
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

/// Puts a client into a channel and returns the channel that it leaves, 0 for an unknown client.
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

/// Stores or removes a setting as another program would, by replacing the file. Qt must not write
/// that file itself: all settings objects for one file in a process share their values, so the
/// plug-in would know the change without reading it.
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
    // Two files written within one tick of the clock would look alike.
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
    const QString text = QStringLiteral("%1: expected %2, got %3");
    if (expected != came)
        throw Problem{Failed, text.arg(mStatement, expected, came)};
}

void Scenario::expectRequest(const QString &expected)
{
    expect(expected, host.requests.isEmpty() ? nothing : host.requests.takeFirst());
}

}
