#include "standin/scenario.h"

#include <QCoreApplication>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSlider>

#include <limits>

namespace standin {

namespace {

/// A scenario that makes no sense; exit status 2.
struct Mistake
{
    QString message;
};

/// An expectation that does not hold; exit status 1.
struct Mismatch
{
    QString message;
};

/// Splits a line at blanks; double or single quotes keep blanks together, and a # outside of them
/// starts a comment.
QStringList split(const QString &line)
{
    QStringList words;
    QString word;
    bool inWord = false;
    QChar quote;
    for (const QChar c : line) {
        if (quote.isNull() && (c == QLatin1Char('"') || c == QLatin1Char('\''))) {
            quote = c;
            inWord = true;
        } else if (c == quote) {
            quote = QChar();
        } else if (quote.isNull() && c == QLatin1Char('#')) {
            break;
        } else if (!quote.isNull() || !c.isSpace()) {
            word.append(c);
            inWord = true;
        } else if (inWord) {
            words.append(word);
            word.clear();
            inWord = false;
        }
    }
    if (!quote.isNull())
        throw Mistake{QStringLiteral("a quoted text has no end")};
    if (inWord)
        words.append(word);
    return words;
}

template<typename T>
T *widget(const char *name)
{
    const QWidget *dialog = Stage::dialog();
    T *found = dialog ? dialog->findChild<T *>(QLatin1String(name)) : nullptr;
    if (!found)
        throw Mismatch{QStringLiteral("there is no settings dialog")};
    return found;
}

void expectText(const QString &what, const QString &expected, const QString &came)
{
    if (expected != came)
        throw Mismatch{QStringLiteral("%1: expected: %2; came: %3").arg(what, expected, came)};
}

void expectState(const char *what, bool expected, bool came)
{
    const auto text = [](bool state) { return QLatin1String(state ? "on" : "off"); };
    expectText(QLatin1String(what), text(expected), text(came));
}

quint64 number(const QString &what, const QString &word, quint64 highest)
{
    bool isNumber = false;
    const quint64 number = word.toULongLong(&isNumber);
    if (!isNumber || number > highest) {
        throw Mistake{QStringLiteral("%1 is not a number from 0 to %2: %3")
                          .arg(what, QString::number(highest), word)};
    }
    return number;
}

/// The id of the one of that name; `word` may also be an id.
template<typename List>
quint64 named(const char *what, const List &list, const QString &word, quint64 highest)
{
    for (const auto &one : list) {
        if (!one.name.isEmpty() && QString::fromUtf8(one.name) == word)
            return one.id;
    }
    bool isNumber = false;
    const quint64 id = word.toULongLong(&isNumber);
    if (!isNumber || id > highest)
        throw Mistake{QStringLiteral("there is no %1 \"%2\"").arg(QLatin1String(what), word)};
    return id;
}

/// What somebody would read who opens the settings file now.
QString stored(const QString &file, const QString &key)
{
    const QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("copy.ini"));
    QFile::copy(file, copy);
    const QSettings settings(copy, QSettings::IniFormat);
    return settings.contains(key) ? settings.value(key).toString() : QStringLiteral("(absent)");
}

constexpr quint64 anyId = std::numeric_limits<quint64>::max();
constexpr quint64 anyClient = std::numeric_limits<ClientId>::max();

}

/// The words behind a statement's name, by the names that the statement gives them.
class Scenario::Words
{
public:
    /// Takes `words` as `pattern` says: NAMES stand for a text or, where there is a kind of that
    /// name, an id, TEXT... for all that is left; other words stand for themselves, a|b for one of
    /// several; what is in brackets may be missing.
    Words(const Stage &stage, const QString &pattern, QStringList words)
    {
        bool isSkipping = false;
        const QStringList tokens = pattern.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (QString token : tokens) {
            const bool opens = token.startsWith(QLatin1Char('['));
            const bool closes = token.endsWith(QLatin1Char(']'));
            token.remove(QLatin1Char('[')).remove(QLatin1Char(']'));
            if (opens) {
                isSkipping = words.isEmpty()
                    || (isFixed(token) && !token.split(QLatin1Char('|')).contains(words.first()));
            }
            if (!isSkipping)
                take(stage, token, words);
            if (closes)
                isSkipping = false;
        }
        if (!words.isEmpty())
            throw Mistake{QStringLiteral("too much: %1").arg(words.join(QLatin1Char(' ')))};
    }

