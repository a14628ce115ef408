#pragma once

#include "shared/host/host_interface.h"

// How the host's callbacks update the model. Ids that the host doesn't know enter the model with
// funcwrapper's fallback values.

/// Reads the server, the clients in the user's channel and all channels into the model.
void loadServer(uint64 connection);
/// Forgets the server and everything on it.
void dropServer(uint64 connection);

/// Reads one client into the model.
void refreshClient(uint64 connection, anyID client);
/// Reads all clients in a channel into the model.
void refreshChannelClients(uint64 connection, uint64 channel);
/// Reads all channels into the model. Those that the host no longer lists stay as they were.
void refreshChannels(uint64 connection);

/// Updates the model after a client moved itself. Returns whether to tell the module, that is,
/// whether it was the user's own client; false if the host doesn't know which client that is.
bool takeMove(uint64 connection, anyID client, int visibility);
/// The same after somebody else moved the client.
bool takeForcedMove(uint64 connection, anyID client, uint64 newChannel);
