#pragma once

#include "settings-tool/filechange.h"

#include <QStack>
#include <QVector>

/// The settings as the user wants them, from the window or a command. A draft knows what is
/// wrong with them and which keys of the file must change.
class Draft
{
public:
    enum class Notice { Off, Standard, Own };

    /// A server with settings of its own.
    struct Server
    {
        QString uid;
        /// The user's name for it, empty if it has none.
        QString name;
        bool isLeftAlone = false;
        /// The id of its idleDock channel as text, which need not be a valid one.
        std::optional<QString> channel;

        bool operator==(const Server &other) const
        {
            return uid == other.uid && name == other.name && isLeftAlone == other.isLeftAlone
                && channel == other.channel;
        }
    };

    /// Why a server can't be stored, and in which of its fields the reason lies.
    struct Problem
    {
        enum Field { Uid, Channel };
        Field field;
        QString message;
    };

    /// Reads the settings file `path`. Throws an Error when it can't be read.
    explicit Draft(const QString &path);

    /// What the file held then.
    const StoredSettings stored;
    Notice notice = Notice::Off;
    QString ownText;
    bool allowsIdleDock = false;
    QVector<Server> servers;

    /// The index of the server with that unique id, as far as the file can tell ids apart; -1 if
    /// it isn't in the list.
    int find(const QString &uid) const;
    /// The same, but the server is added if it is absent.
    int indexOf(const QString &uid);
    /// What would be wrong if `server` replaced the one at `index` or, with a negative `index`,
    /// were added. An unchanged field is checked only if the change of `isLeftAlone` makes it
    /// matter; otherwise it may stay, whatever it holds.
    std::optional<Problem> problemWith(const Server &server, int index) const;

    /// What the user should know about a server's unique id, about its channel, and about both.
    static QStringList warningsOfUid(const Server &server);
    static QStringList warningsOfChannel(const Server &server);
    static QStringList warningsOf(const Server &server);
    /// These warnings as whole sentences.
    static QStringList sentences(const QStringList &warnings);
    /// What the user should know about the notice, and about the idleDock switch.
    QStringList warningOfNotice() const;
    QStringList warningOfIdleDock() const;
    /// What the plug-in does on the server, in a few words.
    QString effectOf(const Server &server) const;

    /// These change the list in steps that undo() reverts. put() adds the server if `index` is
    /// negative, and returns its index. undo() returns the index of the server that it restored. If
    /// it undid an addition, it returns the index of the last server, or -1 if none is left.
    int put(const Server &server, int index);
    void remove(int index);
    int undo();
    bool canUndo() const { return !mSteps.isEmpty(); }

    /// The keys to change; an invalid value means that the key is removed.
    QVariantMap changes() const;
    /// Stores them in the file. Returns what the user should know; throws an Error if they can't be
    /// stored.
    QStringList save(const FolderLock &lock) const;

private:
    struct Step
    {
        QVector<Server> servers; ///< as they were before
        int index;
    };
    QStack<Step> mSteps;
};
