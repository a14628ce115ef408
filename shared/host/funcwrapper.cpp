#include "shared/host/funcwrapper.h"

#include "shared/singleton.h"

#include <QByteArray>
#include <QtDebug>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

namespace {

constexpr size_t pathBytes = 512;

using FreeMemory = decltype(TS3Functions::freeMemory);

struct GiveBack
{
    FreeMemory freeMemory;
    void operator()(void *block) const { freeMemory(block); }
};

/// A block that the host handed out; it goes back at the end of the scope. The host may also hand
/// out a null pointer, which doesn't go back.
template<typename T>
using HostBlock = std::unique_ptr<T, GiveBack>;

/// Calls a host function with `arguments` and the address of a result. Empty if it fails.
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

/// Whether a text of the host is ASCII and equal to `text`, so that it needn't be decoded.
bool isSameAscii(const char *utf8, const QString &text)
{
    const auto size = size_t(text.size());
    if (strlen(utf8) != size)
        return false;
    const auto *byte = reinterpret_cast<const uchar *>(utf8);
    const QChar *letter = text.constData();
    uint difference = 0;
    for (size_t i = 0; i < size; ++i)
        difference |= (letter[i].unicode() ^ byte[i]) | (byte[i] & 0x80U);
    return difference == 0;
}

/// Builds a record value by value, in the order of its keys. The record stays shared with a known
/// one until a value differs.
class RecordReader
{
public:
    template<size_t count>
    RecordReader(const TS3Functions &functions, const std::array<QString, count> &keys,
                 Record known = Record()) :
        mFunctions(functions),
        mKey(keys.data()), mKnown(std::move(known))
    {
        static_assert(count <= maxKeys);
        // A record with other keys can't be reused.
        size_t found = 0;
        for (auto one = mKnown.begin(); one != mKnown.end(); ++one) {
            const size_t at = placeOf(one.key(), keys);
            if (at == count)
                break;
            mValues[at] = &one.value();
            ++found;
        }
        if (found == count && mKnown.size() == int(count)) {
            mRecord = mKnown;
        } else {
            std::fill(std::begin(mValues), std::end(mValues), nullptr);
            mRecord.reserve(int(count));
        }
    }

    /// Adds a text that a function of the host hands out, "Unknown" when it fails.
    template<typename... Parameters, typename... Arguments>
    void addText(unsigned int (*function)(Parameters...), Arguments... arguments)
    {
        const std::optional<char *> text = readValue<char *>(function, arguments...);
        const HostBlock<char> block(text.value_or(nullptr), {mFunctions.freeMemory});
        const char *bytes = "Unknown";
        if (text)
            bytes = block ? block.get() : "";
        const QString *stored = known<QString>();
        if (!stored || !isSameAscii(bytes, *stored)) {
            const QString decoded = QString::fromUtf8(bytes);
            if (!stored || *stored != decoded)
                set(decoded);
        }
        ++mNext;
    }

    template<typename T>
    void add(const T &value)
    {
        const T *stored = known<T>();
        if (!stored || *stored != value)
            set(QVariant::fromValue(value));
        ++mNext;
    }

    Record take() { return std::move(mRecord); }

private:
    static constexpr size_t maxKeys = 5;

    /// The index of `key` in `keys`, or `count` if absent. Most keys share their characters with an
    /// entry, so the addresses are compared first.
    template<size_t count>
    static size_t placeOf(const QString &key, const std::array<QString, count> &keys)
    {
        for (size_t at = 0; at < count; ++at) {
            if (keys[at].constData() == key.constData())
                return at;
        }
        return size_t(std::find(keys.begin(), keys.end(), key) - keys.begin());
    }

    /// The known value under the next key, null when there is none of that type.
    template<typename T>
    const T *known() const
    {
        const QVariant *value = mValues[mNext];
        return value && value->userType() == qMetaTypeId<T>()
            ? static_cast<const T *>(value->constData())
            : nullptr;
    }

    void set(const QVariant &value) { mRecord.insert(mKey[mNext], value); }

    const TS3Functions &mFunctions;
    const QString *mKey;
    const Record mKnown;
    const QVariant *mValues[maxKeys] = {};
    size_t mNext = 0;
    Record mRecord;
};

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
    // The host may fill the buffer to its last byte.
    return QString::fromUtf8(path, int(qstrnlen(path, pathBytes)));
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

Record funcwrapper::readServer(uint64 connection) const
{
    const auto property = mFunctions.getServerVariableAsString;
    static const std::array keys{recordKeys::uid(), recordKeys::name(), recordKeys::platform(),
                                 recordKeys::version(), recordKeys::conHandler()};
    RecordReader record(mFunctions, keys);
    record.addText(property, connection, VIRTUALSERVER_UNIQUE_IDENTIFIER);
    record.addText(property, connection, VIRTUALSERVER_NAME);
    record.addText(property, connection, VIRTUALSERVER_PLATFORM);
    record.addText(property, connection, VIRTUALSERVER_VERSION);
    record.add(connection);
    return record.take();
}

Record funcwrapper::readClient(uint64 connection, anyID client) const
{
    return readClient(connection, client, Record());
}

Record funcwrapper::readClient(uint64 connection, anyID client, Record known) const
{
    const auto property = mFunctions.getClientVariableAsString;
    static const std::array keys{recordKeys::uid(), recordKeys::name(), recordKeys::platform(),
                                 recordKeys::version(), recordKeys::clId()};
    RecordReader record(mFunctions, keys, std::move(known));
    record.addText(property, connection, client, CLIENT_UNIQUE_IDENTIFIER);
    record.addText(property, connection, client, CLIENT_NICKNAME);
    record.addText(property, connection, client, CLIENT_PLATFORM);
    record.addText(property, connection, client, CLIENT_VERSION);
    record.add(client);
    return record.take();
}

QList<Record> funcwrapper::readChannels(uint64 connection) const
{
    return readChannels(connection, RecordTable());
}

QList<Record> funcwrapper::readChannels(uint64 connection, RecordTable known) const
{
    static const std::array keys{recordKeys::id(), recordKeys::name(), recordKeys::isDefault()};
    QList<Record> records;
    const QList<uint64> ids = getChannels(connection);
    records.reserve(ids.size());
    QString id;
    for (const uint64 channel : ids) {
        setIdText(id, channel);
        RecordReader record(mFunctions, keys, known.value(id));
        record.add(id);
        record.addText(mFunctions.getChannelVariableAsString, connection, channel, CHANNEL_NAME);
        record.add(getChannelDefault(connection, channel));
        records.append(record.take());
    }
    return records;
}

QList<Record> funcwrapper::readChannelClients(uint64 connection, uint64 channel) const
{
    return readChannelClients(connection, channel, RecordTable());
}

QList<Record> funcwrapper::readChannelClients(uint64 connection, uint64 channel,
                                              RecordTable known) const
{
    QList<Record> records;
    const QList<anyID> ids = getChannelClients(connection, channel);
    records.reserve(ids.size());
    QString id;
    for (const anyID client : ids) {
        setIdText(id, client);
        // A new client has much in common with the one read before it, if there is one.
        const Record previous = records.value(records.size() - 1);
        records.append(readClient(connection, client, known.value(id, previous)));
    }
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
    txtToUser(serverId.toULongLong(), anyID(clientId.toULongLong()), message);
}

void funcwrapper::logFailure(unsigned int code, uint64 connection) const
{
    if (code != ERROR_ok)
        txtToLog(getError(code), LogLevel_WARNING, connection);
}
