#include "standin/scenario.h"

#include <QCoreApplication>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSlider>

#include <limits>

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

/// A request as the story tells it, and with its ids, which are what counts.
QString withIds(Stage &stage, const Request &request)
{
    return QStringLiteral("%1 (connection %2, client %3, channel %4)")
        .arg(describe(stage, request), QString::number(request.connection),
             QString::number(request.client), QString::number(request.channel));
}

template<typename T>
T *widget(const char *name)
{
    const QWidget *dialog = Stage::dialog();
    T *found = dialog ? dialog->findChild<T *>(QLatin1String(name)) : nullptr;
    if (!found)
        throw Mistake{QStringLiteral("there is no settings dialog")};
    return found;
}

}

/// The words of a statement, taken one after the other.
class Scenario::Words
{
public:
    explicit Words(const QStringList &words) : mWords(words) { }

    bool atEnd() const { return mWords.isEmpty(); }

    QString take(const char *what)
    {
        if (mWords.isEmpty())
            throw Mistake{QStringLiteral("%1 is missing").arg(QLatin1String(what))};
        return mWords.takeFirst();
    }

    QByteArray takeBytes(const char *what) { return take(what).toUtf8(); }

    /// Takes the next word if it is `word`.
    bool takeWord(const char *word)
    {
        if (mWords.isEmpty() || mWords.first() != QLatin1String(word))
            return false;
        mWords.removeFirst();
        return true;
    }

    uint64 takeNumber(const char *what, uint64 highest = std::numeric_limits<uint64>::max())
    {
        const QString word = take(what);
        bool isNumber = false;
        const uint64 number = word.toULongLong(&isNumber);
        if (!isNumber || number > highest) {
            throw Mistake{QStringLiteral("%1 is not a number from 0 to %2: %3")
                              .arg(QLatin1String(what), QString::number(highest), word)};
        }
        return number;
    }

    void end()
    {
        if (!mWords.isEmpty())
            throw Mistake{QStringLiteral("too much: %1").arg(mWords.join(QLatin1Char(' ')))};
    }

private:
    QStringList mWords;
};

Scenario::Scenario(Stage &stage, const QString &library, QTextStream &errors) :
    mStage(stage), mLibrary(library), mErrors(errors)
{
}

const QList<Scenario::Statement> &Scenario::statements()
{
    static const QList<Statement> all{
        {"server", "NAME UID [CONNECTION]", &Scenario::playServer},
        {"channel", "SERVER ID NAME [default] [password TEXT]", &Scenario::playChannel},
        {"client", "SERVER ID NAME CHANNEL", &Scenario::playClient},
        {"user", "SERVER ID NAME CHANNEL", &Scenario::playUser},
        {"setting", "KEY VALUE", &Scenario::playSetting},
        {"load", "", &Scenario::playLoad},
        {"unload", "", &Scenario::playUnload},
        {"connect", "SERVER", &Scenario::playConnect},
        {"disconnect", "SERVER", &Scenario::playDisconnect},
        {"tab", "SERVER", &Scenario::playTab},
        {"move", "SERVER CLIENT CHANNEL", &Scenario::playMove},
        {"moved", "SERVER CLIENT CHANNEL by MOVER", &Scenario::playMoved},
        {"leave", "SERVER CLIENT", &Scenario::playLeave},
        {"rename", "SERVER CLIENT NAME", &Scenario::playRename},
        {"create", "SERVER ID NAME", &Scenario::playCreate},
        {"edit", "SERVER CHANNEL NAME", &Scenario::playEdit},
        {"update", "SERVER CHANNEL", &Scenario::playUpdate},
        {"reorder", "SERVER CHANNEL PARENT", &Scenario::playReorder},
        {"delete", "SERVER CHANNEL", &Scenario::playDelete},
        {"menu", "SERVER ITEM [channel CHANNEL | client CLIENT]", &Scenario::playMenu},
        {"hotkey", "KEYWORD", &Scenario::playHotkey},
        {"configure", "", &Scenario::playConfigure},
        {"notify", "on | off", &Scenario::playNotify},
        {"idledock", "on | off", &Scenario::playIdledock},
        {"text", "TEXT", &Scenario::playText},
        {"save", "", &Scenario::playSave},
        {"remove", "", &Scenario::playRemove},
        {"reload", "", &Scenario::playReload},
        {"refuse", "FUNCTION [TEXT]", &Scenario::playRefuse},
        {"allow", "FUNCTION", &Scenario::playAllow},
        {"callbacks", "inside | after", &Scenario::playCallbacks},
        {"show", "", &Scenario::playShow},
        {"say", "TEXT", &Scenario::playSay},
        {"expect",
         "move SERVER CLIENT CHANNEL | message SERVER CLIENT TEXT | log SERVER TEXT | "
         "nothing | in SERVER CLIENT CHANNEL | info TEXT | menu TEXT... | hotkeys "
         "TEXT... | dialog open|closed | text TEXT | setting KEY [VALUE] | calls NUMBER",
         &Scenario::playExpect},
        {"help", "", &Scenario::playHelp},
    };
    return all;
}

