#include "standin/host.h"

#include <QSet>
#include <QThread>
#include <QVector>

#include <cstdlib>
#include <cstring>
#include <limits>

namespace standin {

namespace {

Host *theHost = nullptr;

enum ErrorCode : unsigned int {
    ok = 0,
    refused,
    unknownConnection,
    unknownClient,
    unknownChannel,
    wrongPassword
};

/// What functions that fail leave behind; following it crashes.
template<typename T>
T *untouchable()
{
    return reinterpret_cast<T *>(size_t{0x10});
}

/// Texts by the numbers of their properties.
using Texts = QMap<size_t, QByteArray>;

QString text(unsigned long number) { return QString::number(number); }

QString text(const char *bytes) { return bytes ? quoted(bytes) : QStringLiteral("null"); }

/// `text` as the end of a description.
QString suffix(const char *words, const QByteArray &text)
{
    return text.isEmpty() ? QString() : QLatin1String(words) + quoted(text);
}

}

QString quoted(const QByteArray &text)
{
    QByteArray escaped = text;
    escaped.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    return QLatin1Char('"') + QString::fromUtf8(escaped) + QLatin1Char('"');
}

QString withId(const QString &name, Id id) { return QStringLiteral("%1 (%2)").arg(name).arg(id); }

/// The functions in the table, and traps for the unused positions.
struct HostFunctions
{
    /// One call of the plug-in other than a release: judged, counted and reported.
    class Call
    {
    public:
        template<typename... Arguments>
        explicit Call(const char *function, Arguments... arguments) : mFunction(function)
        {
            theHost->judgeCall(function);
            if (theHost->mLastBlock) {
                theHost->complain(theHost->mLastBlockOrigin
                                  + QStringLiteral(" was not given back before the next call"));
            }
            theHost->mLastBlock = nullptr; // one complaint is enough
            ++theHost->callCount;
            if (theHost->called) {
                const QString texts = QStringList{text(arguments)...}.join(QLatin1String(", "));
                theHost->called(QStringLiteral("%1(%2)").arg(QLatin1String(function), texts));
            }
        }

        /// A text that the plug-in passes; a null pointer counts as empty.
        QByteArray taken(const char *text) const
        {
            if (!text)
                complain("was given a null pointer instead of an empty string");
            return text;
        }

        // What the plug-in asks for may be unknown; then `number` is null, `texts` lacks the
        // property, or `isKnown` is false.

        template<typename T>
        unsigned int give(const T *number, T *result, ErrorCode error) const
        {
            const bool isGiven = number && !has(Fault::Refuse);
            *result = isGiven ? *number : T(0xdead);
            return isGiven ? ok : error;
        }

        unsigned int give(const Texts &texts, size_t property, char **result, ErrorCode error) const
        {
            QByteArray text = texts.value(property);
            if (has(Fault::Garble))
                text = "\xff\xc3(" + text + "\xe2\x82";
            const bool isKnown = texts.contains(property);
            return give(isKnown, text.constData(), text.size() + 1, result, error);
        }

        template<typename T>
        unsigned int give(bool isKnown, QList<T> ids, T **result, ErrorCode error) const
        {
            ids.append(0);
            const QVector<T> array = ids.toVector();
            return give(isKnown, array.constData(), array.size(), result, error);
        }

        void givePath(const QByteArray &path, char *buffer, size_t size) const
        {
            // A path that fills the buffer has no NUL.
            memcpy(buffer, path.constData(), qMin(size, size_t(path.size()) + 1));
        }

        /// Takes a request. Refuses it if the function was told to, or for the reason in `error`.
        unsigned int answer(const QString &request, const char *returnCode = nullptr,
                            ErrorCode error = ok) const
        {
            if (returnCode)
                complain("was given a return code, for which the plug-in has no callback");
            const unsigned int code = has(Fault::Refuse) ? refused : error;
            theHost->requests.append(request);
            if (theHost->asked)
                theHost->asked(request, code);
            return code;
        }

    private:
        void complain(const char *what) const
        {
            theHost->complain(QLatin1String(mFunction) + QLatin1Char(' ') + QLatin1String(what));
        }

