#include "standin/stage.h"

#include <QApplication>
#include <QDialog>
#include <QFile>

#include <type_traits>

namespace {

QString quoted(const QByteArray &text)
{
    return QLatin1Char('"') + QString::fromUtf8(text) + QLatin1Char('"');
}

QString capitalised(QString text)
{
    if (!text.isEmpty())
        text[0] = text[0].toUpper();
    return text;
}

/// Collects a null-terminated array of blocks that the plug-in handed out, and gives it back.
template<typename Item, typename Text>
QStringList collect(Host &host, const Plugin &plugin, Item **items, Text text)
{
    QStringList texts;
    if (!items) {
        host.complain(QStringLiteral("no array of menu items or hotkeys was handed out"));
        return texts;
    }
    for (Item **item = items; *item; ++item) {
        texts.append(text(**item));
        plugin.freeMemory(*item);
    }
    plugin.freeMemory(items);
    return texts;
}

constexpr const char *invoker = "somebody";
constexpr const char *invokerUid = "invoker=";

}

Stage::Stage(const QString &configFolder)
{
    host.configPath = QFile::encodeName(configFolder.isEmpty() ? mFolder.path() : configFolder);
    host.asked = [this](const Request &request, unsigned int code) { tellRequest(request, code); };
    host.moved = [this](uint64 connection, anyID client, uint64 oldChannel, uint64 newChannel) {
        tell(QStringLiteral("%1 are in %2 again")
                 .arg(capitalised(clientName(connection, client)),
                      channelName(connection, newChannel)));
        reportMove(connection, client, oldChannel, newChannel, RETAIN_VISIBILITY);
    };
}

Stage::~Stage()
{
    if (plugin.isOpen())
        unload();
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

void Stage::connect(uint64 connection)
{
    Server &server = host.servers[connection];
    host.currentConnection = connection;
    for (int status : {STATUS_CONNECTING, STATUS_CONNECTED, STATUS_CONNECTION_ESTABLISHING,
                       STATUS_CONNECTION_ESTABLISHED}) {
        server.status = status;
        if (status == STATUS_CONNECTION_ESTABLISHED) {
            const Client *own = server.client(server.own);
            tell(QStringLiteral("You connect to %1 and are in %2")
                     .arg(serverName(connection), channelName(connection, own ? own->channel : 0)));
        }
        call("onConnectStatusChangeEvent", plugin.onConnectStatusChangeEvent, connection, status,
             ERROR_ok);
    }
}

void Stage::disconnect(uint64 connection)
{
    tell(QStringLiteral("You disconnect from %1").arg(serverName(connection)));
    host.servers[connection].status = STATUS_DISCONNECTED;
    call("onConnectStatusChangeEvent", plugin.onConnectStatusChangeEvent, connection,
         STATUS_DISCONNECTED, ERROR_ok);
}

void Stage::reportMove(uint64 connection, anyID client, uint64 oldChannel, uint64 newChannel,
                       int visibility)
{
    call("onClientMoveEvent", plugin.onClientMoveEvent, connection, client, oldChannel, newChannel,
         visibility, "");
}

void Stage::enter(uint64 connection, const Client &client)
{
    host.servers[connection].clients[client.id] = client;
    tell(QStringLiteral("%1 comes to %2, into %3")
             .arg(clientName(connection, client.id), serverName(connection),
                  channelName(connection, client.channel)));
    reportMove(connection, client.id, 0, client.channel, ENTER_VISIBILITY);
}

void Stage::move(uint64 connection, anyID client, uint64 channel)
{
    Client &moving = host.servers[connection].clients[client];
    const uint64 oldChannel = std::exchange(moving.channel, channel);
    const bool own = client == host.servers[connection].own;
    tell(QStringLiteral("%1 %2 to %3 on %4")
             .arg(capitalised(clientName(connection, client)),
                  own ? QStringLiteral("go") : QStringLiteral("goes"),
                  channelName(connection, channel), serverName(connection)));
    reportMove(connection, client, oldChannel, channel, RETAIN_VISIBILITY);
}

void Stage::leave(uint64 connection, anyID client)
{
    tell(
        QStringLiteral("%1 leaves %2").arg(clientName(connection, client), serverName(connection)));
    const uint64 oldChannel = host.servers[connection].clients.take(client).channel;
    reportMove(connection, client, oldChannel, 0, LEAVE_VISIBILITY);
}

void Stage::moved(uint64 connection, anyID client, uint64 channel, anyID mover)
{
    Client &moving = host.servers[connection].clients[client];
    const uint64 oldChannel = std::exchange(moving.channel, channel);
    tell(QStringLiteral("%1 moves %2 from %3 to %4 on %5")
             .arg(clientName(connection, mover), clientName(connection, client),
                  channelName(connection, oldChannel), channelName(connection, channel),
                  serverName(connection)));
    call("onClientMoveMovedEvent", plugin.onClientMoveMovedEvent, connection, client, oldChannel,
         channel, RETAIN_VISIBILITY, mover, invoker, invokerUid, "");
}

void Stage::renameClient(uint64 connection, anyID client, const QByteArray &name)
{
    tell(QStringLiteral("%1 now goes by the name of %2")
             .arg(clientName(connection, client), quoted(name)));
    host.servers[connection].clients[client].name = name;
    call("onUpdateClientEvent", plugin.onUpdateClientEvent, connection, client, client, invoker,
         invokerUid);
}

void Stage::createChannel(uint64 connection, const Channel &channel)
{
    host.servers[connection].channels.append(channel);
    tell(QStringLiteral("The channel %1 is created on %2")
             .arg(channelName(connection, channel.id), serverName(connection)));
    call("onNewChannelCreatedEvent", plugin.onNewChannelCreatedEvent, connection, channel.id,
         uint64(0), anyID(0), invoker, invokerUid);
}

void Stage::editChannel(uint64 connection, uint64 channel, const QByteArray &name)
{
    tell(QStringLiteral("The channel %1 is now called %2")
             .arg(channelName(connection, channel), quoted(name)));
    if (Channel *edited = host.servers[connection].channel(channel))
        edited->name = name;
    call("onUpdateChannelEditedEvent", plugin.onUpdateChannelEditedEvent, connection, channel,
         anyID(0), invoker, invokerUid);
}

void Stage::updateChannel(uint64 connection, uint64 channel)
{
    tell(QStringLiteral("The channel %1 has news").arg(channelName(connection, channel)));
    call("onUpdateChannelEvent", plugin.onUpdateChannelEvent, connection, channel);
}

void Stage::moveChannel(uint64 connection, uint64 channel, uint64 parent)
{
    tell(QStringLiteral("The channel %1 moves elsewhere in the tree")
             .arg(channelName(connection, channel)));
    call("onChannelMoveEvent", plugin.onChannelMoveEvent, connection, channel, parent, anyID(0),
         invoker, invokerUid);
}

void Stage::deleteChannel(uint64 connection, uint64 channel)
{
    tell(QStringLiteral("The channel %1 is deleted").arg(channelName(connection, channel)));
    QList<Channel> &channels = host.servers[connection].channels;
    channels.erase(std::remove_if(channels.begin(), channels.end(),
                                  [=](const Channel &one) { return one.id == channel; }),
                   channels.end());
    call("onDelChannelEvent", plugin.onDelChannelEvent, connection, channel, anyID(0), invoker,
         invokerUid);
}

void Stage::chooseMenuItem(uint64 connection, PluginMenuType type, int item, uint64 selected)
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
    call("offersConfigure", plugin.offersConfigure);
    tell(QStringLiteral("You open the plug-in's settings"));
    call("configure", plugin.configure, nullptr, nullptr);
}

