#include "standin/host.h"

#include <QThread>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

Host *theHost = nullptr;

enum ErrorCode : unsigned int {
    refused = 1,
    unknownConnection,
    unknownClient,
    unknownChannel,
    wrongPassword,
    unknownProperty,
    emptyList
};

/// Left behind by functions that fail: whoever follows it crashes.
template<typename T>
T *untouchable()
{
    return reinterpret_cast<T *>(size_t{0x10});
}

constexpr int returnedBlocksKept = 4096;

}

Channel *Server::channel(uint64 id)
{
    for (int i = 0; i < channels.size(); ++i) {
        const int at = (mLastChannel + i) % channels.size();
        if (channels.at(at).id == id) {
            mLastChannel = at;
            return &channels[at];
        }
    }
    return nullptr;
}

Client *Server::client(anyID id)
{
    const auto found = clients.find(id);
    return found == clients.end() ? nullptr : &*found;
}

/// The 25 functions of the table that do something, and the traps in the other places.
struct HostFunctions
{
    /// Every function starts here: the call is counted, logged and judged.
    template<typename... Arguments>
    static void enter(const char *function, Arguments... arguments)
    {
        ++theHost->callCount;
        if (theHost->keepsCalls) {
            QStringList texts;
            (texts.append(text(arguments)), ...);
            theHost->note(QStringLiteral("plug-in -> %1(%2)")
                              .arg(QLatin1String(function), texts.join(QLatin1String(", "))));
        }
        if (!theHost->accepts) {
            theHost->complain(QStringLiteral("%1 was called before the function table was handed "
                                             "over or after shutdown")
                                  .arg(QLatin1String(function)));
        }
        if (QThread::currentThreadId() != theHost->mThread) {
            theHost->complain(
                QStringLiteral("%1 was called from another thread").arg(QLatin1String(function)));
        }
    }

    static QString text(uint64 number) { return QString::number(number); }
    static QString text(const char *bytes)
    {
        return bytes ? QLatin1Char('"') + QString::fromUtf8(bytes) + QLatin1Char('"')
                     : QStringLiteral("null");
    }

    static void expectNoReturnCode(const char *returnCode)
    {
        if (returnCode) {
            theHost->complain(QStringLiteral("a return code was given, for which the plug-in has "
                                             "no callback"));
        }
    }

    static bool has(const char *function, Host::Fault fault)
    {
        const auto found = theHost->faults.constFind(function);
        return found != theHost->faults.constEnd() && *found == fault;
    }

    static unsigned int giveText(const char *function, QByteArray text, char **result)
    {
        if (has(function, Host::Fault::Null)) {
            *result = nullptr;
            return ERROR_ok;
        }
        if (has(function, Host::Fault::Garbled))
            text = "\xff\xc3(" + text + "\xe2\x82";
        *result = static_cast<char *>(
            theHost->handOut(text.constData(), size_t(text.size()) + 1, function));
        return ERROR_ok;
    }

    template<typename Id>
    static unsigned int giveIds(const char *function, QList<Id> ids, Id **result)
    {
        if (has(function, Host::Fault::Null)) {
            *result = nullptr;
            return ERROR_ok;
        }
        ids.append(0);
        const QVector<Id> array = ids.toVector();
        *result = static_cast<Id *>(
            theHost->handOut(array.constData(), size_t(array.size()) * sizeof(Id), function));
        return ERROR_ok;
    }

    static void givePath(const char *function, const QByteArray &path, char *buffer, size_t size)
    {
        enter(function, uint64(size));
        // A path that fills the buffer comes without a NUL.
        memcpy(buffer, path.constData(), qMin(size, size_t(path.size()) + 1));
    }

    static unsigned int finish(const Request &request, unsigned int code)
    {
        theHost->requests.append(request);
        if (theHost->asked)
            theHost->asked(request, code);
        return code;
    }

    static unsigned int getErrorMessage(unsigned int code, char **text)
    {
        enter("getErrorMessage", code);
        if (has("getErrorMessage", Host::Fault::Refuse)) {
            *text = untouchable<char>();
            return refused;
        }
        return giveText("getErrorMessage", theHost->errorText(code), text);
    }

