#pragma once

#include "shared/host/host_interface.h"
#include "shared/model/record.h"

// The module's menu entries and hotkeys in the host's format. Every block made here is allocated
// with malloc and handed over to the host. Texts are UTF-8, cut to 127 bytes.

/// A menu item without an icon.
PluginMenuItem *createMenuItem(PluginMenuType type, int id, const QString &text);

/// The null-terminated array of menu items: "open Configuration" with id 0 in the global menu, then
/// one for each entry with the id that menuCommand() takes. An entry's "type" must be "global",
/// "channel" or "client". Any other type fails an assertion in a debug build; a release build
/// leaves the entry out.
PluginMenuItem **createMenus(const QList<Record> &entries);

/// The null-terminated array of hotkeys, one for each entry.
PluginHotkey **createHotkeys(const QList<Record> &entries);

/// The "cmd" value of the entry behind a menu item id, an invalid one when there is no such entry
/// or it has no "cmd".
QVariant menuCommand(const QList<Record> &entries, int itemId);
