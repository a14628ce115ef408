#pragma once

#include "shared/settings/settingskeys.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

class QSettings;

/// Says what can't be done, and why.
struct Error
{
    QString message;
    /// Whether the message shows how to call the program, rather than what went wrong.
    bool isUsage = false;
};

/// The plug-in's settings file as it was when this object was made: what the plug-in reads in it,
/// and what is wrong with it.
class StoredSettings
{
public:
    /// What the file holds for a server.
    struct Server
    {
        bool isLeftAlone = false;
        /// The text under which its idleDock channel is stored, which may be no channel at all.
        std::optional<QString> channel;
    };

    /// Reads the file. Throws an Error if it can't be read. A missing file reads as an empty one;
    /// an empty path means that none is known.
    explicit StoredSettings(const QString &path);

    const QString &path() const { return mPath; }
    bool isOn(const settingsKeys::Key &key) const { return mValues.value(key.text()).toBool(); }
    /// The user's own notice, nothing if there is none.
    std::optional<QString> ownText() const;
    /// The servers that the file has keys for, by their unique ids.
    const QMap<QString, Server> &servers() const { return mServers; }
    /// The user's names for servers, by unique ids; also for servers that have no settings.
    const QMap<QString, QString> &names() const { return mNames; }

    /// The keys of all settings that aren't per server, then any other keys in the file.
    QStringList keys() const;
    /// What a key means, what is stored under it and what the plug-in reads, a line each.
    QString describe(const QString &key) const;
    /// What is wrong with the file, except for problems with a server's settings.
    QStringList warnings() const;

private:
    QString effectOf(const settingsKeys::Key &key, const QString &stored) const;
    QString textOf(const QString &key) const;

    QString mPath;
    QByteArray mBytes;
    // Not the settings object itself, since all objects on a file change together.
    QVariantMap mValues;
    QMap<QString, Server> mServers;
    QMap<QString, QString> mNames;
};

/// The file itself, if the path is a link to it.
QString fileAt(const QString &path);

/// The message for a missing folder of the file.
QString noFolder(const QString &folder);

/// A key as Qt looks it up: without slashes at its ends and without doubled ones.
QString lookedUp(const QString &key);

QVariantMap valuesOf(const QSettings &settings);

/// The key of the file for the server with that unique id. The file format treats slashes as
/// separators, so doubled, leading and trailing ones are lost.
QString storedKey(const settingsKeys::Key &key, const QString &uid);

/// The unique id as the file holds it. Ids that are equal there share their keys.
QString uidAsStored(const QString &uid);

/// Why no key can be stored for that unique id; empty if one can.
QString errorInUid(const QString &uid);

/// The channel id in `text`; nothing if it isn't a valid one.
std::optional<uint> channelIn(const QString &text);

/// What a channel id must look like, for messages.
QString channelRule();
