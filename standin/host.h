#pragma once

#include "shared/host/host_interface.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

/// What the plug-in asked the client to do, in the order in which it asked.
struct Request
{
    enum Kind { Move, Message, Log, TabText, ServerGroups, ChannelGroups };

    Kind kind;
    uint64 connection;
    uint64 client = 0;
    uint64 channel = 0;
    /// The password of a move, the text of a message, of a log line or of a chat tab.
    QByteArray text = {};
    int level = LogLevel_WARNING;
    /// The channel of a log line.
    QByteArray logChannel = {};

    bool operator==(const Request &other) const
    {
        return kind == other.kind && connection == other.connection && client == other.client
            && channel == other.channel && text == other.text && level == other.level
            && logChannel == other.logChannel;
    }
};

struct Channel
{
    uint64 id;
    QByteArray name = {};
    QByteArray password = {};
    int isDefault = 0;
};

struct Client
{
    anyID id = 0;
    QByteArray uid = {};
    QByteArray name = {};
    QByteArray platform = "Linux";
    QByteArray version = "3.1";
    uint64 channel = 0;
    int type = 0;
};

struct Server
{
    uint64 connection;
    QByteArray uid;
    QByteArray name;
    QByteArray platform = "Linux";
    QByteArray version = "3.13";
    int status = STATUS_DISCONNECTED;
    anyID own = 0;
    QList<Channel> channels;
    QMap<anyID, Client> clients;

    Channel *channel(uint64 id);
    Client *client(anyID id);

private:
    /// Where the last channel was found: a plug-in asks for one after the other.
    int mLastChannel = 0;
};

/// A voice client without a network: servers in memory, the function table over them, and a record
/// of everything that the plug-in did with it. One host exists at a time.
class Host
{
public:
    /// How a function of the table answers when it is told to misbehave.
    enum class Fault {
        Refuse, ///< returns an error code and leaves a pointer that must not be touched
        Null, ///< succeeds and hands out a null pointer
        Garbled ///< succeeds and hands out bytes that are not UTF-8
    };

    Host();
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    TS3Functions functions() const;

    Server *server(uint64 connection);

    QMap<uint64, Server> servers;
    uint64 currentConnection = 0;
    QByteArray configPath;
    QHash<QByteArray, Fault> faults;
    QByteArray refusal = "insufficient permissions";

    /// Whether the callbacks that answer a request come from inside it.
    bool answersInside = false;
    /// Where answers go: the own client moved itself.
    std::function<void(uint64 connection, anyID client, uint64 oldChannel, uint64 newChannel)>
        moved;
    /// Delivers the answers that wait for the plug-in to return.
    void deliver();

    /// Told of each request as it comes, with the error code that it is answered with.
    std::function<void(const Request &request, unsigned int code)> asked;
    QList<Request> requests;
    /// The same, a line each: "move CONNECTION CLIENT CHANNEL", followed by the password, "message
    /// CONNECTION CLIENT TEXT" or "log CONNECTION TEXT".
    QStringList requestLines() const;

    /// Calls of the plug-in and into it, numbered, when `keepsCalls` is set.
    QStringList calls;
    bool keepsCalls = true;
    /// Calls of the plug-in, releases left out.
    int callCount = 0;
    /// Notes a call into the plug-in.
    void note(const QString &call);

    /// Whether the plug-in may call now: from the table's handover to the end of shutdown.
    bool accepts = false;
    /// What the plug-in did wrong so far, blocks that it still holds included; empty when nothing.
    QStringList complaints() const;
    int blocksHandedOut() const { return mBlocksHandedOut; }

    void complain(const QString &complaint) { mComplaints.append(complaint); }
    /// Whether the table has a function of that name.
    static bool knows(const QByteArray &function);

    /// The text of an error code.
    QByteArray errorText(unsigned int code) const;

private:
    friend struct HostFunctions;

    void *handOut(const void *data, size_t size, const char *function);
    void takeBack(void *block);

    QStringList mComplaints;
    QHash<void *, QPair<size_t, QByteArray>> mBlocks;
    QList<void *> mReturned;
    QSet<void *> mReturnedSet;
    int mBlocksHandedOut = 0;
    int mNotes = 0;
    QList<std::function<void()>> mWaiting;
    Qt::HANDLE mThread;
};
