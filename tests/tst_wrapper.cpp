#include "shared/model/record.h"
#include "tests/one_server.h"

#include <QTest>

using namespace standin;

using Read = std::function<QString(const funcwrapper &)>;
Q_DECLARE_METATYPE(Read)

const QString here = "\"Nörd\" (18364758544493064720)";

class TestWrapper : public QObject
{
    Q_OBJECT

    QScopedPointer<OneServerHost> mHost;
    funcwrapper mWrapper;

private Q_SLOTS:
    void init()
    {
        mHost.reset(new OneServerHost);
        mHost->configPath = "/tmp/könfig";
        mHost->servers[12].connection = 12;
        mHost->servers[12].status = 3;
        mWrapper.setFunctions(tableOf(*mHost));
    }

    void cleanup()
    {
        QCOMPARE(mHost->complaints(), QStringList());
        mHost.reset();
    }

    void readsTexts_data()
    {
        QTest::addColumn<QString>("function");
        QTest::addColumn<QString>("value");
        QTest::addColumn<Read>("read");
        const auto row = [](const char *function, const char *value, Read read) {
            QTest::newRow(value) << QString(function) << QString(value) << read;
        };
        const char *ofClient = "getClientVariableAsString";
        row(ofClient, "röbin=", [](auto &w) { return w.getClientUID(connection, robin); });
        row(ofClient, "Rob€n", [](auto &w) { return w.getClientName(connection, robin); });
        row(ofClient, "ÖS", [](auto &w) { return w.getClientPlatform(connection, robin); });
        row(ofClient, "5ß", [](auto &w) { return w.getClientVersion(connection, robin); });
        row("getChannelVariableAsString", "Löbby 🐦",
            [](auto &w) { return w.getChannelName(connection, lobby); });
        const char *ofServer = "getServerVariableAsString";
        row(ofServer, "srv/uid+€=", [](auto &w) { return w.getServerUID(connection); });
        row(ofServer, "Nörd", [](auto &w) { return w.getServerName(connection); });
        row(ofServer, "Linüx", [](auto &w) { return w.getServerPlatform(connection); });
        row(ofServer, "3.1²", [](auto &w) { return w.getServerVersion(connection); });
        const char *ofConnection = "getConnectionVariableAsString";
        row(ofConnection, "192.0.2.7", [](auto &w) { return w.getConnectionServerIP(connection); });
        row(ofConnection, "9987", [](auto &w) { return w.getConnectionServerPort(connection); });
    }

    void readsTexts()
    {
        QFETCH(QString, function);
        QFETCH(QString, value);
        QFETCH(Read, read);
        const auto readWith = [&](Fault fault) {
            mHost->faults.insert(function.toLatin1(), fault);
            return read(mWrapper);
        };

        QCOMPARE(read(mWrapper), value);
        QCOMPARE(readWith(Fault::Refuse), QString("Unknown"));
        QCOMPARE(readWith(Fault::Null), QString());
        QCOMPARE(mHost->blocksHandedOut(), 1);
        const QString garbled = readWith(Fault::Garble);
        QVERIFY2(garbled.contains(value) && garbled.startsWith(QChar::ReplacementCharacter)
                     && garbled.endsWith(QChar::ReplacementCharacter),
                 qPrintable(garbled));
        QCOMPARE(mHost->takeRequests(), QStringList());
    }

