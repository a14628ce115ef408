#include "shared/host/funcwrapper.h"
#include "shared/model/record.h"
#include "standin/host.h"

#include <QtTest>

using Read = std::function<QString(const funcwrapper &)>;
Q_DECLARE_METATYPE(Read)

constexpr uint64 connection = 0xfedcba9876543210;
constexpr uint64 channel = 0x123456789ab;
constexpr anyID own = 65535;
const QString conText = "18364758544493064720";

class TestWrapper : public QObject
{
    Q_OBJECT

    QScopedPointer<Host> mHost;
    funcwrapper mWrapper;

private Q_SLOTS:
    void init()
    {
        mHost.reset(new Host);
        mHost->accepts = true;
        mHost->configPath = "/tmp/könfig";
        mHost->currentConnection = connection;
        Server server;
        server.connection = connection;
        server.uid = "srv/uid+€=";
        server.name = "Nörd";
        server.platform = "Linüx";
        server.version = "3.1²";
        server.status = STATUS_CONNECTION_ESTABLISHED;
        server.own = own;
        server.channels = {{channel, "Löbby", {}, 1}, {7, "Two", {}, 2}, {3, "Zero", {}, 0}};
        server.clients[own] = {own, "clïuid", "R🐦", "ÖS", "5ß", channel, 0};
        server.clients[4] = {4, "clïuid", "R🐦", "ÖS", "5ß", channel, 1};
        mHost->servers = {{connection, server}};
        server.connection = 12;
        mHost->servers.insert(12, server);
        mWrapper.setFunctions(mHost->functions());
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
        using W = const funcwrapper &;
        const char *ofClient = "getClientVariableAsString";
        row(ofClient, "clïuid", [](W w) { return w.getClientUID(connection, own); });
        row(ofClient, "R🐦", [](W w) { return w.getClientName(connection, own); });
        row(ofClient, "ÖS", [](W w) { return w.getClientPlatform(connection, own); });
        row(ofClient, "5ß", [](W w) { return w.getClientVersion(connection, own); });
        row("getChannelVariableAsString", "Löbby",
            [](W w) { return w.getChannelName(connection, channel); });
        const char *ofServer = "getServerVariableAsString";
        row(ofServer, "srv/uid+€=", [](W w) { return w.getServerUID(connection); });
        row(ofServer, "Nörd", [](W w) { return w.getServerName(connection); });
        row(ofServer, "Linüx", [](W w) { return w.getServerPlatform(connection); });
        row(ofServer, "3.1²", [](W w) { return w.getServerVersion(connection); });
        const char *ofConnection = "getConnectionVariableAsString";
        row(ofConnection, "192.0.2.7", [](W w) { return w.getConnectionServerIP(connection); });
        row(ofConnection, "9987", [](W w) { return w.getConnectionServerPort(connection); });
    }

    void readsTexts()
    {
        QFETCH(QString, function);
        QFETCH(QString, value);
        QFETCH(Read, read);
        const auto readWith = [&](Host::Fault fault) {
            mHost->faults.insert(function.toLatin1(), fault);
            return read(mWrapper);
        };

        QCOMPARE(read(mWrapper), value);
        QCOMPARE(readWith(Host::Fault::Refuse), QString("Unknown"));
        QCOMPARE(readWith(Host::Fault::Null), QString());
        QCOMPARE(mHost->blocksHandedOut(), 1);
        const QString garbled = readWith(Host::Fault::Garbled);
        QVERIFY2(garbled.contains(value) && garbled.startsWith(QChar::ReplacementCharacter)
                     && garbled.endsWith(QChar::ReplacementCharacter),
                 qPrintable(garbled));
        QCOMPARE(mHost->requests.size(), 0);
    }

