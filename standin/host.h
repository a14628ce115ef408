#pragma once

#include "standin/interface.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>
#include <utility>

namespace standin {

struct Channel
{
    Id id = 0;
    QByteArray name = {};
    QByteArray password = {};
    int isDefault = 0;
};

struct Client
{
    ClientId id = 0;
    QByteArray uid = {};
    QByteArray name = {};
    QByteArray platform = "Linux";
    QByteArray version = "3.1";
    Id channel = 0;
    int type = 0;
};

struct Server
{
    Id connection = 0;
    QByteArray uid = {};
    QByteArray name = {};
    QByteArray platform = "Linux";
    QByteArray version = "3.13";
    int status = 0; ///< 0 is disconnected, 4 established
    ClientId own = 0;
    QMap<Id, Channel> channels = {};
    QMap<ClientId, Client> clients = {};
};

/// The entry with that id, null when there is none.
template<typename Key, typename T>
T *find(QMap<Key, T> &all, Key id)
{
    const auto found = all.find(id);
    return found == all.end() ? nullptr : &*found;
}

/// How a function of the table answers when it is told to misbehave.
enum class Fault {
    Refuse, ///< returns an error code and leaves a result that must not be used
    Null, ///< succeeds and hands out a null pointer
    Garble ///< succeeds and hands out bytes that are not UTF-8
};

/// A voice client without a network: servers in memory, a function table that works on them, and a
/// record of everything that the plug-in did. Only one host exists at a time.
class Host
{
public:
    Host();
    ~Host();
    Q_DISABLE_COPY(Host)

    Table functions() const;

    /// The server of an open connection, null when there is none.
    Server *server(Id connection);

    QMap<Id, Server> servers;
    Id currentConnection = 0;
    QByteArray configPath;
    QHash<QByteArray, Fault> faults;
    QByteArray refusal = "insufficient permissions";

    /// Whether a callback that answers a request comes from inside the request.
    bool answersInside = false;
    /// Called to report that a request moved the user's own client.
    std::function<void(Id connection, ClientId client, Id oldChannel, Id newChannel)> moved;
    /// Delivers the reports that waited for the plug-in to return.
    void deliver();

    /// Called for each call that the plug-in makes, before it is answered; not for releases.
    std::function<void(const QString &call)> called;
    /// Called for each request, with the error code of the answer.
    std::function<void(const QString &request, unsigned int code)> asked;
    /// What the plug-in has asked for since the last call to takeRequests(), one line per request
    /// with ids and, where there are any, names.
    QStringList requests;
    QStringList takeRequests() { return std::exchange(requests, {}); }
    QString describeMove(Id connection, Id client, Id channel, const QByteArray &password) const;
    QString describeMessage(Id connection, Id client, const QByteArray &text) const;
    QString describeLog(Id connection, const QByteArray &text, int level,
                        const QByteArray &channel = QByteArray()) const;

    QString describeServer(Id connection) const;
    QString channelName(Id connection, Id channel) const;
    /// The client's name; "you" for the user.
    QString clientName(Id connection, Id client) const;

    /// The number of calls that the plug-in made, not counting releases.
    int callCount = 0;
    /// Counts a call in either direction; complaints name it by its number.
    void countCall() { ++mCallNumber; }

    /// Whether the plug-in may call now: from the table's handover to the end of shutdown.
    bool accepts = false;
    /// The statement that causes the next calls, as FILE:LINE, for complaints.
    QString place;
    void complain(const QString &complaint);
    /// What the plug-in has done wrong so far, including any block that it still holds.
    QStringList complaints() const;
    int blocksHandedOut() const { return mBlocks.size(); }

    /// The text of an error code.
    QByteArray errorText(unsigned int code) const;
    /// Whether the table has a function of that name.
    static bool knows(const QByteArray &function);

private:
    friend struct HostFunctions;

    QString where() const;
    /// Checks the rules common to all calls by the plug-in.
    void judgeCall(const char *function);
    void *handOut(const void *data, size_t size, const char *function);
    void takeBack(void *block);

    QStringList mComplaints;
    /// The sizes of all blocks ever handed out, 0 for those that came back. None is freed before
    /// the end, so that no address is used twice and a late reader finds nonsense.
    QHash<void *, size_t> mBlocks;
    /// The block that must come back before the next call other than a release, null for none.
    void *mLastBlock = nullptr;
    QString mLastBlockOrigin;
    int mCallNumber = 0;
    QList<std::function<void()>> mWaiting;
    Qt::HANDLE mThread;
};

/// A text in double quotes. Quotes, backslashes and line breaks in it are escaped.
QString quoted(const QByteArray &text);
QString withId(const QString &name, Id id);

}
