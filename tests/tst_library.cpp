#include "standin/stage.h"

#include <QDialog>
#include <QPushButton>
#include <QRegularExpression>
#include <QSlider>
#include <QtTest>

#include <dlfcn.h>
#include <unistd.h>

using namespace standin;

using Happening = std::function<void(Plugin &plugin)>;
Q_DECLARE_METATYPE(Happening)

/// The built library, driven through its exports.
class TestLibrary : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mStage.reset(new Stage);
        Server server;
        server.connection = 1;
        server.uid = "uid=";
        server.name = "Northgate";
        server.own = 7;
        server.channels = {{1, "Lobby"}, {2, "Dungeon"}};
        server.clients[7] = {7, "me=", "Robin", "", "", 1};
        server.clients[8] = {8, "mallory=", "Mallory", "", "", 1};
        mStage->host.servers.insert(1, server);
        QCOMPARE(mStage->load(STAYBOLT_LIBRARY), QString());
        mPlugin = &mStage->plugin;
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
        QCOMPARE((*module)->metaObject()->className(), "staybolt");
        QCOMPARE(*dialog, Stage::dialog());
        mPlugin->shutdown();
        QVERIFY(!*module && !*dialog);
        dlclose(library);
    }

    void printsItsConsoleLines()
    {
        QCOMPARE(printed([&] { mPlugin->registerPluginID("abc"); }),
                 "PLUGIN: registerPluginID: abc\n");
        for (const char *empty : {"", static_cast<const char *>(nullptr)}) {
            QCOMPARE(printed([&] { mPlugin->registerPluginID(empty); }),
                     "PLUGIN: registerPluginID: \n");
        }
        QCOMPARE(printed([&] { QCOMPARE(mPlugin->offersConfigure(), 2); }),
                 "PLUGIN: offersConfigure\n");
        QCOMPARE(printed([&] { mPlugin->configure(nullptr, nullptr); }), "PLUGIN: configure\n");
        QCOMPARE(printed([&] { mPlugin->onMenuItemEvent(1, 2, 0, 9); }), QString());
        QCOMPARE(printed([&] { mPlugin->shutdown(); }), "PLUGIN: shutdown\n");
        QCOMPARE(printed([&] { mPlugin->shutdown(); }), "PLUGIN: shutdown\n");
        QCOMPARE(printed([&] { QCOMPARE(mPlugin->init(), 0); }), QString());
    }

    void showsOneDialog()
    {
        QPointer<QWidget> dialog = Stage::dialog();
        QVERIFY(dialog && !dialog->isVisible());
        mPlugin->configure(nullptr, nullptr);
        mPlugin->configure(nullptr, nullptr);
        QCOMPARE(Stage::dialog(), dialog.data());
        QVERIFY(dialog->isVisible() && !dialog->isModal() && !dialog->parent());
        dialog->close();
        QVERIFY(dialog && !dialog->isVisible());
        mPlugin->onMenuItemEvent(1, 0, 0, 0);
        QVERIFY(dialog->isVisible());
        mStage->unload();
        QVERIFY(!dialog);
    }

    void startsAnewWithASecondInit()
    {
        const auto press = [](const char *button) {
            Stage::dialog()->findChild<QPushButton *>(button)->click();
        };
        const QPointer<QWidget> dialog = Stage::dialog();
        dialog->findChild<QSlider *>("sliderNotify")->setValue(1);
        press("buttonApply");
        QCOMPARE(mPlugin->init(), 0);
        QVERIFY(!dialog);
        QCOMPARE(Stage::dialog()->findChild<QSlider *>("sliderNotify")->value(), 1);
        press("buttonApply");
        mStage->unload();
        // A dialog that was left behind would now be called without its code.
        QFont font = QApplication::font();
        font.setPointSize(font.pointSize() + 1);
        QApplication::setFont(font);
        QCoreApplication::processEvents();
        QVERIFY(!Stage::dialog());
    }

    void ignoresEventsOutsideOfItsLife()
    {
        mStage->connect(1);
        mPlugin->shutdown();
        mStage->move(1, 7, 2);
        mStage->moved(1, 7, 1, 8);
        mStage->configure();
        mStage->chooseMenuItem(1, 1, 0, 0);
        mStage->chooseMenuItem(1, 1, 1, 0);
        mStage->pressHotkey("x");
        QCOMPARE(mStage->menu(), QStringList{"0 0 open Configuration"});
        QCOMPARE(mStage->hotkeys(), QStringList());
        QCOMPARE(mStage->info(), "[I]\"none\"[/I]");
        QVERIFY(mStage->host.requests.isEmpty());
    }

    void ignoresOtherStatuses()
    {
        for (int status : {1, 2, 3, 5, -1}) {
            mPlugin->onConnectStatusChangeEvent(1, status, 0);
            QCOMPARE(mStage->host.callCount, 1); // the configuration path
        }
    }

    void asksInThisOrder_data()
    {
        QTest::addColumn<Happening>("happen");
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

        QTest::newRow("establishment")
            << Happening([](Plugin &p) { p.onConnectStatusChangeEvent(1, 4, 0); })
            << own + place + server + lobby + channels;
        QTest::newRow("own move") << Happening([](Plugin &p) {
            p.onClientMoveEvent(1, 7, 2, 1, 1, "");
        }) << own + place + lobby;
        QTest::newRow("forced move")
            << Happening([](Plugin &p) { p.onClientMoveMovedEvent(1, 7, 2, 1, 1, 8, "", "", ""); })
            << own + client(7) + lobby
                + QStringList{"requestClientMove(1, 7, 0, \"\", null)", "getErrorMessage(4)",
                              "logMessage(\"unknown channel\", 2, \"\", 1)"};
        QTest::newRow("channel event")
            << Happening([](Plugin &p) { p.onDelChannelEvent(1, 2, 0, "", ""); }) << channels;
        QTest::newRow("client update")
            << Happening([](Plugin &p) { p.onUpdateClientEvent(1, 8, 7, "", ""); })
            << client(8) + client(7);
        QTest::newRow("menu") << Happening([](Plugin &p) { p.onMenuItemEvent(1, 1, 1, 2); })
                              << own + place;
        QTest::newRow("hotkey") << Happening([](Plugin &p) {
            p.onHotkeyEvent("x");
        }) << QStringList("getCurrentServerConnectionHandlerID()") + own + place;
    }

    void asksInThisOrder()
    {
        QFETCH(Happening, happen);
        QFETCH(QStringList, calls);
        mStage->connect(1);
        mStage->host.calls.clear();
        happen(*mPlugin);
        QStringList came = mStage->host.calls.filter("plug-in -> ");
        came.replaceInStrings(QRegularExpression("^ *\\d+ plug-in -> "), "");
        came.removeAll("freeMemory()");
        QCOMPARE(came.join('\n'), calls.join('\n'));
    }

    void survivesADisconnectionFromInsideAnyCall()
    {
        // A settings file from which a copy is kept, so that saving calls the client as well.
        QFile file(mStage->settingsFile());
        const Happening happenings[] = {
            [](Plugin &p) { p.onConnectStatusChangeEvent(1, 4, 0); },
            [](Plugin &p) { p.onClientMoveEvent(1, 7, 2, 1, 1, ""); },
            [](Plugin &p) { p.onClientMoveEvent(1, 8, 2, 1, 1, ""); },
            [](Plugin &p) { p.onClientMoveMovedEvent(1, 7, 2, 1, 1, 8, "", "", ""); },
            [](Plugin &p) { p.onClientMoveMovedEvent(1, 8, 2, 1, 1, 7, "", "", ""); },
            [](Plugin &p) { p.onChannelMoveEvent(1, 1, 0, 0, "", ""); },
            [](Plugin &p) { p.onNewChannelCreatedEvent(1, 1, 0, 0, "", ""); },
            [](Plugin &p) { p.onUpdateChannelEditedEvent(1, 1, 0, "", ""); },
            [](Plugin &p) { p.onDelChannelEvent(1, 1, 0, "", ""); },
            [](Plugin &p) { p.onUpdateChannelEvent(1, 1); },
            [](Plugin &p) { p.onUpdateClientEvent(1, 8, 7, "", ""); },
            [](Plugin &p) { p.onMenuItemEvent(1, 1, 1, 2); },
            [](Plugin &p) { p.onMenuItemEvent(1, 2, 1, 8); },
            [](Plugin &p) { p.onHotkeyEvent("x"); },
            [&](Plugin &) {
                file.remove();
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write("; mine\n") > 0);
                file.close();
                Stage::dialog()->findChild<QPushButton *>("buttonApply")->click();
            }};
        Host &host = mStage->host;
        host.servers[1].channels[1].name = "Den";
        for (const Happening &happening : happenings) {
            bool isOver = false;
            for (int wanted = 1; !isOver; ++wanted) {
                mStage->connect(1);
                mStage->move(1, 7, 2);
                host.takeRequests();
                int calls = 0;
                host.called = [&] {
                    if (++calls == wanted)
                        mStage->disconnect(1);
                };
                happening(*mPlugin);
                host.deliver();
                host.called = nullptr;
                isOver = calls < wanted;
                // Whatever was left half read, the next connection starts from scratch.
                mStage->disconnect(1);
                mStage->connect(1);
                mStage->move(1, 7, 2);
                host.takeRequests();
                mStage->moved(1, 7, 1, 8);
                QCOMPARE(host.takeRequests(),
                         QStringList("move you (7) to \"Den\" (2) on \"Northgate\" (1)"));
            }
        }
    }

    void keepsTheModelThroughShutdown()
    {
        mStage->connect(1);
        mPlugin->shutdown();
        QCOMPARE(mPlugin->init(), 0);
        // Only the model knows the mover now, for the client does not read it again.
        mPlugin->onClientMoveEvent(1, 7, 1, 1, 1, "");
        mStage->host.servers[1].clients.remove(8);
        QPushButton *save = Stage::dialog()->findChild<QPushButton *>("buttonApply");
        Stage::dialog()->findChild<QSlider *>("sliderNotify")->setValue(1);
        save->click();
        mPlugin->onClientMoveMovedEvent(1, 7, 1, 2, 1, 8, "", "", "");
        QCOMPARE(mStage->host.takeRequests().value(1),
                 "tell client (8) on \"Northgate\" (1): \"This operation is not permitted!\"");
    }

private:
    QString printed(const std::function<void()> &action)
    {
        QTemporaryFile file;
        if (!file.open())
            return file.errorString();
        fflush(stdout);
        const int console = dup(STDOUT_FILENO);
        dup2(file.handle(), STDOUT_FILENO);
        action();
        fflush(stdout);
        dup2(console, STDOUT_FILENO);
        ::close(console);
        file.seek(0);
        return QString::fromUtf8(file.readAll());
    }

    QScopedPointer<Stage> mStage;
    Plugin *mPlugin = nullptr;
};

QTEST_MAIN(TestLibrary)
#include "tst_library.moc"