    void readsNumbersAndFlags()
    {
        QCOMPARE(mWrapper.getCurrentConnectionHandlerID(), connection);
        QCOMPARE(mWrapper.getOwnClientID(connection), own);
        QCOMPARE(mWrapper.getChannelID(connection, own), channel);
        QCOMPARE(mWrapper.getConnectionStatus(connection), int(STATUS_CONNECTION_ESTABLISHED));
        QVERIFY(mWrapper.getChannelDefault(connection, channel));
        QVERIFY(!mWrapper.getChannelDefault(connection, 7)); // the flag is 2
        QVERIFY(!mWrapper.getChannelDefault(connection, 3));
        QVERIFY(!mWrapper.getChannelDefault(connection, 99));
        QTest::ignoreMessage(QtDebugMsg, "CLIENT_TYPE: 0");
        QVERIFY(mWrapper.getClientType(connection, own));
        QTest::ignoreMessage(QtDebugMsg, "CLIENT_TYPE: 1");
        QVERIFY(!mWrapper.getClientType(connection, 4));

        for (const char *function : {"getClientID", "getChannelOfClient", "getConnectionStatus"})
            mHost->faults.insert(function, Host::Fault::Refuse);
        QCOMPARE(mWrapper.getOwnClientID(connection), anyID(0));
        QCOMPARE(mWrapper.getChannelID(connection, own), uint64(0));
        QCOMPARE(mWrapper.getConnectionStatus(connection), 0);
        static int lines;
        lines = 0;
        qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &) { ++lines; });
        const bool isVoiceClient = mWrapper.getClientType(connection, 99);
        qInstallMessageHandler(nullptr);
        QVERIFY(!isVoiceClient);
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
        mHost->faults.insert("getErrorMessage", Host::Fault::Null);
        QCOMPARE(mWrapper.getError(1), QString());
        mHost->faults.insert("getErrorMessage", Host::Fault::Refuse);
        QCOMPARE(mWrapper.getError(1), QString("Unknown error"));
    }

    void logsFailedRequests()
    {
        const auto askAll = [&] {
            mWrapper.requestClientMove(connection, own, channel, QString());
            mWrapper.txtToUser(connection, own, QString());
            mWrapper.requestServerGroups(connection);
            mWrapper.requestChannelGroups(connection);
        };
        askAll();
        QCOMPARE(mHost->requests.size(), 4);
        mHost->requests.clear();
        // The client's log may fail as well; nobody logs that.
        for (const char *function :
             {"requestClientMove", "requestSendPrivateTextMsg", "requestServerGroupList",
              "requestChannelGroupList", "logMessage"}) {
            mHost->faults.insert(function, Host::Fault::Refuse);
        }
        askAll();
        mWrapper.setPlgName("Plüg");
        askAll();
        mWrapper.setPlgName({});
        QCOMPARE(mHost->requests.size(), 16);
        for (int i = 1; i < 16; i += 2) {
            const Request &line = mHost->requests.at(i);
            QCOMPARE(line.kind, Request::Log);
            QCOMPARE(line.text, QByteArray("insufficient permissions"));
            QCOMPARE(line.level, int(LogLevel_WARNING));
            QCOMPARE(line.connection, connection);
            QCOMPARE(line.logChannel, QByteArray(i < 8 ? "" : "Plüg"));
        }
    }

    void passesRequestsOn()
    {
        const auto invoke = [&](const char *slot, auto... texts) {
            QVERIFY(QMetaObject::invokeMethod(&mWrapper, slot, Q_ARG(QString, texts)...));
        };
        invoke("channelChange", "12", "7");
        invoke("channelChange", "x", "7");
        invoke("sendMessage", "12", "65540", "Täxt 🐦");
        invoke("sendMessage", "12", "", "x");
        mWrapper.requestClientMove(connection, 4, channel, "sésame");
        QCOMPARE(mHost->requestLines(),
                 (QStringList{"move 12 65535 7", "move 0 0 7", "log 0 unknown connection",
                              "message 12 4 Täxt 🐦", "message 12 0 x", "log 12 unknown client",
                              QString("move %1 4 %2sésame").arg(conText).arg(channel),
                              QString("log %1 wrong channel password").arg(conText)}));
        invoke("logMessage", "Täxt");
        QCOMPARE(mHost->requests.last().text, QByteArray("Täxt"));
        QCOMPARE(mHost->requests.last().level, int(LogLevel_INFO));
        QCOMPARE(mHost->requests.last().connection, uint64(0));
        mWrapper.txtToCurrent("Täxt");
        QCOMPARE(mHost->requests.last().kind, Request::TabText);
        QCOMPARE(mHost->requests.last().text, QByteArray("Täxt"));
    }

    void readsIdLists()
    {
        QCOMPARE(mWrapper.getChannels(connection), (QList<uint64>{channel, 7, 3}));
        QCOMPARE(mWrapper.getChannelClients(connection, channel), (QList<anyID>{4, own}));
        QCOMPARE(mWrapper.getChannelClients(connection, 7), QList<anyID>());
        QCOMPARE(mWrapper.getConnectionHandlerList(), (QList<uint64>{12, connection}));
        for (Host::Fault fault : {Host::Fault::Refuse, Host::Fault::Null}) {
            for (const char *function :
                 {"getChannelList", "getChannelClientList", "getServerConnectionHandlerList"}) {
                mHost->faults.insert(function, fault);
            }
            QCOMPARE(mWrapper.readChannels(connection), QList<Record>());
            QCOMPARE(mWrapper.readChannelClients(connection, channel), QList<Record>());
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
        QCOMPARE(mHost->callCount, 8);

        Record client{{"uid", "clïuid"}, {"name", "R🐦"}, {"platform", "ÖS"}, {"version", "5ß"}};
        const QList<Record> clients = mWrapper.readChannelClients(connection, channel);
        QCOMPARE(mHost->callCount, 8 + 1 + 2 * 4);
        QCOMPARE(clients.at(0)["clId"].userType(), int(QMetaType::UShort));
        client["clId"] = QVariant::fromValue(anyID(4));
        QCOMPARE(clients.value(0), client);
        client["clId"] = QVariant::fromValue(own);
        QCOMPARE(clients.value(1), client);

        const QList<Record> channels = mWrapper.readChannels(connection);
        QCOMPARE(mHost->callCount, 17 + 1 + 3 * 2);
        const Record lobby{{"id", "1250999896491"}, {"name", "Löbby"}, {"default", true}};
        const Record two{{"id", "7"}, {"name", "Two"}, {"default", false}};
        QCOMPARE(channels.mid(0, 2), (QList<Record>{lobby, two}));
        QCOMPARE(channels.size(), 3);

        // What the client can't answer is filled in all the same.
        client = {{"uid", "Unknown"},
                  {"name", "Unknown"},
                  {"platform", "Unknown"},
                  {"version", "Unknown"},
                  {"clId", QVariant::fromValue(anyID(65))}};
        QCOMPARE(mWrapper.readClient(77, 65), client);
    }
};

QTEST_GUILESS_MAIN(TestWrapper)
#include "tst_wrapper.moc"
