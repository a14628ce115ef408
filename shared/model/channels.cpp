#include "shared/model/channels.h"

void channels::setData(QString id, Record record) { setRecord(mData, id, record); }

void channels::setData(QString id, QString key, QVariant value)
{
    setRecordValue(mData, id, key, value);
}

Record channels::getData(QString id) const { return mData.value(id); }

QVariant channels::getData(QString id, QString key) const { return recordValue(mData, id, key); }

QList<Record> channels::getAll() const { return mData.values(); }