    static unsigned int freeMemory(void *block)
    {
        enter("freeMemory");
        --theHost->callCount;
        theHost->takeBack(block);
        return ERROR_ok;
    }

    static unsigned int logMessage(const char *message, LogLevel level, const char *channel,
                                   uint64 logId)
    {
        enter("logMessage", message, uint64(level), channel, logId);
        Request request{Request::Log, logId};
        request.text = message;
        request.level = level;
        request.logChannel = channel;
        return finish(request, has("logMessage", Host::Fault::Refuse) ? refused : ERROR_ok);
    }

    static unsigned int requestClientMove(uint64 connection, anyID client, uint64 channel,
                                          const char *password, const char *returnCode)
    {
        enter("requestClientMove", connection, client, channel, password, returnCode);
        expectNoReturnCode(returnCode);
        const Request request{Request::Move, connection, client, channel, password};
        Server *server = theHost->server(connection);
        if (!server)
            return finish(request, unknownConnection);
        if (has("requestClientMove", Host::Fault::Refuse))
            return finish(request, refused);
        Client *moved = server->client(client);
        if (!moved)
            return finish(request, unknownClient);
        const Channel *target = server->channel(channel);
        if (!target)
            return finish(request, unknownChannel);
        if (target->password != password)
            return finish(request, wrongPassword);

        finish(request, ERROR_ok);
        const uint64 oldChannel = std::exchange(moved->channel, channel);
        if (client == server->own && oldChannel != channel && theHost->moved) {
            theHost->mWaiting.append(
                [=] { theHost->moved(connection, client, oldChannel, channel); });
            if (theHost->answersInside)
                theHost->deliver();
        }
        return ERROR_ok;
    }

    static unsigned int requestSendPrivateTextMsg(uint64 connection, const char *message,
                                                  anyID client, const char *returnCode)
    {
        enter("requestSendPrivateTextMsg", connection, message, client, returnCode);
        expectNoReturnCode(returnCode);
        const Request request{Request::Message, connection, client, 0, message};
        Server *server = theHost->server(connection);
        if (!server)
            return finish(request, unknownConnection);
        if (has("requestSendPrivateTextMsg", Host::Fault::Refuse))
            return finish(request, refused);
        return finish(request, server->client(client) ? ERROR_ok : unknownClient);
    }

    static unsigned int getClientID(uint64 connection, anyID *id)
    {
        enter("getClientID", connection);
        const Server *server = theHost->server(connection);
        if (!server || has("getClientID", Host::Fault::Refuse)) {
            *id = 0xdead;
            return unknownConnection;
        }
        *id = server->own;
        return ERROR_ok;
    }

    static unsigned int getClientVariableAsInt(uint64 connection, anyID client, size_t property,
                                               int *value)
    {
        enter("getClientVariableAsInt", connection, client, property);
        Server *server = theHost->server(connection);
        const Client *found = server ? server->client(client) : nullptr;
        if (!found || property != CLIENT_TYPE
            || has("getClientVariableAsInt", Host::Fault::Refuse)) {
            *value = 0;
            return unknownClient;
        }
        *value = found->type;
        return ERROR_ok;
    }

    static unsigned int getClientVariableAsString(uint64 connection, anyID client, size_t property,
                                                  char **value)
    {
        const char *function = "getClientVariableAsString";
        enter(function, connection, client, property);
        *value = untouchable<char>();
        Server *server = theHost->server(connection);
        const Client *found = server ? server->client(client) : nullptr;
        if (!found || has(function, Host::Fault::Refuse))
            return unknownClient;
        switch (property) {
        case CLIENT_UNIQUE_IDENTIFIER:
            return giveText(function, found->uid, value);
        case CLIENT_NICKNAME:
            return giveText(function, found->name, value);
        case CLIENT_VERSION:
            return giveText(function, found->version, value);
        case CLIENT_PLATFORM:
            return giveText(function, found->platform, value);
        default:
            return unknownProperty;
        }
    }

