#pragma once

#include "settings-tool/filechange.h"

/// The settings as the user wants them, from the window or a command. It knows what is wrong with
/// them and which keys of the file must change.
class Draft
{
public:
    enum class Notice { Off, Standard, Own };

    /// A server with settings of its own, as it was typed.
    struct Server
    {
        QString uid;
        bool isLeftAlone = false;
        /// The id of its idleDock channel, empty when it has none.
        QString channel;
        /// Under which unique id the file has keys for it, if there are any.
        std::optional<QString> storedUid;
    };

    /// Reads the settings file `path`. Throws an Error when it can't be read.
    explicit Draft(const QString &path);

    /// What the file held then.
    const StoredSettings stored;
    Notice notice = Notice::Off;
    QString ownText;
    bool allowsIdleDock = false;
    QVector<Server> servers;

    /// The index of the server with that unique id, which is added if it is absent.
    int indexOf(const QString &uid);
    /// Why the server can't be stored, empty when it can.
    QString errorIn(int index) const;
    /// What the user should know about the server, a sentence each.
    QStringList warningsOf(int index) const;
    /// The same about the notice and about the idleDock switch.
    QStringList warningOfNotice() const;
    QStringList warningOfIdleDock() const;

    /// The keys to change; an invalid value means that the key is removed.
    QVariantMap changes() const;
    /// Stores them in the file. Returns what the user should know; throws an Error if that fails.
    QStringList save(const FolderLock &lock) const;

    /// Whether this is a new server for which nothing has been entered.
    static bool isBlank(const Server &server);
};
