#pragma once

#include "shared/model/record.h"

/// The channels of one connection, by channel id. Nothing here is locked: all calls come from the
/// client's callbacks, one at a time.
class channels
{
public:
    channels() = default;

    /// Stores `record` under `id` in place of any record there.
    void setData(QString id, QHash<QString, QVariant> record);
    /// Sets one value of the record under `id`, which is created when there is none.
    void setData(QString id, QString key, QVariant value);
    /// A copy of the record under `id`, an empty one when there is none.
    QHash<QString, QVariant> getData(QString id) const;
    /// A copy of one value, an invalid one when the record or the key is missing.
    QVariant getData(QString id, QString key) const;
    /// Copies of all records, in no particular order.
    QList<QHash<QString, QVariant>> getAll() const;

    /// All records by id. Let go of it before the next record is stored, or the whole table is
    /// copied.
    QHash<QString, QHash<QString, QVariant>> records() const { return mData; }

private:
    Q_DISABLE_COPY(channels)

    QHash<QString, QHash<QString, QVariant>> mData;
};
