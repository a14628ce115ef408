#include "standin/host.h"

#include <QThread>
#include <QVector>

#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace standin {

namespace {

Host *theHost = nullptr;

enum ErrorCode : unsigned int {
    ok = 0,
    refused,
    unknownConnection,
    unknownClient,
    unknownChannel,
    wrongPassword,
    unknownProperty
};

/// Left behind by functions that fail: whoever follows it crashes.
template<typename T>
T *untouchable()
{
    return reinterpret_cast<T *>(size_t{0x10});
}

constexpr int returnedBlocksKept = 4096;

QString text(unsigned long number) { return QString::number(number); }

QString text(const char *bytes) { return bytes ? quoted(bytes) : QStringLiteral("null"); }

QString withId(const QString &name, Id id) { return QStringLiteral("%1 (%2)").arg(name).arg(id); }

}

QString quoted(const QByteArray &text)
{
    QByteArray escaped = text;
    escaped.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    return QLatin1Char('"') + QString::fromUtf8(escaped) + QLatin1Char('"');
}

Channel *Server::channel(Id id)
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

Client *Server::client(ClientId id)
{
    const auto found = clients.find(id);
    return found == clients.end() ? nullptr : &*found;
}

/// The functions of the table that do something, and the traps in the other places.
struct HostFunctions
{
    /// One call of the plug-in: counted, logged and judged.
    class Call
    {
    public:
        template<typename... Arguments>
        explicit Call(const char *function, Arguments... arguments) : mFunction(function)
        {
            ++theHost->callCount;
            ++theHost->mNotes;
            if (theHost->keepsCalls) {
                QStringList texts;
                (texts.append(text(arguments)), ...);
                theHost->calls.append(QStringLiteral("%1 plug-in -> %2(%3)")
                                          .arg(theHost->mNotes, 5)
                                          .arg(QLatin1String(function))
                                          .arg(texts.join(QLatin1String(", "))));
            }
            if (!theHost->accepts) {
                complain("was called before the function table was handed over or after shutdown");
            }
            if (QThread::currentThreadId() != theHost->mThread)
                complain("was called from another thread");
        }

        /// Judges what goes for all calls but a release.
        Call &asQuestion()
        {
            for (const Host::Block &block : std::as_const(theHost->mBlocks)) {
                theHost->complain(QStringLiteral("a block of %1 was not given back before the next "
                                                 "call, from %2")
                                      .arg(QString::fromLatin1(block.function), block.where));
            }
            // Told once; only the addresses are needed to see it come back.
            for (auto one = theHost->mBlocks.begin(); one != theHost->mBlocks.end(); ++one)
                theHost->mLate.insert(one.key(), *one);
            theHost->mBlocks.clear();
            if (theHost->called)
                theHost->called();
            return *this;
        }

        void complain(const char *what) const
        {
            theHost->complain(QLatin1String(mFunction) + QLatin1Char(' ') + QLatin1String(what));
        }

        bool has(Fault fault) const
        {
            const auto found = theHost->faults.constFind(mFunction);
            return found != theHost->faults.constEnd() && *found == fault;
        }
        bool isRefused() const { return has(Fault::Refuse); }

        /// A text that the plug-in passes, empty where it passes none.
        QByteArray taken(const char *text) const
        {
            if (!text)
                complain("was given a null pointer where an empty text is due");
            return text;
        }

        unsigned int give(QByteArray text, char **result) const
        {
            if (has(Fault::Garble))
                text = "\xff\xc3(" + text + "\xe2\x82";
            return give(text.constData(), size_t(text.size()) + 1, result);
        }

        unsigned int give(const QMap<size_t, QByteArray> &texts, size_t property,
                          char **result) const
        {
            return texts.contains(property) ? give(texts.value(property), result) : unknownProperty;
        }

        template<typename T>
        unsigned int give(QList<T> ids, T **result) const
        {
            ids.append(0);
            const QVector<T> array = ids.toVector();
            return give(array.constData(), size_t(array.size()), result);
        }

