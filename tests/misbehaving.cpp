// The plug-in with some exports replaced. It breaks the rule named by the environment variable
// MISBEHAVIOUR, to show that the stand-in host notices. Its other exports never get the host's
// functions, so a scenario may do nothing but connect.

#include "standin/interface.h"

#include <cstdlib>
#include <cstring>
#include <thread>

using namespace standin;

namespace {

Table table;
char *kept = nullptr;

bool breaks(const char *misbehaviour)
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

/// Breaks rules while the host reports an established connection.
void misbehave(Id connection)
{
    const char *const none = nullptr;
    if (breaks("trap"))
        ask<void>(184);
    if (breaks("leak"))
        kept = takeName(connection);
    if (breaks("keep")) {
        kept = takeName(connection);
        askAnything();
        giveBack(kept);
    }
    if (breaks("twice")) {
        char *name = takeName(connection);
        giveBack(name);
        giveBack(name);
    }
    if (breaks("foreign")) {
        int own = 0;
        giveBack(&own);
    }
    if (breaks("thread"))
        std::thread(askAnything).join();
    if (breaks("null password"))
        ask<unsigned int>(48, connection, ClientId(7), Id(1), none, none);
    if (breaks("null message"))
        ask<unsigned int>(54, connection, none, ClientId(7), none);
    if (breaks("null log channel"))
        ask<unsigned int>(6, "text", 2, none, connection);
    if (breaks("return code"))
        ask<unsigned int>(54, connection, "text", ClientId(7), "code");
}

}

#define EXPORT(Result) extern "C" __attribute__((visibility("default"))) Result

EXPORT(int) ts3plugin_apiVersion() { return breaks("version") ? 21 : 22; }

EXPORT(void) ts3plugin_setFunctionPointers(Table functions) { table = functions; }

EXPORT(int) ts3plugin_init()
{
    if (breaks("crash"))
        abort();
    return breaks("init") ? 1 : 0;
}

EXPORT(void) ts3plugin_shutdown()
{
    // The host closes the library next, which runs this after shutdown.
    if (breaks("late"))
        atexit(askAnything);
}

EXPORT(int) ts3plugin_offersConfigure() { return breaks("offer") ? 0 : 2; }

EXPORT(void) ts3plugin_onConnectStatusChangeEvent(Id connection, int status, unsigned int)
{
    if (status == 4)
        misbehave(connection);
}

EXPORT(void) ts3plugin_initMenus(MenuItem ***items, char **icon)
{
    static MenuItem fixed;
    *items = block<MenuItem *>(2);
    **items = breaks("static menu item") ? &fixed : block<MenuItem>();
    if (breaks("icon of an item"))
        (**items)->icon[0] = 'x';
    if (breaks("icon of the menu"))
        *icon = block<char>();
}

EXPORT(void) ts3plugin_infoData(Id, Id, int, char **text)
{
    static char fixed[] = "";
    if (breaks("static info"))
        *text = fixed;
    else if (!breaks("no info"))
        *text = block<char>(); // otherwise it stays null
}