    static unsigned int getChannelOfClient(uint64 connection, anyID client, uint64 *channel)
    {
        enter("getChannelOfClient", connection, client);
        Server *server = theHost->server(connection);
        const Client *found = server ? server->client(client) : nullptr;
        if (!found || has("getChannelOfClient", Host::Fault::Refuse)) {
            *channel = 0xdead;
            return unknownClient;
        }
        *channel = found->channel;
        return ERROR_ok;
    }

    static unsigned int getChannelVariableAsInt(uint64 connection, uint64 channel, size_t property,
                                                int *value)
    {
        enter("getChannelVariableAsInt", connection, channel, property);
        Server *server = theHost->server(connection);
        const Channel *found = server ? server->channel(channel) : nullptr;
        if (!found || property != CHANNEL_FLAG_DEFAULT
            || has("getChannelVariableAsInt", Host::Fault::Refuse)) {
            *value = 1;
            return unknownChannel;
        }
        *value = found->isDefault;
        return ERROR_ok;
    }

    static unsigned int getChannelVariableAsString(uint64 connection, uint64 channel,
                                                   size_t property, char **value)
    {
        const char *function = "getChannelVariableAsString";
        enter(function, connection, channel, property);
        *value = untouchable<char>();
        Server *server = theHost->server(connection);
        const Channel *found = server ? server->channel(channel) : nullptr;
        if (!found || property != CHANNEL_NAME || has(function, Host::Fault::Refuse))
            return unknownChannel;
        return giveText(function, found->name, value);
    }

    static unsigned int getChannelList(uint64 connection, uint64 **ids)
    {
        enter("getChannelList", connection);
        *ids = untouchable<uint64>();
        const Server *server = theHost->server(connection);
        if (!server || has("getChannelList", Host::Fault::Refuse))
            return unknownConnection;
        QList<uint64> list;
        for (const Channel &channel : server->channels)
            list.append(channel.id);
        return giveIds("getChannelList", list, ids);
    }

    static unsigned int getChannelClientList(uint64 connection, uint64 channel, anyID **ids)
    {
        enter("getChannelClientList", connection, channel);
        *ids = untouchable<anyID>();
        Server *server = theHost->server(connection);
        if (!server || !server->channel(channel)
            || has("getChannelClientList", Host::Fault::Refuse)) {
            return unknownChannel;
        }
        QList<anyID> list;
        for (const Client &client : qAsConst(server->clients)) {
            if (client.channel == channel)
                list.append(client.id);
        }
        return giveIds("getChannelClientList", list, ids);
    }

    static unsigned int getServerConnectionHandlerList(uint64 **ids)
    {
        enter("getServerConnectionHandlerList");
        *ids = untouchable<uint64>();
        if (has("getServerConnectionHandlerList", Host::Fault::Refuse))
            return emptyList;
        return giveIds("getServerConnectionHandlerList", theHost->servers.keys(), ids);
    }

    static unsigned int getServerVariableAsString(uint64 connection, size_t property, char **value)
    {
        const char *function = "getServerVariableAsString";
        enter(function, connection, property);
        *value = untouchable<char>();
        const Server *server = theHost->server(connection);
        if (!server || has(function, Host::Fault::Refuse))
            return unknownConnection;
        switch (property) {
        case VIRTUALSERVER_UNIQUE_IDENTIFIER:
            return giveText(function, server->uid, value);
        case VIRTUALSERVER_NAME:
            return giveText(function, server->name, value);
        case VIRTUALSERVER_PLATFORM:
            return giveText(function, server->platform, value);
        case VIRTUALSERVER_VERSION:
            return giveText(function, server->version, value);
        default:
            return unknownProperty;
        }
    }

    static unsigned int getConnectionStatus(uint64 connection, int *status)
    {
        enter("getConnectionStatus", connection);
        const Server *server = theHost->server(connection);
        if (!server || has("getConnectionStatus", Host::Fault::Refuse)) {
            *status = STATUS_CONNECTED;
            return unknownConnection;
        }
        *status = server->status;
        return ERROR_ok;
    }

    static unsigned int getConnectionVariableAsString(uint64 connection, anyID client,
                                                      size_t property, char **value)
    {
        const char *function = "getConnectionVariableAsString";
        enter(function, connection, client, property);
        *value = untouchable<char>();
        const Server *server = theHost->server(connection);
        if (!server || client != server->own || has(function, Host::Fault::Refuse))
            return unknownConnection;
        switch (property) {
        case CONNECTION_SERVER_IP:
            return giveText(function, "192.0.2.7", value);
        case CONNECTION_SERVER_PORT:
            return giveText(function, "9987", value);
        default:
            return unknownProperty;
        }
    }

