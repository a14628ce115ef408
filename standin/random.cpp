#include "standin/random.h"

#include <QSettings>
#include <QTextStream>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using Id = unsigned long long;

// The rules once more, in plain containers and as plainly as they can be said. Nothing here is
// shared with the plug-in, and nothing is asked of the host.

/// What is the case on a server.
struct Truth
{
    std::string uid;
    bool connected = false;
    Id own = 7;
    std::set<Id> channels;
    std::map<Id, Id> clients; ///< the channel that each client is in
};

/// What the plug-in has been told of a connection.
struct Known
{
    bool loaded = false;
    std::string uid;
    std::set<Id> channels;
    std::set<Id> clients;
};

const std::string refusal = "insufficient permissions";

struct Rules
{
    std::map<Id, Truth> truth;
    std::map<Id, Known> known;
    std::map<std::string, std::string> settings;
    std::set<std::string> refused; ///< functions of the host that fail
    bool answersInside = false;
    Id remembered = 0;
    std::vector<std::string> requests;

    Id ownClient(Id connection)
    {
        return truth[connection].connected && refused.count("getClientID") == 0
            ? truth[connection].own
            : 0;
    }

    void learnClientsIn(Id connection, Id channel)
    {
        const Truth &server = truth[connection];
        if (!server.connected || refused.count("getChannelClientList")
            || server.channels.count(channel) == 0) {
            return;
        }
        for (const auto &[client, in] : server.clients) {
            if (in == channel)
                known[connection].clients.insert(client);
        }
    }

    Id ownChannel(Id connection, Id own)
    {
        const Truth &server = truth[connection];
        const auto found = server.clients.find(own);
        return server.connected && found != server.clients.end()
                && refused.count("getChannelOfClient") == 0
            ? found->second
            : 0;
    }

    void learnChannels(Id connection)
    {
        if (truth[connection].connected && refused.count("getChannelList") == 0) {
            known[connection].channels.insert(truth[connection].channels.begin(),
                                              truth[connection].channels.end());
        }
    }

    void establish(Id connection)
    {
        known[connection].loaded = true;
        known[connection].uid =
            refused.count("getServerVariableAsString") ? "Unknown" : truth[connection].uid;
        learnClientsIn(connection, ownChannel(connection, ownClient(connection)));
        learnChannels(connection);
    }

    bool isOn(const std::string &key)
    {
        const auto found = settings.find(key);
        return found != settings.end() && found->second != "" && found->second != "0"
            && found->second != "false" && found->second != "FALSE";
    }

    Id knownChannel(Id connection, Id channel)
    {
        return known[connection].channels.count(channel) ? channel : 0;
    }

    void movedItself(Id connection, Id client, Id channel, bool leaves)
    {
        const Id own = ownClient(connection);
        if (own == 0)
            return;
        if (client != own) {
            if (!leaves)
                known[connection].clients.insert(client);
            return;
        }
        learnClientsIn(connection, ownChannel(connection, own));
        if (settings.count("staybolt." + known[connection].uid) == 0)
            remembered = knownChannel(connection, channel);
    }

    void wasMoved(Id connection, Id client, Id channel, Id mover)
    {
        const Id own = ownClient(connection);
        if (own == 0)
            return;
        known[connection].clients.insert(client);
        if (client != own)
            return;
        learnClientsIn(connection, channel);
        const std::string uid = known[connection].uid;
        if (settings.count("staybolt." + uid))
            return;
        if (isOn("module.staybolt.idleDock")) {
            const std::string target = settings["module.idleDock." + uid + ".target"];
            const bool isNumber =
                !target.empty() && target.find_first_not_of("0123456789") == std::string::npos;
            const Id number = isNumber ? std::stoull(target) : 0;
            if (target.empty())
                settings.erase("module.idleDock." + uid + ".target");
            if ((number & 0xffffffff) == (knownChannel(connection, channel) & 0xffffffff))
                return;
        }
        const Id on = known[connection].loaded ? connection : 0;
        const Id addressee = known[connection].clients.count(mover) ? mover : 0;
        const Id back = remembered;
        const bool moves = requestMove(on, own, back);
        if (moves && answersInside)
            movedItself(on, own, back, false);
        if (isOn("staybolt.sendNotify")) {
            const auto custom = settings.find("staybolt.customNotify");
            send(on, addressee,
                 custom == settings.end() ? "This operation is not permitted!" : custom->second);
        }
        if (moves && !answersInside)
            movedItself(on, own, back, false);
    }

    void request(const std::string &what, Id connection, const std::string &error)
    {
        requests.push_back(what);
        if (!error.empty())
            requests.push_back("log " + std::to_string(connection) + ' ' + error);
    }