    bool has(const char *name) const { return mTexts.contains(QLatin1String(name)); }
    QString text(const char *name) const { return mTexts.value(QLatin1String(name)); }
    QByteArray bytes(const char *name) const { return text(name).toUtf8(); }
    quint64 id(const char *name) const { return mIds.value(QLatin1String(name)); }
    ClientId client(const char *name) const { return static_cast<ClientId>(id(name)); }
    const QStringList &rest() const { return mRest; }

private:
    static bool isFixed(const QString &token) { return token.at(0).isLower(); }
    void take(const Stage &stage, const QString &token, QStringList &words);

    QMap<QString, QString> mTexts;
    QMap<QString, quint64> mIds;
    QStringList mRest;
};

/// The highest id that the words of some names stand for.
const QMap<QString, quint64> numbers{{QStringLiteral("ID"), anyId},
                                     {QStringLiteral("CONNECTION"), anyId},
                                     {QStringLiteral("PARENT"), anyId},
                                     {QStringLiteral("CLIENT-ID"), anyClient},
                                     {QStringLiteral("NUMBER"), 0x7fffffff}};

void Scenario::Words::take(const Stage &stage, const QString &token, QStringList &words)
{
    if (token.endsWith(QLatin1String("..."))) {
        mRest = std::exchange(words, {});
        return;
    }
    if (words.isEmpty())
        throw Mistake{QStringLiteral("%1 is missing").arg(token)};
    const QString word = words.takeFirst();
    if (isFixed(token)) {
        if (!token.split(QLatin1Char('|')).contains(word))
            throw Mistake{QStringLiteral("%1 is due, not %2").arg(token, word)};
        mTexts.insert(word, word);
        return;
    }
    mTexts.insert(token, word);
    const Server server = stage.host.servers.value(id("SERVER"));
    if (token == QLatin1String("SERVER")) {
        for (const Server &one : stage.host.servers) {
            if (QString::fromUtf8(one.name) == word)
                mIds.insert(token, one.connection);
        }
        if (!mIds.contains(token))
            throw Mistake{QStringLiteral("there is no server \"%1\"").arg(word)};
    } else if (token == QLatin1String("CHANNEL")) {
        mIds.insert(token, named("channel", server.channels, word, anyId));
    } else if (QStringList{QStringLiteral("CLIENT"), QStringLiteral("MOVER"),
                           QStringLiteral("INVOKER")}
                   .contains(token)) {
        mIds.insert(token, named("client", server.clients, word, anyClient));
    } else if (numbers.contains(token)) {
        mIds.insert(token, number(token, word, numbers.value(token)));
    }
}

/// One statement of the language: its name, its words, what it does, and when it may be played.
struct Scenario::Statement
{
    enum When { Always, Loaded, Unloaded };

    const char *name;
    const char *pattern;
    const char *meaning;
    When when;
    void (*play)(Scenario &scenario, const Words &words);
};

Scenario::Scenario(Stage &stage, const QString &library, QTextStream &errors) :
    mStage(stage), mLibrary(library), mErrors(errors)
{
}

