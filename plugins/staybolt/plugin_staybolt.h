#pragma once

// The plug-in's entry points: the functions that the host calls (declared in host_interface.h) and
// the objects that live from ts3plugin_init to ts3plugin_shutdown.

#include "shared/host/host_interface.h"

class guiConfiguration;
class staybolt;

/// The module object; null before init and after shutdown.
extern TS3PLUGIN_EXPORT staybolt *stayboltObj;
/// The settings dialog; null before init and after shutdown.
extern TS3PLUGIN_EXPORT guiConfiguration *gConfig;