    /// Answers whether the client reports a move because of it.
    bool requestMove(Id connection, Id client, Id channel)
    {
        Truth &server = truth[connection];
        std::string error;
        if (!server.connected)
            error = "unknown connection";
        else if (refused.count("requestClientMove"))
            error = refusal;
        else if (server.clients.count(client) == 0)
            error = "unknown client";
        else if (server.channels.count(channel) == 0)
            error = "unknown channel";
        request("move " + std::to_string(connection) + ' ' + std::to_string(client) + ' '
                    + std::to_string(channel),
                connection, error);
        if (!error.empty() || server.clients[client] == channel)
            return false;
        server.clients[client] = channel;
        return true;
    }

    void send(Id connection, Id client, const std::string &text)
    {
        const Truth &server = truth[connection];
        std::string error;
        if (!server.connected)
            error = "unknown connection";
        else if (refused.count("requestSendPrivateTextMsg"))
            error = refusal;
        else if (server.clients.count(client) == 0)
            error = "unknown client";
        request("message " + std::to_string(connection) + ' ' + std::to_string(client) + ' ' + text,
                connection, error);
    }
};

/// Lets the same things happen to the plug-in and to the rules.
class Player
{
public:
    Player(Stage &stage, quint64 seed) :
        mStage(stage), mSettings(stage.settingsFile(), QSettings::IniFormat), mRandom(seed)
    {
        Id number = 0;
        for (const char *uid : {"uid=", "a/b+c=", "50%1="}) {
            const Id connection = connections.at(number++);
            Server server;
            server.connection = connection;
            server.uid = uid;
            server.own = 7;
            mRules.truth[connection].uid = uid;
            for (Id channel : {channels[0], channels[1], channels[2]}) {
                server.channels.append({channel, "channel"});
                mRules.truth[connection].channels.insert(channel);
            }
            for (Id client : {Id(7), Id(8), Id(9)}) {
                const Id in = pick(channels.data(), 3);
                server.clients[anyID(client)] = {anyID(client), "uid", "name", "", "", in};
                mRules.truth[connection].clients[client] = in;
            }
            mStage.host.servers.insert(connection, server);
        }
    }

    /// Lets one thing happen; answers what it was.
    std::string happen()
    {
        const Id connection = pick(connections);
        Truth &server = mRules.truth[connection];
        const Id channel = pick(channels);
        const Id client = pick(clients);
        const bool isThere = server.clients.count(client);
        const bool channelIsThere = server.channels.count(channel);
        const auto said = [&](const char *what) {
            return std::string(what) + " connection " + std::to_string(connection) + " client "
                + std::to_string(client) + " channel " + std::to_string(channel);
        };
        switch (mRandom() % 20) {
        case 0:
            server.connected = true;
            mRules.establish(connection);
            mStage.connect(connection);
            return said("connect");
        case 1:
            if (mRandom() % 4)
                return happen();
            server.connected = false;
            mRules.known.erase(connection);
            mStage.disconnect(connection);
            return said("disconnect");
        case 2:
        case 3:
            if (!isThere || !channelIsThere)
                return happen();
            server.clients[client] = channel;
            mRules.movedItself(connection, client, channel, false);
            mStage.move(connection, anyID(client), channel);
            return said("move");
        case 4:
            if (isThere || !channelIsThere)
                return happen();
            server.clients[client] = channel;
            mRules.movedItself(connection, client, channel, false);
            mStage.enter(connection, {anyID(client), "uid", "name", "", "", channel});
            return said("enter");
        case 5:
            if (!isThere || client == server.own)
                return happen();
            server.clients.erase(client);
            mRules.movedItself(connection, client, 0, true);
            mStage.leave(connection, anyID(client));
            return said("leave");
        case 6:
        case 7:
        case 8:
        case 9:
        case 10: {
            const Id moved = mRandom() % 4 ? server.own : client;
            const Id mover = pick(clients);
            if (!server.clients.count(moved) || !channelIsThere)
                return happen();
            server.clients[moved] = channel;
            mRules.wasMoved(connection, moved, channel, mover);
            mStage.moved(connection, anyID(moved), channel, anyID(mover));
            return said("moved") + " by " + std::to_string(mover);
        }
        case 11:
            if (channelIsThere)
                return happen();
            server.channels.insert(channel);
            mRules.learnChannels(connection);
            mStage.createChannel(connection, {channel, "new"});
            return said("create");
        case 12:
            if (!channelIsThere)
                return happen();
            server.channels.erase(channel);
            mRules.learnChannels(connection);
            mStage.deleteChannel(connection, channel);
            return said("delete");
        case 13:
            mRules.learnChannels(connection);
            mStage.updateChannel(connection, channel);
            return said("update channel");
        case 14: {
            const Id invoker = pick(clients);
            mRules.known[connection].clients.insert({client, invoker});
            mStage.plugin.onUpdateClientEvent(connection, anyID(client), anyID(invoker), "", "");
            return said("update client") + " by " + std::to_string(invoker);
        }
        case 15: {
            // Events as no client sends them: ids that nobody knows, moves that did not happen.
            const Id strange = mRandom() % 2 ? connection : 4711;
            const Id mover = pick(clients);
            if (mRandom() % 2) {
                mRules.wasMoved(strange, client, channel, mover);
                mStage.plugin.onClientMoveMovedEvent(strange, anyID(client), 99, channel, 7,
                                                     anyID(mover), "", "", "");
            } else {
                mRules.movedItself(strange, client, channel, false);
                mStage.plugin.onClientMoveEvent(strange, anyID(client), 99, channel, 0, "");
            }
            mStage.host.deliver();
            return said("strange") + " by " + std::to_string(mover);
        }
        case 16:
            mStage.chooseMenuItem(connection, PluginMenuType(mRandom() % 4), int(mRandom() % 5) + 1,
                                  channel);
            mStage.pressHotkey("key");
            return said("choose");
        case 17: {
            const std::string function = pick(functions);
            if (mRules.refused.erase(function)) {
                mStage.host.faults.remove(function.c_str());
            } else if (mRandom() % 3 == 0) {
                mRules.refused.insert(function);
                mStage.host.faults.insert(function.c_str(), Host::Fault::Refuse);
            }
            mRules.answersInside = mStage.host.answersInside = mRandom() % 2;
            return "fault " + function;
        }
        default:
            return set();
        }
    }

