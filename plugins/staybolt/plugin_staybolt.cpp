#include "plugins/staybolt/plugin_staybolt.h"

#include "plugins/staybolt/eventrecords.h"
#include "plugins/staybolt/menus.h"
#include "plugins/staybolt/modelupdate.h"
#include "plugins/staybolt/staybolt.h"
#include "shared/host/funcwrapper.h"
#include "shared/settings/configuration.h"
#include "shared/settings/guiconfiguration.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

staybolt *stayboltObj = nullptr;
guiConfiguration *gConfig = nullptr;

namespace {

constexpr size_t infoBytes = 128;

char *pluginID = nullptr;

// Before init and after shutdown there is neither module nor dialog. Events then reach the model
// only, instead of taking the host down.

void tellModule(moduleEvents event, const EventRecords &records)
{
    if (stayboltObj)
        stayboltObj->parseEvent(event, records.server, records.channel, records.client);
}

void showSettings()
{
    if (gConfig)
        gConfig->showFitted();
}

void deleteObjects()
{
    delete stayboltObj;
    stayboltObj = nullptr;
    delete gConfig;
    gConfig = nullptr;
}

QList<Record> menuEntries()
{
    return stayboltObj ? stayboltObj->getMenuEntries() : QList<Record>();
}

QList<Record> hotkeyEntries()
{
    return stayboltObj ? stayboltObj->getHotkeyKeywords() : QList<Record>();
}

}

const char *ts3plugin_name() { return "Kestrelsoft Staybolt"; }

const char *ts3plugin_version() { return STAYBOLT_VERSION; }

int ts3plugin_apiVersion() { return 22; }

const char *ts3plugin_author() { return "Kestrelsoft"; }

const char *ts3plugin_description() { return "Protection against unwanted movement"; }

void ts3plugin_setFunctionPointers(TS3Functions funcs)
{
    funcwrapper::instance()->setFunctions(funcs);
}

int ts3plugin_init()
{
    deleteObjects();
    configuration::instance()->init(QString::fromUtf8(ts3plugin_name()));
    stayboltObj = new staybolt;
    gConfig = new guiConfiguration(nullptr);
    return 0;
}

void ts3plugin_shutdown()
{
    printf("PLUGIN: shutdown\n");
    deleteObjects();
    free(pluginID);
    pluginID = nullptr;
}

void ts3plugin_registerPluginID(const char *id)
{
    free(pluginID);
    pluginID = strdup(id ? id : "");
    printf("PLUGIN: registerPluginID: %s\n", pluginID);
}

int ts3plugin_offersConfigure()
{
    printf("PLUGIN: offersConfigure\n");
    return PLUGIN_OFFERS_CONFIGURE_QT_THREAD;
}

void ts3plugin_configure(void *, void *)
{
    printf("PLUGIN: configure\n");
    showSettings();
}

const char *ts3plugin_commandKeyword() { return nullptr; }

int ts3plugin_processCommand(uint64, const char *) { return 1; }

int ts3plugin_requestAutoload() { return 0; }

void ts3plugin_freeMemory(void *block) { free(block); }

void ts3plugin_onConnectStatusChangeEvent(uint64 connection, int status, unsigned int)
{
    if (status == STATUS_CONNECTION_ESTABLISHED)
        loadServer(connection);
    else if (status == STATUS_DISCONNECTED)
        dropServer(connection);
}

void ts3plugin_onClientMoveEvent(uint64 connection, anyID client, uint64 oldChannel,
                                 uint64 newChannel, int visibility, const char *)
{
    if (takeMove(connection, client, visibility))
        tellModule(eventClientMove, moveRecords(connection, client, oldChannel, newChannel));
}

void ts3plugin_onClientMoveMovedEvent(uint64 connection, anyID client, uint64 oldChannel,
                                      uint64 newChannel, int, anyID mover, const char *,
                                      const char *, const char *)
{
    if (takeForcedMove(connection, client, newChannel)) {
        tellModule(eventClientMoveMoved,
                   forcedMoveRecords(connection, client, oldChannel, newChannel, mover));
    }
}

void ts3plugin_onChannelMoveEvent(uint64 connection, uint64, uint64, anyID, const char *,
                                  const char *)
{
    refreshChannels(connection);
}

void ts3plugin_onNewChannelCreatedEvent(uint64 connection, uint64, uint64, anyID, const char *,
                                        const char *)
{
    refreshChannels(connection);
}

void ts3plugin_onUpdateChannelEditedEvent(uint64 connection, uint64, anyID, const char *,
                                          const char *)
{
    refreshChannels(connection);
}

void ts3plugin_onDelChannelEvent(uint64 connection, uint64, anyID, const char *, const char *)
{
    refreshChannels(connection);
}

void ts3plugin_onUpdateChannelEvent(uint64 connection, uint64) { refreshChannels(connection); }

void ts3plugin_onUpdateClientEvent(uint64 connection, anyID client, anyID invoker, const char *,
                                   const char *)
{
    refreshClient(connection, client);
    refreshClient(connection, invoker);
}

void ts3plugin_initMenus(PluginMenuItem ***items, char **) { *items = createMenus(menuEntries()); }

void ts3plugin_initHotkeys(PluginHotkey ***hotkeys) { *hotkeys = createHotkeys(hotkeyEntries()); }

void ts3plugin_onMenuItemEvent(uint64 connection, PluginMenuType type, int itemId, uint64 selected)
{
    if (itemId == 0) {
        showSettings();
    } else {
        tellModule(eventMenuItem,
                   choiceRecords(connection, menuCommand(menuEntries(), itemId), type, selected));
    }
}

void ts3plugin_onHotkeyEvent(const char *keyword)
{
    tellModule(eventHotkey,
               choiceRecords(funcwrapper::instance()->getCurrentConnectionHandlerID(),
                             QString::fromUtf8(keyword)));
}

const char *ts3plugin_infoTitle() { return "Staybolt"; }

void ts3plugin_infoData(uint64, uint64, PluginItemType, char **text)
{
    const configuration *settings = configuration::instance();
    const char *mode = "none";
    if (settings->get(settingsKeys::sendNotify.text()).toBool())
        mode = settings->contains(settingsKeys::customNotify.text()) ? "customNotify" : "notify";
    *text = static_cast<char *>(malloc(infoBytes));
    snprintf(*text, infoBytes, "[I]\"%s\"[/I]", mode);
}
