#pragma once

#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"
#include "standin/host.h"

#include <cstring>

// Ids that change when they are truncated.
constexpr uint64 connection = 0xfedcba9876543210;
constexpr uint64 lobby = 0x200000001;
constexpr uint64 den = 0x300000001;
constexpr anyID robin = 40007;
constexpr anyID mallory = 40008;

/// The stand-in host's function table as the plug-in declares it, for tests that call the plug-in's
/// classes without its library in between.
inline TS3Functions tableOf(const standin::Host &host)
{
    const standin::Table table = host.functions();
    TS3Functions functions;
    static_assert(sizeof functions == sizeof table);
    memcpy(&functions, &table, sizeof functions);
    return functions;
}

// Records of the model.

inline Record channelOf(uint64 id)
{
    return server::instance()->getChannelObj(idText(connection))->getData(idText(id));
}

inline Record clientOf(anyID id)
{
    return server::instance()->getClientsObj(idText(connection))->getData(idText(id));
}

/// A host with two clients on one server, of whom Robin is the user. Most texts are not ASCII.
class OneServerHost : public standin::Host
{
public:
    OneServerHost()
    {
        accepts = true;
        currentConnection = connection;
        standin::Server &one = server();
        one.connection = connection;
        one.uid = "srv/uid+€=";
        one.name = "Nörd";
        one.platform = "Linüx";
        one.version = "3.1²";
        one.status = 4;
        one.own = robin;
        one.channels = {{lobby, {lobby, "Löbby 🐦", {}, 1}}, {den, {den, "Den"}}};
        one.clients[robin] = {robin, "röbin=", "Rob€n", "ÖS", "5ß", lobby};
        one.clients[mallory] = {mallory, "mällory=", "Mällory", "Linux", "3.1", lobby};
        funcwrapper::instance()->setFunctions(tableOf(*this));
    }

    standin::Server &server() { return servers[connection]; }
};
