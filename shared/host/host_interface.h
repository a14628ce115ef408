#pragma once

// The voice client's plug-in interface, API version 22, as far as this plug-in uses it: what the
// host, which is the voice client, hands to a plug-in, what it calls on one, and the values that
// both sides exchange.
//
// All text is NUL-terminated UTF-8. A function that returns an error code returns ERROR_ok (0) on
// success; after any other code its out-parameters hold nothing that may be read or released. A
// text or an array that the host hands out belongs to the plug-in until it goes back through
// TS3Functions::freeMemory. An array of ids ends with a 0.

#include <cstddef>

/// Id of a server connection handler or of a channel; 0 is "none".
using uint64 = unsigned long;
static_assert(sizeof(uint64) == 8, "connection and channel ids are 64 bits wide");

/// Id of a client on one connection; 0 is "none".
using anyID = unsigned short;
static_assert(sizeof(anyID) == 2, "client ids are 16 bits wide");

constexpr unsigned int ERROR_ok = 0;

enum LogLevel : int {
    LogLevel_CRITICAL = 0,
    LogLevel_ERROR = 1,
    LogLevel_WARNING = 2,
    LogLevel_DEBUG = 3,
    LogLevel_INFO = 4,
    LogLevel_DEVEL = 5
};

enum ConnectStatus : int {
    STATUS_DISCONNECTED = 0,
    STATUS_CONNECTING = 1,
    STATUS_CONNECTED = 2,
    STATUS_CONNECTION_ESTABLISHING = 3,
    STATUS_CONNECTION_ESTABLISHED = 4
};

/// How a client's move relates to what the user can see.
enum Visibility : int { ENTER_VISIBILITY = 0, RETAIN_VISIBILITY = 1, LEAVE_VISIBILITY = 2 };

enum ClientProperty : size_t {
    CLIENT_UNIQUE_IDENTIFIER = 0,
    CLIENT_NICKNAME = 1,
    CLIENT_VERSION = 2,
    CLIENT_PLATFORM = 3,
    CLIENT_TYPE = 40
};

enum ChannelProperty : size_t { CHANNEL_NAME = 0, CHANNEL_FLAG_DEFAULT = 11 };

enum VirtualServerProperty : size_t {
    VIRTUALSERVER_UNIQUE_IDENTIFIER = 0,
    VIRTUALSERVER_NAME = 1,
    VIRTUALSERVER_PLATFORM = 3,
    VIRTUALSERVER_VERSION = 4
};

enum ConnectionProperty : size_t { CONNECTION_SERVER_IP = 6, CONNECTION_SERVER_PORT = 7 };

/// What the info panel describes.
enum PluginItemType : int { PLUGIN_SERVER = 0, PLUGIN_CHANNEL = 1, PLUGIN_CLIENT = 2 };

/// The host's menu that a plug-in's item appears in.
enum PluginMenuType : int {
    PLUGIN_MENU_TYPE_GLOBAL = 0,
    PLUGIN_MENU_TYPE_CHANNEL = 1,
    PLUGIN_MENU_TYPE_CLIENT = 2
};

/// Returns of ts3plugin_offersConfigure.
constexpr int PLUGIN_OFFERS_CONFIGURE_QT_THREAD = 2;

/// Bytes of a text field in the records below, the terminating NUL included.
constexpr size_t PLUGIN_TEXT_BYTES = 128;

struct PluginMenuItem
{
    PluginMenuType type;
    int id;
    char text[PLUGIN_TEXT_BYTES];
    char icon[PLUGIN_TEXT_BYTES];
};
static_assert(offsetof(PluginMenuItem, id) == 4 && offsetof(PluginMenuItem, text) == 8
                  && offsetof(PluginMenuItem, icon) == 136 && sizeof(PluginMenuItem) == 264,
              "the host reads menu items at fixed offsets");

struct PluginHotkey
{
    char keyword[PLUGIN_TEXT_BYTES];
    char description[PLUGIN_TEXT_BYTES];
};
static_assert(offsetof(PluginHotkey, description) == 128 && sizeof(PluginHotkey) == 256,
              "the host reads hotkeys at fixed offsets");

