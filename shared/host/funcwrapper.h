#pragma once

#include "shared/host/host_interface.h"
#include "shared/model/record.h"

#include <QObject>

#include <atomic>

/// The host's functions with Qt types; nothing else calls the function table.
///
/// Reading never fails: what the host can't answer becomes a fallback value, "Unknown" for text,
/// 0 for ids and status, false for flags, an empty list for lists. If the host refuses a request,
/// its error text is written to its log as a warning. All calls but instance() must be made on the
/// host's thread, after setFunctions().
class funcwrapper : public QObject
{
    Q_OBJECT

public:
    funcwrapper() = default;

    /// The one wrapper, created on the first call, from any thread. It lives until the library is
    /// unloaded.
    static funcwrapper *instance();

    /// Copies the host's function table; must be called before any other function.
    void setFunctions(TS3Functions funcs);
    /// Sets the log channel, the name under which log lines appear; empty by default.
    void setPlgName(QString name);

    // The host's directories (getAppPath, getConfigPath, getResourcesPath, getPluginPath): at
    // most 512 bytes, empty when the host writes nothing.
    QString getAppPath() const;
    QString getConfigPath() const;
    QString getReourcesPath() const; // the spelling is fixed
    QString getPluginPath(QString pluginId) const;

    /// The connection whose tab the host shows (getCurrentServerConnectionHandlerID).
    uint64 getCurrentConnectionHandlerID() const;
    /// A value of ConnectStatus (getConnectionStatus), 0 on failure.
    int getConnectionStatus(uint64 connection) const;
    /// The user's own client on the connection (getClientID), 0 on failure.
    anyID getOwnClientID(uint64 connection) const;
    /// The channel that a client is in (getChannelOfClient), 0 on failure.
    uint64 getChannelID(uint64 connection, anyID client) const;

    // Text properties, "Unknown" on failure: of the user's own connection
    // (getConnectionVariableAsString) ...
    QString getConnectionServerIP(uint64 connection) const;
    QString getConnectionServerPort(uint64 connection) const;
    // ... of a client (getClientVariableAsString) ...
    QString getClientUID(uint64 connection, anyID client) const;
    QString getClientName(uint64 connection, anyID client) const;
    QString getClientPlatform(uint64 connection, anyID client) const;
    QString getClientVersion(uint64 connection, anyID client) const;
    // ... of a channel (getChannelVariableAsString) ...
    QString getChannelName(uint64 connection, uint64 channel) const;
    // ... and of a server (getServerVariableAsString).
    QString getServerUID(uint64 connection) const;
    QString getServerName(uint64 connection) const;
    QString getServerPlatform(uint64 connection) const;
    QString getServerVersion(uint64 connection) const;

    /// Whether the channel is the server's default one (CHANNEL_FLAG_DEFAULT is exactly 1), false
    /// on failure.
    bool getChannelDefault(uint64 connection, uint64 channel) const;
    /// Whether the client is an ordinary voice client (CLIENT_TYPE is 0), false on failure. Writes
    /// the type to Qt's debug output.
    bool getClientType(uint64 connection, anyID client) const;

    /// The host's text for an error code (getErrorMessage, decoded as Latin-1), "Unknown error"
    /// when it has none.
    QString getError(unsigned int code) const;
    /// Writes a line to the host's log (logMessage); `logId` is a connection id, or 0 for none.
    void txtToLog(QString message, LogLevel level, uint64 logId) const;
    /// Shows a message in the host's current chat tab (printMessageToCurrentTab).
    void txtToCurrent(QString message) const;
    /// Sends a private text message to a client (requestSendPrivateTextMsg).
    void txtToUser(uint64 connection, anyID client, QString message) const;

    /// Asks for a client to be moved into a channel (requestClientMove) whose password is
    /// `password`, empty when it has none.
    void requestClientMove(uint64 connection, anyID client, uint64 channel, QString password) const;
    /// Asks for the list of server groups (requestServerGroupList).
    void requestServerGroups(uint64 connection) const;
    /// Asks for the list of channel groups (requestChannelGroupList).
    void requestChannelGroups(uint64 connection) const;

    // Lists of ids in the host's order, empty on failure: of the connections
    // (getServerConnectionHandlerList), the channels of a connection (getChannelList) and the
    // clients in a channel (getChannelClientList).
    QList<uint64> getConnectionHandlerList() const;
    QList<uint64> getChannels(uint64 connection) const;
    QList<anyID> getChannelClients(uint64 connection, uint64 channel) const;

    // Records with all of their keys (shared/model/record.h), read afresh from the host.
    Record readServer(uint64 connection) const;
    Record readClient(uint64 connection, anyID client) const;
    /// One record for each channel of the connection, in the host's order.
    QList<Record> readChannels(uint64 connection) const;
    /// One record for each client in the channel, in the host's order.
    QList<Record> readChannelClients(uint64 connection, uint64 channel) const;

    // As above, with the same host calls and results, for callers that already hold such records:
    // unchanged values stay shared with `known`, or with the record of the same id in `known`.
    Record readClient(uint64 connection, anyID client, Record known) const;
    QList<Record> readChannels(uint64 connection, RecordTable known) const;
    QList<Record> readChannelClients(uint64 connection, uint64 channel, RecordTable known) const;

public Q_SLOTS:
    /// txtToLog at LogLevel_INFO without a connection.
    void logMessage(QString message);
    /// Moves the user's own client into a channel without a password. The ids are decimal numbers;
    /// anything else counts as 0.
    void channelChange(QString serverId, QString channelId);
    /// txtToUser with ids as decimal numbers; anything else counts as 0. The client id is cut to 16
    /// bits.
    void sendMessage(QString serverId, QString clientId, QString message);

private:
    Q_DISABLE_COPY(funcwrapper)

    void logFailure(unsigned int code, uint64 connection) const;

    static std::atomic<funcwrapper *> mInstance;

    TS3Functions mFunctions{};
    QString mPlgName;
};
