#include "plugins/staybolt/staybolt.h"
#include "shared/host/funcwrapper.h"
#include "shared/settings/configuration.h"
#include "tests/host_table.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

using namespace standin;

namespace {

constexpr uint64 connection = 0x8000000000000001;
const QString here = "\"Northgate\" (9223372036854775809)";

// The numbers that callers send.
constexpr auto ownMoveEvent = moduleEvents(3);
constexpr auto forcedMoveEvent = moduleEvents(4);

Record channelRecord(const QVariant &id) { return {{"id", id}}; }

Record clientRecord(const QVariant &id) { return {{"clId", id}}; }

/// A settings file and the records of a forced move; as it stands it is undone in silence.
struct Case
{
    QVariantHash settings;
    Record server{{"uid", "s/v+="}, {"conHandler", QVariant::fromValue(connection)}};
    Record remembered = channelRecord("3");
    Record dest = channelRecord("5");
    Record own = clientRecord(QVariant::fromValue(anyID(7)));
    Record mover = clientRecord(QVariant::fromValue(anyID(8)));
};

}

Q_DECLARE_METATYPE(Case)

class TestDecision : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        mHost.accepts = true;
        mHost.configPath = mFolder.path().toUtf8();
        Server server;
        server.connection = connection;
        server.name = "Northgate";
        server.status = 4;
        server.own = 7;
        server.channels = {{3, "Den"}, {5, "Dungeon"}, {4294967301, "Far"}};
        server.clients = {{7, {7, "", "Robin"}}, {8, {8, "", "Mallory"}}};
        mHost.servers.insert(connection, server);
        funcwrapper::instance()->setFunctions(tableOf(mHost));
        configuration::instance()->init("Decision");
    }

    void init()
    {
        QSettings(mFolder.filePath("Decision.ini"), QSettings::IniFormat).clear();
        mHost.takeRequests();
        mHost.servers[connection].clients[7].channel = 5;
        mModule.reset(new staybolt);
    }

    void cleanup() { QCOMPARE(mHost.complaints(), QStringList()); }

    void answersForcedMoves_data()
    {
        QTest::addColumn<Case>("one");
        QTest::addColumn<QStringList>("requests");

        const QString move = "move you (7) to \"Den\" (3) on " + here;
        const QString notice = "tell Mallory (8) on " + here + ": ";
        const QString standard = notice + "\"This operation is not permitted!\"";
        const QString refused = "log at level 2 for " + here + ": ";
        const auto row = [](const char *name, const QStringList &requests,
                            const std::function<void(Case &)> &change) {
            Case one;
            change(one);
            QTest::newRow(name) << one << requests;
        };
        const auto rowWith = [&](const char *name, const QStringList &requests,
                                 const QVariantHash &settings) {
            row(name, requests, [&](Case &one) { one.settings = settings; });
        };
        const QString notify = "staybolt.sendNotify";
        const QString custom = "staybolt.customNotify";
        const QString permit = "module.staybolt.idleDock";
        const QString target = "module.idleDock.s/v+=.target";

        rowWith("no settings", {move}, {});
        rowWith("server excluded", {}, {{"staybolt.s/v+=", 1}});
        rowWith("server excluded, whatever the value", {}, {{"staybolt.s/v+=", false}});
        rowWith("other server excluded", {move}, {{"staybolt.s/v+", 1}});
        row("server without a uid, excluded", {}, [](Case &one) {
            one.server.remove("uid");
            one.settings.insert("staybolt.", 1);
        });

        rowWith("notice", {move, standard}, {{notify, 1}});
        rowWith("no notice: 0", {move}, {{notify, "0"}});
        rowWith("no notice: False", {move}, {{notify, "False"}});
        rowWith("custom notice", {move, notice + "\"Nö\""}, {{notify, 1}, {custom, "Nö"}});
        rowWith("empty custom notice", {move, notice + "\"\""}, {{notify, 1}, {custom, QString()}});
        rowWith("custom notice switched off", {move}, {{notify, 0}, {custom, "x"}});
        row("mover's own msg is not sent", {move, standard}, [&](Case &one) {
            one.settings.insert(notify, 1);
            one.mover.insert("msg", "forged");
        });
        row("unknown mover",
            {move, "tell client (0) on " + here + ": \"This operation is not permitted!\"",
             refused + "\"unknown client\""},
            [&](Case &one) {
                one.settings.insert(notify, 1);
                one.mover.clear();
            });

        rowWith("into the idleDock channel", {}, {{permit, true}, {target, 5}});
        rowWith("past the idleDock channel", {move}, {{permit, true}, {target, 6}});
        rowWith("into the idleDock channel, not permitted", {move}, {{permit, 0}, {target, 5}});
        rowWith("dialog's own switch", {move}, {{"staybolt.permitIdleDock", 1}, {target, 5}});
        rowWith("no target, known channel", {move}, {{permit, true}});
        row("no target, unknown channel", {}, [&](Case &one) {
            one.settings.insert(permit, true);
            one.dest.clear();
        });
        row("idleDock compares 32 bits", {}, [&](Case &one) {
            one.settings = {{permit, true}, {target, 5}};
            one.dest = channelRecord("4294967301");
        });

        row("nothing remembered",
            {"move you (7) to channel (0) on " + here, refused + "\"unknown channel\""},
            [](Case &one) { one.remembered.clear(); });
        row("remembered id beyond 32 bits", {"move you (7) to \"Far\" (4294967301) on " + here},
            [](Case &one) { one.remembered = channelRecord("4294967301"); });
        row("own id is cut to 16 bits", {move},
            [](Case &one) { one.own = clientRecord(0x10007U); });
        row("unknown own client, whose mover is told all the same",
            {"move client (0) to \"Den\" (3) on " + here, refused + "\"unknown client\"", standard},
            [&](Case &one) {
                one.settings.insert(notify, 1);
                one.own.clear();
            });
        row("unknown server",
            {"move client (7) to channel (3) on connection (0)",
             "log at level 2 for connection (0): \"unknown connection\""},
            [](Case &one) { one.server.clear(); });
    }

    void answersForcedMoves()
    {
        QFETCH(Case, one);
        QFETCH(QStringList, requests);

        ownMove(one.remembered);
        for (auto setting = one.settings.cbegin(); setting != one.settings.cend(); ++setting)
            configuration::instance()->set(setting.key(), setting.value());
        forcedMove(one);
        QCOMPARE(mHost.takeRequests(), requests);
    }

    void remembersOwnMovesOnly()
    {
        Case one;
        ownMove(channelRecord("3"));
        Record excluded = one.server;
        excluded.insert("uid", "off");
        configuration::instance()->set("staybolt.off", 1);
        ownMove(channelRecord("5"), excluded);
        for (int event : {0, 1, 2, 5, 13, 14}) {
            mModule->parseEvent(moduleEvents(event), one.server, {{"dest", channelRecord("5")}},
                                {});
        }
        QCOMPARE(mHost.takeRequests(), QStringList());

        // A move that is let through is not a choice of the user's.
        configuration::instance()->set("module.staybolt.idleDock", true);
        configuration::instance()->set("module.idleDock.s/v+=.target", 5);
        forcedMove(one);
        one.dest = channelRecord("6");
        forcedMove(one);
        QCOMPARE(mHost.takeRequests(), QStringList{"move you (7) to \"Den\" (3) on " + here});

        // An own move into a channel that the model does not know is remembered as none.
        ownMove({});
        forcedMove(one);
        QCOMPARE(mHost.takeRequests(),
                 (QStringList{"move you (7) to channel (0) on " + here,
                              "log at level 2 for " + here + ": \"unknown channel\""}));
    }

    void isReadyForAnAnswerFromInside()
    {
        configuration::instance()->set("staybolt.sendNotify", 1);
        mHost.answersInside = true;
        mHost.moved = [this](uint64, anyID, uint64, uint64) { ownMove(channelRecord("5")); };
        ownMove(channelRecord("3"));
        forcedMove({});
        mHost.moved = nullptr;
        forcedMove({});
        const QString message =
            "tell Mallory (8) on " + here + ": \"This operation is not permitted!\"";
        QCOMPARE(mHost.takeRequests(),
                 (QStringList{"move you (7) to \"Den\" (3) on " + here, message,
                              "move you (7) to \"Dungeon\" (5) on " + here, message}));
    }

    void hasTheSlotThatCallersName()
    {
        const QMetaObject &meta = staybolt::staticMetaObject;
        QCOMPARE(meta.className(), "staybolt");
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        const QMetaMethod slot = meta.method(meta.methodOffset());
        QCOMPARE(slot.methodSignature(),
                 QByteArray("parseEvent(moduleEvents,QVariantHash,QVariantHash,QVariantHash)"));
        QCOMPARE(slot.parameterNames(),
                 (QList<QByteArray>{"event", "server", "channel", "client"}));
    }

private:
    void ownMove(const Record &dest, const Record &server = Case().server)
    {
        mModule->parseEvent(ownMoveEvent, server, {{"dest", dest}}, {});
    }

    void forcedMove(const Case &one)
    {
        mModule->parseEvent(forcedMoveEvent, one.server,
                            {{"source", one.remembered}, {"dest", one.dest}},
                            {{"own", one.own}, {"executor", one.mover}});
    }

    QTemporaryDir mFolder;
    Host mHost;
    QScopedPointer<staybolt> mModule;
};

QTEST_GUILESS_MAIN(TestDecision)
#include "tst_decision.moc"
