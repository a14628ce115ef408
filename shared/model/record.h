#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QVariant>

/// The properties of one server, channel or client under the fixed keys below. Records are values:
/// tables keep copies and hand out copies.
using Record = QHash<QString, QVariant>;

/// Records by id. An id is decimal text without sign or leading zeros.
using RecordTable = QHash<QString, Record>;

/// Ids by the text of a record's "uid". A new uid doesn't remove the entry of the old one, so a
/// record's former uid still leads to it.
using UidIndex = QHash<QString, QString>;

/// An id as the text that the tables use. QString::number() would allocate twice.
QString idText(unsigned long id);
/// Writes the same into `text`, and reuses its memory if it isn't shared and has the
/// right length.
void setIdText(QString &text, unsigned long id);

/// Keys of server, channel and client records.
namespace recordKeys {
/// Unique identifier of a server or client, as the host reports it: QString.
inline QString uid() { return QStringLiteral("uid"); }
/// Name of a server or channel, nickname of a client: QString.
inline QString name() { return QStringLiteral("name"); }
/// Platform of a server or client: QString.
inline QString platform() { return QStringLiteral("platform"); }
/// Version of a server or client: QString.
inline QString version() { return QStringLiteral("version"); }
/// Connection handler id of a server: unsigned long.
inline QString conHandler() { return QStringLiteral("conHandler"); }
/// Id of a client: unsigned short.
inline QString clId() { return QStringLiteral("clId"); }
/// Id of a channel in decimal: QString.
inline QString id() { return QStringLiteral("id"); }
/// Whether a channel is the server's default channel: bool.
inline QString isDefault() { return QStringLiteral("default"); }
}

/// The text of the value under `key`, empty when there is none.
QString textOf(const Record &record, const QString &key);

// The rules that every table of records follows; the indexed tables add the uid index.

/// Stores `record` under `id` in place of any record there. If it shares its data with
/// the record that is there, this costs only a look-up.
void setRecord(RecordTable &data, const QString &id, const Record &record);
void setRecord(RecordTable &data, UidIndex &uids, const QString &id, const Record &record);

/// Sets one value of the record under `id`, which is created when there is none.
void setRecordValue(RecordTable &data, const QString &id, const QString &key,
                    const QVariant &value);
void setRecordValue(RecordTable &data, UidIndex &uids, const QString &id, const QString &key,
                    const QVariant &value);

/// A copy of the value under `key` in the record under `id`, an invalid one when there is none.
QVariant recordValue(const RecordTable &data, const QString &id, const QString &key);

/// Removes the record under `id` and the index entry of its uid, whatever id that entry holds.
void removeRecord(RecordTable &data, UidIndex &uids, const QString &id);

/// The id stored last for `uid`, "unknown" when there is none.
QString idOfUid(const UidIndex &uids, const QString &uid);