QString Scenario::help()
{
    QString text;
    for (const Statement &statement : statements()) {
        text += QStringLiteral("  %1 %2\n")
                    .arg(QLatin1String(statement.name), QLatin1String(statement.arguments));
    }
    return text;
}

QStringList Scenario::names()
{
    QStringList names;
    for (const Statement &statement : statements())
        names.append(QLatin1String(statement.name));
    return names;
}

Scenario::Outcome Scenario::playLine(const QString &line, const QString &place)
{
    try {
        Words words(split(line));
        if (words.atEnd())
            return Held;
        const QString name = words.take("STATEMENT");
        for (const Statement &statement : statements()) {
            if (name == QLatin1String(statement.name)) {
                (this->*statement.play)(words);
                words.end();
                QCoreApplication::processEvents();
                return Held;
            }
        }
        throw Mistake{QStringLiteral("there is no statement \"%1\"").arg(name)};
    } catch (const Mistake &mistake) {
        mErrors << place << ": " << mistake.message << '\n' << Qt::flush;
        return Mistaken;
    } catch (const Mismatch &mismatch) {
        mErrors << place << ": " << mismatch.message << '\n' << Qt::flush;
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
    int number = 0;
    while (!file.atEnd()) {
        const QString place = QStringLiteral("%1:%2").arg(path).arg(++number);
        const Outcome outcome = playLine(QString::fromUtf8(file.readLine()), place);
        if (outcome != Held)
            return outcome;
    }
    return finish(QStringLiteral("%1:%2").arg(path).arg(number));
}

Scenario::Outcome Scenario::finish(const QString &place)
{
    if (!mExpects || mExpected == mStage.host.requests.size())
        return Held;
    return playLine(QStringLiteral("expect nothing"), place);
}

uint64 Scenario::takeServer(Words &words)
{
    const QString name = words.take("SERVER");
    for (const Server &server : qAsConst(mStage.host.servers)) {
        if (QString::fromUtf8(server.name) == name)
            return server.connection;
    }
    throw Mistake{QStringLiteral("there is no server \"%1\"").arg(name)};
}

uint64 Scenario::takeChannel(Words &words, uint64 connection)
{
    const QString name = words.take("CHANNEL");
    for (const Channel &channel : qAsConst(mStage.host.servers[connection].channels)) {
        if (QString::fromUtf8(channel.name) == name)
            return channel.id;
    }
    Words number({name});
    return number.takeNumber("CHANNEL, unless it is a channel's name,");
}

anyID Scenario::takeClient(Words &words, uint64 connection)
{
    const QString name = words.take("CLIENT");
    for (const Client &client : qAsConst(mStage.host.servers[connection].clients)) {
        if (QString::fromUtf8(client.name) == name)
            return client.id;
    }
    Words number({name});
    return static_cast<anyID>(number.takeNumber("CLIENT, unless it is a client's name,",
                                                std::numeric_limits<anyID>::max()));
}

QByteArray Scenario::takeFunction(Words &words)
{
    QByteArray function = words.takeBytes("FUNCTION");
    if (!Host::knows(function)) {
        throw Mistake{
            QStringLiteral("the table has no function %1").arg(QString::fromUtf8(function))};
    }
    return function;
}

void Scenario::needPlugin()
{
    if (!mStage.plugin.isOpen())
        throw Mistake{QStringLiteral("the plug-in is not loaded; say \"load\" first")};
    mCallsBefore = mStage.host.callCount;
}

void Scenario::playServer(Words &words)
{
    Server server;
    server.name = words.takeBytes("NAME");
    server.uid = words.takeBytes("UID");
    server.connection = mStage.host.servers.isEmpty() ? 1 : mStage.host.servers.lastKey() + 1;
    if (!words.atEnd())
        server.connection = words.takeNumber("CONNECTION");
    mStage.host.servers.insert(server.connection, server);
}

static Channel takeNewChannel(uint64 id, const QByteArray &name)
{
    Channel channel;
    channel.id = id;
    channel.name = name;
    return channel;
}

void Scenario::playChannel(Words &words)
{
    const uint64 connection = takeServer(words);
    const uint64 id = words.takeNumber("ID");
    Channel channel = takeNewChannel(id, words.takeBytes("NAME"));
    channel.isDefault = words.takeWord("default") ? 1 : 0;
    if (words.takeWord("password"))
        channel.password = words.takeBytes("TEXT");
    mStage.host.servers[connection].channels.append(channel);
}

void Scenario::addClient(Words &words, bool own)
{
    const uint64 connection = takeServer(words);
    Server &server = mStage.host.servers[connection];
    Client client;
    client.id = static_cast<anyID>(words.takeNumber("ID", std::numeric_limits<anyID>::max()));
    client.name = words.takeBytes("NAME");
    client.uid = client.name.toBase64();
    client.channel = takeChannel(words, connection);
    if (server.status == STATUS_CONNECTION_ESTABLISHED) {
        if (own)
            throw Mistake{QStringLiteral("the user must be there before the server is connected")};
        needPlugin();
        mStage.enter(connection, client);
        return;
    }
    server.clients.insert(client.id, client);
    if (own)
        server.own = client.id;
}

void Scenario::playClient(Words &words) { addClient(words, false); }

void Scenario::playUser(Words &words) { addClient(words, true); }

void Scenario::playSetting(Words &words)
{
    QSettings settings(mStage.settingsFile(), QSettings::IniFormat);
    const QString key = words.take("KEY");
    settings.setValue(key, words.take("VALUE"));
}

void Scenario::playLoad(Words &)
{
    if (mStage.plugin.isOpen())
        throw Mistake{QStringLiteral("the plug-in is loaded already")};
    const QString error = mStage.load(mLibrary);
    if (!error.isEmpty())
        throw Mistake{error};
}

void Scenario::playUnload(Words &)
{
    needPlugin();
    mStage.unload();
}

void Scenario::playConnect(Words &words)
{
    const uint64 connection = takeServer(words);
    needPlugin();
    mStage.connect(connection);
}

void Scenario::playDisconnect(Words &words)
{
    const uint64 connection = takeServer(words);
    needPlugin();
    mStage.disconnect(connection);
}

void Scenario::playTab(Words &words) { mStage.host.currentConnection = takeServer(words); }

void Scenario::playMove(Words &words)
{
    const uint64 connection = takeServer(words);
    const anyID client = takeClient(words, connection);
    const uint64 channel = takeChannel(words, connection);
    needPlugin();
    mStage.move(connection, client, channel);
}

void Scenario::playMoved(Words &words)
{
    const uint64 connection = takeServer(words);
    const anyID client = takeClient(words, connection);
    const uint64 channel = takeChannel(words, connection);
    if (!words.takeWord("by"))
        throw Mistake{QStringLiteral("\"by\" is missing")};
    const anyID mover = takeClient(words, connection);
    needPlugin();
    mStage.moved(connection, client, channel, mover);
}

void Scenario::playLeave(Words &words)
{
    const uint64 connection = takeServer(words);
    const anyID client = takeClient(words, connection);
    needPlugin();
    mStage.leave(connection, client);
}

void Scenario::playRename(Words &words)
{
    const uint64 connection = takeServer(words);
    const anyID client = takeClient(words, connection);
    needPlugin();
    mStage.renameClient(connection, client, words.takeBytes("NAME"));
}

void Scenario::playCreate(Words &words)
{
    const uint64 connection = takeServer(words);
    const uint64 id = words.takeNumber("ID");
    needPlugin();
    mStage.createChannel(connection, takeNewChannel(id, words.takeBytes("NAME")));
}

void Scenario::playEdit(Words &words)
{
    const uint64 connection = takeServer(words);
    const uint64 channel = takeChannel(words, connection);
    needPlugin();
    mStage.editChannel(connection, channel, words.takeBytes("NAME"));
}

void Scenario::playUpdate(Words &words)
{
    const uint64 connection = takeServer(words);
    const uint64 channel = takeChannel(words, connection);
    needPlugin();
    mStage.updateChannel(connection, channel);
}

void Scenario::playReorder(Words &words)
{
    const uint64 connection = takeServer(words);
    const uint64 channel = takeChannel(words, connection);
    needPlugin();
    mStage.moveChannel(connection, channel, words.takeNumber("PARENT"));
}

void Scenario::playDelete(Words &words)
{
    const uint64 connection = takeServer(words);
    const uint64 channel = takeChannel(words, connection);
    needPlugin();
    mStage.deleteChannel(connection, channel);
}

void Scenario::playMenu(Words &words)
{
    const uint64 connection = takeServer(words);
    const int item = static_cast<int>(
        words.takeNumber("ITEM", static_cast<uint64>(std::numeric_limits<int>::max())));
    needPlugin();
    PluginMenuType type = PLUGIN_MENU_TYPE_GLOBAL;
    uint64 selected = 0;
    if (words.takeWord("channel")) {
        type = PLUGIN_MENU_TYPE_CHANNEL;
        selected = takeChannel(words, connection);
    } else if (words.takeWord("client")) {
        type = PLUGIN_MENU_TYPE_CLIENT;
        selected = takeClient(words, connection);
    }
    mStage.chooseMenuItem(connection, type, item, selected);
}

void Scenario::playHotkey(Words &words)
{
    const QByteArray keyword = words.takeBytes("KEYWORD");
    needPlugin();
    mStage.pressHotkey(keyword);
}

void Scenario::playConfigure(Words &)
{
    needPlugin();
    mStage.configure();
}

void Scenario::slide(const char *slider, const char *label, Words &words)
{
    const QString position = words.take("on or off");
    const bool on = position == QLatin1String("on");
    if (!on && position != QLatin1String("off"))
        throw Mistake{QStringLiteral("neither on nor off: %1").arg(position)};
    widget<QSlider>(slider)->setValue(on ? 1 : 0);
    mStage.tell(
        QStringLiteral("You switch %1 \"%2\"").arg(position, widget<QLabel>(label)->text()));
}

void Scenario::press(const char *button)
{
    auto *found = widget<QPushButton>(button);
    mStage.tell(QStringLiteral("You press \"%1\"").arg(found->text()));
    needPlugin();
    found->click();
}

void Scenario::playNotify(Words &words) { slide("sliderNotify", "label_2", words); }

void Scenario::playIdledock(Words &words) { slide("sliderIdleDock", "label", words); }

void Scenario::playText(Words &words)
{
    const QString text = words.take("TEXT");
    widget<QLineEdit>("lineCustomNotify")->setText(text);
    mStage.tell(QStringLiteral("You type \"%1\" as the notice").arg(text));
}

void Scenario::playSave(Words &) { press("buttonApply"); }

void Scenario::playRemove(Words &) { press("buttonRemove"); }

void Scenario::playReload(Words &) { press("buttonReload"); }

void Scenario::playRefuse(Words &words)
{
    mStage.host.faults.insert(takeFunction(words), Host::Fault::Refuse);
    if (!words.atEnd())
        mStage.host.refusal = words.takeBytes("TEXT");
}

void Scenario::playAllow(Words &words) { mStage.host.faults.remove(takeFunction(words)); }

void Scenario::playCallbacks(Words &words)
{
    mStage.host.answersInside = words.takeWord("inside");
    if (!mStage.host.answersInside && !words.takeWord("after"))
        throw Mistake{QStringLiteral("neither inside nor after")};
}

void Scenario::playShow(Words &)
{
    for (const Server &server : qAsConst(mStage.host.servers)) {
        const bool isConnected = server.status == STATUS_CONNECTION_ESTABLISHED;
        mStage.tell(QStringLiteral("%1, connection %2%3")
                        .arg(QString::fromUtf8(server.name), QString::number(server.connection),
                             isConnected ? QString() : QStringLiteral(" (not connected)")));
        for (const Channel &channel : server.channels) {
            mStage.tell(
                QStringLiteral("  %1 %2").arg(channel.id, 3).arg(QString::fromUtf8(channel.name)));
            for (const Client &client : server.clients) {
                if (client.channel == channel.id) {
                    mStage.tell(
                        QStringLiteral("      %1 %2%3")
                            .arg(client.id, 3)
                            .arg(QString::fromUtf8(client.name),
                                 client.id == server.own ? QStringLiteral(" <- you") : QString()));
                }
            }
        }
    }
}

void Scenario::playSay(Words &words) { mStage.tell(words.take("TEXT")); }

void Scenario::playHelp(Words &) { mStage.tell(help()); }

void Scenario::expectText(const QString &what, const QString &expected, const QString &came)
{
    if (expected != came) {
        throw Mismatch{QStringLiteral("%1: expected: %2; came: %3").arg(what, expected, came)};
    }
}

void Scenario::playExpect(Words &words)
{
    mExpects = true;
    const QString what = words.take("what to expect");
    Host &host = mStage.host;

    Request request{};
    if (what == QLatin1String("move")) {
        request.kind = Request::Move;
        request.connection = takeServer(words);
        request.client = takeClient(words, request.connection);
        request.channel = takeChannel(words, request.connection);
    } else if (what == QLatin1String("message")) {
        request.kind = Request::Message;
        request.connection = takeServer(words);
        request.client = takeClient(words, request.connection);
        request.text = words.takeBytes("TEXT");
    } else if (what == QLatin1String("log")) {
        request.kind = Request::Log;
        request.connection = takeServer(words);
        request.text = words.takeBytes("TEXT");
        request.level = LogLevel_WARNING;
    } else if (what == QLatin1String("nothing")) {
        expectText(what, QStringLiteral("nothing"),
                   mExpected < host.requests.size() ? describe(mStage, host.requests.at(mExpected))
                                                    : QStringLiteral("nothing"));
        return;
    } else if (what == QLatin1String("in")) {
        const uint64 connection = takeServer(words);
        const Client *client = host.servers[connection].client(takeClient(words, connection));
        const uint64 channel = takeChannel(words, connection);
        expectText(what, mStage.channelName(connection, channel),
                   mStage.channelName(connection, client ? client->channel : 0));
        return;
    } else if (what == QLatin1String("info")) {
        needPlugin();
        expectText(what, words.take("TEXT"), mStage.info());
        return;
    } else if (what == QLatin1String("menu") || what == QLatin1String("hotkeys")) {
        needPlugin();
        QStringList texts;
        while (!words.atEnd())
            texts.append(words.take("TEXT"));
        const QStringList came = what == QLatin1String("menu") ? mStage.menu() : mStage.hotkeys();
        expectText(what, texts.join(QLatin1String(", ")), came.join(QLatin1String(", ")));
        return;
    } else if (what == QLatin1String("dialog")) {
        const QWidget *dialog = Stage::dialog();
        expectText(what, words.take("open or closed"),
                   dialog && dialog->isVisible() ? QStringLiteral("open")
                                                 : QStringLiteral("closed"));
        return;
    } else if (what == QLatin1String("text")) {
        expectText(what, words.take("TEXT"), widget<QLineEdit>("lineCustomNotify")->text());
        return;
    } else if (what == QLatin1String("setting")) {
        QSettings settings(mStage.settingsFile(), QSettings::IniFormat);
        const QString key = words.take("KEY");
        const QString absent = QStringLiteral("(absent)");
        expectText(QStringLiteral("setting ") + key, words.atEnd() ? absent : words.take("VALUE"),
                   settings.contains(key) ? settings.value(key).toString() : absent);
        return;
    } else if (what == QLatin1String("calls")) {
        expectText(what, QString::number(words.takeNumber("NUMBER")),
                   QString::number(host.callCount - mCallsBefore));
        return;
    } else {
        throw Mistake{QStringLiteral("there is no expectation \"%1\"").arg(what)};
    }

    const bool came = mExpected < host.requests.size();
    if (!came || !(host.requests.at(mExpected) == request)) {
        throw Mismatch{QStringLiteral("%1: expected: %2; came: %3")
                           .arg(what, withIds(mStage, request),
                                came ? withIds(mStage, host.requests.at(mExpected))
                                     : QStringLiteral("nothing"))};
    }
    ++mExpected;
}
