// A plug-in that breaks the rule named by the environment variable MISBEHAVIOUR, so that the
// stand-in host can be seen to notice.

#include "shared/host/host_interface.h"

#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

TS3Functions functions;
char *kept = nullptr;

bool shall(const char *misbehaviour)
{
    const char *wanted = getenv("MISBEHAVIOUR");
    return wanted && strcmp(wanted, misbehaviour) == 0;
}

char *takeName(uint64 connection)
{
    char *name = nullptr;
    functions.getServerVariableAsString(connection, VIRTUALSERVER_NAME, &name);
    return name;
}

}

const char *ts3plugin_name() { return "Misbehaving"; }
const char *ts3plugin_version() { return "1"; }
int ts3plugin_apiVersion() { return shall("version") ? 21 : 22; }
const char *ts3plugin_author() { return ""; }
const char *ts3plugin_description() { return ""; }
void ts3plugin_setFunctionPointers(TS3Functions funcs) { functions = funcs; }
int ts3plugin_init() { return shall("init") ? 1 : 0; }

void ts3plugin_shutdown()
{
    // The host's handle on the library is closed next, and this runs after shutdown.
    if (shall("late"))
        atexit([] { functions.getCurrentServerConnectionHandlerID(); });
}

void ts3plugin_registerPluginID(const char *) { }
int ts3plugin_offersConfigure() { return 0; }
void ts3plugin_configure(void *, void *) { }
const char *ts3plugin_commandKeyword() { return nullptr; }
int ts3plugin_processCommand(uint64, const char *) { return 1; }
int ts3plugin_requestAutoload() { return 0; }
void ts3plugin_freeMemory(void *block) { free(block); }

void ts3plugin_onConnectStatusChangeEvent(uint64 connection, int status, unsigned int)
{
    if (status != STATUS_CONNECTION_ESTABLISHED)
        return;
    if (shall("trap"))
        reinterpret_cast<void (*)()>(functions.unused184[0])();
    if (shall("leak"))
        kept = takeName(connection);
    if (shall("twice")) {
        char *name = takeName(connection);
        functions.freeMemory(name);
        functions.freeMemory(name);
    }
    if (shall("foreign")) {
        int own = 0;
        functions.freeMemory(&own);
    }
    if (shall("thread"))
        std::thread([] { functions.getCurrentServerConnectionHandlerID(); }).join();
}

void ts3plugin_onClientMoveEvent(uint64, anyID, uint64, uint64, int, const char *) { }
void ts3plugin_onClientMoveMovedEvent(uint64, anyID, uint64, uint64, int, anyID, const char *,
                                      const char *, const char *)
{
}
void ts3plugin_onChannelMoveEvent(uint64, uint64, uint64, anyID, const char *, const char *) { }
void ts3plugin_onNewChannelCreatedEvent(uint64, uint64, uint64, anyID, const char *, const char *)
{
}
void ts3plugin_onUpdateChannelEditedEvent(uint64, uint64, anyID, const char *, const char *) { }
void ts3plugin_onDelChannelEvent(uint64, uint64, anyID, const char *, const char *) { }
void ts3plugin_onUpdateChannelEvent(uint64, uint64) { }
void ts3plugin_onUpdateClientEvent(uint64, anyID, anyID, const char *, const char *) { }
void ts3plugin_initMenus(PluginMenuItem ***, char **) { }
void ts3plugin_initHotkeys(PluginHotkey ***) { }
void ts3plugin_onMenuItemEvent(uint64, PluginMenuType, int, uint64) { }
void ts3plugin_onHotkeyEvent(const char *) { }
const char *ts3plugin_infoTitle() { return ""; }
void ts3plugin_infoData(uint64, uint64, PluginItemType, char **) { }
