#include "shared/host/funcwrapper.h"
#include "shared/model/record.h"
#include "standin/host.h"

#include <QtTest>

using Read = std::function<QVariant(const funcwrapper &)>;
Q_DECLARE_METATYPE(Read)

constexpr uint64 connection = 0xfedcba9876543210;
constexpr uint64 channel = 0x123456789ab;
constexpr anyID own = 65535;

class TestWrapper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void readsTexts_data();
    void readsTexts();
    void readsNumbers_data();
    void readsNumbers();
    void readsTheDefaultFlag_data();
    void readsTheDefaultFlag();
    void readsTheClientType();
    void readsPaths();
    void readsErrorTexts();
    void logsFailedRequests_data();
    void logsFailedRequests();
    void passesRequestsOn();
    void readsIdLists();
    void readsRecords();
    void readsRecordsThatTheHostCannotFill();

private:
    QScopedPointer<Host> mHost;
    QScopedPointer<funcwrapper> mWrapper;
};

void TestWrapper::init()
{
    mHost.reset(new Host);
    mHost->accepts = true;
    mHost->configPath = "/tmp/k\xc3\xb6nfig";
    mHost->currentConnection = connection;
    Server server;
    server.connection = connection;
    server.uid = "srv/uid+\xe2\x82\xac=";
    server.name = "N\xc3\xb6rd";
    server.platform = "Lin\xc3\xbcx";
    server.version = "3.1\xc2\xb2";
    server.status = STATUS_CONNECTION_ESTABLISHED;
    server.own = own;
    server.channels = {{channel, "Löbby", {}, 1}, {7, "Two", {}, 2}, {3, "Zero", {}, 0}};
    Client client;
    client.id = own;
    client.uid = "cl\xc3\xafuid";
    client.name = "R\xf0\x9f\x90\xa6";
    client.platform = "\xc3\x96S";
    client.version = "5\xc3\x9f";
    client.channel = channel;
    server.clients.insert(own, client);
    client.id = 4;
    client.type = 1;
    server.clients.insert(4, client);
    mHost->servers.insert(connection, server);
    mWrapper.reset(new funcwrapper);
    mWrapper->setFunctions(mHost->functions());
}

void TestWrapper::cleanup()
{
    QCOMPARE(mHost->complaints(), QStringList());
    mHost.reset();
}

void TestWrapper::readsTexts_data()
{
    QTest::addColumn<Read>("read");
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<QString>("value");

    const auto row = [](const char *name, const char *function, const char *value, Read read) {
        QTest::newRow(name) << read << QByteArray(function) << QString::fromUtf8(value);
    };
    const char *ofClient = "getClientVariableAsString";
    row("client uid", ofClient, "cl\xc3\xafuid",
        [](const funcwrapper &w) { return w.getClientUID(connection, own); });
    row("client name", ofClient, "R\xf0\x9f\x90\xa6",
        [](const funcwrapper &w) { return w.getClientName(connection, own); });
    row("client platform", ofClient, "\xc3\x96S",
        [](const funcwrapper &w) { return w.getClientPlatform(connection, own); });
    row("client version", ofClient, "5\xc3\x9f",
        [](const funcwrapper &w) { return w.getClientVersion(connection, own); });
    row("channel name", "getChannelVariableAsString", "Löbby",
        [](const funcwrapper &w) { return w.getChannelName(connection, channel); });
    const char *ofServer = "getServerVariableAsString";
    row("server uid", ofServer,
        "srv/uid+\xe2\x82\xac=", [](const funcwrapper &w) { return w.getServerUID(connection); });
    row("server name", ofServer, "N\xc3\xb6rd",
        [](const funcwrapper &w) { return w.getServerName(connection); });
    row("server platform", ofServer, "Lin\xc3\xbcx",
        [](const funcwrapper &w) { return w.getServerPlatform(connection); });
    row("server version", ofServer, "3.1\xc2\xb2",
        [](const funcwrapper &w) { return w.getServerVersion(connection); });
    const char *ofConnection = "getConnectionVariableAsString";
    row("server ip", ofConnection, "192.0.2.7",
        [](const funcwrapper &w) { return w.getConnectionServerIP(connection); });
    row("server port", ofConnection, "9987",
        [](const funcwrapper &w) { return w.getConnectionServerPort(connection); });
}

