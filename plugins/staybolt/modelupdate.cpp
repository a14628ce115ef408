#include "plugins/staybolt/modelupdate.h"

#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"

// The host can call back while we read from it, and so change the model. So we take known records
// as copies before, and fetch a table only after all is read. Nobody may hold a copy of the whole
// table while we store, or storing would copy it; that is why reading is a statement of its own.

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
    const QString id = idText(client);
    const Record known = server::instance()->clientRecords(idText(connection)).value(id);
    const Record record = funcwrapper::instance()->readClient(connection, client, known);
    server::instance()->getClientsObj(idText(connection))->setData(id, record);
}

void refreshChannelClients(uint64 connection, uint64 channel)
{
    const QList<Record> records = funcwrapper::instance()->readChannelClients(
        connection, channel, server::instance()->clientRecords(idText(connection)));
    if (records.isEmpty())
        return;
    clients *table = server::instance()->getClientsObj(idText(connection));
    QString id;
    for (const Record &record : records) {
        setIdText(id, record.constFind(recordKeys::clId())->toUInt());
        table->setData(id, record);
    }
}

void refreshChannels(uint64 connection)
{
    const QList<Record> records = funcwrapper::instance()->readChannels(
        connection, server::instance()->channelRecords(idText(connection)));
    if (records.isEmpty())
        return;
    channels *table = server::instance()->getChannelObj(idText(connection));
    for (const Record &record : records)
        table->setData(textOf(record, recordKeys::id()), record);
}

bool takeMove(uint64 connection, anyID client, int visibility)
{
    const anyID own = funcwrapper::instance()->getOwnClientID(connection);
    if (own == 0)
        return false;
    if (client == own)
        refreshChannelClients(connection, funcwrapper::instance()->getChannelID(connection, own));
    else if (visibility != LEAVE_VISIBILITY)
        refreshClient(connection, client);
    return client == own;
}

bool takeForcedMove(uint64 connection, anyID client, uint64 newChannel)
{
    const anyID own = funcwrapper::instance()->getOwnClientID(connection);
    if (own == 0)
        return false;
    refreshClient(connection, client);
    if (client == own)
        refreshChannelClients(connection, newChannel);
    return client == own;
}