        bool has(Fault fault) const
        {
            return theHost->faults.contains(mFunction) && theHost->faults.value(mFunction) == fault;
        }

        template<typename T>
        unsigned int give(bool isKnown, const T *data, int count, T **result, ErrorCode error) const
        {
            const bool isGiven = isKnown && !has(Fault::Refuse);
            *result = untouchable<T>();
            if (isGiven) {
                const bool isNull = has(Fault::Null);
                void *block =
                    isNull ? nullptr : theHost->handOut(data, size_t(count) * sizeof(T), mFunction);
                *result = static_cast<T *>(block);
            }
            return isGiven ? ok : error;
        }

        const char *mFunction;
    };

    /// A client on an open connection, null when there is none.
    static Client *findClient(Id connection, ClientId client)
    {
        Server *server = theHost->server(connection);
        return server ? find(server->clients, client) : nullptr;
    }

    static Channel *findChannel(Id connection, Id channel)
    {
        Server *server = theHost->server(connection);
        return server ? find(server->channels, channel) : nullptr;
    }

    /// Why a request about a client must fail; ok if it may succeed.
    static ErrorCode whyNot(Id connection, ClientId client)
    {
        if (!theHost->server(connection))
            return unknownConnection;
        return findClient(connection, client) ? ok : unknownClient;
    }

    static unsigned int getErrorMessage(unsigned int code, char **text)
    {
        return Call(__func__, code).give({{0, theHost->errorText(code)}}, 0, text, refused);
    }

    static unsigned int freeMemory(void *block)
    {
        theHost->judgeCall(__func__);
        theHost->takeBack(block);
        return ok;
    }

    static unsigned int logMessage(const char *message, int level, const char *channel, Id logId)
    {
        const Call call(__func__, message, Id(level), channel, logId);
        const QByteArray text = call.taken(message);
        return call.answer(theHost->describeLog(logId, text, level, call.taken(channel)));
    }