void TestWrapper::readsTexts()
{
    QFETCH(Read, read);
    QFETCH(QByteArray, function);
    QFETCH(QString, value);

    QCOMPARE(read(*mWrapper).toString(), value);
    const int handedOut = mHost->blocksHandedOut();
    QCOMPARE(handedOut, 1);
    mHost->faults.insert(function, Host::Fault::Refuse);
    QCOMPARE(read(*mWrapper).toString(), QStringLiteral("Unknown"));
    mHost->faults.insert(function, Host::Fault::Null);
    QCOMPARE(read(*mWrapper).toString(), QString());
    QCOMPARE(mHost->blocksHandedOut(), handedOut);
    mHost->faults.insert(function, Host::Fault::Garbled);
    const QString garbled = read(*mWrapper).toString();
    QVERIFY2(garbled.contains(value) && garbled.startsWith(QChar::ReplacementCharacter)
                 && garbled.endsWith(QChar::ReplacementCharacter),
             qPrintable(garbled));
    QCOMPARE(mHost->requests.size(), 0);
}

void TestWrapper::readsNumbers_data()
{
    QTest::addColumn<Read>("read");
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<qulonglong>("value");

    QTest::newRow("own client") << Read(
        [](const funcwrapper &w) { return w.getOwnClientID(connection); })
                                << QByteArray("getClientID") << qulonglong(own);
    QTest::newRow("channel of a client") << Read(
        [](const funcwrapper &w) { return QVariant::fromValue(w.getChannelID(connection, own)); })
                                         << QByteArray("getChannelOfClient") << qulonglong(channel);
    QTest::newRow("status") << Read([](const funcwrapper &w) {
        return w.getConnectionStatus(connection);
    }) << QByteArray("getConnectionStatus")
                            << qulonglong(STATUS_CONNECTION_ESTABLISHED);
}

void TestWrapper::readsNumbers()
{
    QFETCH(Read, read);
    QFETCH(QByteArray, function);
    QFETCH(qulonglong, value);

    QCOMPARE(read(*mWrapper).toULongLong(), value);
    mHost->faults.insert(function, Host::Fault::Refuse);
    QCOMPARE(read(*mWrapper).toULongLong(), 0ULL);
    QCOMPARE(mWrapper->getCurrentConnectionHandlerID(), connection);
}

void TestWrapper::readsTheDefaultFlag_data()
{
    QTest::addColumn<qulonglong>("id");
    QTest::addColumn<bool>("isDefault");
    QTest::newRow("1") << qulonglong(channel) << true;
    QTest::newRow("2") << 7ULL << false;
    QTest::newRow("0") << 3ULL << false;
    QTest::newRow("unknown channel") << 99ULL << false;
}

void TestWrapper::readsTheDefaultFlag()
{
    QFETCH(qulonglong, id);
    QTEST(mWrapper->getChannelDefault(connection, id), "isDefault");
}

void TestWrapper::readsTheClientType()
{
    QTest::ignoreMessage(QtDebugMsg, "CLIENT_TYPE: 0");
    QVERIFY(mWrapper->getClientType(connection, own));
    QTest::ignoreMessage(QtDebugMsg, "CLIENT_TYPE: 1");
    QVERIFY(!mWrapper->getClientType(connection, 4));
    static int lines;
    lines = 0;
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) { ++lines; });
    const bool isVoiceClient = mWrapper->getClientType(connection, 99);
    qInstallMessageHandler(nullptr);
    QVERIFY(!isVoiceClient);
    QCOMPARE(lines, 0);
}

void TestWrapper::readsPaths()
{
    QCOMPARE(mWrapper->getAppPath(), QStringLiteral("/client/app"));
    QCOMPARE(mWrapper->getReourcesPath(), QStringLiteral("/client/resources"));
    QCOMPARE(mWrapper->getConfigPath(), QString::fromUtf8("/tmp/k\xc3\xb6nfig"));
    QCOMPARE(mWrapper->getPluginPath(QString::fromUtf8("\xc3\xa4")),
             QString::fromUtf8("/client/plugins/\xc3\xa4"));
    // A path that fills the buffer has no NUL.
    mHost->configPath = QByteArray(600, 'x');
    QCOMPARE(mWrapper->getConfigPath(), QString(512, QLatin1Char('x')));
}

