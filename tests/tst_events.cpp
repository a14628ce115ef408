#include "plugins/staybolt/eventrecords.h"
#include "plugins/staybolt/menus.h"
#include "plugins/staybolt/modelupdate.h"
#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"
#include "tests/host_table.h"

#include <QtTest>

#include <cstdlib>

using namespace standin;

using Build = std::function<EventRecords()>;
Q_DECLARE_METATYPE(Build)

namespace {

// No id is the same when it is cut to a smaller width.
constexpr uint64 connection = 0xfedcba9876543210;
const QString conText = "18364758544493064720";
constexpr uint64 lobby = 0x200000001;
constexpr uint64 den = 0x300000001;
constexpr anyID robin = 40007;
constexpr anyID mallory = 40008;
constexpr anyID eve = 40009;

clients *clientTable() { return server::instance()->getClientsObj(conText); }
channels *channelTable() { return server::instance()->getChannelObj(conText); }

/// The id in each record of a table and the name under that id.
template<typename Table>
QStringList held(const Table *table, const char *idKey)
{
    QStringList lines;
    for (const Record &record : table->getAll()) {
        const QString id = record.value(idKey).toString();
        lines.append(id + ' ' + table->getData(id, "name").toString());
    }
    lines.sort();
    return lines;
}

/// What the model holds of the connection.
QStringList model()
{
    return QStringList(server::instance()->getData(conText, "name").toString())
        + held(channelTable(), "id") + held(clientTable(), "clId");
}

const QStringList wholeModel{"Northgate", "12884901889 Den", "8589934593 Lobby", "40007 Robin",
                             "40008 Mallory"};

/// What the module is told.
QStringList told(const EventRecords &records)
{
    const Record &server = records.server;
    QStringList lines{server.value("name").toString() + ' '
                      + server.value("conHandler").toString()};
    if (server.contains("cmd"))
        lines.append("cmd " + server.value("cmd").toString());
    const auto add = [&](const Record &argument, const char *idKey) {
        QStringList some;
        for (auto one = argument.cbegin(); one != argument.cend(); ++one) {
            const Record record = one->toHash();
            some.append(one.key() + ' ' + record.value(idKey).toString() + ' '
                        + record.value("name").toString());
        }
        some.sort();
        lines += some;
    };
    add(records.channel, "id");
    add(records.client, "clId");
    return lines;
}

Record entry(const char *type, const QString &name, const QVariant &cmd)
{
    return {{"type", QLatin1String(type)}, {"name", name}, {"cmd", cmd}};
}

}