/// The host's functions, handed to the plug-in by value. Only the members that funcwrapper calls
/// are declared; `unusedN` covers the others from position N on. Ten of the declared ones are
/// reached by no event yet. They belong to the fixed base for further modules, so don't remove
/// them.
struct TS3Functions
{
    void *unused0[4];
    unsigned int (*getErrorMessage)(unsigned int code, char **text);
    unsigned int (*freeMemory)(void *block);
    unsigned int (*logMessage)(const char *message, LogLevel level, const char *channel,
                               uint64 logId);
    void *unused7[41];
    unsigned int (*requestClientMove)(uint64 connection, anyID client, uint64 channel,
                                      const char *password, const char *returnCode);
    void *unused49[5];
    unsigned int (*requestSendPrivateTextMsg)(uint64 connection, const char *message, anyID client,
                                              const char *returnCode);
    void *unused55[18];
    unsigned int (*getClientID)(uint64 connection, anyID *id);
    void *unused74[5];
    unsigned int (*getClientVariableAsInt)(uint64 connection, anyID client, size_t property,
                                           int *value);
    void *unused80[1];
    unsigned int (*getClientVariableAsString)(uint64 connection, anyID client, size_t property,
                                              char **value);
    void *unused82[1];
    unsigned int (*getChannelOfClient)(uint64 connection, anyID client, uint64 *channel);
    unsigned int (*getChannelVariableAsInt)(uint64 connection, uint64 channel, size_t property,
                                            int *value);
    void *unused85[1];
    unsigned int (*getChannelVariableAsString)(uint64 connection, uint64 channel, size_t property,
                                               char **value);
    void *unused87[6];
    unsigned int (*getChannelList)(uint64 connection, uint64 **ids);
    unsigned int (*getChannelClientList)(uint64 connection, uint64 channel, anyID **ids);
    void *unused95[1];
    unsigned int (*getServerConnectionHandlerList)(uint64 **ids);
    void *unused97[2];
    unsigned int (*getServerVariableAsString)(uint64 connection, size_t property, char **value);
    void *unused100[1];
    unsigned int (*getConnectionStatus)(uint64 connection, int *status);
    void *unused102[2];
    unsigned int (*getConnectionVariableAsString)(uint64 connection, anyID client, size_t property,
                                                  char **value);
    void *unused105[42];
    unsigned int (*requestServerGroupList)(uint64 connection, const char *returnCode);
    void *unused148[9];
    unsigned int (*requestChannelGroupList)(uint64 connection, const char *returnCode);
    void *unused158[21];
    void (*getAppPath)(char *path, size_t size);
    void (*getResourcesPath)(char *path, size_t size);
    void (*getConfigPath)(char *path, size_t size);
    void (*getPluginPath)(char *path, size_t size, const char *pluginId);
    uint64 (*getCurrentServerConnectionHandlerID)();
    void *unused184[1];
    void (*printMessageToCurrentTab)(const char *message);
    void *unused186[24];
};

// A wrong position would call some other function of the host, so each one is fixed here.
constexpr size_t TS3FUNCTIONS_COUNT = 210;
static_assert(sizeof(TS3Functions) == TS3FUNCTIONS_COUNT * sizeof(void *));
#define TS3FUNCTIONS_POSITION(member, position)                                                    \
    static_assert(offsetof(TS3Functions, member) == (position) * sizeof(void *))
TS3FUNCTIONS_POSITION(getErrorMessage, 4);
TS3FUNCTIONS_POSITION(freeMemory, 5);
TS3FUNCTIONS_POSITION(logMessage, 6);
TS3FUNCTIONS_POSITION(requestClientMove, 48);
TS3FUNCTIONS_POSITION(requestSendPrivateTextMsg, 54);
TS3FUNCTIONS_POSITION(getClientID, 73);
TS3FUNCTIONS_POSITION(getClientVariableAsInt, 79);
TS3FUNCTIONS_POSITION(getClientVariableAsString, 81);
TS3FUNCTIONS_POSITION(getChannelOfClient, 83);
TS3FUNCTIONS_POSITION(getChannelVariableAsInt, 84);
TS3FUNCTIONS_POSITION(getChannelVariableAsString, 86);
TS3FUNCTIONS_POSITION(getChannelList, 93);
TS3FUNCTIONS_POSITION(getChannelClientList, 94);
TS3FUNCTIONS_POSITION(getServerConnectionHandlerList, 96);
TS3FUNCTIONS_POSITION(getServerVariableAsString, 99);
TS3FUNCTIONS_POSITION(getConnectionStatus, 101);
TS3FUNCTIONS_POSITION(getConnectionVariableAsString, 104);
TS3FUNCTIONS_POSITION(requestServerGroupList, 147);
TS3FUNCTIONS_POSITION(requestChannelGroupList, 157);
TS3FUNCTIONS_POSITION(getAppPath, 179);
TS3FUNCTIONS_POSITION(getResourcesPath, 180);
TS3FUNCTIONS_POSITION(getConfigPath, 181);
TS3FUNCTIONS_POSITION(getPluginPath, 182);
TS3FUNCTIONS_POSITION(getCurrentServerConnectionHandlerID, 183);
TS3FUNCTIONS_POSITION(printMessageToCurrentTab, 185);
#undef TS3FUNCTIONS_POSITION

#define TS3PLUGIN_EXPORT __attribute__((visibility("default")))

