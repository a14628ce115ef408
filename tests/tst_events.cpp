#include "plugins/staybolt/hostevents.h"
#include "plugins/staybolt/menus.h"
#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"
#include "standin/host.h"

#include <QtTest>

#include <cstdlib>

namespace {

constexpr uint64 connection = 0xfedcba9876543210;
const QString conText = "18364758544493064720";
constexpr uint64 farChannel = 0x100000001;

QStringList keys(const Record &record)
{
    QStringList list = record.keys();
    list.sort();
    return list;
}

QString nested(const Record &record, const char *key, const char *value = "name")
{
    return record.value(QLatin1String(key)).toHash().value(QLatin1String(value)).toString();
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
        one.status = STATUS_CONNECTION_ESTABLISHED;
        one.own = 7;
        one.channels = {{1, "Lobby"}, {farChannel, "Den"}};
        one.clients[7] = {7, "", "Robin", "", "", 1};
        one.clients[8] = {8, "", "Mallory", "", "", 1};
        one.clients[9] = {9, "", "Eve", "", "", farChannel};
        mHost->servers.insert(connection, one);
        funcwrapper::instance()->setFunctions(mHost->functions());
    }

    void cleanup()
    {
        dropServer(connection);
        QCOMPARE(mHost->complaints(), QStringList());
        QVERIFY(mHost->requests.isEmpty());
        mHost.reset();
    }

    void loadsAServer()
    {
        loadServer(connection);
        QCOMPARE(mHost->callCount, 2 + 4 + (1 + 2 * 4) + (1 + 2 * 2));
        QCOMPARE(server::instance()->getData(conText, "name").toString(), "Northgate");
        QCOMPARE(server::instance()->getChannelObj(conText)->getAll().size(), 2);
        QCOMPARE(server::instance()->getClientsObj(conText)->getAll().size(), 2);
        QVERIFY(server::instance()->getClientsObj(conText)->getData("9").isEmpty());
        QVERIFY(!server::instance()->getChannelObj(conText)->getData("4294967297").isEmpty());
        dropServer(connection);
        QVERIFY(server::instance()->getAll().isEmpty());
        QVERIFY(server::instance()->getClientsObj(conText)->getData("7").isEmpty());
    }

    void refreshesStoredRecords()
    {
        refreshChannels(connection);
        QCOMPARE(server::instance()->getData(conText), Record());
        mHost->servers[connection].channels = {{1, "Hall"}};
        refreshChannels(connection);
        QCOMPARE(server::instance()->getChannelObj(conText)->getData("1", "name"), "Hall");
        QCOMPARE(server::instance()->getChannelObj(conText)->getData("4294967297", "name"), "Den");

        refreshClient(connection, 99);
        QCOMPARE(server::instance()->getClientsObj(conText)->getClientID("Unknown"), "99");
    }

    void buildsMoveRecords()
    {
        EventRecords records = moveRecords(connection, 7, 1, 2);
        QCOMPARE(keys(records.channel), (QStringList{"dest", "source"}));
        QCOMPARE(records.channel["dest"], QVariant(Record()));
        QCOMPARE(records.server, Record());

        loadServer(connection);
        records = moveRecords(connection, 7, 1, farChannel);
        QCOMPARE(records.server, server::instance()->getData(conText));
        QCOMPARE(nested(records.channel, "source"), "Lobby");
        QCOMPARE(nested(records.channel, "dest", "id"), "4294967297");
        QCOMPARE(keys(records.client), QStringList{"own"});
        QCOMPARE(nested(records.client, "own"), "Robin");
    }

    void buildsChoiceRecords()
    {
        loadServer(connection);
        EventRecords records = choiceRecords(connection, 5);
        QCOMPARE(records.server.take("cmd"), QVariant(5));
        QCOMPARE(records.server, server::instance()->getData(conText));
        QCOMPARE(keys(records.channel), QStringList{"src"});
        QCOMPARE(nested(records.channel, "src"), "Lobby");
        QCOMPARE(keys(records.client), QStringList{"executor"});
        QCOMPARE(nested(records.client, "executor"), "Robin");

        records = choiceRecords(connection, {}, PLUGIN_MENU_TYPE_GLOBAL, 1);
        QCOMPARE(records.channel.size() + records.client.size(), 2);
        QVERIFY(records.server.contains("cmd"));
        records = choiceRecords(connection, {}, PLUGIN_MENU_TYPE_CHANNEL, farChannel);
        QCOMPARE(nested(records.channel, "dest"), "Den");
        QCOMPARE(records.client.size(), 1);
        records = choiceRecords(connection, {}, PLUGIN_MENU_TYPE_CLIENT, 8);
        QCOMPARE(nested(records.client, "affected"), "Mallory");
        QCOMPARE(records.channel.size(), 1);
        // The selected id is not cut to the width of a client id.
        records = choiceRecords(connection, {}, PLUGIN_MENU_TYPE_CLIENT, 0x10008);
        QCOMPARE(records.client["affected"], QVariant(Record()));
    }

