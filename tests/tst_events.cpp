#include "plugins/staybolt/eventrecords.h"
#include "plugins/staybolt/menus.h"
#include "plugins/staybolt/modelupdate.h"
#include "plugins/staybolt/staybolt.h"
#include "shared/settings/configuration.h"
#include "tests/one_server.h"

#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>

using namespace standin;

namespace {

/// Frees a menu and returns its items, each as "TYPE ID TEXT".
QByteArrayList listed(PluginMenuItem **items)
{
    QByteArrayList lines;
    for (PluginMenuItem **item = items; *item; ++item) {
        lines.append(QByteArray::number((*item)->type) + ' ' + QByteArray::number((*item)->id) + ' '
                     + QByteArray((*item)->text));
        free(*item);
    }
    free(items);
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
    void init() { mHost.reset(new OneServerHost); }

    void cleanup()
    {
        dropServer(connection);
        QVERIFY(server::instance()->getAll().isEmpty());
        QCOMPARE(mHost->complaints(), QStringList());
        QCOMPARE(mHost->takeRequests(), QStringList());
        mHost.reset();
    }

    void buildsRecords()
    {
        loadServer(connection);
        Record one = server::instance()->getData("18364758544493064720");
        QCOMPARE(clientOf(mallory)["name"], QVariant("Mällory"));
        EventRecords records = moveRecords(connection, robin, lobby, den);
        QCOMPARE(records.server, one);
        QCOMPARE(records.channel, (Record{{"source", channelOf(lobby)}, {"dest", channelOf(den)}}));
        QCOMPARE(records.client, (Record{{"own", clientOf(robin)}}));

        one.insert("cmd", "x");
        const auto choose = [&](PluginMenuType type, uint64 selected, Record channel,
                                Record client) {
            channel.insert("src", channelOf(lobby));
            client.insert("executor", clientOf(robin));
            records = choiceRecords(connection, "x", type, selected);
            QCOMPARE(records.server, one);
            QCOMPARE(records.channel, channel);
            QCOMPARE(records.client, client);
        };
        choose(PLUGIN_MENU_TYPE_GLOBAL, mallory, {}, {});
        choose(PLUGIN_MENU_TYPE_CHANNEL, den, {{"dest", channelOf(den)}}, {});
        choose(PLUGIN_MENU_TYPE_CLIENT, mallory, {}, {{"affected", clientOf(mallory)}});
        // Not truncated to the 16 bits of a client's id.
        choose(PLUGIN_MENU_TYPE_CLIENT, 0x10000 + mallory, {}, {{"affected", Record()}});
    }

    void takesNoMoreOfARecordThanItShould()
    {
        const QTemporaryDir folder;
        mHost->configPath = folder.path().toUtf8();
        configuration::instance()->init("Events");
        configuration::instance()->set("staybolt.sendNotify", 1);
        configuration::instance()->set("module.staybolt.idleDock", true);
        configuration::instance()->set("module.idleDock.srv/uid+€=.target", 7);
        const Record server{{"uid", "srv/uid+€="}, {"conHandler", QVariant::fromValue(connection)}};
        const auto in = [](const QVariant &id) { return Record{{"dest", Record{{"id", id}}}}; };
        // The own id is truncated to 16 bits, an idleDock channel to 32.
        const Record people{{"own", Record{{"clId", 0x10000U + robin}}},
                            {"executor", Record{{"clId", mallory}}}};
        staybolt module;
        module.parseEvent(moduleEvents(3), server, in(QString::number(den)), {});
        module.parseEvent(moduleEvents(4), server, in("4294967303"), people);
        module.parseEvent(moduleEvents(4), server, in(5), people);
        const QString here = " on \"Nörd\" (18364758544493064720)";
        QCOMPARE(mHost->takeRequests(),
                 QStringList(
                     {"move you (40007) to \"Den\" (12884901889)" + here,
                      "tell Mällory (40008)" + here + ": \"This operation is not permitted!\""}));
    }

    void buildsMenus()
    {
        const QList<Record> entries{entry("client", QString(200, QLatin1Char('x')), "a"),
                                    entry("global", "Öffnen", "b"), entry("channel", "Same", "c"),
                                    entry("channel", "Same", "c"),
                                    entry("channel", QString("€").repeated(43), {})};
        const QByteArray euros = QByteArray("€").repeated(43).left(127);
        QCOMPARE(listed(createMenus(entries)),
                 (QByteArrayList{"0 0 open Configuration", "2 1 " + QByteArray(127, 'x'),
                                 "0 2 Öffnen", "1 3 Same", "1 3 Same", "1 5 " + euros}));
#ifdef QT_NO_DEBUG // such a list fails an assertion in a debug build
        QCOMPARE(listed(createMenus({entry("Channel", "x", {}), entry("client", "y", {})})),
                 (QByteArrayList{"0 0 open Configuration", "2 2 y"}));
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
        const QByteArrayList expected{"stay", QByteArray(127, 'y'), QByteArray(127, 'k'), ""};
        QByteArrayList came;
        for (PluginHotkey **hotkey = hotkeys; *hotkey; ++hotkey) {
            came << (*hotkey)->keyword << (*hotkey)->description;
            free(*hotkey);
        }
        free(hotkeys);
        QCOMPARE(came, expected);
    }

private:
    QScopedPointer<OneServerHost> mHost;
};

QTEST_GUILESS_MAIN(TestEvents)
#include "tst_events.moc"
