#pragma once

// The interface between the voice client and a plug-in, API version 22, as the host sees it. It is
// declared here independently of the plug-in, so that a wrong number or a swapped argument can't be
// wrong on both sides.

#include <cstddef>

namespace standin {

/// Id of a connection or of a channel; 0 is none.
using Id = unsigned long;
/// Id of a client on one connection; 0 is none.
using ClientId = unsigned short;

/// The members of the function table that the host fills: X(POSITION, NAME). Each NAME is a
/// member of HostFunctions; the other positions are traps.
#define STANDIN_FUNCTIONS(X)                                                                       \
    X(4, getErrorMessage)                                                                          \
    X(5, freeMemory)                                                                               \
    X(6, logMessage)                                                                               \
    X(48, requestClientMove)                                                                       \
    X(54, requestSendPrivateTextMsg)                                                               \
    X(73, getClientID)                                                                             \
    X(79, getClientVariableAsInt)                                                                  \
    X(81, getClientVariableAsString)                                                               \
    X(83, getChannelOfClient)                                                                      \
    X(84, getChannelVariableAsInt)                                                                 \
    X(86, getChannelVariableAsString)                                                              \
    X(93, getChannelList)                                                                          \
    X(94, getChannelClientList)                                                                    \
    X(96, getServerConnectionHandlerList)                                                          \
    X(99, getServerVariableAsString)                                                               \
    X(101, getConnectionStatus)                                                                    \
    X(104, getConnectionVariableAsString)                                                          \
    X(147, requestServerGroupList)                                                                 \
    X(157, requestChannelGroupList)                                                                \
    X(179, getAppPath)                                                                             \
    X(180, getResourcesPath)                                                                       \
    X(181, getConfigPath)                                                                          \
    X(182, getPluginPath)                                                                          \
    X(183, getCurrentServerConnectionHandlerID)                                                    \
    X(185, printMessageToCurrentTab)

constexpr size_t slotCount = 210;

/// The function table, handed over by value.
struct Table
{
    void *slots[slotCount];
};

struct MenuItem
{
    int type; ///< 0 in the global menu, 1 in a channel's, 2 in a client's
    int id;
    char text[128];
    char icon[128];
};

struct Hotkey
{
    char keyword[128];
    char description[128];
};

/// The functions that a plug-in exports: X(RESULT, NAME, ARGUMENTS), each as ts3plugin_NAME.
#define STANDIN_EXPORTS(X)                                                                         \
    X(const char *, name, ())                                                                      \
    X(const char *, version, ())                                                                   \
    X(int, apiVersion, ())                                                                         \
    X(const char *, author, ())                                                                    \
    X(const char *, description, ())                                                               \
    X(void, setFunctionPointers, (Table functions))                                                \
    X(int, init, ())                                                                               \
    X(void, shutdown, ())                                                                          \
    X(void, registerPluginID, (const char *id))                                                    \
    X(int, offersConfigure, ())                                                                    \
    X(void, configure, (void *handle, void *parentWidget))                                         \
    X(const char *, commandKeyword, ())                                                            \
    X(int, processCommand, (Id connection, const char *command))                                   \
    X(int, requestAutoload, ())                                                                    \
    X(void, freeMemory, (void *block))                                                             \
    X(void, onConnectStatusChangeEvent, (Id connection, int status, unsigned int error))           \
    X(void, onClientMoveEvent,                                                                     \
      (Id connection, ClientId client, Id oldChannel, Id newChannel, int visibility,               \
       const char *message))                                                                       \
    X(void, onClientMoveMovedEvent,                                                                \
      (Id connection, ClientId client, Id oldChannel, Id newChannel, int visibility,               \
       ClientId mover, const char *moverName, const char *moverUid, const char *message))          \
    X(void, onChannelMoveEvent,                                                                    \
      (Id connection, Id channel, Id newParent, ClientId invoker, const char *invokerName,         \
       const char *invokerUid))                                                                    \
    X(void, onNewChannelCreatedEvent,                                                              \
      (Id connection, Id channel, Id parent, ClientId invoker, const char *invokerName,            \
       const char *invokerUid))                                                                    \
    X(void, onUpdateChannelEditedEvent,                                                            \
      (Id connection, Id channel, ClientId invoker, const char *invokerName,                       \
       const char *invokerUid))                                                                    \
    X(void, onDelChannelEvent,                                                                     \
      (Id connection, Id channel, ClientId invoker, const char *invokerName,                       \
       const char *invokerUid))                                                                    \
    X(void, onUpdateChannelEvent, (Id connection, Id channel))                                     \
    X(void, onUpdateClientEvent,                                                                   \
      (Id connection, ClientId client, ClientId invoker, const char *invokerName,                  \
       const char *invokerUid))                                                                    \
    X(void, initMenus, (MenuItem * **items, char **icon))                                          \
    X(void, initHotkeys, (Hotkey * **hotkeys))                                                     \
    X(void, onMenuItemEvent, (Id connection, int type, int itemId, Id selected))                   \
    X(void, onHotkeyEvent, (const char *keyword))                                                  \
    X(const char *, infoTitle, ())                                                                 \
    X(void, infoData, (Id connection, Id id, int itemType, char **text))

/// The objects that it also exports.
constexpr const char *exportedObjects[] = {"gConfig", "stayboltObj"};

}
