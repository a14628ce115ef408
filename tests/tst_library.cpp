#include "standin/stage.h"

#include <QDialog>
#include <QPushButton>
#include <QSlider>
#include <QtTest>

#include <dlfcn.h>
#include <unistd.h>

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
        QCOMPARE(printed([&] { mPlugin->registerPluginID(""); }), "PLUGIN: registerPluginID: \n");
        QCOMPARE(printed([&] { QCOMPARE(mPlugin->offersConfigure(), 2); }),
                 "PLUGIN: offersConfigure\n");
        QCOMPARE(printed([&] { mPlugin->configure(nullptr, nullptr); }), "PLUGIN: configure\n");
        QCOMPARE(printed([&] { mPlugin->onMenuItemEvent(1, PLUGIN_MENU_TYPE_CLIENT, 0, 9); }),
                 QString());
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
        mPlugin->onMenuItemEvent(1, PLUGIN_MENU_TYPE_GLOBAL, 0, 0);
        QVERIFY(dialog->isVisible());
        mStage->unload();
        QVERIFY(!dialog);
    }

    void ignoresEventsOutsideOfItsLife()
    {
        mStage->connect(1);
        mPlugin->shutdown();
        mStage->move(1, 7, 2);
        mStage->moved(1, 7, 1, 8);
        mStage->configure();
        mStage->chooseMenuItem(1, PLUGIN_MENU_TYPE_CHANNEL, 0, 0);
        mStage->chooseMenuItem(1, PLUGIN_MENU_TYPE_CHANNEL, 1, 0);
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

    void answersHotkeysForTheCurrentTab()
    {
        mStage->connect(1);
        mStage->host.calls.clear();
        mStage->pressHotkey("x");
        QCOMPARE(mStage->host.calls.size(), 4);
        QVERIFY(mStage->host.calls.at(1).contains("getCurrentServerConnectionHandlerID"));
        QVERIFY(mStage->host.calls.at(3).contains("getChannelOfClient(1, 7)"));
    }

    void readsTheUpdatedClientBeforeTheInvoker()
    {
        mStage->connect(1);
        mStage->host.calls.clear();
        mPlugin->onUpdateClientEvent(1, 8, 7, "", "");
        QVERIFY(mStage->host.calls.first().contains("getClientVariableAsString(1, 8, 0)"));
    }

    void keepsTheModelThroughShutdown()
    {
        mStage->connect(1);
        mPlugin->shutdown();
        QCOMPARE(mPlugin->init(), 0);
        // Only the model knows the mover now, for the client does not read it again.
        mPlugin->onClientMoveEvent(1, 7, 1, 1, RETAIN_VISIBILITY, "");
        mStage->host.servers[1].clients.remove(8);
        QPushButton *save = Stage::dialog()->findChild<QPushButton *>("buttonApply");
        Stage::dialog()->findChild<QSlider *>("sliderNotify")->setValue(1);
        save->click();
        mPlugin->onClientMoveMovedEvent(1, 7, 1, 2, RETAIN_VISIBILITY, 8, "", "", "");
        QCOMPARE(mStage->host.requestLines().value(1),
                 "message 1 8 This operation is not permitted!");
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
