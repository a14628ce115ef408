#include "standin/player.h"
#include "tests/files.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace standin;

namespace {

const QByteArray stage = "server Northgate uid=\n"
                         "channel Northgate 1 Lobby\n"
                         "user Northgate 7 Robin Lobby\n"
                         "load\n"
                         "connect Northgate\n";

}

/// The stand-in host as a program: what it notices, and how it says so.
class TestStandin : public QObject
{
    Q_OBJECT

private:
    /// Plays `scenario` from a file of that name and compares status and standard error.
    static void play(const QByteArray &scenario, const QStringList &options, int status,
                     const QString &error)
    {
        const QTemporaryDir folder;
        writeFile(folder.filePath("a.scn"), scenario);
        QProcess host;
        host.setWorkingDirectory(folder.path());
        host.start(STAYBOLT_HOST, QStringList{"a.scn"} + options);
        QVERIFY(host.waitForFinished(-1));
        const QString came = QString::fromUtf8(host.readAllStandardError());
        if (error.startsWith("The plug-in broke a rule"))
            QVERIFY2(came.split('\n').contains(error.trimmed()), qPrintable(came));
        else
            QCOMPARE(came, error);
        QCOMPARE(host.exitStatus(), QProcess::NormalExit);
        QCOMPARE(host.exitCode(), status);
    }

private Q_SLOTS:
    void noticesWhatAPluginDoesWrong_data()
    {
        QTest::addColumn<QString>("complaint");
        const auto row = [](const char *name, const char *complaint) {
            QTest::newRow(name) << QString(complaint);
        };
        row("trap",
            "the member at position 184 of the function table was called (call 8, a.scn:5)");
        row("leak", "a block of getServerVariableAsString, call 9, a.scn:5, was not given back");
        row("keep",
            "a block of getServerVariableAsString, call 9, a.scn:5, was not given back before the "
            "next call (call 10, a.scn:5)");
        row("twice", "a block was given back twice (call 11, a.scn:5)");
        row("foreign", "a block was given back that is not the host's (call 9, a.scn:5)");
        row("thread",
            "getCurrentServerConnectionHandlerID was called from another thread (call 9, a.scn:5)");
        row("late",
            "getCurrentServerConnectionHandlerID was called before the function table was handed "
            "over or after shutdown (call 17, a.scn:9)");
        const QString null =
            "%1 was given a null pointer instead of an empty string (call 9, a.scn:5)";
        row("null password", qPrintable(null.arg("requestClientMove")));
        row("null message", qPrintable(null.arg("requestSendPrivateTextMsg")));
        row("null log channel", qPrintable(null.arg("logMessage")));
        row("return code",
            "requestSendPrivateTextMsg was given a return code, for which the plug-in has no "
            "callback (call 9, a.scn:5)");
        row("icon of the menu", "the menu's icon was written (call 9, a.scn:6)");
        row("icon of an item", "a menu item has an icon (call 9, a.scn:6)");
        const QString fixed =
            "a pointer into a library was handed out instead of a block (call %1, a.scn:%2)";
        row("static menu item", qPrintable(fixed.arg(9).arg(6)));
        row("static info", qPrintable(fixed.arg(11).arg(8)));
        row("no info", "no text for the info panel was handed out (call 11, a.scn:8)");
        row("offer", "the settings are not offered on this thread (call 14, a.scn:9)");
    }

    void noticesWhatAPluginDoesWrong()
    {
        QFETCH(QString, complaint);
        qputenv("MISBEHAVIOUR", QTest::currentDataTag());
        play(stage + "expect menu '0 0 '\nexpect hotkeys\nexpect info ''\nconfigure\n",
             {"--library", MISBEHAVING_LIBRARY}, 1,
             QString("The plug-in broke a rule: %1\n").arg(complaint));
    }

    void refusesPluginsThatItCannotUse()
    {
        const auto refuse = [](const char *library, const QString &why) {
            play("load\n", {"--library", library}, 2,
                 QString("a.scn:1: the plug-in %1 %2\n").arg(library, why));
        };
        refuse(LACKING_LIBRARY, "lacks ts3plugin_infoData");
        qputenv("MISBEHAVIOUR", "version");
        refuse(MISBEHAVING_LIBRARY, "is for version 21 of the interface, not for 22");
        qputenv("MISBEHAVIOUR", "init");
        refuse(MISBEHAVING_LIBRARY, "refused to start");
    }

