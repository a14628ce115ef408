#include "shared/model/server.h"

#include "shared/singleton.h"

namespace {

template<typename Table>
Table *tableOf(QHash<QString, Table *> &tables, const QString &id)
{
    Table *&table = tables[id];
    if (!table)
        table = new Table;
    return table;
}

template<typename Table>
RecordTable recordsOf(const QHash<QString, Table *> &tables, const QString &id)
{
    const Table *table = tables.value(id);
    return table ? table->records() : RecordTable();
}

}

std::atomic<server *> server::mInstance{nullptr};

server *server::instance()
{
    static QMutex mutex;
    return singletonInstance(mInstance, mutex);
}

server::~server()
{
    qDeleteAll(mChannelGroups);
    qDeleteAll(mChannels);
    qDeleteAll(mClients);
    qDeleteAll(mServerGroups);
}

void server::setData(QString id, Record record) { setRecord(mData, mUids, id, record); }

void server::setData(QString id, QString key, QVariant value)
{
    setRecordValue(mData, mUids, id, key, value);
}

Record server::getData(QString id) const { return mData.value(id); }

QVariant server::getData(QString id, QString key) const { return recordValue(mData, id, key); }

QList<Record> server::getAll() const { return mData.values(); }

QString server::getServerId(QString uid) const { return idOfUid(mUids, uid); }

clients *server::getClientsObj(QString id) { return tableOf(mClients, id); }

channels *server::getChannelObj(QString id) { return tableOf(mChannels, id); }

groups *server::getServerGroupObj(QString id) { return tableOf(mServerGroups, id); }

groups *server::getChannelGroupObj(QString id) { return tableOf(mChannelGroups, id); }

RecordTable server::clientRecords(QString id) const { return recordsOf(mClients, id); }

RecordTable server::channelRecords(QString id) const { return recordsOf(mChannels, id); }

void server::remove(QString id)
{
    removeRecord(mData, mUids, id);
    delete mChannelGroups.take(id);
    delete mChannels.take(id);
    delete mClients.take(id);
    delete mServerGroups.take(id);
}
