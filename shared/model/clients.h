#pragma once

#include "shared/model/record.h"

/// The clients seen on one connection, by client id, with an index of their unique identifiers.
/// Nothing here is locked: all calls come from the client's callbacks, one at a time.
class clients
{
public:
    clients() = default;

    /// Stores `record` under `id` in place of any record there, and `id` under its "uid".
    void setData(QString id, QHash<QString, QVariant> record);
    /// Sets one value of the record under `id`, which is created when there is none. The key "uid"
    /// enters `id` in the index as well.
    void setData(QString id, QString key, QVariant value);
    /// A copy of the record under `id`, an empty one when there is none.
    QHash<QString, QVariant> getData(QString id) const;
    /// A copy of one value, an invalid one when the record or the key is missing.
    QVariant getData(QString id, QString key) const;
    /// Copies of all records, in no particular order.
    QList<QHash<QString, QVariant>> getAll() const;
    /// Removes the record under `id` and the index entry of its uid.
    void remove(QString id);
    /// The client id stored last for `uid`, "unknown" when there is none.
    QString getClientID(QString uid) const;

    /// All records by id. Let go of it before the next record is stored, or the whole table is
    /// copied.
    QHash<QString, QHash<QString, QVariant>> records() const { return mData; }

private:
    Q_DISABLE_COPY(clients)

    QHash<QString, QHash<QString, QVariant>> mData;
    QHash<QString, QString> mUids;
};