        /// Answers a request.
        unsigned int answer(const Request &request, unsigned int code,
                            const char *returnCode = nullptr) const
        {
            if (returnCode)
                complain("was given a return code, for which the plug-in has no callback");
            theHost->requests.append(request);
            if (theHost->asked)
                theHost->asked(request, code);
            return code;
        }

    private:
        template<typename T>
        unsigned int give(const T *data, size_t count, T **result) const
        {
            *result = has(Fault::Null)
                ? nullptr
                : static_cast<T *>(theHost->handOut(data, count * sizeof(T), mFunction));
            return ok;
        }

        const char *mFunction;
    };

    /// Who a client is on an open connection, null when there is none.
    static const Client *find(Id connection, ClientId client)
    {
        Server *server = theHost->server(connection);
        return server ? server->client(client) : nullptr;
    }

    static const Channel *find(Id connection, Id channel)
    {
        Server *server = theHost->server(connection);
        return server ? server->channel(channel) : nullptr;
    }

    static void givePath(const QByteArray &path, char *buffer, size_t size)
    {
        // A path that fills the buffer comes without a NUL.
        memcpy(buffer, path.constData(), qMin(size, size_t(path.size()) + 1));
    }

    static unsigned int getErrorMessage(unsigned int code, char **text)
    {
        const Call call = Call(__func__, code).asQuestion();
        *text = untouchable<char>();
        return call.isRefused() ? refused : call.give(theHost->errorText(code), text);
    }

    static unsigned int freeMemory(void *block)
    {
        const Call call(__func__);
        --theHost->callCount;
        theHost->takeBack(block);
        return ok;
    }

    static unsigned int logMessage(const char *message, int level, const char *channel, Id logId)
    {
        const Call call = Call(__func__, message, Id(level), channel, logId).asQuestion();
        Request request{Request::Log, logId};
        request.text = call.taken(message);
        request.level = level;
        request.logChannel = call.taken(channel);
        return call.answer(request, call.isRefused() ? refused : ok);
    }

    static unsigned int requestClientMove(Id connection, ClientId client, Id channel,
                                          const char *password, const char *returnCode)
    {
        const Call call =
            Call(__func__, connection, client, channel, password, returnCode).asQuestion();
        const Request request{Request::Move, connection, client, channel, call.taken(password)};
        Server *server = theHost->server(connection);
        Client *moved = server ? server->client(client) : nullptr;
        const Channel *target = server ? server->channel(channel) : nullptr;
        const unsigned int code = !server      ? unknownConnection
            : call.isRefused()                 ? refused
            : !moved                           ? unknownClient
            : !target                          ? unknownChannel
            : target->password != request.text ? wrongPassword
                                               : ok;
        call.answer(request, code, returnCode);
        if (code != ok)
            return code;

        const Id oldChannel = std::exchange(moved->channel, channel);
        if (client == server->own && oldChannel != channel && theHost->moved) {
            theHost->mWaiting.append(
                [=] { theHost->moved(connection, client, oldChannel, channel); });
            if (theHost->answersInside)
                theHost->deliver();
        }
        return ok;
    }

    static unsigned int requestSendPrivateTextMsg(Id connection, const char *message,
                                                  ClientId client, const char *returnCode)
    {
        const Call call = Call(__func__, connection, message, client, returnCode).asQuestion();
        const Request request{Request::Message, connection, client, 0, call.taken(message)};
        const unsigned int code = !theHost->server(connection) ? unknownConnection
            : call.isRefused()                                 ? refused
            : !find(connection, client)                        ? unknownClient
                                                               : ok;
        return call.answer(request, code, returnCode);
    }

    static unsigned int getClientID(Id connection, ClientId *id)
    {
        const Call call = Call(__func__, connection).asQuestion();
        const Server *server = theHost->server(connection);
        const bool isKnown = server && !call.isRefused();
        *id = isKnown ? server->own : 0xdead;
        return isKnown ? ok : unknownConnection;
    }