const QList<Scenario::Statement> &Scenario::statements()
{
    using S = Scenario &;
    using W = const Words &;
    const auto always = Statement::Always;
    const auto loaded = Statement::Loaded;
    static const QList<Statement> all{
        // The stage.
        {"server", "NAME UID [CONNECTION]", "there is a server", always,
         [](S s, W w) {
             QMap<Id, Server> &servers = s.mStage.host.servers;
             Server server;
             server.name = w.bytes("NAME");
             server.uid = w.bytes("UID");
             server.connection = w.has("CONNECTION") ? w.id("CONNECTION")
                 : servers.isEmpty()                 ? 1
                                                     : servers.lastKey() + 1;
             servers.insert(server.connection, server);
         }},
        {"channel", "SERVER ID NAME [default] [password TEXT]", "it has a channel", always,
         [](S s, W w) {
             s.mStage.host.servers[w.id("SERVER")].channels.append(
                 {w.id("ID"), w.bytes("NAME"), w.bytes("TEXT"), w.has("default") ? 1 : 0});
         }},
        {"client", "SERVER CLIENT-ID NAME CHANNEL [UID]", "somebody is there, or comes", always,
         [](S s, W w) { s.addClient(w, false); }},
        {"user", "SERVER CLIENT-ID NAME CHANNEL", "you will be there", always,
         [](S s, W w) { s.addClient(w, true); }},
        {"setting", "KEY [VALUE]", "the settings file holds that, or nothing", Statement::Unloaded,
         [](S s, W w) {
             QSettings settings(s.mStage.settingsFile(), QSettings::IniFormat);
             if (w.has("VALUE"))
                 settings.setValue(w.text("KEY"), w.text("VALUE"));
             else
                 settings.remove(w.text("KEY"));
         }},
        {"load", "", "the client loads the plug-in", Statement::Unloaded,
         [](S s, W) {
             const QString error = s.mStage.load(s.mLibrary);
             if (!error.isEmpty())
                 throw Mistake{error};
         }},
        {"unload", "", "the client unloads it", loaded, [](S s, W) { s.mStage.unload(); }},

        // What happens on the servers.
        {"connect", "SERVER", "you connect", loaded,
         [](S s, W w) { s.mStage.connect(w.id("SERVER")); }},
        {"disconnect", "SERVER [error NUMBER]", "you leave, or lose the connection", loaded,
         [](S s, W w) {
             s.mStage.disconnect(w.id("SERVER"), static_cast<unsigned>(w.id("NUMBER")));
         }},
        {"tab", "SERVER", "the client shows the server's tab", always,
         [](S s, W w) { s.mStage.host.currentConnection = w.id("SERVER"); }},
        {"move", "SERVER CLIENT CHANNEL [enters|leaves]", "somebody, or you, changes channel",
         loaded,
         [](S s, W w) {
             s.mStage.move(w.id("SERVER"), w.client("CLIENT"), w.id("CHANNEL"), visibility(w));
         }},
        {"moved", "SERVER CLIENT CHANNEL by MOVER [enters|leaves]", "is moved by somebody", loaded,
         [](S s, W w) {
             s.mStage.moved(w.id("SERVER"), w.client("CLIENT"), w.id("CHANNEL"), w.client("MOVER"),
                            visibility(w));
         }},
        {"leave", "SERVER CLIENT", "leaves the server", loaded,
         [](S s, W w) { s.mStage.leave(w.id("SERVER"), w.client("CLIENT")); }},
        {"rename", "SERVER CLIENT NAME", "takes another name", loaded,
         [](S s, W w) {
             s.mStage.renameClient(w.id("SERVER"), w.client("CLIENT"), w.bytes("NAME"));
         }},
        {"news", "SERVER CLIENT by INVOKER", "there is news of a client", loaded,
         [](S s, W w) {
             s.mStage.updateClient(w.id("SERVER"), w.client("CLIENT"), w.client("INVOKER"));
         }},
        {"create", "SERVER ID NAME", "a channel is created", loaded,
         [](S s, W w) {
             s.mStage.createChannel(w.id("SERVER"), {w.id("ID"), w.bytes("NAME")});
         }},
        {"edit", "SERVER CHANNEL NAME", "is given another name", loaded,
         [](S s, W w) { s.mStage.editChannel(w.id("SERVER"), w.id("CHANNEL"), w.bytes("NAME")); }},
        {"update", "SERVER CHANNEL", "there is news of a channel", loaded,
         [](S s, W w) { s.mStage.updateChannel(w.id("SERVER"), w.id("CHANNEL")); }},
        {"reorder", "SERVER CHANNEL PARENT", "moves elsewhere in the tree", loaded,
         [](S s, W w) { s.mStage.moveChannel(w.id("SERVER"), w.id("CHANNEL"), w.id("PARENT")); }},
        {"delete", "SERVER CHANNEL", "is deleted", loaded,
         [](S s, W w) { s.mStage.deleteChannel(w.id("SERVER"), w.id("CHANNEL")); }},

        // What the user does in the client and in the plug-in's dialog.
        {"menu", "SERVER ITEM [channel CHANNEL] [client CLIENT]", "you choose an item", loaded,
         [](S s, W w) {
             bool isNumber = false;
             const int item = w.text("ITEM").toInt(&isNumber);
             if (!isNumber)
                 throw Mistake{QStringLiteral("ITEM is not a number: %1").arg(w.text("ITEM"))};
             const int type = w.has("channel") ? 1 : w.has("client") ? 2 : 0;
             s.mStage.chooseMenuItem(w.id("SERVER"), type, item,
                                     type == 1 ? w.id("CHANNEL") : w.id("CLIENT"));
         }},
        {"hotkey", "KEYWORD", "you press it", loaded,
         [](S s, W w) { s.mStage.pressHotkey(w.bytes("KEYWORD")); }},
        {"configure", "", "you open the settings dialog", loaded,
         [](S s, W) { s.mStage.configure(); }},
        {"notify", "on|off", "you slide the switch of the notice", loaded,
         [](S s, W w) { s.slide("sliderNotify", "label_2", w); }},
        {"idledock", "on|off", "you slide the other switch", loaded,
         [](S s, W w) { s.slide("sliderIdleDock", "label", w); }},
        {"text", "TEXT", "you type that as the notice", loaded,
         [](S s, W w) {
             widget<QLineEdit>("lineCustomNotify")->setText(w.text("TEXT"));
             s.mStage.tell(QStringLiteral("You type \"%1\" as the notice").arg(w.text("TEXT")));
         }},
        {"save", "", "you press Save", loaded, [](S s, W) { s.press("buttonApply"); }},
        {"remove", "", "you press Remove", loaded, [](S s, W) { s.press("buttonRemove"); }},
        {"reload", "", "you press Reload", loaded, [](S s, W) { s.press("buttonReload"); }},
        {"close", "", "you close the dialog", loaded,
         [](S s, W) {
             s.mStage.tell(QStringLiteral("You close the settings"));
             if (Stage::dialog())
                 Stage::dialog()->close();
         }},
        {"window", "shown|hidden", "you show or hide the client's window", always,
         [](S s, W w) { s.mStage.showWindow(w.has("shown")); }},

        // How the client answers.
        {"refuse", "FUNCTION [TEXT]", "a function of the client fails", always,
         [](S s, W w) {
             s.mStage.host.faults.insert(function(w), Fault::Refuse);
             if (w.has("TEXT"))
                 s.mStage.host.refusal = w.bytes("TEXT");
         }},
        {"empty", "FUNCTION", "it hands out a null pointer", always,
         [](S s, W w) { s.mStage.host.faults.insert(function(w), Fault::Null); }},
        {"garble", "FUNCTION", "it hands out bytes that are not UTF-8", always,
         [](S s, W w) { s.mStage.host.faults.insert(function(w), Fault::Garble); }},
        {"allow", "FUNCTION", "it works again", always,
         [](S s, W w) { s.mStage.host.faults.remove(function(w)); }},
        {"callbacks", "inside|after", "when the client reports a move that was asked for", always,
         [](S s, W w) { s.mStage.host.answersInside = w.has("inside"); }},

        // For people.
        {"show", "", "who is where", always, [](S s, W) { s.show(); }},
        {"say", "TEXT", "a line of the story", always,
         [](S s, W w) { s.mStage.tell(w.text("TEXT")); }},
        {"help", "[STATEMENT]", "this list, or a part of it", always,
         [](S s, W w) { s.mErrors << help(w.text("STATEMENT")) << Qt::flush; }},
        {"quit", "", "the end", always, [](S s, W) { s.mIsOver = true; }},

        // What must have followed.
        {"expect move", "SERVER CLIENT CHANNEL [password TEXT]", "the plug-in asked for a move",
         always,
         [](S s, W w) {
             s.expectRequest(
                 {Request::Move, w.id("SERVER"), w.id("CLIENT"), w.id("CHANNEL"), w.bytes("TEXT")});
         }},
        {"expect message", "SERVER CLIENT TEXT", "it asked for a message to somebody", always,
         [](S s, W w) {
             s.expectRequest(
                 {Request::Message, w.id("SERVER"), w.id("CLIENT"), 0, w.bytes("TEXT")});
         }},
        {"expect log", "SERVER TEXT [level NUMBER]", "it wrote to the log, as a warning (2)",
         always,
         [](S s, W w) {
             Request request{Request::Log, w.id("SERVER"), 0, 0, w.bytes("TEXT")};
             request.level = w.has("level") ? static_cast<int>(w.id("NUMBER")) : 2;
             s.expectRequest(request);
         }},
        {"expect nothing", "", "it asked for nothing more", always,
         [](S s, W) {
             const QList<Request> &requests = s.mStage.host.requests;
             const QString nothing = QStringLiteral("nothing");
             expectText(QStringLiteral("request"), nothing,
                        requests.isEmpty() ? nothing : s.mStage.host.describe(requests.first()));
         }},
        {"expect in", "SERVER CLIENT CHANNEL", "somebody is in that channel", always,
         [](S s, W w) {
             const Server server = s.mStage.host.servers.value(w.id("SERVER"));
             const Id in = server.clients.value(w.client("CLIENT")).channel;
             const auto name = [&](Id channel) {
                 return QStringLiteral("%1 (%2)")
                     .arg(s.mStage.host.channelName(server.connection, channel))
                     .arg(channel);
             };
             expectText(QStringLiteral("in"), name(w.id("CHANNEL")), name(in));
         }},
        {"expect info", "TEXT", "the info panel of servers, channels and clients", loaded,
         [](S s, W w) {
             for (int itemType : {0, 1, 2})
                 expectText(QStringLiteral("info"), w.text("TEXT"), s.mStage.info(itemType));
         }},
        {"expect menu", "TEXT...", "the plug-in's menu", loaded,
         [](S s, W w) {
             const QString comma = QStringLiteral(", ");
             expectText(QStringLiteral("menu"), w.rest().join(comma), s.mStage.menu().join(comma));
         }},
        {"expect hotkeys", "TEXT...", "its hotkeys", loaded,
         [](S s, W w) {
             const QString comma = QStringLiteral(", ");
             expectText(QStringLiteral("hotkeys"), w.rest().join(comma),
                        s.mStage.hotkeys().join(comma));
         }},
        {"expect dialog", "open|closed", "its dialog", always,
         [](S, W w) {
             const auto state = [](bool isOpen) {
                 return QLatin1String(isOpen ? "open" : "closed");
             };
             const QWidget *dialog = Stage::dialog();
             expectText(QStringLiteral("dialog"), state(w.has("open")),
                        state(dialog && dialog->isVisible()));
         }},
        {"expect text", "TEXT", "the text field shows that", always,
         [](S, W w) {
             expectText(QStringLiteral("text"), w.text("TEXT"),
                        widget<QLineEdit>("lineCustomNotify")->text());
         }},
        {"expect notify", "on|off", "the switch of the notice", always,
         [](S, W w) {
             expectState("notify", w.has("on"), widget<QSlider>("sliderNotify")->value() == 1);
         }},
        {"expect idledock", "on|off", "the other switch", always,
         [](S, W w) {
             expectState("idledock", w.has("on"), widget<QSlider>("sliderIdleDock")->value() == 1);
         }},
        {"expect setting", "KEY [VALUE]", "the settings file holds that, or nothing", always,
         [](S s, W w) {
             expectText(QStringLiteral("setting ") + w.text("KEY"),
                        w.has("VALUE") ? w.text("VALUE") : QStringLiteral("(absent)"),
                        stored(s.mStage.settingsFile(), w.text("KEY")));
         }},
        {"expect calls", "NUMBER", "how often the last statement had the client called", always,
         [](S s, W w) {
             expectText(QStringLiteral("calls"), QString::number(w.id("NUMBER")),
                        QString::number(s.mStage.host.callCount - s.mCallsBefore));
         }},
    };
    return all;
}

