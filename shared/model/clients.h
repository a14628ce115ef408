#pragma once

#include "shared/model/record.h"

/// The clients seen on one connection, by client id, with an index of their unique identifiers.
class clients
{
public:
    clients() = default;

    /// Stores `record` under `id` in place of any record there, and `id` under its "uid".
    void setData(QString id, Record record);
    /// Sets one value of the record under `id`, which is created when there is none. Setting
    /// "uid" also adds `id` to the index.
    void setData(QString id, QString key, QVariant value);
    /// A copy of the record under `id`, an empty one when there is none.
    Record getData(QString id) const;
    /// A copy of one value, an invalid one when the record or the key is missing.
    QVariant getData(QString id, QString key) const;
    /// Copies of all records, in no particular order.
    QList<Record> getAll() const;
    /// Removes the record under `id` and the index entry of its uid.
    void remove(QString id);
    /// The client id stored last for `uid`, "unknown" when there is none.
    QString getClientID(QString uid) const;

    /// All records by id. Release the result before you store the next record; otherwise storing
    /// copies the whole table.
    RecordTable records() const { return mData; }

private:
    Q_DISABLE_COPY(clients)

    RecordTable mData;
    UidIndex mUids;
};
