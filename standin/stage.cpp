#include "standin/stage.h"

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QWidget>

#include <dlfcn.h>

#include <algorithm>
#include <type_traits>

namespace standin {

namespace {

// A client's values of the connection status.
constexpr int disconnected = 0;
constexpr int established = 4;

constexpr const char *invoker = "somebody";
constexpr const char *invokerUid = "invoker=";

}

template<typename Function, typename... Arguments>
auto Stage::call(const char *name, Function function, Arguments... arguments)
{
    host.note(QStringLiteral("client -> ts3plugin_%1").arg(QLatin1String(name)));
    if constexpr (std::is_void_v<decltype(function(arguments...))>) {
        function(arguments...);
        host.deliver();
    } else {
        return function(arguments...);
    }
}

Stage::Stage(const QString &configFolder)
{
    host.configPath = QFile::encodeName(configFolder.isEmpty() ? mFolder.path() : configFolder);
    host.asked = [this](const Request &request, unsigned int code) {
        const QString outcome = code == 0
            ? QString()
            : QStringLiteral(" - refused: ") + QString::fromUtf8(host.errorText(code));
        tell(QStringLiteral("    Staybolt: ") + host.describe(request) + outcome);
    };
    host.moved = [this](Id connection, ClientId client, Id oldChannel, Id newChannel) {
        tell(
            QStringLiteral("%1 in %2 again")
                .arg(who(connection, client, "are", ""), host.channelName(connection, newChannel)));
        call("onClientMoveEvent", plugin.onClientMoveEvent, connection, client, oldChannel,
             newChannel, int(retains), "");
    };
}

Stage::~Stage()
{
    if (plugin.isOpen())
        unload();
}

/// "You go" or "Mallory goes".
QString Stage::who(Id connection, ClientId client, const char *verb, const char *ending) const
{
    const bool isUser = client != 0 && client == host.servers.value(connection).own;
    return isUser ? QStringLiteral("You ") + QLatin1String(verb)
                  : QStringLiteral("%1 %2%3").arg(host.clientName(connection, client),
                                                  QLatin1String(verb), QLatin1String(ending));
}

/// Puts a client into a channel and answers the one that it leaves, 0 for a client who is not
/// there.
Id Stage::put(Id connection, ClientId client, Id channel)
{
    Client *moving = host.servers[connection].client(client);
    return moving ? std::exchange(moving->channel, channel) : 0;
}

QString Stage::load(const QString &library)
{
    QString error = plugin.open(library);
    if (!error.isEmpty())
        return error;
    const int version = call("apiVersion", plugin.apiVersion);
    if (version != 22) {
        plugin.close();
        return QStringLiteral("the plug-in %1 is for version %2 of the interface, not for 22")
            .arg(library)
            .arg(version);
    }
    tell(QStringLiteral("The client loads the plug-in %1 %2")
             .arg(quoted(plugin.name()), QString::fromUtf8(plugin.version())));
    host.accepts = true;
    call("setFunctionPointers", plugin.setFunctionPointers, host.functions());
    if (call("init", plugin.init) != 0) {
        unload();
        return QStringLiteral("the plug-in %1 refused to start").arg(library);
    }
    call("registerPluginID", plugin.registerPluginID, "staybolt-1");
    return QString();
}

void Stage::unload()
{
    tell(QStringLiteral("The client unloads the plug-in"));
    call("shutdown", plugin.shutdown);
    host.accepts = false;
    plugin.close();
}

QString Stage::settingsFile() const
{
    return QStringLiteral("%1/Kestrelsoft Staybolt.ini").arg(QFile::decodeName(host.configPath));
}

void Stage::connect(Id connection)
{
    Server &server = host.servers[connection];
    host.currentConnection = connection;
    for (int status = disconnected + 1; status <= established; ++status) {
        server.status = status;
        if (status == established) {
            const Client *own = server.client(server.own);
            tell(QStringLiteral("You connect to %1 and are in %2")
                     .arg(host.serverName(connection),
                          host.channelName(connection, own ? own->channel : 0)));
        }
        call("onConnectStatusChangeEvent", plugin.onConnectStatusChangeEvent, connection, status,
             0U);
    }
}

void Stage::disconnect(Id connection, unsigned int error)
{
    tell(QStringLiteral("%1 %2").arg(
        QLatin1String(error == 0 ? "You disconnect from" : "You lose the connection to"),
        host.serverName(connection)));
    host.servers[connection].status = disconnected;
    call("onConnectStatusChangeEvent", plugin.onConnectStatusChangeEvent, connection, disconnected,
         error);
}

void Stage::enter(Id connection, const Client &client)
{
    host.servers[connection].clients[client.id] = client;
    tell(QStringLiteral("%1 to %2, into %3")
             .arg(who(connection, client.id, "come", "s"), host.serverName(connection),
                  host.channelName(connection, client.channel)));
    call("onClientMoveEvent", plugin.onClientMoveEvent, connection, client.id, Id(0),
         client.channel, int(enters), "");
}

void Stage::move(Id connection, ClientId client, Id channel, int visibility)
{
    const Id oldChannel = put(connection, client, channel);
    tell(QStringLiteral("%1 to %2 on %3")
             .arg(who(connection, client, "go", "es"), host.channelName(connection, channel),
                  host.serverName(connection)));
    call("onClientMoveEvent", plugin.onClientMoveEvent, connection, client, oldChannel, channel,
         visibility, "");
}

void Stage::leave(Id connection, ClientId client)
{
    tell(QStringLiteral("%1 %2").arg(who(connection, client, "leave", "s"),
                                     host.serverName(connection)));
    const Id oldChannel = host.servers[connection].clients.take(client).channel;
    call("onClientMoveEvent", plugin.onClientMoveEvent, connection, client, oldChannel, Id(0),
         int(leaves), "");
}

void Stage::moved(Id connection, ClientId client, Id channel, ClientId mover, int visibility)
{
    const Id oldChannel = put(connection, client, channel);
    tell(QStringLiteral("%1 %2 from %3 to %4 on %5")
             .arg(who(connection, mover, "move", "s"), host.clientName(connection, client),
                  host.channelName(connection, oldChannel), host.channelName(connection, channel),
                  host.serverName(connection)));
    call("onClientMoveMovedEvent", plugin.onClientMoveMovedEvent, connection, client, oldChannel,
         channel, visibility, mover, invoker, invokerUid, "");
}

void Stage::updateClient(Id connection, ClientId client, ClientId invokerId)
{
    tell(QStringLiteral("There is news of %1").arg(host.clientName(connection, client)));
    call("onUpdateClientEvent", plugin.onUpdateClientEvent, connection, client, invokerId, invoker,
         invokerUid);
}

void Stage::renameClient(Id connection, ClientId client, const QByteArray &name)
{
    tell(QStringLiteral("%1 now by the name of %2")
             .arg(who(connection, client, "go", "es"), quoted(name)));
    if (Client *renamed = host.servers[connection].client(client))
        renamed->name = name;
    call("onUpdateClientEvent", plugin.onUpdateClientEvent, connection, client, client, invoker,
         invokerUid);
}

void Stage::createChannel(Id connection, const Channel &channel)
{
    host.servers[connection].channels.append(channel);
    tell(QStringLiteral("The channel %1 is created on %2")
             .arg(host.channelName(connection, channel.id), host.serverName(connection)));
    call("onNewChannelCreatedEvent", plugin.onNewChannelCreatedEvent, connection, channel.id, Id(0),
         ClientId(0), invoker, invokerUid);
}

void Stage::editChannel(Id connection, Id channel, const QByteArray &name)
{
    tell(QStringLiteral("The channel %1 is now called %2")
             .arg(host.channelName(connection, channel), quoted(name)));
    if (Channel *edited = host.servers[connection].channel(channel))
        edited->name = name;
    call("onUpdateChannelEditedEvent", plugin.onUpdateChannelEditedEvent, connection, channel,
         ClientId(0), invoker, invokerUid);
}

void Stage::updateChannel(Id connection, Id channel)
{
    tell(QStringLiteral("There is news of the channel %1")
             .arg(host.channelName(connection, channel)));
    call("onUpdateChannelEvent", plugin.onUpdateChannelEvent, connection, channel);
}

void Stage::moveChannel(Id connection, Id channel, Id parent)
{
    tell(QStringLiteral("The channel %1 moves elsewhere in the tree")
             .arg(host.channelName(connection, channel)));
    call("onChannelMoveEvent", plugin.onChannelMoveEvent, connection, channel, parent, ClientId(0),
         invoker, invokerUid);
}

void Stage::deleteChannel(Id connection, Id channel)
{
    tell(QStringLiteral("The channel %1 is deleted").arg(host.channelName(connection, channel)));
    QList<Channel> &channels = host.servers[connection].channels;
    channels.erase(std::remove_if(channels.begin(), channels.end(),
                                  [=](const Channel &one) { return one.id == channel; }),
                   channels.end());
    call("onDelChannelEvent", plugin.onDelChannelEvent, connection, channel, ClientId(0), invoker,
         invokerUid);
}

void Stage::chooseMenuItem(Id connection, int type, int item, Id selected)
{
    tell(QStringLiteral("You choose item %1 of the plug-in's menu").arg(item));
    call("onMenuItemEvent", plugin.onMenuItemEvent, connection, type, item, selected);
}

void Stage::pressHotkey(const QByteArray &keyword)
{
    tell(QStringLiteral("You press the hotkey %1").arg(quoted(keyword)));
    call("onHotkeyEvent", plugin.onHotkeyEvent, keyword.constData());
}

void Stage::configure()
{
    // The dialog has to open on the thread of the client's windows.
    if (call("offersConfigure", plugin.offersConfigure) != 2) {
        host.complain(QStringLiteral("the plug-in does not offer its settings on this thread"));
        return;
    }
    tell(QStringLiteral("You open the plug-in's settings"));
    call("configure", plugin.configure, nullptr, nullptr);
}

/// Gives a block that the plug-in handed out back to it.
void Stage::giveBack(void *block)
{
    Dl_info info;
    if (dladdr(block, &info) != 0) {
        host.complain(QStringLiteral("something was handed out that lies in a library, where a "
                                     "block is due"));
        return;
    }
    plugin.freeMemory(block);
}

/// Collects a null-terminated array of blocks that the plug-in handed out, and gives it back.
template<typename Item, typename Text>
QStringList Stage::collect(Item **items, Text text)
{
    QStringList texts;
    if (!items) {
        host.complain(QStringLiteral("no array of menu items or hotkeys was handed out"));
        return texts;
    }
    for (Item **item = items; *item; ++item) {
        texts.append(text(**item));
        giveBack(*item);
    }
    giveBack(items);
    return texts;
}

QStringList Stage::menu()
{
    MenuItem **items = nullptr;
    char untouched = 0;
    char *icon = &untouched;
    call("initMenus", plugin.initMenus, &items, &icon);
    if (icon != &untouched)
        host.complain(QStringLiteral("the menu's icon was written"));
    return collect(items, [this](const MenuItem &item) {
        if (item.icon[0] != '\0')
            host.complain(QStringLiteral("a menu item has an icon"));
        return QStringLiteral("%1 %2 %3")
            .arg(item.type)
            .arg(item.id)
            .arg(QString::fromUtf8(item.text));
    });
}

QStringList Stage::hotkeys()
{
    Hotkey **hotkeys = nullptr;
    call("initHotkeys", plugin.initHotkeys, &hotkeys);
    return collect(hotkeys, [](const Hotkey &hotkey) { return QString::fromUtf8(hotkey.keyword); });
}

QString Stage::info(int itemType)
{
    char *text = nullptr;
    call("infoData", plugin.infoData, host.currentConnection, Id(1), itemType, &text);
    if (!text) {
        host.complain(QStringLiteral("no text for the info panel was handed out"));
        return QString();
    }
    QString info = QString::fromUtf8(text);
    giveBack(text);
    return info;
}

void Stage::showWindow(bool isShown)
{
    if (!mWindow) {
        mWindow.reset(new QWidget);
        mWindow->setWindowTitle(QStringLiteral("Stand-in client"));
        QObject::connect(qApp, &QGuiApplication::lastWindowClosed, mWindow.data(), [this] {
            host.complain(QStringLiteral("the closing of a window ended the client"));
        });
    }
    tell(isShown ? QStringLiteral("You show the client's window")
                 : QStringLiteral("You hide the client's window"));
    mWindow->setVisible(isShown);
}

QWidget *Stage::dialog()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget *widget : widgets) {
        if (qobject_cast<QDialog *>(widget))
            return widget;
    }
    return nullptr;
}

}
