#include "shared/model/server.h"

#include <QTest>

namespace {

Record named(const char *name) { return {{"name", QLatin1String(name)}}; }

Record withUid(const char *uid) { return {{"uid", QLatin1String(uid)}}; }

const QString uidKey = "uid";
const QString nameKey = "name";
const QString unknown = "unknown";
const QString id1 = "1";
const QString id2 = "2";
const QString uidA = "a";
const QString uidB = "b";

template<typename Table>
void keepsRecords(Table &table)
{
    QCOMPARE(table.getData(id1), Record());
    QCOMPARE(table.getData(id1, nameKey), QVariant());

    Record record = named("x");
    table.setData(id1, record);
    record.insert(nameKey, "changed");
    QCOMPARE(table.getData(id1), named("x"));
    QCOMPARE(table.getData(id1, nameKey), QVariant("x"));

    table.setData(id1, "more", 5);
    QCOMPARE(table.getData(id1).size(), 2);
    table.setData(id2, "more", 5);
    QCOMPARE(table.getData(id2), (Record{{"more", 5}}));
    table.setData(id1, named("y"));
    QCOMPARE(table.getData(id1), named("y"));
}

/// The rules of the uid index, on the two classes that have one.
template<typename Table, typename IdOf>
void keepsTheUidIndex(Table &table, IdOf idOf)
{
    QCOMPARE(idOf(uidA), unknown);
    table.setData(id1, withUid("a"));
    QCOMPARE(idOf(uidA), id1);
    table.setData(id1, "UID", uidB);
    QCOMPARE(idOf(uidB), unknown);
    table.setData(id1, uidKey, uidB);
    QCOMPARE(idOf(uidA), id1);
    QCOMPARE(idOf(uidB), id1);

    // The id stored last wins, and the removal of either takes the entry away.
    table.setData(id2, withUid("b"));
    QCOMPARE(idOf(uidB), id2);
    table.remove(id1);
    QCOMPARE(idOf(uidB), unknown);
    QCOMPARE(idOf(uidA), id1);
    QCOMPARE(table.getData(id1), Record());
    QCOMPARE(table.getData(id2), withUid("b"));

    // A record without a uid is listed under an empty one, which removing an unknown id drops.
    table.setData(id1, named("x"));
    QCOMPARE(idOf(QString()), id1);
    QCOMPARE(table.getData(id1), named("x"));
    table.remove("77");
    QCOMPARE(idOf(QString()), unknown);
    QCOMPARE(table.getAll().size(), 2);
    table.setData(id1, uidKey, 42);
    QCOMPARE(idOf("42"), id1);
}

}

class TestModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void channelsKeepRecords()
    {
        channels table;
        QCOMPARE(table.getAll(), QList<Record>());
        keepsRecords(table);
        QCOMPARE(table.getAll().size(), 2);
        QVERIFY(table.getAll().contains(named("y")));
    }

    void groupsKeepRecords()
    {
        groups table;
        keepsRecords(table);
    }

    void clientsKeepRecords()
    {
        clients table;
        keepsRecords(table);
        clients indexed;
        keepsTheUidIndex(indexed, [&](const QString &uid) { return indexed.getClientID(uid); });
    }

    void registryKeepsRecords()
    {
        server table;
        keepsRecords(table);
        server indexed;
        keepsTheUidIndex(indexed, [&](const QString &uid) { return indexed.getServerId(uid); });
    }

    void registryKeepsTables()
    {
        server registry;
        channels *table = registry.getChannelObj(id1);
        QCOMPARE(registry.getChannelObj(id1), table);
        QVERIFY(registry.getChannelObj(id2) != table);
        QVERIFY(registry.getServerGroupObj(id1) != registry.getChannelGroupObj(id1));
        QCOMPARE(registry.getData(id1), Record());
        QCOMPARE(registry.getAll(), QList<Record>());

        table->setData(id1, named("x"));
        registry.getClientsObj(id1)->setData(id1, withUid("a"));
        registry.getServerGroupObj(id1)->setData(id1, named("x"));
        registry.getChannelGroupObj(id1)->setData(id1, named("x"));
        registry.getChannelObj(id2)->setData(id1, named("kept"));
        registry.remove("3");
        QCOMPARE(table->getData(id1), named("x"));
        registry.remove(id1);
        QCOMPARE(registry.getChannelObj(id1)->getData(id1), Record());
        QCOMPARE(registry.getClientsObj(id1)->getClientID(uidA), unknown);
        QCOMPARE(registry.getServerGroupObj(id1)->getData(id1), Record());
        QCOMPARE(registry.getChannelGroupObj(id1)->getData(id1), Record());
        QCOMPARE(registry.getChannelObj(id2)->getData(id1), named("kept"));
    }
};

QTEST_GUILESS_MAIN(TestModel)
#include "tst_model.moc"