    static unsigned int requestServerGroupList(uint64 connection, const char *returnCode)
    {
        enter("requestServerGroupList", connection, returnCode);
        expectNoReturnCode(returnCode);
        return finish({Request::ServerGroups, connection},
                      has("requestServerGroupList", Host::Fault::Refuse) ? refused : ERROR_ok);
    }

    static unsigned int requestChannelGroupList(uint64 connection, const char *returnCode)
    {
        enter("requestChannelGroupList", connection, returnCode);
        expectNoReturnCode(returnCode);
        return finish({Request::ChannelGroups, connection},
                      has("requestChannelGroupList", Host::Fault::Refuse) ? refused : ERROR_ok);
    }

    static void getAppPath(char *path, size_t size)
    {
        givePath("getAppPath", "/client/app", path, size);
    }

    static void getResourcesPath(char *path, size_t size)
    {
        givePath("getResourcesPath", "/client/resources", path, size);
    }

    static void getConfigPath(char *path, size_t size)
    {
        givePath("getConfigPath", theHost->configPath, path, size);
    }

    static void getPluginPath(char *path, size_t size, const char *pluginId)
    {
        givePath("getPluginPath", QByteArray("/client/plugins/") + pluginId, path, size);
    }

    static uint64 getCurrentServerConnectionHandlerID()
    {
        enter("getCurrentServerConnectionHandlerID");
        return theHost->currentConnection;
    }

    static void printMessageToCurrentTab(const char *message)
    {
        enter("printMessageToCurrentTab", message);
        finish({Request::TabText, theHost->currentConnection, 0, 0, message}, ERROR_ok);
    }

    template<size_t position>
    static void trap()
    {
        theHost->complain(
            QStringLiteral("the member at position %1 of the function table was called")
                .arg(position));
    }

    template<size_t... positions>
    static TS3Functions traps(std::index_sequence<positions...>)
    {
        void (*members[])() = {&trap<positions>...};
        TS3Functions functions;
        static_assert(sizeof(members) == sizeof(functions));
        memcpy(&functions, members, sizeof(functions));
        return functions;
    }

    static TS3Functions table()
    {
        TS3Functions functions = traps(std::make_index_sequence<TS3FUNCTIONS_COUNT>());
        functions.getErrorMessage = getErrorMessage;
        functions.freeMemory = freeMemory;
        functions.logMessage = logMessage;
        functions.requestClientMove = requestClientMove;
        functions.requestSendPrivateTextMsg = requestSendPrivateTextMsg;
        functions.getClientID = getClientID;
        functions.getClientVariableAsInt = getClientVariableAsInt;
        functions.getClientVariableAsString = getClientVariableAsString;
        functions.getChannelOfClient = getChannelOfClient;
        functions.getChannelVariableAsInt = getChannelVariableAsInt;
        functions.getChannelVariableAsString = getChannelVariableAsString;
        functions.getChannelList = getChannelList;
        functions.getChannelClientList = getChannelClientList;
        functions.getServerConnectionHandlerList = getServerConnectionHandlerList;
        functions.getServerVariableAsString = getServerVariableAsString;
        functions.getConnectionStatus = getConnectionStatus;
        functions.getConnectionVariableAsString = getConnectionVariableAsString;
        functions.requestServerGroupList = requestServerGroupList;
        functions.requestChannelGroupList = requestChannelGroupList;
        functions.getAppPath = getAppPath;
        functions.getResourcesPath = getResourcesPath;
        functions.getConfigPath = getConfigPath;
        functions.getPluginPath = getPluginPath;
        functions.getCurrentServerConnectionHandlerID = getCurrentServerConnectionHandlerID;
        functions.printMessageToCurrentTab = printMessageToCurrentTab;
        return functions;
    }
};

Host::Host() : mThread(QThread::currentThreadId())
{
    Q_ASSERT(!theHost);
    theHost = this;
}

