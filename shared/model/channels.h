#pragma once

#include "shared/model/record.h"

/// The channels of one connection, by channel id.
class channels
{
public:
    channels() = default;

    /// Stores `record` under `id` in place of any record there.
    void setData(QString id, Record record);
    /// Sets one value of the record under `id`, which is created when there is none.
    void setData(QString id, QString key, QVariant value);
    /// A copy of the record under `id`, an empty one when there is none.
    Record getData(QString id) const;
    /// A copy of one value, an invalid one when the record or the key is missing.
    QVariant getData(QString id, QString key) const;
    /// Copies of all records, in no particular order.
    QList<Record> getAll() const;

    /// All records by id. Release the result before you store the next record; otherwise storing
    /// copies the whole table.
    RecordTable records() const { return mData; }

private:
    Q_DISABLE_COPY(channels)

    RecordTable mData;
};
