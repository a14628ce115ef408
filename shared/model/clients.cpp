#include "shared/model/clients.h"

void clients::setData(QString id, Record record) { setRecord(mData, mUids, id, record); }

void clients::setData(QString id, QString key, QVariant value)
{
    setRecordValue(mData, mUids, id, key, value);
}

Record clients::getData(QString id) const { return mData.value(id); }

QVariant clients::getData(QString id, QString key) const { return recordValue(mData, id, key); }

QList<Record> clients::getAll() const { return mData.values(); }

void clients::remove(QString id) { removeRecord(mData, mUids, id); }

QString clients::getClientID(QString uid) const { return idOfUid(mUids, uid); }