void TestWrapper::readsErrorTexts()
{
    mHost->refusal = "caf\xe9";
    QCOMPARE(mWrapper->getError(1), QString::fromLatin1("caf\xe9"));
    mHost->faults.insert("getErrorMessage", Host::Fault::Null);
    QCOMPARE(mWrapper->getError(1), QString());
    mHost->faults.insert("getErrorMessage", Host::Fault::Refuse);
    QCOMPARE(mWrapper->getError(1), QStringLiteral("Unknown error"));
}

using Ask = std::function<void(funcwrapper &)>;
Q_DECLARE_METATYPE(Ask)

void TestWrapper::logsFailedRequests_data()
{
    QTest::addColumn<Ask>("ask");
    QTest::addColumn<QByteArray>("function");

    const auto row = [](const char *function, Ask ask) {
        QTest::newRow(function) << ask << QByteArray(function);
    };
    row("requestClientMove",
        [](funcwrapper &w) { w.requestClientMove(connection, own, channel, QString()); });
    row("requestSendPrivateTextMsg",
        [](funcwrapper &w) { w.txtToUser(connection, own, QString()); });
    row("requestServerGroupList", [](funcwrapper &w) { w.requestServerGroups(connection); });
    row("requestChannelGroupList", [](funcwrapper &w) { w.requestChannelGroups(connection); });
}

void TestWrapper::logsFailedRequests()
{
    QFETCH(Ask, ask);
    QFETCH(QByteArray, function);

    ask(*mWrapper);
    QCOMPARE(mHost->requests.size(), 1);
    mHost->faults.insert(function, Host::Fault::Refuse);
    ask(*mWrapper);
    // The client's log may fail as well; nobody logs that.
    mHost->faults.insert("logMessage", Host::Fault::Refuse);
    mWrapper->setPlgName(QStringLiteral("Plug"));
    ask(*mWrapper);

    QCOMPARE(mHost->requests.size(), 5);
    for (int i : {2, 4}) {
        const Request &line = mHost->requests.at(i);
        QCOMPARE(line.kind, Request::Log);
        QCOMPARE(line.text, QByteArray("insufficient permissions"));
        QCOMPARE(line.level, int(LogLevel_WARNING));
        QCOMPARE(line.connection, connection);
        QCOMPARE(line.logChannel, i == 2 ? QByteArray() : QByteArray("Plug"));
    }
}

void TestWrapper::passesRequestsOn()
{
    Server other = mHost->servers.value(connection);
    other.connection = 12;
    mHost->servers.insert(12, other);

    const QByteArray text = "T\xc3\xa4xt \xf0\x9f\x90\xa6";
    const QString string = QString::fromUtf8(text);
    QMetaObject::invokeMethod(mWrapper.data(), "channelChange",
                              Q_ARG(QString, QStringLiteral("12")),
                              Q_ARG(QString, QStringLiteral("7")));
    QMetaObject::invokeMethod(mWrapper.data(), "channelChange", Q_ARG(QString, QStringLiteral("x")),
                              Q_ARG(QString, QStringLiteral("7")));
    QMetaObject::invokeMethod(mWrapper.data(), "sendMessage", Q_ARG(QString, QStringLiteral("12")),
                              Q_ARG(QString, QStringLiteral("65540")), Q_ARG(QString, string));
    QMetaObject::invokeMethod(mWrapper.data(), "logMessage", Q_ARG(QString, string));
    mWrapper->txtToCurrent(string);
    mWrapper->requestClientMove(connection, 4, channel, string);

    const QList<Request> &requests = mHost->requests;
    QCOMPARE(requests.size(), 8); // the last one is refused
    const auto isMove = [&](int i, uint64 on, uint64 client, uint64 target,
                            const QByteArray &with) {
        const Request &request = requests.at(i);
        QCOMPARE(request.kind, Request::Move);
        QCOMPARE(request.connection, on);
        QCOMPARE(request.client, client);
        QCOMPARE(request.channel, target);
        QCOMPARE(request.text, with);
    };
    isMove(0, 12, own, 7, QByteArray());
    isMove(1, 0, 0, 7, QByteArray());
    QCOMPARE(requests.at(2).kind, Request::Log);
    QCOMPARE(requests.at(2).text, QByteArray("unknown connection"));
    QCOMPARE(requests.at(3).kind, Request::Message);
    QCOMPARE(requests.at(3).client, uint64(4));
    QCOMPARE(requests.at(3).text, text);
    QCOMPARE(requests.at(4).kind, Request::Log);
    QCOMPARE(requests.at(4).level, int(LogLevel_INFO));
    QCOMPARE(requests.at(4).connection, uint64(0));
    QCOMPARE(requests.at(4).text, text);
    QCOMPARE(requests.at(5).kind, Request::TabText);
    QCOMPARE(requests.at(5).text, text);
    isMove(6, connection, 4, channel, text);
}

