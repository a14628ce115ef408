#pragma once

#include "shared/settings/settingskeys.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <chrono>
#include <memory>
#include <optional>

/// Something that can't be done, and why; the file is left as it is.
struct Mistake
{
    QString message;
};

/// The plug-in's settings file as it was when this was made, what the plug-in makes of it, and what
/// is wrong with it.
class StoredSettings
{
public:
    /// How long to wait for others of this tool that change the file.
    static constexpr std::chrono::seconds usualPatience{15};

    /// A key of the file, or one that could be there.
    struct Fact
    {
        QString key;
        QString meaning;
        /// The unique id of the server for which it stands, where it stands for one.
        std::optional<QString> uid;
        QString stored;
        QString effect;
        QStringList warnings;
    };

    /// What is stored for a server.
    struct Server
    {
        QString uid;
        bool isLeftAlone = false;
        std::optional<uint> idleDockChannel;
    };

    /// Reads the file. Throws a Mistake when it can't be read. A file that is not there reads as an
    /// empty one; an empty path stands for one that nobody named.
    explicit StoredSettings(const QString &path);
    /// Reads the file for a change, and keeps others of this tool from it as long as this lives.
    /// Throws a Mistake also when one of them goes on changing it for longer than `patience`.
    StoredSettings(const QString &path, std::chrono::seconds patience);
    ~StoredSettings();
    StoredSettings(const StoredSettings &) = delete;
    StoredSettings &operator=(const StoredSettings &) = delete;

    bool contains(const QString &key) const { return mValues.contains(key); }
    bool isOn(const settingsKeys::Key &key) const { return mValues.value(key.text()).toBool(); }
    /// What movers are told when the notice is on.
    QString notice() const;
    bool hasIdleDockChannel() const;
    /// The servers for which something is stored, in the order of their ids.
    QVector<Server> servers() const;

    /// Every setting there is, then what else the file holds.
    QVector<Fact> facts() const;
    /// What there is to say of one server, whether or not the file knows it.
    QVector<Fact> factsOf(const QString &uid) const;
    /// What is wrong with the file as a whole.
    QStringList fileWarnings() const;
    /// All that is wrong, with the keys' names.
    QStringList warnings() const;

    /// Stores the values under their keys, and removes a key whose value is invalid. Answers what
    /// the user should know of it; throws a Mistake when it can't be done.
    QStringList change(const QVariantMap &values);

private:
    class FolderLock;

    StoredSettings(const QString &path, std::unique_ptr<FolderLock> lock);
    Fact factOf(const QString &key) const;
    QString effectOf(const settingsKeys::Key &key, const QString &stored) const;
    QStringList warningsOf(const settingsKeys::Key &key, const Fact &fact) const;

    QString mPath;
    std::unique_ptr<FolderLock> mLock; // taken before the file is read
    QByteArray mBytes;
    // No settings object, since all those on a file change together.
    QVariantMap mValues;
};

/// The key of the file for the server with that unique id. Slashes are separators to the file, so
/// doubled ones and those at the ends are lost.
QString storedKey(const settingsKeys::Key &key, const QString &uid);

/// Why the file can't hold a server's unique id, empty when it can.
QString mistakeIn(const QString &uid);

/// What to say of a unique id that the file can hold.
QStringList warningsOf(const QString &uid);

/// The channel id that a text is, none when it is no such number.
std::optional<uint> channelIn(const QString &text);

/// What a text must be to be one.
QString whatAChannelIs();
