#include "shared/model/record.h"

#include <charconv>
#include <limits>

QString idText(unsigned long id)
{
    char digits[std::numeric_limits<unsigned long>::digits10 + 1];
    const std::to_chars_result result = std::to_chars(std::begin(digits), std::end(digits), id);
    return QString::fromLatin1(digits, static_cast<int>(result.ptr - digits));
}

void setRecord(RecordTable &data, const QString &id, const Record &record)
{
    data.insert(id, record);
}

void setRecord(RecordTable &data, UidIndex &uids, const QString &id, const Record &record)
{
    setRecord(data, id, record);
    uids.insert(record.value(recordKeys::uid()).toString(), id);
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
        uids.insert(value.toString(), id);
}

QVariant recordValue(const RecordTable &data, const QString &id, const QString &key)
{
    return data.value(id).value(key);
}

void removeRecord(RecordTable &data, UidIndex &uids, const QString &id)
{
    uids.remove(recordValue(data, id, recordKeys::uid()).toString());
    data.remove(id);
}

QString idOfUid(const UidIndex &uids, const QString &uid)
{
    return uids.value(uid, QStringLiteral("unknown"));
}
