#pragma once

#include "shared/model/record.h"

/// The server groups or channel groups of one connection, by group id. Nothing here is locked: all
/// calls come from the client's callbacks, one at a time.
class groups
{
public:
    groups() = default;

    /// Stores `record` under `id` in place of any record there.
    void setData(QString id, QHash<QString, QVariant> record);
    /// Sets one value of the record under `id`, which is created when there is none.
    void setData(QString id, QString key, QVariant value);
    /// A copy of the record under `id`, an empty one when there is none.
    QHash<QString, QVariant> getData(QString id) const;
    /// A copy of one value, an invalid one when the record or the key is missing.
    QVariant getData(QString id, QString key) const;

private:
    Q_DISABLE_COPY(groups)

    QHash<QString, QHash<QString, QVariant>> mData;
};
