#pragma once

#include <QList>
#include <QString>

/// Keys of the settings file. `uid` is a server's unique identifier as the client reports it.
namespace settingsKeys {

/// Whether the mover is told after a move back; bool, false when absent.
inline QString sendNotify() { return QStringLiteral("staybolt.sendNotify"); }
/// What the mover is told; text, the standard text when absent.
inline QString customNotify() { return QStringLiteral("staybolt.customNotify"); }
/// The dialog's own record of its idleDock switch; bool, false when absent.
inline QString permitIdleDock() { return QStringLiteral("staybolt.permitIdleDock"); }
/// Whether moves into the idleDock target channel are let through; bool, false when absent.
inline QString idleDock() { return QStringLiteral("module.staybolt.idleDock"); }
/// The idleDock target channel on a server; unsigned 32-bit channel id, 0 when absent.
inline QString idleDockTarget(const QString &uid)
{
    return QStringLiteral("module.idleDock.%1.target").arg(uid);
}
/// Present with any value: every event of that server is ignored.
inline QString excludedServer(const QString &uid) { return QStringLiteral("staybolt.%1").arg(uid); }

/// One kind of key, as documents and tools describe it.
struct Description
{
    /// The key, with UID in place of a server's unique identifier.
    const char *key;
    const char *value;
    const char *whenAbsent;
    const char *meaning;
    const char *setIn;
};

/// All kinds of keys, in the order in which a user meets them.
inline const Description descriptions[] = {
    {"staybolt.sendNotify", "0 or 1", "0", "tell the mover after you were moved back",
     "the dialog"},
    {"staybolt.customNotify", "text", "\"This operation is not permitted!\"",
     "what the mover is told, also when it is empty", "the dialog"},
    {"staybolt.permitIdleDock", "0 or 1", "0",
     "the dialog's own record of its first switch; it lets no move through", "the dialog"},
    {"staybolt.UID", "anything", "the server is protected",
     "leave the server with the unique id UID alone, whatever the value", "staybolt-settings"},
    {"module.staybolt.idleDock", "true or false", "false",
     "let moves into the idleDock channel of a server through", "staybolt-settings"},
    {"module.idleDock.UID.target", "channel id", "0",
     "the idleDock channel on the server with the unique id UID", "staybolt-settings"},
};

}
