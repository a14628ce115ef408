// A plug-in that breaks the rule named by the environment variable MISBEHAVIOUR, so that the
// stand-in host can be seen to notice. It does nothing else, least of all what it should.

#include "standin/interface.h"

#include <cstdlib>
#include <cstring>
#include <thread>

using namespace standin;

namespace {

Table table;
char *kept = nullptr;

bool shall(const char *misbehaviour)
{
    const char *wanted = getenv("MISBEHAVIOUR");
    return wanted && strcmp(wanted, misbehaviour) == 0;
}

template<typename Result, typename... Arguments>
Result ask(size_t position, Arguments... arguments)
{
    return reinterpret_cast<Result (*)(Arguments...)>(table.slots[position])(arguments...);
}

char *takeName(Id connection)
{
    char *name = nullptr;
    ask<unsigned int>(99, connection, size_t{1}, &name);
    return name;
}

void giveBack(void *block) { ask<unsigned int>(5, block); }

void askAnything() { ask<Id>(183); }

template<typename T>
T *block(size_t count = 1)
{
    // NOLINTNEXTLINE(bugprone-sizeof-expression): T is a pointer where an array of them is made
    return static_cast<T *>(calloc(count, sizeof(T)));
}

/// What breaks a rule while the host reports an established connection.
void misbehave(Id connection)
{
    const char *const none = nullptr;
    if (shall("trap"))
        ask<void>(184);
    if (shall("leak"))
        kept = takeName(connection);
    if (shall("keep")) {
        kept = takeName(connection);
        askAnything();
        giveBack(kept);
    }
    if (shall("twice")) {
        char *name = takeName(connection);
        giveBack(name);
        giveBack(name);
    }
    if (shall("foreign")) {
        int own = 0;
        giveBack(&own);
    }
    if (shall("thread"))
        std::thread(askAnything).join();
    if (shall("null password"))
        ask<unsigned int>(48, connection, ClientId(7), Id(1), none, none);
    if (shall("return code"))
        ask<unsigned int>(54, connection, "text", ClientId(7), "code");
}

}

#define EXPORT extern "C" __attribute__((visibility("default")))
EXPORT void *gConfig;
void *gConfig = nullptr;
EXPORT void *stayboltObj;
void *stayboltObj = nullptr;

#define EXPORT_FUNCTION(Result, name, parameters) EXPORT Result ts3plugin_##name parameters

EXPORT_FUNCTION(const char *, name, ()) { return "Misbehaving"; }
EXPORT_FUNCTION(const char *, version, ()) { return "1"; }
EXPORT_FUNCTION(int, apiVersion, ()) { return shall("version") ? 21 : 22; }
EXPORT_FUNCTION(const char *, author, ()) { return ""; }
EXPORT_FUNCTION(const char *, description, ()) { return ""; }
EXPORT_FUNCTION(void, setFunctionPointers, (Table functions)) { table = functions; }
EXPORT_FUNCTION(int, init, ())
{
    if (shall("crash"))
        abort();
    return shall("init") ? 1 : 0;
}
EXPORT_FUNCTION(void, shutdown, ())
{
    // The host's handle on the library is closed next, and this runs after shutdown.
    if (shall("late"))
        atexit(askAnything);
}
EXPORT_FUNCTION(void, registerPluginID, (const char *)) { }
EXPORT_FUNCTION(int, offersConfigure, ()) { return shall("offer") ? 0 : 2; }
EXPORT_FUNCTION(void, configure, (void *, void *)) { }
EXPORT_FUNCTION(const char *, commandKeyword, ()) { return nullptr; }
EXPORT_FUNCTION(int, processCommand, (Id, const char *)) { return 1; }
EXPORT_FUNCTION(int, requestAutoload, ()) { return 0; }
EXPORT_FUNCTION(void, freeMemory, (void *data)) { free(data); }
EXPORT_FUNCTION(void, onConnectStatusChangeEvent, (Id connection, int status, unsigned int))
{
    if (status == 4)
        misbehave(connection);
}
EXPORT_FUNCTION(void, onClientMoveEvent, (Id, ClientId, Id, Id, int, const char *)) { }
EXPORT_FUNCTION(void, onClientMoveMovedEvent,
                (Id, ClientId, Id, Id, int, ClientId, const char *, const char *, const char *))
{
}
EXPORT_FUNCTION(void, onChannelMoveEvent, (Id, Id, Id, ClientId, const char *, const char *)) { }
EXPORT_FUNCTION(void, onNewChannelCreatedEvent, (Id, Id, Id, ClientId, const char *, const char *))
{
}
EXPORT_FUNCTION(void, onUpdateChannelEditedEvent, (Id, Id, ClientId, const char *, const char *)) {
}
EXPORT_FUNCTION(void, onDelChannelEvent, (Id, Id, ClientId, const char *, const char *)) { }
EXPORT_FUNCTION(void, onUpdateChannelEvent, (Id, Id)) { }
EXPORT_FUNCTION(void, onUpdateClientEvent, (Id, ClientId, ClientId, const char *, const char *)) { }
EXPORT_FUNCTION(void, initMenus, (MenuItem * **items, char **icon))
{
    static MenuItem fixed;
    *items = block<MenuItem *>(2);
    **items = shall("static menu item") ? &fixed : block<MenuItem>();
    if (shall("icon of an item"))
        (**items)->icon[0] = 'x';
    if (shall("icon of the menu"))
        *icon = block<char>();
}
EXPORT_FUNCTION(void, initHotkeys, (Hotkey * **hotkeys)) { *hotkeys = block<Hotkey *>(); }
EXPORT_FUNCTION(void, onMenuItemEvent, (Id, int, int, Id)) { }
EXPORT_FUNCTION(void, onHotkeyEvent, (const char *)) { }
EXPORT_FUNCTION(const char *, infoTitle, ()) { return ""; }
EXPORT_FUNCTION(void, infoData, (Id, Id, int, char **text))
{
    *text = shall("no info") ? nullptr : block<char>();
}