int Scenario::visibility(const Words &words)
{
    return words.has("enters") ? Stage::enters
        : words.has("leaves")  ? Stage::leaves
                               : Stage::retains;
}

QByteArray Scenario::function(const Words &words)
{
    if (!Host::knows(words.bytes("FUNCTION"))) {
        throw Mistake{QStringLiteral("the table has no function %1").arg(words.text("FUNCTION"))};
    }
    return words.bytes("FUNCTION");
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
    if (text.isEmpty())
        throw Mistake{QStringLiteral("there is no statement \"%1\"; say \"help\"").arg(word)};
    return text;
}

void Scenario::play(const QString &line)
{
    QStringList words = split(line);
    if (words.isEmpty())
        return;
    QString name = words.takeFirst();
    if (name == QLatin1String("expect") && !words.isEmpty()) {
        name += QLatin1Char(' ') + words.takeFirst();
        mExpects = true;
    }
    for (const Statement &statement : statements()) {
        if (name != QLatin1String(statement.name))
            continue;
        const Words arguments(mStage, QLatin1String(statement.pattern), words);
        const bool isLoaded = mStage.plugin.isOpen();
        if (statement.when == Statement::Loaded && !isLoaded)
            throw Mistake{QStringLiteral("the plug-in is not loaded; say \"load\" first")};
        if (statement.when == Statement::Unloaded && isLoaded)
            throw Mistake{QStringLiteral("the plug-in is loaded already; say \"unload\" first")};
        if (!name.startsWith(QLatin1String("expect")))
            mCallsBefore = mStage.host.callCount;
        statement.play(*this, arguments);
        QCoreApplication::processEvents();
        return;
    }
    throw Mistake{QStringLiteral("there is no statement \"%1\"; say \"help\"").arg(name)};
}