QStringList Stage::menu()
{
    PluginMenuItem **items = nullptr;
    char *icon = nullptr;
    call("initMenus", plugin.initMenus, &items, &icon);
    return collect(host, plugin, items, [](const PluginMenuItem &item) {
        return QStringLiteral("%1 %2 %3")
            .arg(item.type)
            .arg(item.id)
            .arg(QString::fromUtf8(item.text));
    });
}

QStringList Stage::hotkeys()
{
    PluginHotkey **hotkeys = nullptr;
    call("initHotkeys", plugin.initHotkeys, &hotkeys);
    return collect(host, plugin, hotkeys,
                   [](const PluginHotkey &hotkey) { return QString::fromUtf8(hotkey.keyword); });
}

QString Stage::info()
{
    char *text = nullptr;
    call("infoData", plugin.infoData, host.currentConnection, uint64(0), PLUGIN_SERVER, &text);
    QString info = QString::fromUtf8(text);
    plugin.freeMemory(text);
    return info;
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

QString Stage::serverName(uint64 connection)
{
    const auto server = host.servers.constFind(connection);
    return server == host.servers.constEnd() ? QStringLiteral("connection %1").arg(connection)
                                             : quoted(server->name);
}

QString Stage::channelName(uint64 connection, uint64 channel)
{
    const auto server = host.servers.find(connection);
    const Channel *found = server == host.servers.end() ? nullptr : server->channel(channel);
    return found ? quoted(found->name) : QStringLiteral("channel %1").arg(channel);
}

QString Stage::clientName(uint64 connection, uint64 client)
{
    const auto server = host.servers.find(connection);
    if (server != host.servers.end() && client == server->own && client != 0)
        return QStringLiteral("you");
    const Client *found =
        server == host.servers.end() ? nullptr : server->client(static_cast<anyID>(client));
    return found ? QString::fromUtf8(found->name) : QStringLiteral("client %1").arg(client);
}

void Stage::tellRequest(const Request &request, unsigned int code)
{
    const QString outcome = code == ERROR_ok
        ? QString()
        : QStringLiteral(" - refused: %1").arg(QString::fromUtf8(host.errorText(code)));
    tell(QStringLiteral("    Staybolt: %1%2").arg(describe(*this, request), outcome));
}

QString describe(Stage &stage, const Request &request)
{
    const uint64 connection = request.connection;
    switch (request.kind) {
    case Request::Move: {
        const QString password = request.text.isEmpty()
            ? QString()
            : QStringLiteral(" with password ") + quoted(request.text);
        return QStringLiteral("move %1 to %2 on %3%4")
            .arg(stage.clientName(connection, request.client),
                 stage.channelName(connection, request.channel), stage.serverName(connection),
                 password);
    }
    case Request::Message:
        return QStringLiteral("tell %1 on %2: %3")
            .arg(stage.clientName(connection, request.client), stage.serverName(connection),
                 quoted(request.text));
    case Request::Log:
        return QStringLiteral("log level %1 for %2%3: %4")
            .arg(QString::number(request.level), stage.serverName(connection),
                 request.logChannel.isEmpty()
                     ? QString()
                     : QStringLiteral(" under ") + quoted(request.logChannel),
                 quoted(request.text));
    case Request::TabText:
        return QStringLiteral("show %1").arg(quoted(request.text));
    case Request::ServerGroups:
        return QStringLiteral("list the server groups of %1").arg(stage.serverName(connection));
    case Request::ChannelGroups:
        return QStringLiteral("list the channel groups of %1").arg(stage.serverName(connection));
    }
    return QString();
}