class TestEvents : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mHost.reset(new Host);
        mHost->accepts = true;
        Server one;
        one.connection = connection;
        one.uid = "uid=";
        one.name = "Northgate";
        one.status = 4;
        one.own = robin;
        one.channels = {{lobby, "Lobby"}, {den, "Den"}};
        one.clients[robin] = {robin, "", "Robin", "", "", lobby};
        one.clients[mallory] = {mallory, "", "Mallory", "", "", lobby};
        one.clients[eve] = {eve, "", "Eve", "", "", den};
        mHost->servers.insert(connection, one);
        funcwrapper::instance()->setFunctions(tableOf(*mHost));
    }

    void cleanup()
    {
        dropServer(connection);
        QCOMPARE(model(), QStringList{""});
        QVERIFY(server::instance()->getAll().isEmpty());
        QCOMPARE(mHost->complaints(), QStringList());
        QCOMPARE(mHost->takeRequests(), QStringList());
        mHost.reset();
    }

    void loadsAServer()
    {
        loadServer(connection);
        QCOMPARE(model(), wholeModel);
        // The own client and channel, the server's texts, and each list with its records.
        QCOMPARE(mHost->callCount, 2 + 4 + (1 + 2 * 4) + (1 + 2 * 2));
    }

    void refreshesStoredRecords()
    {
        refreshChannels(connection);
        mHost->servers[connection].channels = {{lobby, "Hall"}};
        refreshChannels(connection);
        QCOMPARE(model(), (QStringList{"", "12884901889 Den", "8589934593 Hall"}));

        refreshChannelClients(connection, lobby);
        refreshClient(connection, eve);
        refreshClient(connection, 99);
        QCOMPARE(model().mid(3),
                 (QStringList{"40007 Robin", "40008 Mallory", "40009 Eve", "99 Unknown"}));
        QCOMPARE(clientTable()->getClientID("Unknown"), "99");
    }

    void buildsRecords_data()
    {
        QTest::addColumn<Build>("build");
        QTest::addColumn<QStringList>("records");
        const QString server = "Northgate 18364758544493064720";
        const auto row = [](const char *name, const QStringList &records, Build build) {
            QTest::newRow(name) << build << records;
        };
        const auto choiceOn = [&](const char *name, int menu, uint64 selected,
                                  const QStringList &channels, const QStringList &clients) {
            row(name,
                QStringList{server, "cmd x"} + channels + QStringList{"src 8589934593 Lobby"}
                    + clients + QStringList{"executor 40007 Robin"},
                [=] { return choiceRecords(connection, "x", PluginMenuType(menu), selected); });
        };

        row("move", {server, "dest 12884901889 Den", "source 8589934593 Lobby", "own 40007 Robin"},
            [] { return moveRecords(connection, robin, lobby, den); });
        row("move out of and into the unknown", {server, "dest  ", "source  ", "own  "},
            [] { return moveRecords(connection, eve, 1, 0); });
        row("forced move",
            {server, "dest 8589934593 Lobby", "source 12884901889 Den", "executor 40008 Mallory",
             "own 40007 Robin"},
            [] { return forcedMoveRecords(connection, robin, den, lobby, mallory); });
        row("forced move by somebody unknown",
            {server, "dest 12884901889 Den", "source 8589934593 Lobby", "executor  ",
             "own 40007 Robin"},
            [] { return forcedMoveRecords(connection, robin, lobby, den, eve); });
        row("hotkey", {server, "cmd stay", "src 8589934593 Lobby", "executor 40007 Robin"},
            [] { return choiceRecords(connection, "stay"); });
        row("hotkey elsewhere", {" ", "cmd stay", "src  ", "executor  "},
            [] { return choiceRecords(12, "stay"); });
        choiceOn("global menu", 0, mallory, {}, {});
        choiceOn("channel menu", 1, den, {"dest 12884901889 Den"}, {});
        choiceOn("channel menu, unknown channel", 1, 1, {"dest  "}, {});
        choiceOn("client menu", 2, mallory, {}, {"affected 40008 Mallory"});
        choiceOn("client menu, beyond 16 bits", 2, 0x10000 + mallory, {}, {"affected  "});
    }

    void buildsRecords()
    {
        QFETCH(Build, build);
        QFETCH(QStringList, records);
        loadServer(connection);
        const EventRecords built = build();
        QCOMPARE(told(built), records);
        for (const Record &argument : {built.channel, built.client}) {
            for (const QVariant &record : argument)
                QCOMPARE(int(record.type()), int(QVariant::Hash));
        }
    }

    void takesTheLargestServers()
    {
        Server &one = mHost->servers[connection];
        one.channels.clear();
        for (uint64 id = 1; id <= 100000; ++id)
            one.channels.append({id, "channel"});
        for (anyID id = 1; id <= 60000; ++id)
            one.clients[id] = {id, QByteArray::number(id), "client", "", "", 1};
        one.own = 60000;
        one.clients[60000].name = QByteArray(1 << 20, 'n');
        loadServer(connection);
        QCOMPARE(channelTable()->getAll().size(), 100000);
        QCOMPARE(clientTable()->getAll().size(), 60000);
        QCOMPARE(told(moveRecords(connection, 60000, 100000, 1)),
                 (QStringList{"Northgate 18364758544493064720", "dest 1 channel",
                              "source 100000 channel", "own 60000 " + QString(1 << 20, 'n')}));
    }

    void buildsMenus()
    {
        const QList<Record> entries{entry("client", QString(200, QLatin1Char('x')), "a"),
                                    entry("global", "Öffnen", "b"), entry("channel", "Same", "c"),
                                    entry("channel", "Same", "c"),
                                    entry("channel", QString("€").repeated(43), {})};
        PluginMenuItem **items = createMenus(entries);
        const auto check = [&](int i, int type, int id, const QByteArray &text) {
            QCOMPARE(int(items[i]->type), type);
            QCOMPARE(items[i]->id, id);
            QCOMPARE(QByteArray(items[i]->text), text);
            QCOMPARE(items[i]->icon[0], '\0');
        };
        check(0, 0, 0, "open Configuration");
        check(1, 2, 1, QByteArray(127, 'x'));
        check(2, 0, 2,
              "\xc3\x96"
              "ffnen");
        check(3, 1, 3, "Same");
        check(4, 1, 3, "Same");
        check(5, 1, 5, QByteArray("\xe2\x82\xac").repeated(43).left(127));
        QVERIFY(!items[6]);
        for (int i = 0; i < 6; ++i)
            free(items[i]);
        free(items);

#ifdef QT_NO_DEBUG // elsewhere such a list ends in an assertion
        items = createMenus({entry("Channel", "x", {}), entry("client", "y", {})});
        check(1, 2, 2, "y");
        QVERIFY(!items[2]);
        for (int i : {0, 1})
            free(items[i]);
        free(items);
#endif
        QStringList commands;
        for (int id : {1, 2, 3, 4, 5})
            commands.append(menuCommand(entries, id).toString());
        QCOMPARE(commands, (QStringList{"a", "b", "c", "c", ""}));
        for (int id : {-1, 0, 5, 6, 0x101, 0x10001, std::numeric_limits<int>::min()})
            QVERIFY(!menuCommand(entries, id).isValid());
    }

    void buildsHotkeys()
    {
        PluginHotkey **hotkeys =
            createHotkeys({{{"keyword", "stay"}, {"name", QString(128, QLatin1Char('y'))}},
                           {{"keyword", QString(127, QLatin1Char('k'))}}});
        QCOMPARE(hotkeys[0]->keyword, "stay");
        QCOMPARE(QByteArray(hotkeys[0]->description), QByteArray(127, 'y'));
        QCOMPARE(QByteArray(hotkeys[1]->keyword), QByteArray(127, 'k'));
        QCOMPARE(hotkeys[1]->description, "");
        QVERIFY(!hotkeys[2]);
        free(hotkeys[0]);
        free(hotkeys[1]);
        free(hotkeys);
    }

private:
    QScopedPointer<Host> mHost;
};

QTEST_GUILESS_MAIN(TestEvents)
#include "tst_events.moc"