Scenario::Outcome Scenario::playLine(const QString &line, const QString &place)
{
    const auto report = [&](const QString &message) {
        mErrors << place << (place.isEmpty() ? "" : ": ") << message << '\n' << Qt::flush;
    };
    mStage.host.place = place;
    try {
        play(line);
        return Held;
    } catch (const Mistake &mistake) {
        report(mistake.message);
        return Mistaken;
    } catch (const Mismatch &mismatch) {
        report(mismatch.message);
        return Failed;
    }
}

Scenario::Outcome Scenario::playFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        mErrors << path << ":0: " << file.errorString() << '\n' << Qt::flush;
        return Mistaken;
    }
    mExpects = false;
    int number = 0;
    while (!file.atEnd() && !mIsOver) {
        const QString place = QStringLiteral("%1:%2").arg(path).arg(++number);
        const Outcome outcome = playLine(QString::fromUtf8(file.readLine()), place);
        if (outcome != Held)
            return outcome;
    }
    if (!mExpects) {
        mErrors << path << ':' << number << ": there is no expectation, so this checks nothing\n"
                << Qt::flush;
        return Mistaken;
    }
    return finish(QStringLiteral("%1:%2").arg(path).arg(number));
}

Scenario::Outcome Scenario::finish(const QString &place)
{
    return mExpects ? playLine(QStringLiteral("expect nothing"), place) : Held;
}

