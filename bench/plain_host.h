#pragma once

#include "shared/host/host_interface.h"

#include <QByteArray>

/// A client that keeps no state: every answer is a prepared text or list in a malloc block, so that
/// only the plug-in is measured. It has one connection, one own client, one mover, and as many
/// clients and channels as a test asks for; every client is in every channel.
namespace plainHost {

constexpr uint64 connection = 1;
constexpr anyID own = 1;
constexpr anyID mover = 2;

TS3Functions functions();

/// How many clients each channel and how many channels the server has.
void setSize(int clientCount, int channelCount);
void setConfigPath(const QByteArray &path);
/// Gives every client a new nickname.
void renameAll();

}