Host::~Host()
{
    for (void *block : qAsConst(mReturned))
        free(block);
    for (auto block = mBlocks.cbegin(); block != mBlocks.cend(); ++block)
        free(block.key());
    theHost = nullptr;
}

TS3Functions Host::functions() const { return HostFunctions::table(); }

Server *Host::server(uint64 connection)
{
    const auto found = servers.find(connection);
    return found == servers.end() || found->status == STATUS_DISCONNECTED ? nullptr : &*found;
}

QStringList Host::requestLines() const
{
    QStringList lines;
    for (const Request &request : requests) {
        const QString connection = QString::number(request.connection);
        const QString client = QString::number(request.client);
        const QString text = QString::fromUtf8(request.text);
        if (request.kind == Request::Move) {
            lines.append(QStringLiteral("move %1 %2 %3%4")
                             .arg(connection, client, QString::number(request.channel), text));
        } else if (request.kind == Request::Message) {
            lines.append(QStringLiteral("message %1 %2 %3").arg(connection, client, text));
        } else {
            lines.append(QStringLiteral("log %1 %2").arg(connection, text));
        }
    }
    return lines;
}

bool Host::knows(const QByteArray &function)
{
    static const QSet<QByteArray> names{"getErrorMessage",
                                        "freeMemory",
                                        "logMessage",
                                        "requestClientMove",
                                        "requestSendPrivateTextMsg",
                                        "getClientID",
                                        "getClientVariableAsInt",
                                        "getClientVariableAsString",
                                        "getChannelOfClient",
                                        "getChannelVariableAsInt",
                                        "getChannelVariableAsString",
                                        "getChannelList",
                                        "getChannelClientList",
                                        "getServerConnectionHandlerList",
                                        "getServerVariableAsString",
                                        "getConnectionStatus",
                                        "getConnectionVariableAsString",
                                        "requestServerGroupList",
                                        "requestChannelGroupList",
                                        "getAppPath",
                                        "getResourcesPath",
                                        "getConfigPath",
                                        "getPluginPath",
                                        "getCurrentServerConnectionHandlerID",
                                        "printMessageToCurrentTab"};
    return names.contains(function);
}

void Host::deliver()
{
    while (!mWaiting.isEmpty())
        mWaiting.takeFirst()();
}

void Host::note(const QString &call)
{
    if (keepsCalls)
        calls.append(QStringLiteral("%1 %2").arg(++mNotes, 5).arg(call));
}

QStringList Host::complaints() const
{
    QStringList complaints = mComplaints;
    for (const QPair<size_t, QByteArray> &block : mBlocks) {
        complaints.append(QStringLiteral("a block of %1 was not released")
                              .arg(QString::fromLatin1(block.second)));
    }
    return complaints;
}

QByteArray Host::errorText(unsigned int code) const
{
    switch (code) {
    case ERROR_ok:
        return "ok";
    case refused:
        return refusal;
    case unknownConnection:
        return "unknown connection";
    case unknownClient:
        return "unknown client";
    case unknownChannel:
        return "unknown channel";
    case wrongPassword:
        return "wrong channel password";
    case unknownProperty:
        return "unknown property";
    default:
        return "unknown code";
    }
}

void *Host::handOut(const void *data, size_t size, const char *function)
{
    void *block = malloc(size);
    memcpy(block, data, size);
    mBlocks.insert(block, {size, function});
    ++mBlocksHandedOut;
    return block;
}

void Host::takeBack(void *block)
{
    const auto found = mBlocks.find(block);
    if (found == mBlocks.end()) {
        complain(mReturnedSet.contains(block)
                     ? QStringLiteral("a block was released twice")
                     : QStringLiteral("a block was released that is not the client's"));
        return;
    }
    // A returned block is kept for a while, so that its address is not used again and whoever
    // still reads it reads nonsense.
    memset(block, 0xdd, found->first);
    mBlocks.erase(found);
    mReturned.append(block);
    mReturnedSet.insert(block);
    if (mReturned.size() > returnedBlocksKept) {
        void *oldest = mReturned.takeFirst();
        mReturnedSet.remove(oldest);
        free(oldest);
    }
}