    static unsigned int getClientVariableAsInt(Id connection, ClientId client, size_t property,
                                               int *value)
    {
        const Call call = Call(__func__, connection, client, property).asQuestion();
        const Client *found = find(connection, client);
        const bool isKnown = found && property == 40 && !call.isRefused();
        *value = isKnown ? found->type : 0;
        return isKnown ? ok : unknownClient;
    }

    static unsigned int getClientVariableAsString(Id connection, ClientId client, size_t property,
                                                  char **value)
    {
        const Call call = Call(__func__, connection, client, property).asQuestion();
        *value = untouchable<char>();
        const Client *found = find(connection, client);
        if (!found || call.isRefused())
            return unknownClient;
        return call.give(
            {{0, found->uid}, {1, found->name}, {2, found->version}, {3, found->platform}},
            property, value);
    }

    static unsigned int getChannelOfClient(Id connection, ClientId client, Id *channel)
    {
        const Call call = Call(__func__, connection, client).asQuestion();
        const Client *found = find(connection, client);
        const bool isKnown = found && !call.isRefused();
        *channel = isKnown ? found->channel : 0xdead;
        return isKnown ? ok : unknownClient;
    }

    static unsigned int getChannelVariableAsInt(Id connection, Id channel, size_t property,
                                                int *value)
    {
        const Call call = Call(__func__, connection, channel, property).asQuestion();
        const Channel *found = find(connection, channel);
        const bool isKnown = found && property == 11 && !call.isRefused();
        *value = isKnown ? found->isDefault : 1;
        return isKnown ? ok : unknownChannel;
    }

    static unsigned int getChannelVariableAsString(Id connection, Id channel, size_t property,
                                                   char **value)
    {
        const Call call = Call(__func__, connection, channel, property).asQuestion();
        *value = untouchable<char>();
        const Channel *found = find(connection, channel);
        return found && property == 0 && !call.isRefused() ? call.give(found->name, value)
                                                           : unknownChannel;
    }

    static unsigned int getChannelList(Id connection, Id **ids)
    {
        const Call call = Call(__func__, connection).asQuestion();
        *ids = untouchable<Id>();
        const Server *server = theHost->server(connection);
        if (!server || call.isRefused())
            return unknownConnection;
        QList<Id> list;
        for (const Channel &channel : server->channels)
            list.append(channel.id);
        return call.give(list, ids);
    }

    static unsigned int getChannelClientList(Id connection, Id channel, ClientId **ids)
    {
        const Call call = Call(__func__, connection, channel).asQuestion();
        *ids = untouchable<ClientId>();
        const Server *server = theHost->server(connection);
        if (!find(connection, channel) || call.isRefused())
            return unknownChannel;
        QList<ClientId> list;
        for (const Client &client : server->clients) {
            if (client.channel == channel)
                list.append(client.id);
        }
        return call.give(list, ids);
    }

    static unsigned int getServerConnectionHandlerList(Id **ids)
    {
        const Call call = Call(__func__).asQuestion();
        *ids = untouchable<Id>();
        return call.isRefused() ? refused : call.give(theHost->servers.keys(), ids);
    }

    static unsigned int getServerVariableAsString(Id connection, size_t property, char **value)
    {
        const Call call = Call(__func__, connection, property).asQuestion();
        *value = untouchable<char>();
        const Server *server = theHost->server(connection);
        if (!server || call.isRefused())
            return unknownConnection;
        return call.give(
            {{0, server->uid}, {1, server->name}, {3, server->platform}, {4, server->version}},
            property, value);
    }

    static unsigned int getConnectionStatus(Id connection, int *status)
    {
        const Call call = Call(__func__, connection).asQuestion();
        const Server *server = theHost->server(connection);
        const bool isKnown = server && !call.isRefused();
        *status = isKnown ? server->status : 2;
        return isKnown ? ok : unknownConnection;
    }

