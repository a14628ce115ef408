#include "shared/model/groups.h"

void groups::setData(QString id, Record record) { setRecord(mData, id, record); }

void groups::setData(QString id, QString key, QVariant value)
{
    setRecordValue(mData, id, key, value);
}

Record groups::getData(QString id) const { return mData.value(id); }

QVariant groups::getData(QString id, QString key) const { return recordValue(mData, id, key); }