    void judgesScenarios_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        const auto row = [](const char *name, const QByteArray &lines, int status,
                            const char *error) {
            QTest::newRow(name) << stage + lines << status << QString("a.scn:%1\n").arg(error);
        };
        row("too many words", "tab Northgate now\n", 2, "6: unexpected words: now");
        row("id out of range", "client Northgate 65536 Eve Lobby\n", 2,
            "6: there is no CLIENT \"65536\"");
        row("the user comes late", "user Northgate 9 Eve Lobby\n", 2,
            "6: the user must be added before the server is connected");
        row("setting while the plug-in reads", "setting a b\n", 2,
            "6: the plug-in is loaded already; say \"unload\" first");
        row("no expectation", "say x\n", 2, "6: no line expects anything, so this checks nothing");
        row("no request came", "expect move Northgate Robin Lobby password \"a\\b\"\n", 1,
            "6: expect move: expected move you (7) to \"Lobby\" (1) on \"Northgate\" (1) with "
            "password \"a\\\\b\", got nothing");
        row("a request that nobody expected",
            "expect nothing\nmoved Northgate Robin Lobby by 9\n# the end\n", 1,
            "8: expect nothing: expected nothing, got move you (7) to channel (0) on "
            "\"Northgate\" (1)");
        row("misspelt function", "refuse getClientId\n", 2,
            "6: there is no FUNCTION \"getClientId\"");
    }

    void judgesScenarios()
    {
        QFETCH(QByteArray, lines);
        QFETCH(int, status);
        QFETCH(QString, error);
        play(lines, {}, status, error);
    }

    void findsTheShortestWayToAFault()
    {
        const auto finds = [](const char *library, const QByteArray &error, int lines) {
            QProcess host;
            host.start(STAYBOLT_HOST, {"--random", "20000", "--seed", "1", "--library", library});
            QVERIFY(host.waitForFinished(-1));
            QCOMPARE(host.exitCode(), 1);
            const QByteArray errors = host.readAllStandardError();
            QVERIFY2(errors.contains(error), errors);
            const QByteArray found = host.readAllStandardOutput();
            QVERIFY2(found.contains("load\n") && found.count('\n') <= lines, found);
        };
        qputenv("MISBEHAVIOUR", "crash");
        finds(MISBEHAVING_LIBRARY, "The run ended with signal 6.\n", 4);
#ifndef __SANITIZE_ADDRESS__ // starts hundreds of programs, which would take minutes
        // It still knows clients that it saw before a disconnection.
        finds(UNDROPPING_LIBRARY, "run.scn:", 30);
#endif
    }

    void playsEveryKindOfEvent()
    {
        Lines lines = draw(Choices::seeded(1));
        lines.push_back({"poke", "A", "1"});
        QSet<QByteArray> played;
        for (const QByteArray &line : scenarioOf(lines).split('\n'))
            played.insert(line.split(' ').first());
        for (const Line &line : lines)
            QVERIFY2(played.contains(line[0].c_str()) == (line[0] != "poke"), line[0].c_str());
    }

    void helpsAPersonAtATerminal()
    {
        // That needs a terminal; "script" creates one where the system has any.
        if (QProcess::execute("script", {"-qec", "true", "/dev/null"}) != 0) {
            QTest::qSkip("skipped, because this system has no terminals", __FILE__, __LINE__);
            return;
        }
        QProcess host;
        host.start("script", {"-qec", STAYBOLT_HOST, "/dev/null"});
        host.write("move Northgate Robin Nowhere\njump\nhelp mov\nmove Northgate Robin Den now\n"
                   "expect in Northgate Robin Lobby\nrename Northgate Robin R\u00f6bin\nshow\n"
                   "expect in Northgate R\u00f6bin Lobby\nquit\n");
        QVERIFY(host.waitForFinished(-1));
        const QString came = QString::fromUtf8(host.readAllStandardOutput()).remove('\r');
        for (const char *line :
             {"there is no CHANNEL \"Nowhere\"\n", "there is no statement \"jump\"; say \"help\"\n",
              "\n  moved SERVER CLIENT CHANNEL by OTHER-CLIENT",
              "expected enters|leaves, got now\n"}) {
            QVERIFY2(came.contains(line), qPrintable(came));
        }
        QVERIFY2(!came.contains("expect in: "), qPrintable(came));
        QCOMPARE(host.exitCode(), 0);
    }

    void runsWithoutADisplay()
    {
        // DISPLAY names a display that can't be reached.
        const QStringList start{"-u", "QT_QPA_PLATFORM", "DISPLAY=:77", STAYBOLT_HOST};
        const auto run = [&](const QStringList &arguments) {
            QProcess host;
            host.start("env", start + arguments);
            host.closeWriteChannel();
            return host.waitForFinished(-1) && host.exitStatus() == QProcess::NormalExit
                ? host.exitCode()
                : -1;
        };
        QCOMPARE(run({SOURCE_FOLDER "/scenarios/demo.scn"}), 0);
        for (const char *number : {"x", "0", "-1", "3000000000", ""})
            QCOMPARE(run({"--random", number}), 2);
        QCOMPARE(run({"--random", "1", "--seed", "x"}), 2);
        // Options that would be ignored are refused.
        for (const QStringList &words : {QStringList{"--random", "1", "-"},
                                         {"--bytes", "/dev/null", "-"},
                                         {"--seed", "1"},
                                         {"--random", "1", "--bytes", "/dev/null"},
                                         {"--random", "1", "--config", "/"}})
            QVERIFY2(run(words) == 2, qPrintable(words.join(' ')));
    }
};

QTEST_GUILESS_MAIN(TestStandin)
#include "tst_standin.moc"
