#include "shared/host/funcwrapper.h"

#include "shared/model/record.h"
#include "shared/singleton.h"

#include <QByteArray>
#include <QtDebug>

#include <memory>
#include <optional>

namespace {

constexpr size_t pathBytes = 512;

using FreeMemory = decltype(TS3Functions::freeMemory);

struct GiveBack
{
    FreeMemory freeMemory;
    void operator()(void *block) const { freeMemory(block); }
};

/// A block that the client handed out; it goes back at the end of the scope. The client may hand
/// out a null pointer, which is no block and stays here.
template<typename T>
using HostBlock = std::unique_ptr<T, GiveBack>;

/// Calls a host function with `arguments` and the address of a result; nothing when it fails.
template<typename Result, typename... Parameters, typename... Arguments>
std::optional<Result> readValue(unsigned int (*function)(Parameters...), Arguments... arguments)
{
    Result result{};
    if (function(arguments..., &result) != ERROR_ok)
        return std::nullopt;
    return result;
}

template<typename... Parameters, typename... Arguments>
QString readText(FreeMemory freeMemory, unsigned int (*function)(Parameters...),
                 Arguments... arguments)
{
    const std::optional<char *> text = readValue<char *>(function, arguments...);
    if (!text)
        return QStringLiteral("Unknown");
    const HostBlock<char> block(*text, {freeMemory});
    return QString::fromUtf8(block.get());
}

template<typename Id, typename... Parameters, typename... Arguments>
QList<Id> readIds(FreeMemory freeMemory, unsigned int (*function)(Parameters...),
                  Arguments... arguments)
{
    const HostBlock<Id> ids(readValue<Id *>(function, arguments...).value_or(nullptr),
                            {freeMemory});
    QList<Id> list;
    for (const Id *id = ids.get(); id && *id != 0; ++id)
        list.append(*id);
    return list;
}

template<typename... Parameters, typename... Arguments>
QString readPath(void (*function)(Parameters...), Arguments... arguments)
{
    char path[pathBytes] = {};
    function(path, pathBytes, arguments...);
    // The client may fill the buffer to its last byte.
    return QString::fromUtf8(path, static_cast<int>(qstrnlen(path, pathBytes)));
}

}

std::atomic<funcwrapper *> funcwrapper::mInstance{nullptr};

funcwrapper *funcwrapper::instance()
{
    static QMutex mutex;
    return singletonInstance(mInstance, mutex);
}

void funcwrapper::setFunctions(TS3Functions funcs) { mFunctions = funcs; }

void funcwrapper::setPlgName(QString name) { mPlgName = name; }

QString funcwrapper::getAppPath() const { return readPath(mFunctions.getAppPath); }

QString funcwrapper::getConfigPath() const { return readPath(mFunctions.getConfigPath); }

QString funcwrapper::getReourcesPath() const { return readPath(mFunctions.getResourcesPath); }

QString funcwrapper::getPluginPath(QString pluginId) const
{
    return readPath(mFunctions.getPluginPath, pluginId.toUtf8().constData());
}

uint64 funcwrapper::getCurrentConnectionHandlerID() const
{
    return mFunctions.getCurrentServerConnectionHandlerID();
}

int funcwrapper::getConnectionStatus(uint64 connection) const
{
    return readValue<int>(mFunctions.getConnectionStatus, connection).value_or(0);
}

anyID funcwrapper::getOwnClientID(uint64 connection) const
{
    return readValue<anyID>(mFunctions.getClientID, connection).value_or(0);
}

uint64 funcwrapper::getChannelID(uint64 connection, anyID client) const
{
    return readValue<uint64>(mFunctions.getChannelOfClient, connection, client).value_or(0);
}

QString funcwrapper::getConnectionServerIP(uint64 connection) const
{
    return readText(mFunctions.freeMemory, mFunctions.getConnectionVariableAsString, connection,
                    getOwnClientID(connection), CONNECTION_SERVER_IP);
}

QString funcwrapper::getConnectionServerPort(uint64 connection) const
{
    return readText(mFunctions.freeMemory, mFunctions.getConnectionVariableAsString, connection,
                    getOwnClientID(connection), CONNECTION_SERVER_PORT);
}

QString funcwrapper::getClientUID(uint64 connection, anyID client) const
{
    return readText(mFunctions.freeMemory, mFunctions.getClientVariableAsString, connection, client,
                    CLIENT_UNIQUE_IDENTIFIER);
}

QString funcwrapper::getClientName(uint64 connection, anyID client) const
{
    return readText(mFunctions.freeMemory, mFunctions.getClientVariableAsString, connection, client,
                    CLIENT_NICKNAME);
}

QString funcwrapper::getClientPlatform(uint64 connection, anyID client) const
{
    return readText(mFunctions.freeMemory, mFunctions.getClientVariableAsString, connection, client,
                    CLIENT_PLATFORM);
}

QString funcwrapper::getClientVersion(uint64 connection, anyID client) const
{
    return readText(mFunctions.freeMemory, mFunctions.getClientVariableAsString, connection, client,
                    CLIENT_VERSION);
}

QString funcwrapper::getChannelName(uint64 connection, uint64 channel) const
{
    return readText(mFunctions.freeMemory, mFunctions.getChannelVariableAsString, connection,
                    channel, CHANNEL_NAME);
}

QString funcwrapper::getServerUID(uint64 connection) const
{
    return readText(mFunctions.freeMemory, mFunctions.getServerVariableAsString, connection,
                    VIRTUALSERVER_UNIQUE_IDENTIFIER);
}

QString funcwrapper::getServerName(uint64 connection) const
{
    return readText(mFunctions.freeMemory, mFunctions.getServerVariableAsString, connection,
                    VIRTUALSERVER_NAME);
}

