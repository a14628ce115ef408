#include "plugins/staybolt/modelupdate.h"
#include "tests/one_server.h"

#include <QTest>

using Change = std::function<void(standin::Server &server)>;
Q_DECLARE_METATYPE(Change)

/// Reading again updates what has changed and keeps the rest.
class TestRefresh : public QObject
{
    Q_OBJECT

    QScopedPointer<OneServerHost> mHost;

    standin::Server &host() { return mHost->server(); }
    static clients *table() { return server::instance()->getClientsObj(idText(connection)); }

private Q_SLOTS:
    void init()
    {
        mHost.reset(new OneServerHost);
        host().clients[robin].platform = "Lin\xffx"; // not quite UTF-8
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
                s.clients[mallory].name = before;
                refreshClient(connection, mallory);
                s.clients[mallory].name = after;
            };
        };
        row("nothing", "Mällory", "3.1", [](auto &) {});
        row("another letter", "Mallory", "3.1",
            [](auto &s) { s.clients[mallory].name = "Mallory"; });
        row("a letter less", "Mällor", "3.1", [](auto &s) { s.clients[mallory].name.chop(1); });
        row("as many bytes", "Mallôry", "3.1",
            [](auto &s) { s.clients[mallory].name = "Mallôry"; });
        row("its bytes were the letters before", "ï", "3.1", renamed("Ã¯", "ï"));
        row("empty", "", "3.1", [](auto &s) { s.clients[mallory].name.clear(); });
        row("no longer empty", "x", "3.1", renamed("", "x"));
        row("the last text", "Mällory", "4", [](auto &s) { s.clients[mallory].version = "4"; });
        row("gone", "Unknown", "Unknown", [](auto &s) { s.clients.remove(mallory); });
        // Records that somebody else has changed can't be reused.
        row("other keys", "Mällory", "3.1",
            [](auto &) { table()->setData(idText(mallory), "more", 1); });
        row("other keys, as many", "Mällory", "3.1", [](auto &) {
            Record record = clientOf(mallory);
            record.remove("name");
            record.insert("Name", "Mällory");
            table()->setData(idText(mallory), record);
        });
        row("other types", "Mällory", "3.1", [](auto &) {
            table()->setData(idText(mallory), "clId", mallory);
            table()->setData(idText(mallory), "name", QByteArray("Mällory"));
        });
    }

    void takesOverWhatChanged()
    {
        QFETCH(Change, change);
        QFETCH(QString, name);
        QFETCH(QString, version);
        change(host());
        refreshChannelClients(connection, lobby);
        refreshClient(connection, mallory);
        const Record record = clientOf(mallory);
        QCOMPARE(record.size(), 5);
        QCOMPARE(record["name"].toString(), name);
        QCOMPARE(record["name"].userType(), int(QMetaType::QString));
        QCOMPARE(record["version"].toString(), version);
        QCOMPARE(record["clId"].userType(), int(QMetaType::UShort));
        QCOMPARE(record, funcwrapper::instance()->readClient(connection, mallory));
        QCOMPARE(clientOf(robin)["name"].toString(), QString("Rob€n"));
    }

    void takesOverChannels()
    {
        host().channels[lobby].isDefault = 0;
        host().channels[den].name = "";
        host().channels.insert(1UL << 40, {1UL << 40, "Den", {}, 1});
        refreshChannels(connection);
        QCOMPARE(channelOf(lobby),
                 (Record{{"id", "8589934593"}, {"name", "Löbby 🐦"}, {"default", false}}));
        QCOMPARE(channelOf(den), (Record{{"id", "12884901889"}, {"name", ""}, {"default", false}}));
        QCOMPARE(channelOf(1UL << 40),
                 (Record{{"id", "1099511627776"}, {"name", "Den"}, {"default", true}}));
    }

    void leavesTheRestShared()
    {
        const Record unchangedClient = clientOf(robin);
        const Record unchangedChannel = channelOf(lobby);
        host().clients[mallory].name = "Mallory";
        host().channels[den].name = "Cave";
        refreshChannelClients(connection, lobby);
        refreshChannels(connection);
        QVERIFY(clientOf(robin).isSharedWith(unchangedClient));
        QVERIFY(channelOf(lobby).isSharedWith(unchangedChannel));
        QCOMPARE(clientOf(mallory)["name"].toString(), QString("Mallory"));
        QCOMPARE(channelOf(den)["name"].toString(), QString("Cave"));
        // A copy that was handed out stays as it was.
        const Record malice = clientOf(mallory);
        host().clients[mallory].name = "Malice";
        refreshClient(connection, mallory);
        QCOMPARE(malice["name"].toString(), QString("Mallory"));
    }

    void entersEveryRecordInOrder()
    {
        // Two clients swap their identifiers, and a new one arrives with the identifier of another.
        std::swap(host().clients[robin].uid, host().clients[mallory].uid);
        refreshChannelClients(connection, lobby);
        QCOMPARE(table()->getClientID("röbin="), QString("40008"));
        QCOMPARE(table()->getClientID("mällory="), QString("40007"));
        host().clients[50000] = {50000, "mällory=", "Eve", "Linux", "3.1", lobby};
        refreshChannelClients(connection, lobby);
        QCOMPARE(table()->getClientID("mällory="), QString("50000"));
        // Unchanged, but it was the last one read.
        refreshClient(connection, robin);
        QCOMPARE(table()->getClientID("mällory="), QString("40007"));
    }
};

QTEST_GUILESS_MAIN(TestRefresh)
#include "tst_refresh.moc"
