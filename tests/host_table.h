#pragma once

#include "shared/host/host_interface.h"
#include "standin/host.h"

#include <cstring>

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
