#pragma once

#include "shared/host/host_interface.h"
#include "shared/model/record.h"

// What the module is told, copied from the model's current state.

/// The three record arguments of staybolt::parseEvent.
struct EventRecords
{
    Record server;
    Record channel;
    Record client;
};

/// Records of a move of the user's own client: "own", "source" and "dest".
EventRecords moveRecords(uint64 connection, anyID own, uint64 oldChannel, uint64 newChannel);
/// The same with the mover as "executor".
EventRecords forcedMoveRecords(uint64 connection, anyID own, uint64 oldChannel, uint64 newChannel,
                               anyID mover);
/// Records of something that the user chose: the user's own client as "executor", its channel as
/// "src" and `cmd` as the server's "cmd".
EventRecords choiceRecords(uint64 connection, const QVariant &cmd);
/// The same for an item of a channel's or client's menu, `selected` being that channel ("dest") or
/// client ("affected").
EventRecords choiceRecords(uint64 connection, const QVariant &cmd, PluginMenuType type,
                           uint64 selected);
