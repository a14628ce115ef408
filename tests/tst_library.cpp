#include "tests/files.h"
#include "tests/play.h"

#include <QApplication>
#include <QProcess>

#include <dlfcn.h>

using namespace standin;

/// The built library, driven through its exports.
class TestLibrary : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mStage.reset(new Scenario(STAYBOLT_LIBRARY, mErrors));
        mPlugin = &mStage->plugin;
        play(*mStage,
             "server Northgate uid=\n"
             "channel Northgate 1 Lobby\n"
             "channel Northgate 2 Dungeon\n"
             "user Northgate 7 Robin Lobby\n"
             "client Northgate 8 Mallory Lobby\n"
             "load");
    }

    void cleanup()
    {
        if (mPlugin->isOpen())
            mStage->unload();
        QCOMPARE(mStage->host.complaints(), QStringList());
        mStage.reset();
    }

    void tellsWhoItIs()
    {
        QCOMPARE(mPlugin->name(), "Kestrelsoft Staybolt");
        QCOMPARE(mPlugin->version(), "0.1.2");
        QCOMPARE(mPlugin->apiVersion(), 22);
        QCOMPARE(mPlugin->author(), "Kestrelsoft");
        QCOMPARE(mPlugin->description(), "Protection against unwanted movement");
        QCOMPARE(mPlugin->infoTitle(), "Staybolt");
        QVERIFY(!mPlugin->commandKeyword());
        QCOMPARE(mPlugin->processCommand(1, "anything"), 1);
        QCOMPARE(mPlugin->requestAutoload(), 0);
    }

    void exportsTheSharedObjects()
    {
        void *library = dlopen(STAYBOLT_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
        QVERIFY(library);
        auto **module = static_cast<QObject **>(dlsym(library, "stayboltObj"));
        auto **dialog = static_cast<QObject **>(dlsym(library, "gConfig"));
        QVERIFY(module && dialog);
        // Callers go by these names.
        const QMetaObject *meta = (*module)->metaObject();
        QCOMPARE(meta->className(), "staybolt");
        const QMetaMethod slot = meta->method(meta->methodOffset());
        QCOMPARE(slot.methodSignature(),
                 QByteArray("parseEvent(moduleEvents,QVariantHash,QVariantHash,QVariantHash)"));
        // The dialog is always the same one, and independent of the host's windows.
        play(*mStage, "configure\nconfigure");
        QCOMPARE(*dialog, Stage::dialog());
        QVERIFY(!Stage::dialog()->isModal() && !Stage::dialog()->parent());
        mPlugin->shutdown();
        QVERIFY(!*module && !*dialog);
        dlclose(library);
    }

    void printsItsConsoleLines()
    {
        QProcess host;
        host.start(STAYBOLT_HOST, {"-"});
        host.write("server A uid=\nload\nconfigure\nmenu A 0\nexpect dialog open\nunload\n");
        host.closeWriteChannel();
        QVERIFY(host.waitForFinished(-1));
        const QStringList lines = QString::fromUtf8(host.readAllStandardOutput()).split('\n');
        QCOMPARE(lines.filter("PLUGIN"),
                 (QStringList{"PLUGIN: registerPluginID: staybolt-1", "PLUGIN: offersConfigure",
                              "PLUGIN: configure", "PLUGIN: shutdown"}));
    }

    void startsAnewWithASecondInit()
    {
        const QPointer<QWidget> dialog = Stage::dialog();
        play(*mStage, "set notify on\npress save");
        QCOMPARE(mPlugin->init(), 0);
        QVERIFY(!dialog);
        play(*mStage, "expect field notify on\npress save\nunload");
        // A dialog left behind would now crash, since its code is gone.
        QFont font = QApplication::font();
        font.setPointSize(font.pointSize() + 1);
        QApplication::setFont(font);
        QCoreApplication::processEvents();
        QVERIFY(!Stage::dialog());
    }

    void ignoresEventsOutsideOfItsLife()
    {
        play(*mStage, "connect Northgate");
        mPlugin->shutdown();
        mPlugin->shutdown();
        mPlugin->registerPluginID(nullptr);
        play(*mStage,
             "move Northgate Robin Dungeon\n"
             "moved Northgate Robin Lobby by Mallory\n"
             "configure\n"
             "menu Northgate 0 channel Lobby\n"
             "menu Northgate 1 channel Lobby\n"
             "hotkey x\n"
             "expect menu '0 0 open Configuration'\n"
             "expect hotkeys\n"
             "expect info '[I]\"none\"[/I]'\n"
             "expect nothing");
    }

    void asksInThisOrder_data()
    {
        QTest::addColumn<QString>("statement");
        QTest::addColumn<QStringList>("calls");
        const auto client = [](int id) {
            QStringList calls;
            for (int property : {0, 1, 3, 2})
                calls.append(QString("getClientVariableAsString(1, %1, %2)").arg(id).arg(property));
            return calls;
        };
        const QStringList lobby = QStringList("getChannelClientList(1, 1)") + client(7) + client(8);
        QStringList channels("getChannelList(1)");
        for (int id : {1, 2}) {
            channels.append(QString("getChannelVariableAsString(1, %1, 0)").arg(id));
            channels.append(QString("getChannelVariableAsInt(1, %1, 11)").arg(id));
        }
        const QStringList own("getClientID(1)");
        const QStringList place("getChannelOfClient(1, 7)");
        QStringList server;
        for (int property : {0, 1, 3, 4})
            server.append(QString("getServerVariableAsString(1, %1)").arg(property));

        const auto row = [](const char *statement, const QStringList &calls) {
            QTest::newRow(statement) << QString(statement) << calls;
        };
        row("connect Northgate", own + place + server + lobby + channels);
        row("disconnect Northgate", {});
        row("move Northgate Robin Lobby", own + place + lobby);
        row("moved Northgate Robin Lobby by Mallory",
            own + client(7) + lobby
                + QStringList{"requestClientMove(1, 7, 0, \"\", null)", "getErrorMessage(4)",
                              "logMessage(\"unknown channel\", 2, \"\", 1)"});
        row("update Northgate Dungeon", channels);
        row("news Northgate Mallory by Robin", client(8) + client(7));
        row("menu Northgate 1 channel Dungeon", own + place);
        row("hotkey x", QStringList("getCurrentServerConnectionHandlerID()") + own + place);
    }

    void asksInThisOrder()
    {
        QFETCH(QString, statement);
        QFETCH(QStringList, calls);
        play(*mStage, "connect Northgate");
        QStringList came;
        mStage->host.called = [&](const QString &call) { came.append(call); };
        mPlugin->onConnectStatusChangeEvent(1, 5, 0); // not a known status
        play(*mStage, statement);
        mStage->host.called = nullptr;
        QCOMPARE(came.join('\n'), calls.join('\n'));
    }

    void survivesADisconnectionFromInsideAnyCall()
    {
        Host &host = mStage->host;
        for (const char *statement :
             {"connect Northgate", "move Northgate Robin Lobby", "move Northgate Mallory Lobby",
              "moved Northgate Robin Lobby by Mallory", "moved Northgate Mallory Lobby by Robin",
              "reorder Northgate Lobby 0", "create Northgate 3 New", "edit Northgate 3 Other",
              "update Northgate Lobby", "delete Northgate 3", "news Northgate Mallory by Robin",
              "menu Northgate 1 channel Dungeon", "menu Northgate 1 client Mallory", "hotkey x",
              "press save"}) {
            bool isOver = false;
            for (int wanted = 1; !isOver; ++wanted) {
                play(*mStage, "connect Northgate\nmove Northgate Robin Dungeon");
                // Saving such a file keeps a copy, which calls the host as well.
                QFile::remove(mStage->settingsFile());
                writeFile(mStage->settingsFile(), "; mine\n");
                int calls = 0;
                host.called = [&](const QString &) {
                    if (++calls != wanted)
                        return;
                    host.servers[1].status = 0;
                    mPlugin->onConnectStatusChangeEvent(1, 0, 0);
                };
                play(*mStage, statement);
                host.called = nullptr;
                isOver = calls < wanted;
                QVERIFY2(calls > 0 || wanted > 1, statement); // or nothing is tested
                host.requests.clear();
                // Even if something was half read, the next connection starts from scratch.
                play(*mStage,
                     "disconnect Northgate\n"
                     "connect Northgate\n"
                     "move Northgate Robin Dungeon\n"
                     "moved Northgate Robin Lobby by Mallory\n"
                     "expect move Northgate Robin Dungeon\n"
                     "expect nothing");
            }
        }
    }

    void keepsTheModelThroughShutdown()
    {
        play(*mStage, "connect Northgate");
        mPlugin->shutdown();
        QCOMPARE(mPlugin->init(), 0);
        // Only the model knows the mover now; the host no longer does.
        play(*mStage, "move Northgate Robin Lobby");
        mStage->host.servers[1].clients.remove(8);
        play(*mStage,
             "set notify on\n"
             "press save\n"
             "moved Northgate Robin Dungeon by 8\n"
             "expect move Northgate Robin Lobby\n"
             "expect message Northgate 8 \"This operation is not permitted!\"\n"
             "expect log Northgate \"unknown client\"");
    }

private:
    QScopedPointer<Scenario> mStage;
    QTextStream mErrors{stderr};
    Plugin *mPlugin = nullptr;
};

QTEST_MAIN(TestLibrary)
#include "tst_library.moc"
