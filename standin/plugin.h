#pragma once

#include "shared/host/host_interface.h"

#include <QString>

/// X(NAME) for each export ts3plugin_NAME.
#define TS3PLUGIN_EXPORTS(X)                                                                       \
    X(name)                                                                                        \
    X(version)                                                                                     \
    X(apiVersion)                                                                                  \
    X(author)                                                                                      \
    X(description)                                                                                 \
    X(setFunctionPointers)                                                                         \
    X(init)                                                                                        \
    X(shutdown)                                                                                    \
    X(registerPluginID)                                                                            \
    X(offersConfigure)                                                                             \
    X(configure)                                                                                   \
    X(commandKeyword)                                                                              \
    X(processCommand)                                                                              \
    X(requestAutoload)                                                                             \
    X(freeMemory)                                                                                  \
    X(onConnectStatusChangeEvent)                                                                  \
    X(onClientMoveEvent)                                                                           \
    X(onClientMoveMovedEvent)                                                                      \
    X(onChannelMoveEvent)                                                                          \
    X(onNewChannelCreatedEvent)                                                                    \
    X(onUpdateChannelEditedEvent)                                                                  \
    X(onDelChannelEvent)                                                                           \
    X(onUpdateChannelEvent)                                                                        \
    X(onUpdateClientEvent)                                                                         \
    X(initMenus)                                                                                   \
    X(initHotkeys)                                                                                 \
    X(onMenuItemEvent)                                                                             \
    X(onHotkeyEvent)                                                                               \
    X(infoTitle)                                                                                   \
    X(infoData)

/// A plug-in's library and the functions that it exports.
class Plugin
{
public:
    Plugin() = default;
    ~Plugin() { close(); }
    Plugin(const Plugin &) = delete;
    Plugin &operator=(const Plugin &) = delete;

    /// Loads the library and looks up all exports. Answers what went wrong, nothing if all is well.
    QString open(const QString &path);
    void close();
    bool isOpen() const { return mLibrary; }

// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared takes no parentheses
#define TS3PLUGIN_MEMBER(member) decltype(&ts3plugin_##member) member = nullptr;
    TS3PLUGIN_EXPORTS(TS3PLUGIN_MEMBER)
#undef TS3PLUGIN_MEMBER

private:
    void *mLibrary = nullptr;
};
