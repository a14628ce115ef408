#pragma once

#include "shared/model/record.h"

/// The server groups or channel groups of one connection, by group id.
class groups
{
public:
    groups() = default;

    /// Stores `record` under `id` in place of any record there.
    void setData(QString id, Record record);
    /// Sets one value of the record under `id`, which is created when there is none.
    void setData(QString id, QString key, QVariant value);
    /// A copy of the record under `id`, an empty one when there is none.
    Record getData(QString id) const;
    /// A copy of one value, an invalid one when the record or the key is missing.
    QVariant getData(QString id, QString key) const;

private:
    Q_DISABLE_COPY(groups)

    RecordTable mData;
};