// The functions that the host looks up in the plug-in's library. It calls them on the thread on
// which it called ts3plugin_init, and may call one from inside a function of its table that the
// plug-in has called.
extern "C" {

// Identity: constant texts, valid while the library is loaded; callable at any time.
TS3PLUGIN_EXPORT const char *ts3plugin_name();
TS3PLUGIN_EXPORT const char *ts3plugin_version();
TS3PLUGIN_EXPORT int ts3plugin_apiVersion();
TS3PLUGIN_EXPORT const char *ts3plugin_author();
TS3PLUGIN_EXPORT const char *ts3plugin_description();

/// First call after loading: the host's functions, to be copied.
TS3PLUGIN_EXPORT void ts3plugin_setFunctionPointers(TS3Functions funcs);
/// Second call. Returns 0 for success.
TS3PLUGIN_EXPORT int ts3plugin_init();
/// Last call before the library is unloaded. It must come while the host's QApplication lives,
/// since it deletes the settings dialog, which can't go later if it is open.
TS3PLUGIN_EXPORT void ts3plugin_shutdown();
/// Gives the plug-in the id under which the host knows it; the text is the host's.
TS3PLUGIN_EXPORT void ts3plugin_registerPluginID(const char *id);

/// Whether, and on which thread, ts3plugin_configure may be called.
TS3PLUGIN_EXPORT int ts3plugin_offersConfigure();
/// Opens the plug-in's settings.
TS3PLUGIN_EXPORT void ts3plugin_configure(void *handle, void *qParentWidget);

/// The plug-in's chat command, null for none.
TS3PLUGIN_EXPORT const char *ts3plugin_commandKeyword();
/// Returns 0 when the plug-in handled the command, 1 when it did not.
TS3PLUGIN_EXPORT int ts3plugin_processCommand(uint64 connection, const char *command);
/// Returns 1 if the host should load the plug-in without being asked.
TS3PLUGIN_EXPORT int ts3plugin_requestAutoload();
/// Takes back a block that the plug-in handed to the host.
TS3PLUGIN_EXPORT void ts3plugin_freeMemory(void *block);

TS3PLUGIN_EXPORT void ts3plugin_onConnectStatusChangeEvent(uint64 connection, int status,
                                                           unsigned int error);

/// A client moved by itself, or came into or left the user's view.
TS3PLUGIN_EXPORT void ts3plugin_onClientMoveEvent(uint64 connection, anyID client,
                                                  uint64 oldChannel, uint64 newChannel,
                                                  int visibility, const char *message);
/// A client was moved by another one.
TS3PLUGIN_EXPORT void ts3plugin_onClientMoveMovedEvent(uint64 connection, anyID client,
                                                       uint64 oldChannel, uint64 newChannel,
                                                       int visibility, anyID mover,
                                                       const char *moverName, const char *moverUid,
                                                       const char *message);

TS3PLUGIN_EXPORT void ts3plugin_onChannelMoveEvent(uint64 connection, uint64 channel,
                                                   uint64 newParent, anyID invoker,
                                                   const char *invokerName, const char *invokerUid);
TS3PLUGIN_EXPORT void ts3plugin_onNewChannelCreatedEvent(uint64 connection, uint64 channel,
                                                         uint64 parent, anyID invoker,
                                                         const char *invokerName,
                                                         const char *invokerUid);
TS3PLUGIN_EXPORT void ts3plugin_onUpdateChannelEditedEvent(uint64 connection, uint64 channel,
                                                           anyID invoker, const char *invokerName,
                                                           const char *invokerUid);
TS3PLUGIN_EXPORT void ts3plugin_onDelChannelEvent(uint64 connection, uint64 channel, anyID invoker,
                                                  const char *invokerName, const char *invokerUid);
TS3PLUGIN_EXPORT void ts3plugin_onUpdateChannelEvent(uint64 connection, uint64 channel);
TS3PLUGIN_EXPORT void ts3plugin_onUpdateClientEvent(uint64 connection, anyID client, anyID invoker,
                                                    const char *invokerName,
                                                    const char *invokerUid);

/// Hands the host a null-terminated array of menu items; array and items become the host's.
TS3PLUGIN_EXPORT void ts3plugin_initMenus(PluginMenuItem ***items, char **icon);
/// Hands the host a null-terminated array of hotkeys; array and hotkeys become the host's.
TS3PLUGIN_EXPORT void ts3plugin_initHotkeys(PluginHotkey ***hotkeys);
/// A menu item was chosen; `selected` is the channel or client whose menu it was.
TS3PLUGIN_EXPORT void ts3plugin_onMenuItemEvent(uint64 connection, PluginMenuType type, int itemId,
                                                uint64 selected);
TS3PLUGIN_EXPORT void ts3plugin_onHotkeyEvent(const char *keyword);

/// Title of the plug-in's section in the info panel: a constant text.
TS3PLUGIN_EXPORT const char *ts3plugin_infoTitle();
/// Hands the host the text of that section; the block becomes the host's.
TS3PLUGIN_EXPORT void ts3plugin_infoData(uint64 connection, uint64 id, PluginItemType type,
                                         char **text);
}