QString funcwrapper::getServerPlatform(uint64 connection) const
{
    return readText(mFunctions.freeMemory, mFunctions.getServerVariableAsString, connection,
                    VIRTUALSERVER_PLATFORM);
}

QString funcwrapper::getServerVersion(uint64 connection) const
{
    return readText(mFunctions.freeMemory, mFunctions.getServerVariableAsString, connection,
                    VIRTUALSERVER_VERSION);
}

bool funcwrapper::getChannelDefault(uint64 connection, uint64 channel) const
{
    return readValue<int>(mFunctions.getChannelVariableAsInt, connection, channel,
                          CHANNEL_FLAG_DEFAULT)
        == 1;
}

bool funcwrapper::getClientType(uint64 connection, anyID client) const
{
    const std::optional<int> type =
        readValue<int>(mFunctions.getClientVariableAsInt, connection, client, CLIENT_TYPE);
    if (!type)
        return false;
    qDebug("CLIENT_TYPE: %d", *type);
    return *type == 0;
}

QString funcwrapper::getError(unsigned int code) const
{
    const std::optional<char *> text = readValue<char *>(mFunctions.getErrorMessage, code);
    if (!text)
        return QStringLiteral("Unknown error");
    const HostBlock<char> block(*text, {mFunctions.freeMemory});
    return QString::fromLatin1(block.get());
}

void funcwrapper::txtToLog(QString message, LogLevel level, uint64 logId) const
{
    mFunctions.logMessage(message.toUtf8().constData(), level, mPlgName.toUtf8().constData(),
                          logId);
}

void funcwrapper::txtToCurrent(QString message) const
{
    mFunctions.printMessageToCurrentTab(message.toUtf8().constData());
}

void funcwrapper::txtToUser(uint64 connection, anyID client, QString message) const
{
    logFailure(mFunctions.requestSendPrivateTextMsg(connection, message.toUtf8().constData(),
                                                    client, nullptr),
               connection);
}

void funcwrapper::requestClientMove(uint64 connection, anyID client, uint64 channel,
                                    QString password) const
{
    logFailure(mFunctions.requestClientMove(connection, client, channel,
                                            password.toUtf8().constData(), nullptr),
               connection);
}

void funcwrapper::requestServerGroups(uint64 connection) const
{
    logFailure(mFunctions.requestServerGroupList(connection, nullptr), connection);
}

void funcwrapper::requestChannelGroups(uint64 connection) const
{
    logFailure(mFunctions.requestChannelGroupList(connection, nullptr), connection);
}

QList<uint64> funcwrapper::getConnectionHandlerList() const
{
    return readIds<uint64>(mFunctions.freeMemory, mFunctions.getServerConnectionHandlerList);
}

QList<uint64> funcwrapper::getChannels(uint64 connection) const
{
    return readIds<uint64>(mFunctions.freeMemory, mFunctions.getChannelList, connection);
}

QList<anyID> funcwrapper::getChannelClients(uint64 connection, uint64 channel) const
{
    return readIds<anyID>(mFunctions.freeMemory, mFunctions.getChannelClientList, connection,
                          channel);
}

QHash<QString, QVariant> funcwrapper::readServer(uint64 connection) const
{
    Record record;
    record.reserve(5);
    record[recordKeys::uid()] = getServerUID(connection);
    record[recordKeys::name()] = getServerName(connection);
    record[recordKeys::platform()] = getServerPlatform(connection);
    record[recordKeys::version()] = getServerVersion(connection);
    record[recordKeys::conHandler()] = QVariant::fromValue(connection);
    return record;
}

QHash<QString, QVariant> funcwrapper::readClient(uint64 connection, anyID client) const
{
    Record record;
    record.reserve(5);
    record[recordKeys::uid()] = getClientUID(connection, client);
    record[recordKeys::name()] = getClientName(connection, client);
    record[recordKeys::platform()] = getClientPlatform(connection, client);
    record[recordKeys::version()] = getClientVersion(connection, client);
    record[recordKeys::clId()] = QVariant::fromValue(client);
    return record;
}

QList<QHash<QString, QVariant>> funcwrapper::readChannels(uint64 connection) const
{
    QList<Record> records;
    const QList<uint64> ids = getChannels(connection);
    records.reserve(ids.size());
    for (const uint64 id : ids) {
        Record record;
        record.reserve(3);
        record[recordKeys::id()] = idText(id);
        record[recordKeys::name()] = getChannelName(connection, id);
        record[recordKeys::isDefault()] = getChannelDefault(connection, id);
        records.append(record);
    }
    return records;
}

QList<QHash<QString, QVariant>> funcwrapper::readChannelClients(uint64 connection,
                                                                uint64 channel) const
{
    QList<Record> records;
    const QList<anyID> ids = getChannelClients(connection, channel);
    records.reserve(ids.size());
    for (const anyID id : ids)
        records.append(readClient(connection, id));
    return records;
}

void funcwrapper::logMessage(QString message) { txtToLog(message, LogLevel_INFO, 0); }

void funcwrapper::channelChange(QString serverId, QString channelId)
{
    const uint64 connection = serverId.toULongLong();
    requestClientMove(connection, getOwnClientID(connection), channelId.toULongLong(), QString());
}

void funcwrapper::sendMessage(QString serverId, QString clientId, QString message)
{
    txtToUser(serverId.toULongLong(), static_cast<anyID>(clientId.toULongLong()), message);
}

void funcwrapper::logFailure(unsigned int code, uint64 connection) const
{
    if (code != ERROR_ok)
        txtToLog(getError(code), LogLevel_WARNING, connection);
}
