#include "plugins/staybolt/eventrecords.h"

#include "plugins/staybolt/staybolt.h"
#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"

namespace {

/// What the model holds of one connection, wrapped for event records. Must not live across a call
/// of the host, which may remove the server and its tables.
class ConnectionRecords
{
public:
    explicit ConnectionRecords(uint64 connection) :
        mId(idText(connection)), mClients(::server::instance()->getClientsObj(mId)),
        mChannels(::server::instance()->getChannelObj(mId))
    {
    }

    Record server() const { return ::server::instance()->getData(mId); }
    /// The id is not cut, even if it exceeds the range of client ids.
    QVariant client(uint64 id) const { return mClients->getData(idText(id)); }
    QVariant channel(uint64 id) const { return mChannels->getData(idText(id)); }

private:
    QString mId;
    const clients *mClients;
    const channels *mChannels;
};

}

EventRecords moveRecords(uint64 connection, anyID own, uint64 oldChannel, uint64 newChannel)
{
    const ConnectionRecords known(connection);
    EventRecords records;
    records.client.insert(eventKeys::own(), known.client(own));
    records.channel.insert(eventKeys::source(), known.channel(oldChannel));
    records.channel.insert(eventKeys::dest(), known.channel(newChannel));
    records.server = known.server();
    return records;
}

EventRecords forcedMoveRecords(uint64 connection, anyID own, uint64 oldChannel, uint64 newChannel,
                               anyID mover)
{
    EventRecords records = moveRecords(connection, own, oldChannel, newChannel);
    records.client.insert(eventKeys::executor(), ConnectionRecords(connection).client(mover));
    return records;
}

EventRecords choiceRecords(uint64 connection, const QVariant &cmd)
{
    EventRecords records;
    records.server = ConnectionRecords(connection).server();
    records.server.insert(eventKeys::cmd(), cmd);
    const anyID own = funcwrapper::instance()->getOwnClientID(connection);
    const uint64 ownChannel = funcwrapper::instance()->getChannelID(connection, own);
    // Looked up anew: the host may have ended the connection while it answered.
    const ConnectionRecords known(connection);
    records.channel.insert(eventKeys::src(), known.channel(ownChannel));
    records.client.insert(eventKeys::executor(), known.client(own));
    return records;
}

EventRecords choiceRecords(uint64 connection, const QVariant &cmd, PluginMenuType type,
                           uint64 selected)
{
    EventRecords records = choiceRecords(connection, cmd);
    if (type == PLUGIN_MENU_TYPE_CHANNEL)
        records.channel.insert(eventKeys::dest(), ConnectionRecords(connection).channel(selected));
    else if (type == PLUGIN_MENU_TYPE_CLIENT)
        records.client.insert(eventKeys::affected(),
                              ConnectionRecords(connection).client(selected));
    return records;
}