    void readsNumbersAndFlags()
    {
        QCOMPARE(mWrapper.getCurrentConnectionHandlerID(), connection);
        QCOMPARE(mWrapper.getOwnClientID(connection), robin);
        QCOMPARE(mWrapper.getChannelID(connection, robin), lobby);
        QCOMPARE(mWrapper.getConnectionStatus(connection), 4);
        QCOMPARE(mWrapper.getConnectionStatus(12), 3);
        QVERIFY(mWrapper.getChannelDefault(connection, lobby));
        QVERIFY(!mWrapper.getChannelDefault(connection, den));
        mHost->server().channels[den].isDefault = 2;
        QVERIFY(!mWrapper.getChannelDefault(connection, den));
        QVERIFY(!mWrapper.getChannelDefault(connection, 99));
        for (int type : {0, 1, 2, -1}) {
            mHost->servers[connection].clients[mallory].type = type;
            const QByteArray line = "CLIENT_TYPE: " + QByteArray::number(type);
            QTest::ignoreMessage(QtDebugMsg, line.constData());
            QCOMPARE(mWrapper.getClientType(connection, mallory), type == 0);
        }

        for (const char *function : {"getClientID", "getChannelOfClient", "getConnectionStatus"})
            mHost->faults.insert(function, Fault::Refuse);
        QCOMPARE(mWrapper.getOwnClientID(connection), anyID(0));
        QCOMPARE(mWrapper.getChannelID(connection, robin), uint64(0));
        QCOMPARE(mWrapper.getConnectionStatus(connection), 0);
        static int lines = 0;
        qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &) { ++lines; });
        QVERIFY(!mWrapper.getClientType(connection, 99));
        qInstallMessageHandler(nullptr);
        QCOMPARE(lines, 0);
    }

    void readsPathsAndErrors()
    {
        QCOMPARE(mWrapper.getAppPath(), QString("/client/app"));
        QCOMPARE(mWrapper.getReourcesPath(), QString("/client/resources"));
        QCOMPARE(mWrapper.getConfigPath(), QString("/tmp/könfig"));
        QCOMPARE(mWrapper.getPluginPath("ä"), QString("/client/plugins/ä"));
        // A path that fills the buffer has no NUL.
        mHost->configPath = QByteArray(600, 'x');
        QCOMPARE(mWrapper.getConfigPath(), QString(512, 'x'));

        mHost->refusal = "caf\xe9";
        QCOMPARE(mWrapper.getError(1), QString("café"));
        mHost->faults.insert("getErrorMessage", Fault::Null);
        QCOMPARE(mWrapper.getError(1), QString());
        mHost->faults.insert("getErrorMessage", Fault::Refuse);
        QCOMPARE(mWrapper.getError(1), QString("Unknown error"));
    }

    void logsFailedRequests()
    {
        const auto askAll = [&] {
            mWrapper.txtToUser(connection, robin, QString());
            mWrapper.requestServerGroups(connection);
            mWrapper.requestChannelGroups(connection);
            return mHost->takeRequests();
        };
        const QStringList lines = askAll();
        QCOMPARE(lines,
                 (QStringList{"tell you (40007) on " + here + ": \"\"",
                              "list the server groups of " + here,
                              "list the channel groups of " + here}));
        // The host's log may fail too; that isn't logged anywhere.
        for (const char *function : {"requestSendPrivateTextMsg", "requestServerGroupList",
                                     "requestChannelGroupList", "logMessage"}) {
            mHost->faults.insert(function, Fault::Refuse);
        }
        const QString failed = "log at level 2 for " + here + ": \"insufficient permissions\"";
        QCOMPARE(askAll(), (QStringList{lines[0], failed, lines[1], failed, lines[2], failed}));
        mWrapper.setPlgName("Plüg");
        const QString logged = askAll().last();
        mWrapper.setPlgName({});
        QCOMPARE(logged,
                 "log at level 2 for " + here + " under \"Plüg\": \"insufficient permissions\"");
    }

    void passesRequestsOn()
    {
        const auto requests = [&](const char *slot, const QStringList &texts) {
            const auto text = [&](int i) {
                return i < texts.size() ? Q_ARG(QString, texts.at(i)) : QGenericArgument();
            };
            QMetaObject::invokeMethod(&mWrapper, slot, text(0), text(1), text(2));
            return mHost->takeRequests();
        };
        // Ids beyond 32 and 16 bits, and texts that aren't ids.
        const QString far = QString::number(connection);
        QCOMPARE(requests("channelChange", {far, "8589934593"}),
                 QStringList("move you (40007) to \"Löbby 🐦\" (8589934593) on " + here));
        QCOMPARE(requests("channelChange", {"x", "0x7"}),
                 (QStringList{"move client (0) to channel (0) on connection (0)",
                              "log at level 2 for connection (0): \"unknown connection\""}));
        QCOMPARE(requests("sendMessage", {far, "105544", "Täxt 🐦"}),
                 QStringList("tell Mällory (40008) on " + here + ": \"Täxt 🐦\""));
        QCOMPARE(requests("logMessage", {"Täxt"}),
                 QStringList("log at level 4 for connection (0): \"Täxt\""));
        mWrapper.requestClientMove(connection, mallory, lobby, "sésame");
        mWrapper.txtToCurrent("Täxt");
        QCOMPARE(mHost->takeRequests(),
                 (QStringList{"move Mällory (40008) to \"Löbby 🐦\" (8589934593) on " + here
                                  + " with password \"sésame\"",
                              "log at level 2 for " + here + ": \"wrong channel password\"",
                              "show in the tab of " + here + ": \"Täxt\""}));
    }

    void readsIdLists()
    {
        QCOMPARE(mWrapper.getChannels(connection), (QList<uint64>{lobby, den}));
        QCOMPARE(mWrapper.getChannelClients(connection, lobby), (QList<anyID>{robin, mallory}));
        QCOMPARE(mWrapper.getChannelClients(connection, den), QList<anyID>());
        QCOMPARE(mWrapper.getConnectionHandlerList(), (QList<uint64>{12, connection}));
        for (Fault fault : {Fault::Refuse, Fault::Null}) {
            for (const char *function :
                 {"getChannelList", "getChannelClientList", "getServerConnectionHandlerList"}) {
                mHost->faults.insert(function, fault);
            }
            QCOMPARE(mWrapper.readChannels(connection), QList<Record>());
            QCOMPARE(mWrapper.readChannelClients(connection, lobby), QList<Record>());
            QCOMPARE(mWrapper.getConnectionHandlerList(), QList<uint64>());
        }
    }

    void readsRecords()
    {
        const Record server{{"uid", "srv/uid+€="},
                            {"name", "Nörd"},
                            {"platform", "Linüx"},
                            {"version", "3.1²"},
                            {"conHandler", QVariant::fromValue(connection)}};
        QCOMPARE(mWrapper.readServer(connection), server);
        QCOMPARE(mWrapper.readServer(1)["conHandler"].userType(), int(QMetaType::ULong));

        const Record client{{"uid", "röbin="},
                            {"name", "Rob€n"},
                            {"platform", "ÖS"},
                            {"version", "5ß"},
                            {"clId", QVariant::fromValue(robin)}};
        const QList<Record> clients = mWrapper.readChannelClients(connection, lobby);
        QCOMPARE(clients.size(), 2);
        QCOMPARE(clients.first(), client);
        QCOMPARE(clients.first()["clId"].userType(), int(QMetaType::UShort));
    }
};

QTEST_GUILESS_MAIN(TestWrapper)
#include "tst_wrapper.moc"
