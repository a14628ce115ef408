#pragma once

#include "shared/model/channels.h"
#include "shared/model/clients.h"
#include "shared/model/groups.h"
#include "shared/model/record.h"

#include <atomic>

/// What the plug-in knows of every connection: the server's record and the tables of its channels,
/// clients and groups, all by server id, which is the connection handler id in decimal. A server id
/// can have tables without a record, or a record without tables.
///
/// Only creating the instance is safe from any thread. The registry and its tables are not locked,
/// since all calls come from the host's one thread.
class server
{
public:
    server() = default;
    ~server();

    /// The one registry, created on the first call, from any thread. It lives until the library is
    /// unloaded.
    static server *instance();

    /// Stores `record` under `id` in place of any record there, and `id` under its "uid".
    void setData(QString id, Record record);
    /// Sets one value of the record under `id`, which is created when there is none. Setting
    /// "uid" also adds `id` to the index.
    void setData(QString id, QString key, QVariant value);
    /// A copy of the record under `id`, an empty one when there is none.
    Record getData(QString id) const;
    /// A copy of one value, an invalid one when the record or the key is missing.
    QVariant getData(QString id, QString key) const;
    /// Copies of all server records, in no particular order.
    QList<Record> getAll() const;
    /// The server id stored last for `uid`, "unknown" when there is none.
    QString getServerId(QString uid) const;

    // The tables of `id`, created empty when absent; never null. The registry owns them,
    // and they are valid until remove(id): use the pointer at once, don't keep it.
    clients *getClientsObj(QString id);
    channels *getChannelObj(QString id);
    groups *getServerGroupObj(QString id);
    groups *getChannelGroupObj(QString id);

    // The records of these tables by their ids, none where there is no table.
    RecordTable clientRecords(QString id) const;
    RecordTable channelRecords(QString id) const;

    /// Forgets the record of `id`, the index entry of its uid and all its tables.
    void remove(QString id);

private:
    Q_DISABLE_COPY(server)

    static std::atomic<server *> mInstance;

    RecordTable mData;
    UidIndex mUids;
    QHash<QString, clients *> mClients;
    QHash<QString, channels *> mChannels;
    QHash<QString, groups *> mServerGroups;
    QHash<QString, groups *> mChannelGroups;
};