    static unsigned int requestClientMove(Id connection, ClientId client, Id channel,
                                          const char *password, const char *returnCode)
    {
        const Call call(__func__, connection, client, channel, password, returnCode);
        const QByteArray key = call.taken(password);
        const Channel *target = findChannel(connection, channel);
        ErrorCode error = whyNot(connection, client);
        if (error == ok && !target)
            error = unknownChannel;
        else if (error == ok && target->password != key)
            error = wrongPassword;
        const unsigned int code =
            call.answer(theHost->describeMove(connection, client, channel, key), returnCode, error);
        if (code != ok)
            return code;

        Server &server = theHost->servers[connection];
        const Id oldChannel = std::exchange(server.clients[client].channel, channel);
        if (client == server.own && oldChannel != channel && theHost->moved) {
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
        const Call call(__func__, connection, message, client, returnCode);
        return call.answer(theHost->describeMessage(connection, client, call.taken(message)),
                           returnCode, whyNot(connection, client));
    }

    static unsigned int getClientID(Id connection, ClientId *id)
    {
        const Call call(__func__, connection);
        const Server *server = theHost->server(connection);
        return call.give(server ? &server->own : nullptr, id, unknownConnection);
    }

    static unsigned int getClientVariableAsInt(Id connection, ClientId client, size_t property,
                                               int *value)
    {
        const Call call(__func__, connection, client, property);
        const Client *found = findClient(connection, client);
        return call.give(found && property == 40 ? &found->type : nullptr, value, unknownClient);
    }

    static unsigned int getClientVariableAsString(Id connection, ClientId client, size_t property,
                                                  char **value)
    {
        const Call call(__func__, connection, client, property);
        Texts texts;
        if (const Client *found = findClient(connection, client))
            texts = {{0, found->uid}, {1, found->name}, {2, found->version}, {3, found->platform}};
        return call.give(texts, property, value, unknownClient);
    }

    static unsigned int getChannelOfClient(Id connection, ClientId client, Id *channel)
    {
        const Call call(__func__, connection, client);
        const Client *found = findClient(connection, client);
        return call.give(found ? &found->channel : nullptr, channel, unknownClient);
    }

    static unsigned int getChannelVariableAsInt(Id connection, Id channel, size_t property,
                                                int *value)
    {
        const Call call(__func__, connection, channel, property);
        const Channel *found = findChannel(connection, channel);
        return call.give(found && property == 11 ? &found->isDefault : nullptr, value,
                         unknownChannel);
    }

    static unsigned int getChannelVariableAsString(Id connection, Id channel, size_t property,
                                                   char **value)
    {
        const Call call(__func__, connection, channel, property);
        Texts texts;
        if (const Channel *found = findChannel(connection, channel))
            texts = {{0, found->name}};
        return call.give(texts, property, value, unknownChannel);
    }

    static unsigned int getChannelList(Id connection, Id **ids)
    {
        const Call call(__func__, connection);
        const Server *server = theHost->server(connection);
        const QList<Id> list = server ? server->channels.keys() : QList<Id>();
        return call.give(server, list, ids, unknownConnection);
    }

    static unsigned int getChannelClientList(Id connection, Id channel, ClientId **ids)
    {
        const Call call(__func__, connection, channel);
        const bool isKnown = findChannel(connection, channel);
        const Server server = theHost->servers.value(connection);
        QList<ClientId> list;
        for (const Client &client : server.clients) {
            if (client.channel == channel)
                list.append(client.id);
        }
        return call.give(isKnown, list, ids, unknownChannel);
    }

    static unsigned int getServerConnectionHandlerList(Id **ids)
    {
        return Call(__func__).give(true, theHost->servers.keys(), ids, refused);
    }

    static unsigned int getServerVariableAsString(Id connection, size_t property, char **value)
    {
        const Call call(__func__, connection, property);
        Texts texts;
        if (const Server *server = theHost->server(connection)) {
            texts = {
                {0, server->uid}, {1, server->name}, {3, server->platform}, {4, server->version}};
        }
        return call.give(texts, property, value, unknownConnection);
    }

    static unsigned int getConnectionStatus(Id connection, int *status)
    {
        const Call call(__func__, connection);
        const Server *server = theHost->server(connection);
        return call.give(server ? &server->status : nullptr, status, unknownConnection);
    }

    static unsigned int getConnectionVariableAsString(Id connection, ClientId client,
                                                      size_t property, char **value)
    {
        const Call call(__func__, connection, client, property);
        const Server *server = theHost->server(connection);
        Texts texts;
        if (server && server->own == client)
            texts = {{6, "192.0.2.7"}, {7, "9987"}};
        return call.give(texts, property, value, unknownConnection);
    }

    static unsigned int requestServerGroupList(Id connection, const char *returnCode)
    {
        const Call call(__func__, connection, returnCode);
        return call.answer(QStringLiteral("list the server groups of ")
                               + theHost->describeServer(connection),
                           returnCode);
    }

    static unsigned int requestChannelGroupList(Id connection, const char *returnCode)
    {
        const Call call(__func__, connection, returnCode);
        return call.answer(QStringLiteral("list the channel groups of ")
                               + theHost->describeServer(connection),
                           returnCode);
    }

    static void getAppPath(char *path, size_t size)
    {
        Call(__func__, size).givePath("/client/app", path, size);
    }

    static void getResourcesPath(char *path, size_t size)
    {
        Call(__func__, size).givePath("/client/resources", path, size);
    }

    static void getConfigPath(char *path, size_t size)
    {
        Call(__func__, size).givePath(theHost->configPath, path, size);
    }

    static void getPluginPath(char *path, size_t size, const char *pluginId)
    {
        const Call call(__func__, size, pluginId);
        call.givePath("/client/plugins/" + call.taken(pluginId), path, size);
    }

    static Id getCurrentServerConnectionHandlerID()
    {
        const Call call(__func__);
        return theHost->currentConnection;
    }

    static void printMessageToCurrentTab(const char *message)
    {
        const Call call(__func__, message);
        const QString tab = theHost->describeServer(theHost->currentConnection);
        call.answer(
            QStringLiteral("show in the tab of %1: %2").arg(tab, quoted(call.taken(message))));
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
    for (auto block = mBlocks.cbegin(); block != mBlocks.cend(); ++block)
        free(block.key());
    theHost = nullptr;
}

Table Host::functions() const
{
    return HostFunctions::table(std::make_index_sequence<slotCount>());
}

Server *Host::server(Id connection)
{
    Server *found = find(servers, connection);
    return found && found->status != 0 ? found : nullptr;
}

QString Host::describeServer(Id connection) const
{
    const QByteArray name = servers.value(connection).name;
    return withId(name.isEmpty() ? QStringLiteral("connection") : quoted(name), connection);
}

QString Host::channelName(Id connection, Id channel) const
{
    const QByteArray name = servers.value(connection).channels.value(channel).name;
    return name.isEmpty() ? QStringLiteral("channel") : quoted(name);
}

QString Host::clientName(Id connection, Id client) const
{
    const Server server = servers.value(connection);
    if (client == server.own && client != 0)
        return QStringLiteral("you");
    const bool isClientId = client <= std::numeric_limits<ClientId>::max();
    const QByteArray name = isClientId ? server.clients.value(ClientId(client)).name : QByteArray();
    return name.isEmpty() ? QStringLiteral("client") : QString::fromUtf8(name);
}

QString Host::describeMove(Id connection, Id client, Id channel, const QByteArray &password) const
{
    return QStringLiteral("move %1 to %2 on %3%4")
        .arg(withId(clientName(connection, client), client),
             withId(channelName(connection, channel), channel), describeServer(connection),
             suffix(" with password ", password));
}

QString Host::describeMessage(Id connection, Id client, const QByteArray &text) const
{
    return QStringLiteral("tell %1 on %2: %3")
        .arg(withId(clientName(connection, client), client), describeServer(connection),
             quoted(text));
}

QString Host::describeLog(Id connection, const QByteArray &text, int level,
                          const QByteArray &channel) const
{
    return QStringLiteral("log at level %1 for %2%3: %4")
        .arg(QString::number(level), describeServer(connection), suffix(" under ", channel),
             quoted(text));
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

QString Host::where() const
{
    const QString call = QStringLiteral("call %1").arg(mCallNumber);
    return place.isEmpty() ? call : QStringLiteral("%1, %2").arg(call, place);
}

void Host::complain(const QString &complaint)
{
    mComplaints.append(QStringLiteral("%1 (%2)").arg(complaint, where()));
}

QStringList Host::complaints() const
{
    QStringList complaints = mComplaints;
    if (mLastBlock)
        complaints.append(mLastBlockOrigin + QStringLiteral(" was not given back"));
    return complaints;
}

QByteArray Host::errorText(unsigned int code) const
{
    static const QByteArrayList texts{"ok",
                                      "",
                                      "unknown connection",
                                      "unknown client",
                                      "unknown channel",
                                      "wrong channel password"};
    return code == refused ? refusal : texts.value(int(code), "unknown code");
}

void Host::judgeCall(const char *function)
{
    countCall();
    if (!accepts) {
        complain(QLatin1String(function)
                 + QStringLiteral(" was called before the function table was handed over or after "
                                  "shutdown"));
    }
    if (QThread::currentThreadId() != mThread)
        complain(QLatin1String(function) + QStringLiteral(" was called from another thread"));
}

void *Host::handOut(const void *data, size_t size, const char *function)
{
    mLastBlock = malloc(size);
    mLastBlockOrigin = QStringLiteral("a block of %1, %2,").arg(QLatin1String(function), where());
    memcpy(mLastBlock, data, size);
    mBlocks.insert(mLastBlock, size);
    return mLastBlock;
}

void Host::takeBack(void *block)
{
    const auto size = mBlocks.find(block);
    if (size == mBlocks.end()) {
        complain(QStringLiteral("a block was given back that is not the host's"));
    } else if (*size == 0) {
        complain(QStringLiteral("a block was given back twice"));
    } else {
        memset(block, 0xdd, *size);
        *size = 0;
        if (block == mLastBlock)
            mLastBlock = nullptr;
    }
}

}
