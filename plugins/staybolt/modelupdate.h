#pragma once

#include "shared/host/host_interface.h"

// What the client's callbacks do to the model: it is brought up to date from the client. Ids that
// the client does not know reach the model with the fallback values of funcwrapper.

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

/// Takes in that a client moved itself. Returns whether the module is to be told: it was the own
/// client, and the client knows which one that is.
bool takeMove(uint64 connection, anyID client, int visibility);
/// The same where somebody else moved the client.
bool takeForcedMove(uint64 connection, anyID client, uint64 newChannel);
