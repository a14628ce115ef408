#include "plugins/staybolt/staybolt.h"
#include "shared/host/funcwrapper.h"
#include "shared/settings/configuration.h"
#include "tests/requests.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr uint64 connection = 0x8000000000000001;
const QString conText = QStringLiteral("9223372036854775809");

Record channelRecord(const QVariant &id) { return {{QStringLiteral("id"), id}}; }

Record clientRecord(const QVariant &id) { return {{QStringLiteral("clId"), id}}; }

/// A settings file and the records of a forced move; as it stands it is undone in silence.
struct Case
{
    QVariantHash settings;
    Record server{{QStringLiteral("uid"), QStringLiteral("s/v+=")},
                  {QStringLiteral("conHandler"), QVariant::fromValue(connection)}};
    Record remembered = channelRecord(QStringLiteral("3"));
    Record dest = channelRecord(QStringLiteral("5"));
    Record own = clientRecord(QVariant::fromValue(anyID(7)));
    Record mover = clientRecord(QVariant::fromValue(anyID(8)));
};

}

Q_DECLARE_METATYPE(Case)

class TestDecision : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void answersForcedMoves_data();
    void answersForcedMoves();
    void remembersOwnMovesOnly();
    void leavesItsArgumentsAlone();
    void isReadyForAnAnswerFromInside();
    void hasTheSlotThatCallersName();

private:
    void ownMove(const Record &dest, const Record &server = Case().server)
    {
        mModule->parseEvent(eventClientMove, server, {{QStringLiteral("dest"), dest}}, {});
    }

    void forcedMove(const Case &one)
    {
        mModule->parseEvent(
            eventClientMoveMoved, one.server,
            {{QStringLiteral("source"), one.remembered}, {QStringLiteral("dest"), one.dest}},
            {{QStringLiteral("own"), one.own}, {QStringLiteral("executor"), one.mover}});
    }

    QTemporaryDir mFolder;
    Host mHost;
    QScopedPointer<staybolt> mModule;
};

void TestDecision::initTestCase()
{
    mHost.accepts = true;
    mHost.configPath = mFolder.path().toUtf8();
    Server server;
    server.connection = connection;
    server.status = STATUS_CONNECTION_ESTABLISHED;
    server.own = 7;
    server.channels = {{3, "Den"}, {5, "Dungeon"}, {4294967301, "Far"}};
    for (anyID id : {anyID(7), anyID(8)}) {
        Client client;
        client.id = id;
        client.channel = 5;
        server.clients.insert(id, client);
    }
    mHost.servers.insert(connection, server);
    funcwrapper::instance()->setFunctions(mHost.functions());
    configuration::instance()->init(QStringLiteral("Decision"));
}

void TestDecision::init()
{
    QSettings(mFolder.filePath(QStringLiteral("Decision.ini")), QSettings::IniFormat).clear();
    mHost.requests.clear();
    mHost.servers[connection].clients[7].channel = 5;
    mModule.reset(new staybolt);
}

void TestDecision::cleanup() { QCOMPARE(mHost.complaints(), QStringList()); }

void TestDecision::answersForcedMoves_data()
{
    QTest::addColumn<Case>("one");
    QTest::addColumn<QStringList>("requests");

    const QString move = QStringLiteral("move %1 7 3").arg(conText);
    const QString standard =
        QStringLiteral("message %1 8 This operation is not permitted!").arg(conText);
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
    const QString notify = QStringLiteral("staybolt.sendNotify");
    const QString custom = QStringLiteral("staybolt.customNotify");
    const QString permit = QStringLiteral("module.staybolt.idleDock");
    const QString target = QStringLiteral("module.idleDock.s/v+=.target");

    rowWith("no settings", {move}, {});
    rowWith("server excluded", {}, {{QStringLiteral("staybolt.s/v+="), 1}});
    rowWith("server excluded, whatever the value", {}, {{QStringLiteral("staybolt.s/v+="), false}});
    rowWith("server excluded, empty value", {}, {{QStringLiteral("staybolt.s/v+="), QString()}});
    rowWith("other server excluded", {move}, {{QStringLiteral("staybolt.s/v+"), 1}});
    row("server without a uid, excluded", {}, [](Case &one) {
        one.server.remove(QStringLiteral("uid"));
        one.settings.insert(QStringLiteral("staybolt."), 1);
    });

    rowWith("notice", {move, standard}, {{notify, 1}});
    rowWith("notice, as text", {move, standard}, {{notify, QStringLiteral("yes")}});
    rowWith("no notice: 0", {move}, {{notify, QStringLiteral("0")}});
    rowWith("no notice: False", {move}, {{notify, QStringLiteral("False")}});
    rowWith("no notice: empty", {move}, {{notify, QString()}});
    rowWith("custom notice", {move, QStringLiteral("message %1 8 Nö").arg(conText)},
            {{notify, 1}, {custom, QStringLiteral("Nö")}});
    rowWith("empty custom notice", {move, QStringLiteral("message %1 8 ").arg(conText)},
            {{notify, 1}, {custom, QString()}});
    rowWith("custom notice switched off", {move}, {{notify, 0}, {custom, QStringLiteral("x")}});
    row("mover's own msg is not sent", {move, standard}, [&](Case &one) {
        one.settings.insert(notify, 1);
        one.mover.insert(QStringLiteral("msg"), QStringLiteral("forged"));
    });
    row("unknown mover",
        {move, QStringLiteral("message %1 0 This operation is not permitted!").arg(conText),
         QStringLiteral("log %1 unknown client").arg(conText)},
        [&](Case &one) {
            one.settings.insert(notify, 1);
            one.mover.clear();
        });

    rowWith("into the idleDock channel", {}, {{permit, true}, {target, 5}});
    rowWith("into the idleDock channel, as text", {},
            {{permit, QStringLiteral("true")}, {target, QStringLiteral("5")}});
    rowWith("past the idleDock channel", {move}, {{permit, true}, {target, 6}});
    rowWith("into the idleDock channel, not permitted", {move}, {{permit, 0}, {target, 5}});
    rowWith("dialog's own switch", {move},
            {{QStringLiteral("staybolt.permitIdleDock"), 1}, {target, 5}});
    rowWith("no target, known channel", {move}, {{permit, true}});
    row("no target, unknown channel", {}, [&](Case &one) {
        one.settings.insert(permit, true);
        one.dest.clear();
    });
    row("idleDock compares 32 bits", {}, [&](Case &one) {
        one.settings = {{permit, true}, {target, 5}};
        one.dest = channelRecord(QStringLiteral("4294967301"));
    });

    row("nothing remembered",
        {QStringLiteral("move %1 7 0").arg(conText),
         QStringLiteral("log %1 unknown channel").arg(conText)},
        [](Case &one) { one.remembered.clear(); });
    row("remembered id beyond 32 bits", {QStringLiteral("move %1 7 4294967301").arg(conText)},
        [](Case &one) { one.remembered = channelRecord(QStringLiteral("4294967301")); });
    row("remembered channel is the destination", {QStringLiteral("move %1 7 5").arg(conText)},
        [](Case &one) { one.remembered = one.dest; });
    row("own id is cut to 16 bits", {move}, [](Case &one) { one.own = clientRecord(0x10007U); });
    row("unknown own client",
        {QStringLiteral("move %1 0 3").arg(conText),
         QStringLiteral("log %1 unknown client").arg(conText)},
        [](Case &one) { one.own.clear(); });
    row("unknown server",
        {QStringLiteral("move 0 7 3"), QStringLiteral("log 0 unknown connection")},
        [](Case &one) { one.server.clear(); });
}

