#include "plugins/staybolt/modelupdate.h"
#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"
#include "tests/host_table.h"

#include <QtTest>

using Change = std::function<void(standin::Server &server)>;
Q_DECLARE_METATYPE(Change)

namespace {

constexpr uint64 connection = 12;
const QString server12 = "12";

}

/// What is read again takes over what has changed, and leaves the rest as it is.
class TestRefresh : public QObject
{
    Q_OBJECT

    QScopedPointer<standin::Host> mHost;

    standin::Server &host() { return mHost->servers[connection]; }
    static Record client(const char *id)
    {
        return server::instance()->getClientsObj(server12)->getData(id);
    }
    static Record channel(const char *id)
    {
        return server::instance()->getChannelObj(server12)->getData(id);
    }

private Q_SLOTS:
    void init()
    {
        mHost.reset(new standin::Host);
        mHost->accepts = true;
        standin::Server one;
        one.connection = connection;
        one.status = 4;
        one.own = 7;
        one.channels = {{1, {1, "Löbby 🐦", {}, 1}}, {2, {2, "Den", {}, 0}}};
        one.clients[7] = {7, "seven=", "Rob€n", "Lin\xffx", "3.1", 1}; // not quite UTF-8
        one.clients[8] = {8, "eight=", "Mällory", "Linux", "3.1", 1};
        mHost->servers.insert(connection, one);
        funcwrapper::instance()->setFunctions(tableOf(*mHost));
        loadServer(connection);
    }

    void cleanup()
    {
        dropServer(connection);
        QCOMPARE(mHost->complaints(), QStringList());
        mHost.reset();
    }

    void takesOverWhatChanged_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("version");
        const auto row = [](const char *title, const char *name, const char *version,
                            const Change &change) {
            QTest::newRow(title) << change << QString(name) << QString(version);
        };
        const auto renamed = [](const QByteArray &before, const QByteArray &after) {
            return [=](standin::Server &s) {
                s.clients[8].name = before;
                refreshClient(connection, 8);
                s.clients[8].name = after;
            };
        };
        row("nothing", "Mällory", "3.1", [](auto &) {});
        row("another letter", "Mallory", "3.1", [](auto &s) { s.clients[8].name = "Mallory"; });
        row("a letter more", "Mälloryy", "3.1", [](auto &s) { s.clients[8].name += 'y'; });
        row("a letter less", "Mällor", "3.1", [](auto &s) { s.clients[8].name.chop(1); });
        row("as many bytes", "Mallôry", "3.1", [](auto &s) { s.clients[8].name = "Mallôry"; });
        row("its bytes were the letters before", "ï", "3.1", renamed("Ã¯", "ï"));
        row("empty", "", "3.1", [](auto &s) { s.clients[8].name.clear(); });
        row("no longer empty", "x", "3.1", renamed("", "x"));
        row("the last text", "Mällory", "4", [](auto &s) { s.clients[8].version = "4"; });
        row("gone", "Unknown", "Unknown", [](auto &s) { s.clients.remove(8); });
        row("back", "Mällory", "3.1", [](auto &s) {
            const standin::Client one = s.clients.take(8);
            refreshClient(connection, 8);
            s.clients[8] = one;
        });
        // What somebody else has put there is of no use.
        row("other keys", "Mällory", "3.1", [](auto &) {
            clients *table = server::instance()->getClientsObj(server12);
            table->setData("8", "more", 1);
        });
        row("other keys, as many", "Mällory", "3.1", [](auto &) {
            Record record = client("8");
            record.remove("name");
            record.insert("Name", "Mällory");
            server::instance()->getClientsObj(server12)->setData("8", record);
        });
        row("other types", "Mällory", "3.1", [](auto &) {
            clients *table = server::instance()->getClientsObj(server12);
            table->setData("8", "clId", 8);
            table->setData("8", "name", QByteArray("Mällory"));
        });
    }

    void takesOverWhatChanged()
    {
        QFETCH(Change, change);
        QFETCH(QString, name);
        QFETCH(QString, version);
        change(host());
        refreshChannelClients(connection, 1);
        refreshClient(connection, 8);
        const Record record = client("8");
        QCOMPARE(record.size(), 5);
        QCOMPARE(record["name"].toString(), name);
        QCOMPARE(record["name"].userType(), int(QMetaType::QString));
        QCOMPARE(record["version"].toString(), version);
        QCOMPARE(record["clId"].userType(), int(QMetaType::UShort));
        QCOMPARE(record, funcwrapper::instance()->readClient(connection, 8));
        QCOMPARE(client("7")["name"].toString(), QString("Rob€n"));
    }

    void takesOverChannels()
    {
        host().channels[1].isDefault = 0;
        host().channels[2].name = "";
        host().channels.insert(1UL << 40, {1UL << 40, "Den", {}, 1});
        refreshChannels(connection);
        QCOMPARE(channel("1"), (Record{{"id", "1"}, {"name", "Löbby 🐦"}, {"default", false}}));
        QCOMPARE(channel("2"), (Record{{"id", "2"}, {"name", ""}, {"default", false}}));
        QCOMPARE(channel("1099511627776"),
                 (Record{{"id", "1099511627776"}, {"name", "Den"}, {"default", true}}));
    }

    void leavesTheRestShared()
    {
        const Record robin = client("7");
        const Record lobby = channel("1");
        host().clients[8].name = "Mallory";
        host().channels[2].name = "Cave";
        refreshChannelClients(connection, 1);
        refreshChannels(connection);
        QVERIFY(client("7").isSharedWith(robin));
        QVERIFY(channel("1").isSharedWith(lobby));
        QCOMPARE(client("8")["name"].toString(), QString("Mallory"));
        QCOMPARE(channel("2")["name"].toString(), QString("Cave"));
        // A copy that was handed out stays as it was.
        const Record malice = client("8");
        host().clients[8].name = "Malice";
        refreshClient(connection, 8);
        QCOMPARE(malice["name"].toString(), QString("Mallory"));
    }

    void entersEveryRecordInOrder()
    {
        clients *table = server::instance()->getClientsObj(server12);
        // Two who swap their ids, and one who comes with the id of another.
        std::swap(host().clients[7].uid, host().clients[8].uid);
        refreshChannelClients(connection, 1);
        QCOMPARE(table->getClientID("seven="), QString("8"));
        QCOMPARE(table->getClientID("eight="), QString("7"));
        host().clients[9] = {9, "eight=", "Eve", "Linux", "3.1", 1};
        refreshChannelClients(connection, 1);
        QCOMPARE(table->getClientID("eight="), QString("9"));
        // Unchanged, and yet the last one read.
        refreshClient(connection, 7);
        QCOMPARE(table->getClientID("eight="), QString("7"));
    }

    void makesNoTableForNothing()
    {
        refreshChannelClients(99, 1);
        refreshChannels(99);
        QVERIFY(server::instance()->clientRecords("99").isEmpty());
        QCOMPARE(mHost->requests.size(), 0);
    }
};

QTEST_GUILESS_MAIN(TestRefresh)
#include "tst_refresh.moc"