    /// Compares what came since the last time with what was predicted.
    bool agrees(QString *difference)
    {
        QStringList predicted;
        for (const std::string &request : mRules.requests)
            predicted.append(QString::fromStdString(request));
        const QStringList came = mStage.host.requestLines();
        mRules.requests.clear();
        mStage.host.requests.clear();
        *difference =
            QStringLiteral("expected: %1; came: %2")
                .arg(predicted.join(QStringLiteral(", ")), came.join(QStringLiteral(", ")));
        return came == predicted;
    }

private:
    template<typename List>
    auto pick(const List &list) -> std::decay_t<decltype(list[0])>
    {
        return list[mRandom() % list.size()];
    }
    Id pick(const Id *ids, size_t count) { return ids[mRandom() % count]; }

    std::string set()
    {
        const std::string uid = mRules.truth[pick(connections)].uid;
        const std::vector<std::string> keys{"staybolt.sendNotify",
                                            "staybolt.sendNotify",
                                            "staybolt.customNotify",
                                            "staybolt.permitIdleDock",
                                            "module.staybolt.idleDock",
                                            "module.idleDock." + uid + ".target",
                                            "module.idleDock.Unknown.target",
                                            "staybolt." + uid};
        const std::string key = pick(keys);
        if (mRandom() % 2) {
            mRules.settings.erase(key);
            mSettings.remove(QString::fromStdString(key));
            return "remove " + key;
        }
        const std::string value = pick(values);
        mRules.settings[key] = value;
        mSettings.setValue(QString::fromStdString(key), QString::fromStdString(value));
        return "set " + key + " to " + value;
    }

    const std::vector<Id> connections{1, 2, 0xffffffffffffffff};
    const std::vector<Id> channels{1, 4294967297, 0xffffffffffffffff, 2, 3};
    const std::vector<Id> clients{7, 8, 9, 10, 65535};
    const std::vector<std::string> values{"0",    "1", "false", "FALSE",
                                          "true", "",  "no",    "4294967298"};
    const std::vector<std::string> functions{"requestClientMove",
                                             "requestSendPrivateTextMsg",
                                             "getClientID",
                                             "getChannelOfClient",
                                             "getChannelList",
                                             "getChannelClientList",
                                             "getServerVariableAsString"};

    Stage &mStage;
    // Shares the plug-in's view of the file, without a trip to the disk for each change.
    QSettings mSettings;
    std::mt19937_64 mRandom;
    Rules mRules;
};

}

bool playRandom(Stage &stage, const QString &library, int events, quint64 seed, QTextStream &errors)
{
    Player player(stage, seed);
    const QString error = stage.load(library);
    if (!error.isEmpty()) {
        errors << error << '\n' << Qt::flush;
        return false;
    }
    stage.host.keepsCalls = false;
    for (int event = 1; event <= events; ++event) {
        const std::string what = player.happen();
        QString difference;
        if (!player.agrees(&difference)) {
            errors << "seed " << seed << ", event " << event << " (" << what.c_str()
                   << "): " << difference << '\n'
                   << Qt::flush;
            return false;
        }
    }
    return true;
}