void Scenario::addClient(const Words &words, bool isUser)
{
    const Id connection = words.id("SERVER");
    Server &server = mStage.host.servers[connection];
    Client client;
    client.id = words.client("CLIENT-ID");
    client.name = words.bytes("NAME");
    client.uid = words.has("UID") ? words.bytes("UID") : client.name.toBase64();
    client.channel = words.id("CHANNEL");
    if (server.status == 0 || !mStage.plugin.isOpen()) {
        server.clients.insert(client.id, client);
        if (isUser)
            server.own = client.id;
    } else if (isUser) {
        throw Mistake{QStringLiteral("the user must be there before the server is connected")};
    } else {
        mStage.enter(connection, client);
    }
}

void Scenario::press(const char *button)
{
    auto *found = widget<QPushButton>(button);
    mStage.tell(QStringLiteral("You press \"%1\"").arg(found->text()));
    found->click();
}

void Scenario::slide(const char *slider, const char *label, const Words &words)
{
    const bool isOn = words.has("on");
    widget<QSlider>(slider)->setValue(isOn ? 1 : 0);
    mStage.tell(QStringLiteral("You switch %1 \"%2\"")
                    .arg(QLatin1String(isOn ? "on" : "off"), widget<QLabel>(label)->text()));
}

void Scenario::show()
{
    for (const Server &server : qAsConst(mStage.host.servers)) {
        mStage.tell(QStringLiteral("%1, connection %2%3")
                        .arg(QString::fromUtf8(server.name), QString::number(server.connection),
                             QLatin1String(server.status == 0 ? " (not connected)" : "")));
        for (const Channel &channel : server.channels) {
            mStage.tell(
                QStringLiteral("  %1 %2").arg(channel.id, 3).arg(QString::fromUtf8(channel.name)));
            for (const Client &client : server.clients) {
                if (client.channel != channel.id)
                    continue;
                mStage.tell(QStringLiteral("      %1 %2%3")
                                .arg(client.id, 3)
                                .arg(QString::fromUtf8(client.name),
                                     QLatin1String(client.id == server.own ? " <- you" : "")));
            }
        }
    }
}

void Scenario::expectRequest(const Request &request)
{
    QList<Request> &requests = mStage.host.requests;
    expectText(QStringLiteral("request"), mStage.host.describe(request),
               requests.isEmpty() ? QStringLiteral("nothing")
                                  : mStage.host.describe(requests.takeFirst()));
}

}
