#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

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
        QTemporaryDir folder;
        QFile file(folder.filePath("a.scn"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(scenario) == scenario.size());
        file.close();
        QProcess host;
        host.setWorkingDirectory(folder.path());
        host.start(STAYBOLT_HOST, QStringList{"--quiet", "a.scn"} + options);
        QVERIFY(host.waitForFinished());
        QCOMPARE(QString::fromUtf8(host.readAllStandardError()), error);
        QCOMPARE(host.exitStatus(), QProcess::NormalExit);
        QCOMPARE(host.exitCode(), status);
    }

private Q_SLOTS:
    void noticesWhatAPluginDoesWrong_data()
    {
        QTest::addColumn<QString>("complaint");
        QTest::newRow("trap") << "the member at position 184 of the function table was called";
        QTest::newRow("leak") << "a block of getServerVariableAsString was not released";
        QTest::newRow("twice") << "a block was released twice";
        QTest::newRow("foreign") << "a block was released that is not the client's";
        QTest::newRow("thread")
            << "getCurrentServerConnectionHandlerID was called from another thread";
        QTest::newRow("late") << "getCurrentServerConnectionHandlerID was called before the "
                                 "function table was handed "
                                 "over or after shutdown";
    }

    void noticesWhatAPluginDoesWrong()
    {
        QFETCH(QString, complaint);
        qputenv("MISBEHAVIOUR", QTest::currentDataTag());
        play(stage, {"--library", MISBEHAVING_LIBRARY}, 1,
             QString("The plug-in broke a rule: %1\n").arg(complaint));
    }

    void refusesPluginsThatItCannotUse()
    {
        const QString plugin = "--library";
        const QString noPlugin = "/dev/null";
        play("load\n", {plugin, noPlugin}, 2,
             "a.scn:1: the plug-in can't be loaded: /dev/null: file too short\n");
        qputenv("MISBEHAVIOUR", "version");
        play("load\n", {plugin, MISBEHAVING_LIBRARY}, 2,
             QString("a.scn:1: the plug-in %1 is for version 21 of the interface, not for "
                     "22\n")
                 .arg(MISBEHAVING_LIBRARY));
        qputenv("MISBEHAVIOUR", "init");
        play("load\n", {plugin, MISBEHAVING_LIBRARY}, 2,
             QString("a.scn:1: the plug-in %1 refused to start\n").arg(MISBEHAVING_LIBRARY));
        qunsetenv("MISBEHAVIOUR");

        QProcess host;
        host.start(STAYBOLT_HOST, {"--settings", plugin, LACKING_LIBRARY});
        QVERIFY(host.waitForFinished());
        QCOMPARE(QString::fromUtf8(host.readAllStandardError()),
                 QString("the plug-in %1 lacks ts3plugin_infoData\n").arg(LACKING_LIBRARY));
        QCOMPARE(host.exitCode(), 2);
    }

    void judgesScenarios_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        const auto row =
            [](const char *name, const QByteArray &lines, int status, const char *error) {
                QTest::newRow(name)
                    << stage + lines << status
                    << (error ? QString("a.scn:6: %1\n").arg(QString::fromUtf8(error)) : QString());
            };
        const QByteArray forced = "moved Northgate Robin Lobby by 9\n";
        row("unknown statement", "jump Northgate\n", 2, "there is no statement \"jump\"");
        row("missing word", "move Northgate\n", 2, "CLIENT is missing");
        row("too many words", "tab Northgate now\n", 2, "too much: now");
        row("unknown server", "connect Nowhere\n", 2, "there is no server \"Nowhere\"");
        row("open quote", "say \"x\n", 2, "a quoted text has no end");
        row("client id out of range", "client Northgate 65536 Eve Lobby\n", 2,
            "ID is not a number from 0 to 65535: 65536");
        row("unknown expectation", "expect rain\n", 2, "there is no expectation \"rain\"");
        row("no request came", "expect move Northgate Robin Lobby\n", 1,
            "move: expected: move you to \"Lobby\" on \"Northgate\" (connection 1, client 7, "
            "channel "
            "1); came: nothing");
        row("misspelt function", "refuse getClientId\n", 2,
            "the table has no function getClientId");
        row("an info that does not hold", "expect info x\n", 1,
            "info: expected: x; came: [I]\"none\"[/I]");
        row("a request that nobody expected", "expect nothing\n" + forced + "# the end\n", 1,
            nullptr);
    }

    void judgesScenarios()
    {
        QFETCH(QByteArray, lines);
        QFETCH(int, status);
        QFETCH(QString, error);
        if (QByteArray(QTest::currentDataTag()) == "a request that nobody expected") {
            error = "a.scn:8: nothing: expected: nothing; came: move you to channel "
                    "0 on \"Northgate\"\n";
        }
        play(lines, {}, status, error);
    }
};

QTEST_GUILESS_MAIN(TestStandin)
#include "tst_standin.moc"
