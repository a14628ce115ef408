#include "standin/stage.h"

#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QtTest>

#include <malloc.h>

using namespace standin;

/// The library unloaded at every moment that a client may choose, while the process lives on.
class TestUnload : public QObject
{
    Q_OBJECT

    QScopedPointer<Stage> mStage;

    static bool isMapped()
    {
        QFile maps("/proc/self/maps");
        return maps.open(QIODevice::ReadOnly) && maps.readAll().contains("libstaybolt");
    }

    static int openFiles() { return QDir("/proc/self/fd").entryList().size(); }

    template<typename T>
    static T *field(const char *name)
    {
        return Stage::dialog()->findChild<T *>(name);
    }

    void addServers(Id count)
    {
        for (Id connection = 1; connection <= count; ++connection) {
            Server server;
            server.connection = connection;
            server.own = 7;
            server.channels = {{1, "Lobby"}, {2, "Dungeon"}};
            server.clients[7] = {7, "me=", "Robin", "", "", 1};
            server.clients[8] = {8, "mallory=", "Mallory", "", "", 1};
            mStage->host.servers.insert(connection, server);
        }
    }

    void load() { QCOMPARE(mStage->load(STAYBOLT_LIBRARY), QString()); }

    void unload()
    {
        QVERIFY(isMapped());
        mStage->unload();
        QVERIFY2(!isMapped(), "the library is still mapped");
    }

private Q_SLOTS:
    void init() { mStage.reset(new Stage); }

    void cleanup()
    {
        // Whatever is left behind in the event loop must not lead back into the library.
        QTest::qWait(20);
        QVERIFY(!isMapped());
        QCOMPARE(mStage->host.complaints(), QStringList());
        mStage.reset();
    }

    void keepsWhatWasSaved()
    {
        const QString text = "Hände weg, \"bitte\"; 100% 🐦";
        load();
        mStage->configure();
        field<QLineEdit>("lineCustomNotify")->setText(text);
        field<QSlider>("sliderNotify")->setValue(1);
        field<QPushButton>("buttonApply")->click();
        const QString file = mStage->settingsFile();
        QVERIFY(!QFile::exists(file)); // Qt writes later
        unload();
        QTRY_VERIFY(QFile::exists(file));
        QVERIFY(QFile::copy(file, file + "2"));
        const QSettings settings(file + "2", QSettings::IniFormat);
        QCOMPARE(settings.value("staybolt.customNotify").toString(), text);
        QCOMPARE(settings.value("staybolt.sendNotify").toInt(), 1);

        // Removing is a change that waits as well.
        load();
        QCOMPARE(field<QLineEdit>("lineCustomNotify")->text(), text);
        field<QPushButton>("buttonRemove")->click();
        unload();
        QTest::qWait(20);
        QVERIFY(QFile::copy(file, file + "3"));
        QCOMPARE(QSettings(file + "3", QSettings::IniFormat).allKeys(),
                 (QStringList{"staybolt.permitIdleDock", "staybolt.sendNotify"}));
    }

    void takesAnOpenDialogAlong()
    {
        load();
        mStage->configure();
        QTest::qWait(20);
        field<QLineEdit>("lineCustomNotify")->setFocus();
        QTest::keyClicks(field<QLineEdit>("lineCustomNotify"), "not saved");
        QTest::mousePress(field<QPushButton>("buttonApply"), Qt::LeftButton);
        unload();
        QVERIFY(!Stage::dialog());
        QTest::qWait(20);
        QVERIFY(!QFile::exists(mStage->settingsFile()));
    }

    void needsNoInit()
    {
        QCOMPARE(mStage->plugin.open(STAYBOLT_LIBRARY), QString());
        mStage->host.accepts = true;
        mStage->plugin.registerPluginID("x");
        unload();
        QCOMPARE(mStage->plugin.open(STAYBOLT_LIBRARY), QString());
        mStage->plugin.setFunctionPointers(mStage->host.functions());
        unload();
        QCOMPARE(mStage->plugin.open(STAYBOLT_LIBRARY), QString());
        mStage->plugin.close();
    }

    void takesAModelAlong()
    {
        addServers(3);
        load();
        for (Id connection : {1UL, 2UL, 3UL})
            mStage->connect(connection);
        unload();
        // Loaded again, it starts from scratch: the mover is not known any more.
        load();
        mStage->moved(3, 7, 2, 8);
        QCOMPARE(mStage->host.takeRequests(),
                 (QStringList{"move client (7) to channel (0) on connection (0)",
                              "log at level 2 for connection (0): \"unknown connection\""}));
        unload();
    }

    void staysFlatOverManyLoads()
    {
        // The three singletons stay by contract, the function table of 1,680 bytes among them.
        constexpr size_t bytesPerLoad = 6000;
        addServers(3);
        mStage->host.keepsCalls = false;
        size_t bytes = 0;
        int files = 0;
        for (int i = 0; i < 220; ++i) {
            if (i == 20) {
                bytes = mallinfo2().uordblks;
                files = openFiles();
            }
            load();
            for (Id connection : {1UL, 2UL, 3UL}) {
                mStage->connect(connection);
                mStage->move(connection, 7, 1);
                mStage->moved(connection, 7, 2, 8);
                mStage->disconnect(connection);
            }
            mStage->configure();
            field<QSlider>("sliderNotify")->setValue(i % 2);
            field<QPushButton>("buttonApply")->click();
            unload();
            mStage->host.requests.clear();
            QCoreApplication::processEvents();
        }
        QCOMPARE(openFiles(), files);
        const size_t grown = mallinfo2().uordblks - bytes;
        QVERIFY2(grown < 200 * bytesPerLoad,
                 qPrintable(QString("%1 bytes a load").arg(grown / 200)));
        qInfo("%zu bytes a load", grown / 200);
    }
};

QTEST_MAIN(TestUnload)
#include "tst_unload.moc"