    static unsigned int getConnectionVariableAsString(Id connection, ClientId client,
                                                      size_t property, char **value)
    {
        const Call call = Call(__func__, connection, client, property).asQuestion();
        *value = untouchable<char>();
        const Server *server = theHost->server(connection);
        if (!server || client != server->own || call.isRefused())
            return unknownConnection;
        return call.give({{6, "192.0.2.7"}, {7, "9987"}}, property, value);
    }

    static unsigned int requestServerGroupList(Id connection, const char *returnCode)
    {
        const Call call = Call(__func__, connection, returnCode).asQuestion();
        return call.answer({Request::ServerGroups, connection}, call.isRefused() ? refused : ok,
                           returnCode);
    }

    static unsigned int requestChannelGroupList(Id connection, const char *returnCode)
    {
        const Call call = Call(__func__, connection, returnCode).asQuestion();
        return call.answer({Request::ChannelGroups, connection}, call.isRefused() ? refused : ok,
                           returnCode);
    }

    static void getAppPath(char *path, size_t size)
    {
        Call(__func__, size).asQuestion();
        givePath("/client/app", path, size);
    }

    static void getResourcesPath(char *path, size_t size)
    {
        Call(__func__, size).asQuestion();
        givePath("/client/resources", path, size);
    }

    static void getConfigPath(char *path, size_t size)
    {
        Call(__func__, size).asQuestion();
        givePath(theHost->configPath, path, size);
    }

    static void getPluginPath(char *path, size_t size, const char *pluginId)
    {
        const Call call = Call(__func__, size, pluginId).asQuestion();
        givePath("/client/plugins/" + call.taken(pluginId), path, size);
    }

    static Id getCurrentServerConnectionHandlerID()
    {
        Call(__func__).asQuestion();
        return theHost->currentConnection;
    }

    static void printMessageToCurrentTab(const char *message)
    {
        const Call call = Call(__func__, message).asQuestion();
        call.answer({Request::TabText, theHost->currentConnection, 0, 0, call.taken(message)}, ok);
    }

    template<size_t position>
    static void trap()
    {
        theHost->complain(
            QStringLiteral("the member at position %1 of the function table was called")
                .arg(position));
    }

