#include "shared/model/record.h"

#include <algorithm>
#include <iterator>
#include <limits>

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
    QChar digits[std::numeric_limits<unsigned long>::digits10 + 1];
    QChar *const end = std::end(digits);
    QChar *first = end;
    do {
        *--first = QLatin1Char(static_cast<char>('0' + id % 10));
        id /= 10;
    } while (id != 0);
    const int size = static_cast<int>(end - first);
    if (text.size() == size && text.isDetached())
        std::copy(first, end, text.data());
    else
        text = QString(first, size);
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
