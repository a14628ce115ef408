#include "shared/settings/settingskeys.h"

#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

/// staybolt-settings as a program, and what the plug-in makes of what it writes.
class TestSettingsTool : public QObject
{
    Q_OBJECT

    QScopedPointer<QTemporaryDir> mFolder;
    QString mFile;
    QString mOutput;
    QString mError;

    int run(const QString &program, const QStringList &arguments)
    {
        QProcess process;
        process.start(program, arguments);
        if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit)
            return -1;
        mOutput = QString::fromUtf8(process.readAllStandardOutput());
        mError = QString::fromUtf8(process.readAllStandardError());
        return process.exitCode();
    }

    int tool(const QStringList &words)
    {
        return run(SETTINGS_TOOL, QStringList{"--file", mFile} + words);
    }

    QByteArray bytes() const
    {
        QFile file(mFile);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
    }

    void write(const QByteArray &text) const
    {
        QFile file(mFile);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }

private Q_SLOTS:
    void init()
    {
        mFolder.reset(new QTemporaryDir);
        mFile = mFolder->filePath("Kestrelsoft Staybolt.ini");
    }

    void decidesWhatThePluginProtects_data()
    {
        QTest::addColumn<QString>("uid");
        QTest::newRow("slash and plus") << "abC+/d9=";
        QTest::newRow("doubled slashes") << "/x//y=";
        QTest::newRow("percent") << "50%1=";
        QTest::newRow("other letters") << "ä b;\"c\",d=";
    }

    void decidesWhatThePluginProtects()
    {
        QFETCH(QString, uid);
        const auto play = [&](const QByteArray &expectations) {
            QFile scenario(mFolder->filePath("a.scn"));
            QVERIFY(scenario.open(QIODevice::WriteOnly));
            scenario.write("server S '" + uid.toUtf8()
                           + "'\nchannel S 1 Lobby\nchannel S 2 Dungeon\nuser S 7 Robin Lobby\n"
                             "client S 8 Mallory Lobby\nload\nconnect S\nmove S Robin Lobby\n"
                             "moved S Robin Dungeon by Mallory\n"
                           + expectations);
            scenario.close();
            const QStringList arguments{"--quiet", "--config", mFolder->path(),
                                        scenario.fileName()};
            const int status = run(STAYBOLT_HOST, arguments);
            QVERIFY2(status == 0, qPrintable(mError));
        };
        QCOMPARE(tool({"exclude", uid}), 0);
        play("expect nothing\n");
        QCOMPARE(tool({"include", uid}), 0);
        play("expect move S Robin Lobby\nexpect nothing\n");
        QCOMPARE(tool({"idledock", "on"}), 0);
        QCOMPARE(tool({"idledock-target", uid, "2"}), 0);
        play("expect nothing\n");
        QCOMPARE(tool({"idledock-target", uid, "none"}), 0);
        QCOMPARE(tool({"notify", "a, \"b\""}), 0);
        play("expect move S Robin Lobby\nexpect message S Mallory 'a, \"b\"'\n");
        QCOMPARE(tool({"notify", "standard"}), 0);
        play("expect move S Robin Lobby\nexpect message S Mallory 'This operation is not "
             "permitted!'\n");
        QCOMPARE(tool({"notify", "off"}), 0);
        play("expect move S Robin Lobby\nexpect nothing\n");
    }

    void refusesWhatMakesNoSense_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("error");
        const auto row = [](const QStringList &words, const char *error) {
            QTest::newRow(qPrintable(words.join(' '))) << words << QString(error);
        };
        row({"include", "abc="}, "the server abc= is not excluded");
        row({"exclude", ""}, "a server's unique id is not empty");
        row({"exclude", "sendNotify"},
            "the file can't hold the id sendNotify: its key is a setting");
        row({"exclude", "sendNotify/"},
            "the file can't hold the id sendNotify/: its key is a setting");
        row({"exclude"}, "exclude takes 1 argument(s); see --help");
        row({"idledock", "maybe"}, "idledock takes on or off, not maybe");
        row({"idledock-target", "abc=", "none"}, "the server abc= has no idleDock channel");
        for (const char *channel : {"4294967296", "five", "+5", ""}) {
            const QByteArray error = QByteArray("a channel is a number from 0 to 4294967295 or "
                                                "none, not ")
                + channel;
            row({"idledock-target", "abc=", channel}, error);
        }
        row({"forget"}, "there is no command \"forget\"; see --help");
    }

    void refusesWhatMakesNoSense()
    {
        QFETCH(QStringList, words);
        QFETCH(QString, error);
        const QByteArray before = "; mine\n[General]\nkey=value\n";
        write(before);
        QCOMPARE(tool(words), 2);
        QCOMPARE(mError, QString("staybolt-settings: %1\n").arg(error));
        QCOMPARE(bytes(), before);
    }

    void leavesFilesAloneThatItCannotUse()
    {
        write("no value\n");
        QCOMPARE(tool({"notify", "off"}), 2);
        QVERIFY(mError.contains("is damaged"));
        QCOMPARE(bytes(), QByteArray("no value\n"));
        QVERIFY(QFile::remove(mFile) && QDir().mkdir(mFile));
        QCOMPARE(tool({"list"}), 2);
        QCOMPARE(mError, QString("staybolt-settings: %1 can't be read\n").arg(mFile));
        mFile = mFolder->filePath("nowhere/a.ini");
        QCOMPARE(tool({"notify", "off"}), 2);
        QVERIFY(mError.contains("is the client installed there?"));
    }

    void listsAndWarns()
    {
        write("[General]\nstaybolt.customNotify=a,b\nstaybolt.sendnotify=1\nstaybolt.abc%3D=1\n"
              "foo=1\nstaybolt.x=1\n");
        QCOMPARE(tool({"list"}), 0);
        for (const char *line :
             {"an unquoted comma makes this a list, which the plug-in reads as empty",
              "did you mean staybolt.sendNotify?", "server abc=", "nothing reads this key",
              "movers are told \"\"", "this does not look like a server's unique id"}) {
            QVERIFY2(mOutput.contains(line), line);
        }
        QCOMPARE(mOutput.count("WARNING"), 3);
    }

    void documentsListTheSameKeys()
    {
        for (const char *name : {"README.md", "docs/settings.md"}) {
            QFile file(QString(SOURCE_FOLDER "/") + name);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString text = QString::fromUtf8(file.readAll());
            for (const settingsKeys::Description &key : settingsKeys::descriptions) {
                const QString row = QString("| `%1` | %2 | %3 | %4 | %5 |")
                                        .arg(key.key, key.value, key.whenAbsent, key.meaning)
                                        .arg(key.setIn);
                QVERIFY2(text.contains(row),
                         qPrintable(QString("%1 lacks the line: %2").arg(name, row)));
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestSettingsTool)
#include "tst_settingstool.moc"
