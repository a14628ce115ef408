#pragma once

#include <QString>

/// Keys of the settings file, one table for the plug-in and staybolt-settings. A test compares the
/// documents with it.
namespace settingsKeys {

/// What the mover is told if the user has no text of their own. Its translation context is the
/// module's.
inline constexpr char standardNotice[] =
    QT_TRANSLATE_NOOP("staybolt", "This operation is not permitted!");

/// How the plug-in reads a value.
enum class Kind {
    Switch, ///< bool; off when it is empty, 0 or false
    Text, ///< text
    Channel, ///< channel id: the low 32 bits of the number, 0 if it isn't a number
    Presence, ///< not read; only its presence counts
    Note ///< not read at all; for the user
};

struct Key
{
    /// The key; %1 stands for a server's unique identifier as the host reports it.
    const char *pattern;
    Kind kind;
    // For documents and tools.
    const char *whenAbsent;
    const char *meaning;

    /// Whether there is one such key per server.
    bool isPerServer() const { return text().contains(QLatin1String("%1")); }
    /// The pattern unchanged; for a key that isn't per server, the key itself.
    QString text() const { return QLatin1String(pattern); }
    /// The key of the server with that unique identifier.
    QString of(const QString &uid) const { return text().replace(QLatin1String("%1"), uid); }
};

inline constexpr Key sendNotify{
    "staybolt.sendNotify", Kind::Switch, "0",
    "sends a message to whoever moves you, even if you couldn't be moved back"};
inline constexpr Key customNotify{"staybolt.customNotify", Kind::Text, "the standard message",
                                  "the message; an empty one is sent as it is"};
inline constexpr Key permitIdleDock{"staybolt.permitIdleDock", Kind::Switch, "0",
                                    "stores the dialog's first switch; has no effect yet"};
inline constexpr Key idleDock{"module.staybolt.idleDock", Kind::Switch, "false",
                              "allows moves into idleDock channels"};
inline constexpr Key idleDockTarget{"module.idleDock.%1.target", Kind::Channel, "0",
                                    "the idleDock channel on this server"};
inline constexpr Key excludedServer{"staybolt.%1", Kind::Presence, "the server is protected",
                                    "turns protection off on this server, whatever the value"};

/// Whatever the id, the plug-in never reads this key: all those that it reads begin differently.
inline constexpr Key serverName{"name.%1", Kind::Note, "the id is shown",
                                "your name for this server; the plug-in never reads it"};

/// All of them, in the order in which a user meets them.
inline constexpr const Key *all[] = {&sendNotify, &customNotify,   &permitIdleDock, &excludedServer,
                                     &idleDock,   &idleDockTarget, &serverName};

}
