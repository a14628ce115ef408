#include "tests/play.h"

#include <QDir>

#include <malloc.h>

using namespace standin;

/// Unloads the library at every moment that a host may choose, while the process lives on.
class TestUnload : public QObject
{
    Q_OBJECT

    QScopedPointer<Scenario> mStage;
    QTextStream mErrors{stderr};

    static bool isMapped()
    {
        QFile maps("/proc/self/maps");
        return maps.open(QIODevice::ReadOnly) && maps.readAll().contains("libstaybolt");
    }

    static int openFiles() { return QDir("/proc/self/fd").entryList().size(); }

    static QWidget *field(const char *name) { return Stage::dialog()->findChild<QWidget *>(name); }

    void unload()
    {
        QVERIFY(isMapped());
        mStage->unload();
        QVERIFY2(!isMapped(), "the library is still mapped");
    }

private Q_SLOTS:
    void init() { mStage.reset(new Scenario(STAYBOLT_LIBRARY, mErrors)); }

    void cleanup()
    {
        // Nothing left in the event loop may call the library.
        QTest::qWait(20);
        QCOMPARE(mStage->host.complaints(), QStringList());
        mStage.reset();
    }

    void keepsWhatWasSaved()
    {
        const QString text = "Hände weg, \"bitte\"; 100% 🐦";
        play(*mStage, "load\nset notify on\nset text '" + text + "'");
        QTest::mouseClick(field("buttonApply"), Qt::LeftButton);
        const QString file = mStage->settingsFile();
        QVERIFY(!QFile::exists(file)); // Qt writes later
        unload();
        QTRY_VERIFY(QFile::exists(file));
        play(*mStage, "expect setting staybolt.customNotify '" + text + '\'');
        play(*mStage, "expect setting staybolt.sendNotify 1");

        // Qt also writes a removal later.
        play(*mStage, "load\nexpect field text '" + text + "'");
        QTest::mouseClick(field("buttonRemove"), Qt::LeftButton);
        unload();
        QTest::qWait(20);
        play(*mStage, "expect setting staybolt.customNotify\nexpect setting staybolt.sendNotify 1");
    }

    void takesAnOpenDialogAlong()
    {
        play(*mStage, "load\nconfigure");
        QTest::qWait(20);
        field("lineCustomNotify")->setFocus();
        QTest::keyClicks(field("lineCustomNotify"), "not saved");
        QTest::mousePress(field("buttonApply"), Qt::LeftButton);
        unload();
        QVERIFY(!Stage::dialog());
        QTest::qWait(20);
        QVERIFY(!QFile::exists(mStage->settingsFile()));
    }

    void needsNoInit()
    {
        QCOMPARE(mStage->plugin.open(STAYBOLT_LIBRARY), QString());
        mStage->plugin.setFunctionPointers(mStage->host.functions());
        mStage->plugin.registerPluginID("x");
        unload();
    }

    void takesAModelAlong()
    {
        play(*mStage,
             "server A uid=\n"
             "channel A 1 Lobby\n"
             "user A 7 Robin Lobby\n"
             "load\n"
             "connect A\n"
             "move A Robin Lobby");
        unload();
        // Loaded again, it starts from scratch: the server isn't known any more.
        play(*mStage, "load\nmoved A Robin Lobby by 8");
        QCOMPARE(mStage->host.takeRequests().first(),
                 "move client (7) to channel (0) on connection (0)");
        unload();
    }

    void staysFlatOverManyLoads()
    {
        // The three singletons are never freed by contract, one with a function table of 1,680
        // bytes.
        constexpr size_t bytesPerLoad = 6000;
        size_t bytes = 0;
        int files = 0;
        for (int i = 0; i < 220; ++i) {
            if (i == 20) {
                bytes = mallinfo2().uordblks;
                files = openFiles();
            }
            QCOMPARE(mStage->host.complaints(), QStringList());
            mStage.reset();
            init();
            play(*mStage,
                 "server A uid=\n"
                 "channel A 1 Lobby\n"
                 "channel A 2 Dungeon\n"
                 "user A 7 Robin Lobby\n"
                 "client A 8 Mallory Lobby\n"
                 "load\n"
                 "configure\n"
                 "set notify on\n"
                 "press save\n"
                 "connect A\n"
                 "move A Robin Lobby\n"
                 "moved A Robin Dungeon by Mallory\n"
                 "disconnect A");
            unload();
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
