#include "bench/plain_host.h"

#include <QList>
#include <QVector>

#include <cstdlib>
#include <cstring>

namespace plainHost {

namespace {

// As long as the texts of ordinary clients: 28, 16, 22 and 5 bytes, and a channel's name.
constexpr char uid[] = "dGhpcyBpcyBhIHVuaXF1ZSBpZD0=";
constexpr char nickname[] = "a client's name ";
constexpr char otherNickname[] = "\xc3\xa4 client's name "; // one in eight is not ASCII
constexpr char version[] = "3.6.2 [Build: 1695203]";
constexpr char platform[] = "Linux";
constexpr char channelName[] = "Channel of the crew";

QVector<anyID> clientIds;
QVector<uint64> channelIds;
QByteArray configFolder;
unsigned int names = 0;

template<typename T>
unsigned int give(const T *data, size_t count, T **result)
{
    *result = static_cast<T *>(malloc(count * sizeof(T)));
    memcpy(*result, data, count * sizeof(T));
    return ERROR_ok;
}

template<size_t size>
unsigned int giveText(const char (&text)[size], char **result)
{
    return give(text, size, result);
}

unsigned int giveProperty(size_t property, char **result)
{
    switch (property) {
    case 0:
        return giveText(uid, result);
    case 1:
        return giveText(nickname, result);
    case CLIENT_VERSION:
        return giveText(version, result);
    default:
        return giveText(platform, result);
    }
}

}

TS3Functions functions()
{
    TS3Functions table{};
    table.freeMemory = [](void *block) {
        free(block);
        return ERROR_ok;
    };
    table.getErrorMessage = [](unsigned int, char **text) { return giveText(uid, text); };
    table.logMessage = [](const char *, LogLevel, const char *, uint64) { return ERROR_ok; };
    table.requestClientMove = [](uint64, anyID, uint64, const char *, const char *) {
        return ERROR_ok;
    };
    table.requestSendPrivateTextMsg = [](uint64, const char *, anyID, const char *) {
        return ERROR_ok;
    };
    table.getClientID = [](uint64, anyID *id) {
        *id = own;
        return ERROR_ok;
    };
    table.getClientVariableAsString = [](uint64, anyID client, size_t property, char **value) {
        if (property == CLIENT_NICKNAME) {
            const unsigned int code =
                client % 8 == 0 ? giveText(otherNickname, value) : giveText(nickname, value);
            (*value)[strlen(*value) - 1] = char('a' + names % 26);
            return code;
        }
        const unsigned int code = giveProperty(property, value);
        // No two clients share an identifier.
        if (property == CLIENT_UNIQUE_IDENTIFIER) {
            for (int i = 0; i < 4; ++i)
                (*value)[i] = char('A' + (client >> (4 * i)) % 16);
        }
        return code;
    };
    table.getServerVariableAsString = [](uint64, size_t property, char **value) {
        return giveProperty(property, value);
    };
    table.getChannelOfClient = [](uint64, anyID, uint64 *channel) {
        *channel = 1;
        return ERROR_ok;
    };
    table.getChannelVariableAsInt = [](uint64, uint64, size_t, int *value) {
        *value = 0;
        return ERROR_ok;
    };
    table.getChannelVariableAsString = [](uint64, uint64, size_t, char **value) {
        return giveText(channelName, value);
    };
    table.getChannelList = [](uint64, uint64 **ids) {
        return give(channelIds.constData(), size_t(channelIds.size()), ids);
    };
    table.getChannelClientList = [](uint64, uint64, anyID **ids) {
        return give(clientIds.constData(), size_t(clientIds.size()), ids);
    };
    table.getConfigPath = [](char *path, size_t size) {
        qstrncpy(path, configFolder.constData(), uint(size));
    };
    table.getCurrentServerConnectionHandlerID = [] { return connection; };
    return table;
}

void setSize(int clientCount, int channelCount)
{
    clientIds.clear();
    for (int id = 1; id <= clientCount; ++id)
        clientIds.append(anyID(id));
    clientIds.append(0);
    channelIds.clear();
    for (int id = 1; id <= channelCount; ++id)
        channelIds.append(uint64(id));
    channelIds.append(0);
}

void setConfigPath(const QByteArray &path) { configFolder = path; }

void renameAll() { ++names; }

}