    void survivesADropFromInside()
    {
        loadServer(connection);
        // The client tells of the disconnection while it is asked for a list.
        TS3Functions functions = mHost->functions();
        static decltype(functions.getChannelVariableAsString) original;
        original = functions.getChannelVariableAsString;
        functions.getChannelVariableAsString = [](uint64 handler, uint64 id, size_t property,
                                                  char **value) {
            dropServer(handler);
            return original(handler, id, property, value);
        };
        funcwrapper::instance()->setFunctions(functions);
        refreshChannels(connection);
        QCOMPARE(server::instance()->getChannelObj(conText)->getAll().size(), 2);
    }

    void takesTheLargestServers()
    {
        Server &one = mHost->servers[connection];
        mHost->keepsCalls = false;
        one.channels.clear();
        for (uint64 id = 1; id <= 100000; ++id)
            one.channels.append({id, "channel"});
        for (anyID id = 1; id <= 60000; ++id)
            one.clients[id] = {id, QByteArray::number(id), "client", "", "", 1};
        one.own = 60000;
        one.clients[60000].name = QByteArray(1 << 20, 'n');
        loadServer(connection);
        QCOMPARE(server::instance()->getChannelObj(conText)->getAll().size(), 100000);
        QCOMPARE(server::instance()->getClientsObj(conText)->getAll().size(), 60000);
        const EventRecords records = moveRecords(connection, 60000, 100000, 1);
        QCOMPARE(nested(records.client, "own").size(), 1 << 20);
        QCOMPARE(nested(records.channel, "source", "id"), QString("100000"));
    }

    void buildsMenus()
    {
        const QList<Record> entries{entry("client", QString(200, QLatin1Char('x')), 1),
                                    entry("global", "Öffnen", 2), entry("channel", "Same", 3),
                                    entry("channel", "Same", 3),
                                    entry("channel", QString("€").repeated(43), {})};
        PluginMenuItem **items = createMenus(entries);
        const auto check = [&](int i, PluginMenuType type, int id, const QByteArray &text) {
            QCOMPARE(items[i]->type, type);
            QCOMPARE(items[i]->id, id);
            QCOMPARE(QByteArray(items[i]->text), text);
            QCOMPARE(items[i]->icon[0], '\0');
        };
        check(0, PLUGIN_MENU_TYPE_GLOBAL, 0, "open Configuration");
        check(1, PLUGIN_MENU_TYPE_CLIENT, 1, QByteArray(127, 'x'));
        check(2, PLUGIN_MENU_TYPE_GLOBAL, 2,
              "\xc3\x96"
              "ffnen");
        check(3, PLUGIN_MENU_TYPE_CHANNEL, 3, "Same");
        check(4, PLUGIN_MENU_TYPE_CHANNEL, 3, "Same");
        check(5, PLUGIN_MENU_TYPE_CHANNEL, 5, QByteArray("\xe2\x82\xac").repeated(43).left(127));
        QVERIFY(!items[6]);
        for (int i = 0; i < 6; ++i)
            free(items[i]);
        free(items);

#ifdef QT_NO_DEBUG // elsewhere such a list ends in an assertion
        items = createMenus({entry("Channel", "x", {}), entry("client", "y", {})});
        QCOMPARE(items[1]->text, "y");
        QVERIFY(!items[2]);
        for (int i : {0, 1})
            free(items[i]);
        free(items);
#endif
        QCOMPARE(menuCommand(entries, 1), QVariant(1));
        QCOMPARE(menuCommand(entries, 3), QVariant(3));
        QVERIFY(!menuCommand(entries, 5).isValid());
        for (int id : {-1, 0, 6, std::numeric_limits<int>::min()})
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