    template<size_t... positions>
    static Table table(std::index_sequence<positions...>)
    {
        Table table{{reinterpret_cast<void *>(&trap<positions>)...}};
#define STANDIN_SLOT(position, name) table.slots[position] = reinterpret_cast<void *>(&(name));
        STANDIN_FUNCTIONS(STANDIN_SLOT)
#undef STANDIN_SLOT
        return table;
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
    for (const auto &blocks : {mBlocks, mLate}) {
        for (auto block = blocks.cbegin(); block != blocks.cend(); ++block)
            free(block.key());
    }
    theHost = nullptr;
}

Table Host::functions() const
{
    return HostFunctions::table(std::make_index_sequence<slotCount>());
}

Server *Host::server(Id connection)
{
    const auto found = servers.find(connection);
    return found == servers.end() || found->status == 0 ? nullptr : &*found;
}

QString Host::serverName(Id connection) const
{
    const QByteArray name = servers.value(connection).name;
    return name.isEmpty() ? QStringLiteral("connection") : quoted(name);
}

QString Host::channelName(Id connection, Id channel) const
{
    for (const Channel &one : servers.value(connection).channels) {
        if (one.id == channel && !one.name.isEmpty())
            return quoted(one.name);
    }
    return QStringLiteral("channel");
}

QString Host::clientName(Id connection, Id client) const
{
    const auto server = servers.constFind(connection);
    if (server == servers.constEnd() || client > 0xffff)
        return QStringLiteral("client");
    if (client == server->own && client != 0)
        return QStringLiteral("you");
    const QByteArray name = server->clients.value(static_cast<ClientId>(client)).name;
    return name.isEmpty() ? QStringLiteral("client") : QString::fromUtf8(name);
}

QString Host::describe(const Request &request) const
{
    const Id connection = request.connection;
    const QString server = withId(serverName(connection), connection);
    const QString client = withId(clientName(connection, request.client), request.client);
    const auto suffix = [](const char *word, const QByteArray &text) {
        return text.isEmpty() ? QString() : QLatin1String(word) + quoted(text);
    };
    switch (request.kind) {
    case Request::Move:
        return QStringLiteral("move %1 to %2 on %3%4")
            .arg(client, withId(channelName(connection, request.channel), request.channel), server,
                 suffix(" with password ", request.text));
    case Request::Message:
        return QStringLiteral("tell %1 on %2: %3").arg(client, server, quoted(request.text));
    case Request::Log:
        return QStringLiteral("log at level %1 for %2%3: %4")
            .arg(QString::number(request.level), server, suffix(" under ", request.logChannel),
                 quoted(request.text));
    case Request::TabText:
        return QStringLiteral("show in the tab of %1: %2").arg(server, quoted(request.text));
    case Request::ServerGroups:
        return QStringLiteral("list the server groups of %1").arg(server);
    case Request::ChannelGroups:
        return QStringLiteral("list the channel groups of %1").arg(server);
    }
    return QString();
}

QStringList Host::takeRequests()
{
    QStringList lines;
    for (const Request &request : std::exchange(requests, {}))
        lines.append(describe(request));
    return lines;
}

bool Host::knows(const QByteArray &function)
{
    static const QSet<QByteArray> names{
#define STANDIN_NAME(position, name) #name,
        STANDIN_FUNCTIONS(STANDIN_NAME)
#undef STANDIN_NAME
    };
    return names.contains(function);
}

void Host::deliver()
{
    while (!mWaiting.isEmpty())
        mWaiting.takeFirst()();
}

void Host::note(const QString &call)
{
    ++mNotes;
    if (keepsCalls)
        calls.append(QStringLiteral("%1 %2").arg(mNotes, 5).arg(call));
}

QString Host::where() const
{
    const QString call = QStringLiteral("call %1").arg(mNotes);
    return place.isEmpty() ? call : QStringLiteral("%1, %2").arg(call, place);
}

void Host::complain(const QString &complaint)
{
    mComplaints.append(QStringLiteral("%1 (%2)").arg(complaint, where()));
}

QStringList Host::complaints() const
{
    QStringList complaints = mComplaints;
    for (const Block &block : mBlocks) {
        complaints.append(QStringLiteral("a block of %1 was not given back (%2)")
                              .arg(QString::fromLatin1(block.function), block.where));
    }
    return complaints;
}

QByteArray Host::errorText(unsigned int code) const
{
    switch (code) {
    case ok:
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
    default:
        return "unknown code";
    }
}

void *Host::handOut(const void *data, size_t size, const char *function)
{
    void *block = malloc(size);
    memcpy(block, data, size);
    mBlocks.insert(block, {size, function, where()});
    ++mBlocksHandedOut;
    return block;
}

void Host::takeBack(void *block)
{
    const bool isLate = mLate.contains(block);
    if (!isLate && !mBlocks.contains(block)) {
        complain(mReturnedSet.contains(block)
                     ? QStringLiteral("a block was given back twice")
                     : QStringLiteral("a block was given back that is not the client's"));
        return;
    }
    // A returned block is kept for a while, so that its address is not used again and whoever
    // still reads it reads nonsense.
    memset(block, 0xdd, (isLate ? mLate : mBlocks).take(block).size);
    mReturned.append(block);
    mReturnedSet.insert(block);
    if (mReturned.size() > returnedBlocksKept) {
        void *oldest = mReturned.takeFirst();
        mReturnedSet.remove(oldest);
        free(oldest);
    }
}

}