void TestWrapper::readsIdLists()
{
    const QList<uint64> channels{channel, 7, 3};
    QCOMPARE(mWrapper->getChannels(connection), channels);
    QCOMPARE(mWrapper->getChannelClients(connection, channel), (QList<anyID>{4, own}));
    QCOMPARE(mWrapper->getChannelClients(connection, 7), QList<anyID>());
    QCOMPARE(mWrapper->getConnectionHandlerList(), QList<uint64>{connection});
    for (Host::Fault fault : {Host::Fault::Refuse, Host::Fault::Null}) {
        for (const char *function :
             {"getChannelList", "getChannelClientList", "getServerConnectionHandlerList"}) {
            mHost->faults.insert(function, fault);
        }
        QCOMPARE(mWrapper->readChannels(connection), QList<Record>());
        QCOMPARE(mWrapper->readChannelClients(connection, channel), QList<Record>());
        QCOMPARE(mWrapper->getConnectionHandlerList(), QList<uint64>());
    }
}

void TestWrapper::readsRecords()
{
    const auto text = [](const char *utf8) { return QVariant(QString::fromUtf8(utf8)); };
    const Record server{{QStringLiteral("uid"), text("srv/uid+\xe2\x82\xac=")},
                        {QStringLiteral("name"), text("N\xc3\xb6rd")},
                        {QStringLiteral("platform"), text("Lin\xc3\xbcx")},
                        {QStringLiteral("version"), text("3.1\xc2\xb2")},
                        {QStringLiteral("conHandler"), QVariant::fromValue(connection)}};
    QCOMPARE(mWrapper->readServer(connection), server);
    QCOMPARE(mWrapper->readServer(connection)[QStringLiteral("conHandler")].userType(),
             int(QMetaType::ULong));
    QCOMPARE(mHost->callCount, 8);

    Record client{{QStringLiteral("uid"), text("cl\xc3\xafuid")},
                  {QStringLiteral("name"), text("R\xf0\x9f\x90\xa6")},
                  {QStringLiteral("platform"), text("\xc3\x96S")},
                  {QStringLiteral("version"), text("5\xc3\x9f")},
                  {QStringLiteral("clId"), QVariant::fromValue(anyID(4))}};
    const QList<Record> clients = mWrapper->readChannelClients(connection, channel);
    QCOMPARE(mHost->callCount, 8 + 1 + 2 * 4);
    QCOMPARE(clients.size(), 2);
    QCOMPARE(clients.at(0), client);
    client[QStringLiteral("clId")] = QVariant::fromValue(own);
    QCOMPARE(clients.at(1), client);
    QCOMPARE(clients.at(1)[QStringLiteral("clId")].userType(), int(QMetaType::UShort));

    const QList<Record> channels = mWrapper->readChannels(connection);
    QCOMPARE(mHost->callCount, 17 + 1 + 3 * 2);
    const auto record = [&](const char *id, const char *name, bool isDefault) {
        return Record{{QStringLiteral("id"), text(id)},
                      {QStringLiteral("name"), text(name)},
                      {QStringLiteral("default"), isDefault}};
    };
    QCOMPARE(channels,
             (QList<Record>{record("1250999896491", "Löbby", true), record("7", "Two", false),
                            record("3", "Zero", false)}));
}

void TestWrapper::readsRecordsThatTheHostCannotFill()
{
    const QVariant unknown = QStringLiteral("Unknown");
    const Record client = mWrapper->readClient(77, 65);
    for (const char *key : {"uid", "name", "platform", "version"})
        QCOMPARE(client.value(QLatin1String(key)), unknown);
    QCOMPARE(client.value(QStringLiteral("clId")).toString(), QStringLiteral("65"));
    QCOMPARE(client.size(), 5);
    const Record server = mWrapper->readServer(77);
    QCOMPARE(server.value(QStringLiteral("uid")), unknown);
    QCOMPARE(server.value(QStringLiteral("conHandler")).toString(), QStringLiteral("77"));
    QCOMPARE(server.size(), 5);
}

QTEST_GUILESS_MAIN(TestWrapper)
#include "tst_wrapper.moc"