void TestDecision::answersForcedMoves()
{
    QFETCH(Case, one);
    QFETCH(QStringList, requests);

    ownMove(one.remembered);
    for (auto setting = one.settings.cbegin(); setting != one.settings.cend(); ++setting)
        configuration::instance()->set(setting.key(), setting.value());
    forcedMove(one);
    QCOMPARE(requestLines(mHost), requests);
}

void TestDecision::remembersOwnMovesOnly()
{
    const auto move = [](int channel) {
        return QStringLiteral("move %1 7 %2").arg(conText).arg(channel);
    };
    Case one;
    ownMove(channelRecord(QStringLiteral("3")));
    Record excluded = one.server;
    excluded.insert(QStringLiteral("uid"), QStringLiteral("off"));
    configuration::instance()->set(QStringLiteral("staybolt.off"), 1);
    ownMove(channelRecord(QStringLiteral("5")), excluded);
    for (int event : {0, 5, int(eventMenuItem), int(eventHotkey)}) {
        mModule->parseEvent(moduleEvents(event), one.server,
                            {{QStringLiteral("dest"), channelRecord(QStringLiteral("5"))}}, {});
    }
    QCOMPARE(requestLines(mHost), QStringList());

    // A move that is let through is not a choice of the user's.
    configuration::instance()->set(QStringLiteral("module.staybolt.idleDock"), true);
    configuration::instance()->set(QStringLiteral("module.idleDock.s/v+=.target"), 5);
    forcedMove(one);
    one.dest = channelRecord(QStringLiteral("6"));
    forcedMove(one);
    QCOMPARE(requestLines(mHost), QStringList{move(3)});

    // An own move into a channel that the model does not know is remembered as none.
    ownMove({});
    forcedMove(one);
    QCOMPARE(requestLines(mHost).value(1), move(0));
}

void TestDecision::leavesItsArgumentsAlone()
{
    configuration::instance()->set(QStringLiteral("staybolt.sendNotify"), 1);
    const Case one;
    const Record client{{QStringLiteral("executor"), one.mover}};
    mModule->parseEvent(eventClientMoveMoved, one.server, {}, client);
    QCOMPARE(client[QStringLiteral("executor")].toHash(), one.mover);
}

void TestDecision::isReadyForAnAnswerFromInside()
{
    configuration::instance()->set(QStringLiteral("staybolt.sendNotify"), 1);
    mHost.answersInside = true;
    mHost.moved = [this](uint64, anyID, uint64, uint64) {
        ownMove(channelRecord(QStringLiteral("5")));
    };
    ownMove(channelRecord(QStringLiteral("3")));
    forcedMove({});
    mHost.moved = nullptr;
    forcedMove({});
    const QString message =
        QStringLiteral("message %1 8 This operation is not permitted!").arg(conText);
    QCOMPARE(requestLines(mHost),
             (QStringList{QStringLiteral("move %1 7 3").arg(conText), message,
                          QStringLiteral("move %1 7 5").arg(conText), message}));
}

void TestDecision::hasTheSlotThatCallersName()
{
    const QMetaObject &meta = staybolt::staticMetaObject;
    QCOMPARE(meta.className(), "staybolt");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
    const QMetaMethod slot = meta.method(meta.methodOffset());
    QCOMPARE(slot.methodSignature(),
             QByteArray("parseEvent(moduleEvents,QVariantHash,QVariantHash,QVariantHash)"));
    QCOMPARE(slot.parameterNames(), (QList<QByteArray>{"event", "server", "channel", "client"}));
}

QTEST_GUILESS_MAIN(TestDecision)
#include "tst_decision.moc"
