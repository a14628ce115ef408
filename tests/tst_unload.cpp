#include "standin/scenario.h"

#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

#include <malloc.h>

using namespace standin;

/// The library unloaded at every moment that a host may choose, while the process lives on.
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

    template<typename T>
    static T *field(const char *name)
    {
        return Stage::dialog()->findChild<T *>(name);
    }

    void play(const QString &lines)
    {
        for (const QString &line : lines.split('\n'))
            QVERIFY2(mStage->playLine(line, line) == Scenario::Held, qPrintable(line));
    }

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
        // Whatever is left behind in the event loop must not lead back into the library.
        QTest::qWait(20);
        QCOMPARE(mStage->host.complaints(), QStringList());
        mStage.reset();
    }

    void keepsWhatWasSaved()
    {
        const QString text = "Hände weg, \"bitte\"; 100% 🐦";
        play("load\nset notify on\nset text '" + text + "'");
        field<QPushButton>("buttonApply")->click();
        const QString file = mStage->settingsFile();
        QVERIFY(!QFile::exists(file)); // Qt writes later
        unload();
        QTRY_VERIFY(QFile::exists(file));
        play("expect setting staybolt.customNotify '" + text
             + "'\nexpect setting staybolt.sendNotify 1");

        // Removing is a change that waits as well.
        play("load\nexpect field text '" + text + "'");
        field<QPushButton>("buttonRemove")->click();
        unload();
        QTest::qWait(20);
        play("expect setting staybolt.customNotify\nexpect setting staybolt.sendNotify 1");
    }

    void takesAnOpenDialogAlong()
    {
        play("load\nconfigure");
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
        mStage->plugin.setFunctionPointers(mStage->host.functions());
        mStage->plugin.registerPluginID("x");
        unload();
    }

    void takesAModelAlong()
    {
        play("server A uid=\n"
             "channel A 1 Lobby\n"
             "user A 7 Robin Lobby\n"
             "load\n"
             "connect A\n"
             "move A Robin Lobby");
        unload();
        // Loaded again, it starts from scratch: the server isn't known any more.
        play("load\nmoved A Robin Lobby by 8");
        QCOMPARE(mStage->host.takeRequests().first(),
                 "move client (7) to channel (0) on connection (0)");
        unload();
    }

    void staysFlatOverManyLoads()
    {
        // The three singletons stay by contract, the function table of 1,680 bytes among them.
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
            play("server A uid=\n"
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
