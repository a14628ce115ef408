#pragma once

#include "shared/model/record.h"

#include <QObject>

/// The events that the module is told of. The numbers are fixed, gaps included.
enum moduleEvents : int {
    eventClientMove = 3,
    eventClientMoveMoved = 4,
    eventMenuItem = 13,
    eventHotkey = 14
};

/// Keys of the event records. In the channel and client arguments of staybolt::parseEvent each key
/// holds a whole record of the model, an empty one for an id that the model does not know.
namespace eventKeys {
/// channel: the channel left by a move.
inline QString source() { return QStringLiteral("source"); }
/// channel: the channel entered by a move, or the channel from whose menu an item was chosen.
inline QString dest() { return QStringLiteral("dest"); }
/// channel: the user's own channel when an item was chosen or a hotkey pressed.
inline QString src() { return QStringLiteral("src"); }
/// client: the user's own client in a move.
inline QString own() { return QStringLiteral("own"); }
/// client: who moved the user; the user's own client for a menu item or a hotkey.
inline QString executor() { return QStringLiteral("executor"); }
/// client: the client from whose menu an item was chosen.
inline QString affected() { return QStringLiteral("affected"); }
/// server: what was chosen, the entry's "cmd" value or the hotkey's keyword.
inline QString cmd() { return QStringLiteral("cmd"); }
}

/// The protection module. It remembers the channel that the user last moved into, asks the host to
/// undo moves made by others, and sends the mover a message if the user wants that. All calls come
/// from the host's callbacks on one thread; a request may lead to another call before it returns.
class staybolt : public QObject
{
    Q_OBJECT

public:
    staybolt() = default;

    /// The module's own entries in the host's menus, each with "type" ("global", "channel" or
    /// "client"), "name" (the menu text) and "cmd" (handed back when the entry is chosen).
    QList<Record> getMenuEntries() const;
    /// The module's hotkeys, each with "keyword" (handed back when it is pressed) and "name".
    QList<Record> getHotkeyKeywords() const;

public Q_SLOTS:
    /// Decides what to do about one event. The records are copies, so changes to them stay here. A
    /// missing key or an empty record counts as empty, false or 0, and so does text that isn't a
    /// number.
    void parseEvent(moduleEvents event, QVariantHash server, QVariantHash channel,
                    QVariantHash client);

private:
    Q_DISABLE_COPY(staybolt)

    Record mLastChannel;
};
