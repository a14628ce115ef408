#pragma once

#include "shared/host/host_interface.h"
#include "shared/model/record.h"

// What the client's callbacks have in common: bringing the model up to date from the client, and
// copying out of it the records that the module is told of. Ids the client does not know reach the
// model with the fallback values of funcwrapper.

/// The three record arguments of staybolt::parseEvent.
struct EventRecords
{
    Record server;
    Record channel;
    Record client;
};

/// Reads the server, the clients in the own client's channel and all channels into the model.
void loadServer(uint64 connection);
/// Forgets the server and everything on it.
void dropServer(uint64 connection);

/// Reads one client into the model.
void refreshClient(uint64 connection, anyID client);
/// Reads all clients in a channel into the model.
void refreshChannelClients(uint64 connection, uint64 channel);
/// Reads all channels into the model. Those that the client no longer lists stay as they were.
void refreshChannels(uint64 connection);

/// Records of a move of the own client: "own", "source" and "dest".
EventRecords moveRecords(uint64 connection, anyID own, uint64 oldChannel, uint64 newChannel);
/// The same with the mover as "executor".
EventRecords forcedMoveRecords(uint64 connection, anyID own, uint64 oldChannel, uint64 newChannel,
                               anyID mover);
/// Records of something that the user chose: the own client as "executor", its channel as "src"
/// and `cmd` as the server's "cmd".
EventRecords choiceRecords(uint64 connection, const QVariant &cmd);
/// The same for an item of a channel's or client's menu, `selected` being that channel ("dest") or
/// client ("affected").
EventRecords choiceRecords(uint64 connection, const QVariant &cmd, PluginMenuType type,
                           uint64 selected);
