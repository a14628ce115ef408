#include "plugins/staybolt/hostevents.h"

#include "plugins/staybolt/staybolt.h"
#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"

namespace {

// The client can call back, and so change the model, while we read from it. Tables are therefore
// fetched only when everything is read, and only for a record to store.

void storeClients(uint64 connection, const QList<Record> &records)
{
    if (records.isEmpty())
        return;
    clients *table = server::instance()->getClientsObj(idText(connection));
    for (const Record &record : records)
        table->setData(idText(record.value(recordKeys::clId()).toUInt()), record);
}

}

void loadServer(uint64 connection)
{
    const funcwrapper *host = funcwrapper::instance();
    const anyID own = host->getOwnClientID(connection);
    const uint64 channel = host->getChannelID(connection, own);
    server::instance()->setData(idText(connection), host->readServer(connection));
    refreshChannelClients(connection, channel);
    refreshChannels(connection);
}

void dropServer(uint64 connection) { server::instance()->remove(idText(connection)); }

void refreshClient(uint64 connection, anyID client)
{
    storeClients(connection, {funcwrapper::instance()->readClient(connection, client)});
}

void refreshChannelClients(uint64 connection, uint64 channel)
{
    storeClients(connection, funcwrapper::instance()->readChannelClients(connection, channel));
}

void refreshChannels(uint64 connection)
{
    const QList<Record> records = funcwrapper::instance()->readChannels(connection);
    if (records.isEmpty())
        return;
    channels *table = server::instance()->getChannelObj(idText(connection));
    for (const Record &record : records)
        table->setData(record.value(recordKeys::id()).toString(), record);
}

QVariant clientRecord(uint64 connection, uint64 client)
{
    return server::instance()->getClientsObj(idText(connection))->getData(idText(client));
}

QVariant channelRecord(uint64 connection, uint64 channel)
{
    return server::instance()->getChannelObj(idText(connection))->getData(idText(channel));
}

EventRecords moveRecords(uint64 connection, anyID own, uint64 oldChannel, uint64 newChannel)
{
    EventRecords records;
    records.client.insert(eventKeys::own(), clientRecord(connection, own));
    records.channel.insert(eventKeys::source(), channelRecord(connection, oldChannel));
    records.channel.insert(eventKeys::dest(), channelRecord(connection, newChannel));
    records.server = server::instance()->getData(idText(connection));
    return records;
}

EventRecords choiceRecords(uint64 connection, const QVariant &cmd)
{
    EventRecords records;
    records.server = server::instance()->getData(idText(connection));
    records.server.insert(eventKeys::cmd(), cmd);
    const anyID own = funcwrapper::instance()->getOwnClientID(connection);
    const uint64 ownChannel = funcwrapper::instance()->getChannelID(connection, own);
    records.channel.insert(eventKeys::src(), channelRecord(connection, ownChannel));
    records.client.insert(eventKeys::executor(), clientRecord(connection, own));
    return records;
}

EventRecords choiceRecords(uint64 connection, const QVariant &cmd, PluginMenuType type,
                           uint64 selected)
{
    EventRecords records = choiceRecords(connection, cmd);
    if (type == PLUGIN_MENU_TYPE_CHANNEL)
        records.channel.insert(eventKeys::dest(), channelRecord(connection, selected));
    else if (type == PLUGIN_MENU_TYPE_CLIENT)
        records.client.insert(eventKeys::affected(), clientRecord(connection, selected));
    return records;
}
