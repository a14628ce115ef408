#include "shared/model/record.h"

namespace {

void setUid(UidIndex &uids, const QString &uid, const QString &id)
{
    const auto known = uids.find(uid);
    if (known == uids.end())
        uids.insert(uid, id);
    else if (*known != id)
        *known = id;
}

}

QString idText(unsigned long id)
{
    QString text;
    setIdText(text, id);
    return text;
}

void setIdText(QString &text, unsigned long id)
{
    int size = 1;
    for (unsigned long rest = id / 10; rest != 0; rest /= 10)
        ++size;
    if (text.size() != size || !text.isDetached())
        text = QString(size, Qt::Uninitialized); // resize() would take room to grow
    for (QChar *digit = text.data() + size; size > 0; --size, id /= 10)
        *--digit = QLatin1Char(static_cast<char>('0' + id % 10));
}

QString textOf(const Record &record, const QString &key)
{
    const auto value = record.constFind(key);
    return value == record.constEnd() ? QString() : value->toString();
}

void setRecord(RecordTable &data, const QString &id, const Record &record)
{
    const auto known = data.find(id);
    if (known == data.end())
        data.insert(id, record);
    else if (!known->isSharedWith(record))
        *known = record;
}

void setRecord(RecordTable &data, UidIndex &uids, const QString &id, const Record &record)
{
    setRecord(data, id, record);
    setUid(uids, textOf(record, recordKeys::uid()), id);
}

void setRecordValue(RecordTable &data, const QString &id, const QString &key, const QVariant &value)
{
    data[id].insert(key, value);
}

void setRecordValue(RecordTable &data, UidIndex &uids, const QString &id, const QString &key,
                    const QVariant &value)
{
    setRecordValue(data, id, key, value);
    if (key == recordKeys::uid())
        setUid(uids, value.toString(), id);
}

QVariant recordValue(const RecordTable &data, const QString &id, const QString &key)
{
    return data.value(id).value(key);
}

void removeRecord(RecordTable &data, UidIndex &uids, const QString &id)
{
    uids.remove(textOf(data.value(id), recordKeys::uid()));
    data.remove(id);
}

QString idOfUid(const UidIndex &uids, const QString &uid)
{
    return uids.value(uid, QStringLiteral("unknown"));
}
