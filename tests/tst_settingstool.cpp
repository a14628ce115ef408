#include "shared/settings/settingskeys.h"
#include "standin/stage.h"

#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <vector>

using namespace standin;

/// staybolt-settings as a program, and what the plug-in makes of what it writes.
class TestSettingsTool : public QObject
{
    Q_OBJECT

    QScopedPointer<QTemporaryDir> mFolder;
    QString mFile;
    QString mOutput;
    QString mError;

    /// The user as whom programs are run, 0 for the one who runs the tests.
    uid_t mUser = 0;

    struct Process : QProcess
    {
        uid_t user = 0;
        void setupChildProcess() override
        {
            if (user != 0 && setuid(user) != 0)
                _exit(1);
        }
    };

    int run(const QString &program, const QStringList &arguments)
    {
        Process process;
        process.user = mUser;
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
        const auto row = [](const QStringList &words, const QByteArray &error) {
            QTest::newRow(qPrintable(words.join(' '))) << words << QString(error);
        };
        row({"include", "abc="}, "the server abc= is not excluded");
        for (const char *uid : {"", "/", "//"})
            row({"exclude", uid}, "a server's unique id is not empty");
        for (const char *uid : {"sendNotify", "permitIdleDock/"}) {
            const QByteArray error = QByteArray("the file can't hold the id ") + uid;
            row({"exclude", uid}, error + ": its key is a setting");
        }
        row({"exclude"}, "exclude takes other arguments: exclude UID; see --help");
        row({"exclude", "abc=", "abd="}, "exclude takes other arguments: exclude UID; see --help");
        row({"idledock", "maybe"}, "idledock takes on or off, not maybe");
        row({"idledock-target", "", "5"}, "a server's unique id is not empty");
        row({"idledock-target", "abc=", "none"}, "the server abc= has no idleDock channel");
        for (const char *channel : {"4294967296", "five", "+5", ""}) {
            const QByteArray error = "a channel is a number from 0 to 4294967295 or none, not ";
            row({"idledock-target", "abc=", channel}, error + channel);
        }
        row({"notify", "text"}, "notify text takes the text as well");
        row({"notify", "hands", "off"},
            "a text with blanks must stand in quotes: notify text \"hands off\"");
        row({"notify", "text", "hands", "off"},
            "notify takes other arguments: notify on|off, notify standard, notify text TEXT; see "
            "--help");
        row({"forget"}, "there is no command \"forget\"; see --help");
        row({"--forget"}, "Unknown option 'forget'. See --help.");
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

    void changesWhatItIsToldTo_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<QString>("warning");
        const auto row = [](const QStringList &words, const QByteArray &before,
                            const QByteArray &after, const char *warning = "") {
            QTest::newRow(qPrintable(words.join(' ')))
                << words << "[General]\nkey=value\n" + before << "[General]\nkey=value\n" + after
                << QString(warning);
        };
        const char *strange = ": this does not look like a server's unique id, which ends in = and "
                              "has 28 characters as a rule";
        row({"exclude", "abC+/d9="}, "", "\n[staybolt.abC%2B]\nd9%3D=true\n");
        row({"exclude", "abc"}, "", "staybolt.abc=true\n", QByteArray("abc") + strange);
        row({"exclude", "ab//c="}, "", "\n[staybolt.ab]\nc%3D=true\n",
            "ab//c=: the file does not tell doubled slashes and those at the end of an id, so this "
            "holds for ab/c= as well");
        row({"exclude", "--", "-x="}, "", "staybolt.-x%3D=true\n", QByteArray("-x=") + strange);
        row({"include", "abc="}, "staybolt.abc%3D=false\nstaybolt.abd%3D=1\n",
            "staybolt.abd%3D=1\n");
        row({"include", "ab"}, "staybolt.ab=true\n\n[staybolt.ab]\nc%3D=true\nd%3D=\"a, b\"\n",
            "\n[staybolt.ab]\nc%3D=true\nd%3D=\"a, b\"\n", QByteArray("ab") + strange);
        row({"idledock", "on"}, "module.idleDock.abc%3D.target=5\n",
            "module.idleDock.abc%3D.target=5\nmodule.staybolt.idleDock=true\n");
        row({"idledock", "on"}, "staybolt.abc%3D=5\n",
            "module.staybolt.idleDock=true\nstaybolt.abc%3D=5\n",
            "no server has an idleDock channel yet; say staybolt-settings idledock-target UID "
            "CHANNEL");
        row({"idledock", "off"}, "module.staybolt.idleDock=true\n",
            "module.staybolt.idleDock=false\n");
        row({"idledock-target", "abc=", "4294967295"}, "",
            "module.idleDock.abc%3D.target=4294967295\n");
        row({"idledock-target", "abc", "0"}, "", "module.idleDock.abc.target=0\n",
            QByteArray("abc") + strange);
        row({"idledock-target", "abc=", "none"},
            "module.idleDock.abc%3D.target=5\nstaybolt.abc%3D=true\n", "staybolt.abc%3D=true\n");
        row({"notify", "on"}, "staybolt.customNotify=mine\nstaybolt.sendNotify=0\n",
            "staybolt.customNotify=mine\nstaybolt.sendNotify=1\n");
        row({"notify", "off"}, "staybolt.customNotify=mine\nstaybolt.sendNotify=1\n",
            "staybolt.customNotify=mine\nstaybolt.sendNotify=0\n");
        row({"notify", "standard"}, "staybolt.customNotify=mine\n", "staybolt.sendNotify=1\n");
        row({"notify", "text", "off"}, "staybolt.customNotify=mine\n",
            "staybolt.customNotify=off\nstaybolt.sendNotify=1\n");
        row({"notify", "--", "-, -"}, "",
            "staybolt.customNotify=\"-, -\"\nstaybolt.sendNotify=1\n");
        row({"notify", "Off"}, "", "staybolt.customNotify=Off\nstaybolt.sendNotify=1\n",
            "\"Off\" counts as a text here; the word is \"off\"");
    }

    void changesWhatItIsToldTo()
    {
        QFETCH(QStringList, words);
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        QFETCH(QString, warning);
        write(before);
        QCOMPARE(tool(words), 0);
        QCOMPARE(bytes(), after);
        QCOMPARE(mError, QString());
        QCOMPARE(mOutput.section("WARNING: ", 1).trimmed(), warning);
        QCOMPARE(QDir(mFolder->path()).entryList(QDir::Files).size(), 1);
    }

    void keepsWhatItWouldDrop()
    {
        const QByteArray before = "; mine\nno value\nstaybolt.sendNotify=1\n";
        write(before);
        QCOMPARE(tool({"exclude", "abc="}), 0);
        const QString copy = mFolder->filePath("Kestrelsoft Staybolt.kept-1.ini");
        QVERIFY2(mOutput.contains("is kept in " + copy), qPrintable(mOutput));
        QFile kept(copy);
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), before);
        QCOMPARE(bytes(), QByteArray("[General]\nstaybolt.abc%3D=true\nstaybolt.sendNotify=1\n"));
        QCOMPARE(tool({"exclude", "abd="}), 0);
        QVERIFY(!mOutput.contains("is kept in"));

        write("\xef\xbb\xbf[General]\nkey=\xc3\xbc\n");
        QCOMPARE(tool({"exclude", "abc="}), 0);
        QVERIFY2(mOutput.contains("Staybolt.kept-2.ini"), qPrintable(mOutput));
        QCOMPARE(bytes(), QByteArray("[General]\nkey=\\xfc\nstaybolt.abc%3D=true\n"));
    }

    void saysWhyAFileCannotBeUsed()
    {
        QVERIFY(QDir().mkdir(mFile));
        for (const QStringList &words : {QStringList{"list"}, QStringList{"notify", "off"}}) {
            QCOMPARE(tool(words), 2);
            QCOMPARE(mError,
                     QString("staybolt-settings: %1 can't be read: Is a directory\n").arg(mFile));
        }
        QVERIFY(QDir().rmdir(mFile));

        // Somebody else, to whom only what follows is open.
        QVERIFY(QFile::setPermissions(mFolder->path(), QFile::Permissions(0x7755)));
        QVERIFY(QFile::copy(SETTINGS_TOOL, mFolder->filePath("tool")));
        const auto refused = [&](const QString &what) {
            mUser = geteuid() == 0 ? 65534 : 0;
            const QStringList words{"--file", mFile, "notify", "off"};
            const int status = run(mFolder->filePath("tool"), words);
            mUser = 0;
            QCOMPARE(status, 2);
            QCOMPARE(
                mError,
                QString("staybolt-settings: %1 can't be %2: Permission denied\n").arg(mFile, what));
        };
        write("key=value\nno value\n");
        QVERIFY(QFile::setPermissions(mFile, {}));
        refused("read");
        // The copy of what would be dropped can't be made either.
        write("key=value\n");
        QVERIFY(QFile::setPermissions(mFile, QFile::Permissions(0x4444)));
        refused("written");
        QVERIFY(QFile::setPermissions(mFile, QFile::Permissions(0x6666)));
        QVERIFY(QFile::setPermissions(mFolder->path(), QFile::Permissions(0x5555)));
        refused("written");
        QVERIFY(QFile::setPermissions(mFolder->path(), QFile::Permissions(0x7777)));
        QCOMPARE(bytes(), QByteArray("key=value\n"));

        // Only its owner may replace a file here.
        QVERIFY(QFile::setPermissions(mFile, QFile::Permissions(0x6666)));
        QCOMPARE(chmod(qPrintable(mFolder->path()), 01777), 0);
        if (geteuid() == 0) {
            mUser = 65534;
            QCOMPARE(run(mFolder->filePath("tool"), {"--file", mFile, "notify", "off"}), 2);
            mUser = 0;
            QVERIFY2(mError.endsWith("can't be written: Operation not permitted\n"),
                     qPrintable(mError));
            QCOMPARE(bytes(), QByteArray("key=value\n"));
        }

        mFile = "/dev/null";
        QCOMPARE(tool({"list"}), 2);
        QCOMPARE(mError,
                 QString("staybolt-settings: /dev/null can't be read: it is not an ordinary "
                         "file\n"));
        mFile = "/proc/a.ini";
        QCOMPARE(tool({"exclude", "abc="}), 2);
        QCOMPARE(mError,
                 QString("staybolt-settings: /proc/a.ini can't be written: No such file or "
                         "directory\n"));
        mFile = mFolder->filePath("nowhere/a.ini");
        QCOMPARE(tool({"notify", "off"}), 2);
        QVERIFY(mError.contains("is the client installed there?"));
        QCOMPARE(run("sh", {"-c", "'" SETTINGS_TOOL "' --file /nowhere/a.ini list >/dev/full"}), 2);
        QCOMPARE(mError,
                 QString("staybolt-settings: the output can't be written: No space left on "
                         "device\n"));
    }

    void noticesAFailedWriteOfAFileThatIsPartlyUnread()
    {
        // Lines that Qt can't read hide the errors of a write from whoever asks it.
        write("no value\nkey=value\n");
        QCOMPARE(run("sh",
                     {"-c",
                      "ulimit -f 0; trap '' XFSZ; exec '" SETTINGS_TOOL "' --file \"$0\" "
                      "notify off 2>&1 | cat >&2",
                      mFile}),
                 0);
        QVERIFY2(mError.endsWith("can't be written: File too large\n"), qPrintable(mError));
        QCOMPARE(bytes(), QByteArray("no value\nkey=value\n"));
    }

    void looksForItsFileAtHome()
    {
        QVERIFY(QDir(mFolder->path()).mkdir(".ts3client"));
        mFile = mFolder->filePath(".ts3client/Kestrelsoft Staybolt.ini");
        QCOMPARE(run("env", {"HOME=" + mFolder->path(), SETTINGS_TOOL, "idledock", "on"}), 0);
        QCOMPARE(bytes(), QByteArray("[General]\nmodule.staybolt.idleDock=true\n"));
        QCOMPARE(run("env", {"-u", "HOME", SETTINGS_TOOL, "list"}), 2);
        QCOMPARE(mError,
                 QString("staybolt-settings: HOME is not set; name the settings file with "
                         "--file\n"));
        for (const char *option : {"--help", "--version"})
            QCOMPARE(run("env", {"-u", "HOME", SETTINGS_TOOL, option}), 0);
        QCOMPARE(run(SETTINGS_TOOL, {"--file", "", "list"}), 2);
        QCOMPARE(mError, QString("staybolt-settings: --file takes the name of a file\n"));
    }

    void losesNothingToOthers()
    {
        // Many of its kind, some of which know the file by another name ...
        constexpr int count = 20;
        QVERIFY(QDir(mFolder->path()).mkdir("elsewhere"));
        const QString link = mFolder->filePath("elsewhere/link.ini");
        write("key=value\n");
        QVERIFY(QFile::link(mFile, link));
        std::vector<std::unique_ptr<QProcess>> tools;
        const auto start = [&](const QString &file, int i) {
            tools.push_back(std::make_unique<QProcess>());
            tools.back()->start(SETTINGS_TOOL, {"--file", file, "exclude", QString("%1=").arg(i)});
        };
        for (int i = 0; i < count; ++i)
            start(i % 2 == 0 ? mFile : link, i);
        for (const auto &one : tools) {
            QVERIFY(one->waitForFinished());
            QCOMPARE(one->exitCode(), 0);
        }

        // ... and a plug-in that saves meanwhile.
        Stage stage(mFolder->path());
        QCOMPARE(stage.load(STAYBOLT_LIBRARY), QString());
        auto *text = Stage::dialog()->findChild<QLineEdit *>("lineCustomNotify");
        auto *save = Stage::dialog()->findChild<QPushButton *>("buttonApply");
        tools.clear();
        for (int i = 0; i < count; ++i)
            start(mFile, count + i);
        int saves = 0;
        for (const auto &one : tools) {
            do {
                text->setText(QString::number(++saves));
                save->click();
                QTest::qWait(1);
            } while (one->state() != QProcess::NotRunning);
            QCOMPARE(one->exitCode(), 0);
        }
        stage.unload();
        QTest::qWait(20);
        QVERIFY(QFile::copy(mFile, mFile + "2"));
        const QSettings file(mFile + "2", QSettings::IniFormat);
        QStringList lost;
        for (int i = 0; i < 2 * count; ++i) {
            if (!file.contains(QString("staybolt.%1=").arg(i)))
                lost.append(QString::number(i));
        }
        QCOMPARE(lost, QStringList());
        QCOMPARE(file.value("key").toString(), QString("value"));
        QCOMPARE(file.value("staybolt.customNotify").toInt(), saves);
        QCOMPARE(QDir(mFolder->path()).entryList(QDir::Files).size(), 2);
    }

    void waitsForOthersOfItsKind()
    {
        const int folder = ::open(qPrintable(mFolder->path()), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        QCOMPARE(flock(folder, LOCK_EX), 0);
        QProcess waiting;
        waiting.start(SETTINGS_TOOL, {"--file", mFile, "exclude", "abc="});
        QVERIFY(!waiting.waitForFinished(500));
        QCOMPARE(tool({"list"}), 0);
        QCOMPARE(tool({"exclude", "abd="}), 2);
        QCOMPARE(mError,
                 QString("staybolt-settings: waited 15 seconds for another "
                         "staybolt-settings that changes a file in %1\n")
                     .arg(mFolder->path()));
        QVERIFY(waiting.waitForFinished());
        QCOMPARE(waiting.exitCode(), 2);
        QVERIFY(!QFile::exists(mFile));
        waiting.start(SETTINGS_TOOL, {"--file", mFile, "exclude", "abc="});
        QVERIFY(!waiting.waitForFinished(500));
        ::close(folder);
        QVERIFY(waiting.waitForFinished());
        QCOMPARE(waiting.exitCode(), 0);
        QVERIFY(QFile::exists(mFile));
    }

    void listsEveryKindOfKey_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("output");
        QTest::newRow("all") << QByteArray(
            "; mine\n[General]\nstaybolt.sendNotify=TRUE\nstaybolt.customNotify=a,b\n"
            "staybolt.permitIdleDock=1\nmodule.staybolt.idleDock=1\n"
            "staybolt.sendnotify=1\nstaybolt.abc%3D=@Invalid()\nfoo=\"1, 2\"\nstaybolt.x%3D=1,2\n"
            "module.idleDock.abc%3D.targe=\xfc\n"
            "[staybolt.abC%2B]\nd9%3D=false\n")
                             << QStringList{"list"}
                             << R"(
    WARNING: not read, or only in part: line 1. The next change drops this )"
                                R"(from the file and keeps it in a copy.
    WARNING: the plug-in takes letters beyond ASCII for others than )"
                                R"(your editor shows: line 11. staybolt-settings stores them right.
staybolt.sendNotify
    tell the mover after you were moved back
    stored: TRUE
    the plug-in: on
staybolt.customNotify
    what the mover is told, also when it is empty
    stored: a, b
    the plug-in: movers are told ""
    WARNING: an unquoted comma makes this a list, which the plug-in reads as empty
staybolt.permitIdleDock
    the dialog's own record of its first switch; it lets no move through
    stored: 1
    the plug-in: on, without effect
module.staybolt.idleDock
    let moves into the idleDock channel of a server through
    stored: 1
    the plug-in: on
    WARNING: no server has an idleDock channel
foo
    unknown
    stored: 1, 2
    the plug-in: ignores it
    WARNING: nothing reads this key
module.idleDock.abc=.targe
    unknown
    stored: ü
    the plug-in: ignores it
    WARNING: nothing reads this key
staybolt.abC+/d9=
    leave that server alone, whatever the value
    server: abC+/d9=
    stored: false
    the plug-in: left alone
staybolt.abc=
    leave that server alone, whatever the value
    server: abc=
    stored: )"
                                "\n"
                                R"(    the plug-in: left alone
staybolt.sendnotify
    leave that server alone, whatever the value
    server: sendnotify
    stored: 1
    the plug-in: left alone
    WARNING: this does not look like a server's unique id, which ends )"
                                R"(in = and has 28 characters as a rule
staybolt.x=
    leave that server alone, whatever the value
    server: x=
    stored: 1, 2
    the plug-in: left alone
)";
        QTest::newRow("off and absent")
            << QByteArray("[General]\nstaybolt.customNotify=mine\nmodule.staybolt.idleDock=False\n"
                          "module.idleDock.abc%3D.target=42\nmodule.idleDock.x.target=five\n"
                          "module.idleDock.y%3D.target=1,2\n")
            << QStringList{"list"}
            << R"(
staybolt.sendNotify
    tell the mover after you were moved back
    stored: (absent)
    the plug-in: off
staybolt.customNotify
    what the mover is told, also when it is empty
    stored: mine
    the plug-in: movers are not told
staybolt.permitIdleDock
    the dialog's own record of its first switch; it lets no move through
    stored: (absent)
    the plug-in: off
module.staybolt.idleDock
    let moves into the idleDock channel of a server through
    stored: False
    the plug-in: off
module.idleDock.abc=.target
    the idleDock channel on that server
    server: abc=
    stored: 42
    the plug-in: channel 42
module.idleDock.x.target
    the idleDock channel on that server
    server: x
    stored: five
    the plug-in: channel 0
    WARNING: a channel is a number from 0 to 4294967295
    WARNING: this does not look like a server's unique id, which ends )"
               R"(in = and has 28 characters as a rule
module.idleDock.y=.target
    the idleDock channel on that server
    server: y=
    stored: 1, 2
    the plug-in: channel 0
    WARNING: an unquoted comma makes this a list, which the plug-in reads as empty
)";
        QTest::newRow("one server") << QByteArray("[General]\nmodule.idleDock.ab%3D.target=1\n"
                                                  "module.idleDock.abc%3D.target=4294967338\n")
                                    << QStringList{"list", "abc="} << R"(
staybolt.abc=
    leave that server alone, whatever the value
    server: abc=
    stored: (absent)
    the plug-in: the server is protected
module.idleDock.abc=.target
    the idleDock channel on that server
    server: abc=
    stored: 4294967338
    the plug-in: channel 42
    WARNING: a channel is a number from 0 to 4294967295
)";
    }

    void listsEveryKindOfKey()
    {
        QFETCH(QByteArray, text);
        QFETCH(QStringList, words);
        QFETCH(QString, output);
        write(text);
        QCOMPARE(tool(words), 0);
        QCOMPARE(mOutput, "Settings in " + mFile + "\n" + output);
    }

    void opensAWindowWhereThereIsADisplay_data()
    {
        QTest::addColumn<QStringList>("environment");
        QTest::addColumn<bool>("isWindow");
        QTest::newRow("none") << QStringList{} << false;
        QTest::newRow("not reachable")
            << QStringList{"DISPLAY=:4711", "WAYLAND_DISPLAY=gone"} << false;
        QTest::newRow("on purpose") << QStringList{"QT_QPA_PLATFORM=offscreen"} << true;
    }

    void opensAWindowWhereThereIsADisplay()
    {
        QFETCH(QStringList, environment);
        QFETCH(bool, isWindow);
        QProcess process;
        process.start("env",
                      QStringList{"-u", "DISPLAY", "-u", "WAYLAND_DISPLAY", "-u", "QT_QPA_PLATFORM"}
                          + environment + QStringList{SETTINGS_TOOL, "--file", mFile});
        if (isWindow) {
            QVERIFY(!process.waitForFinished(1000));
            process.kill();
            QVERIFY(process.waitForFinished());
        } else {
            QVERIFY(process.waitForFinished());
            QCOMPARE(process.exitCode(), 0);
        }
        QCOMPARE(process.readAllStandardOutput().contains("exclude UID"), !isWindow);
    }

    void completesIds_data()
    {
        QTest::addColumn<QString>("words");
        QTest::addColumn<QString>("completions");
        QTest::newRow("include") << "include a"
                                 << "abc= abd=";
        QTest::newRow("any id") << "idledock-target ''"
                                << "abc= abd= xyz=";
        QTest::newRow("behind an id") << "idledock-target abc = n"
                                      << "none";
        QTest::newRow("command") << "inc"
                                 << "include";
    }

    void completesIds()
    {
        QFETCH(QString, words);
        QFETCH(QString, completions);
        mFile = mFolder->filePath("a b.ini");
        write("[General]\nstaybolt.abc%3D=1\nstaybolt.abd%3D=1\nmodule.idleDock.xyz%3D.target=1\n");
        const QString script =
            "PATH=$(dirname \"$1\"):$PATH; cd \"$2\"; . " SOURCE_FOLDER
            "/settings-tool/staybolt-settings.bash-completion\n"
            "COMP_WORDS=(staybolt-settings --file '\"a b.ini\"' %1)\n"
            "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _staybolt_settings; echo ${COMPREPLY[@]}";
        QCOMPARE(run("bash", {"-c", script.arg(words), "bash", SETTINGS_TOOL, mFolder->path()}), 0);
        QCOMPARE(mOutput.trimmed(), completions);
    }

    void namesTheLinesThatQtDoesNotRead_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("unread");
        QTest::addColumn<QString>("beyondAscii");
        QTest::newRow("all read") << QByteArray("[General]\na = 1\n\n[b]\r\n c=\"2;\" \n") << ""
                                  << "";
        QTest::newRow("comments and notes")
            << QByteArray("; \"one\na=1\n# two\nb=1 ; three\nfour\n") << "1, 3, 4, 5"
            << "";
        QTest::newRow("twice") << QByteArray("a=1\na=2\n[general]\na=3\n[b]\na=4\n") << "1, 2"
                               << "";
        QTest::newRow("open quote") << QByteArray("a=\"1\nb=2\nc=3\"\nd=4\n") << "1, 2, 3"
                                    << "";
        QTest::newRow("goes on") << QByteArray("a=1\\\nb=2\nc=3\n") << "1, 2"
                                 << "";
        QTest::newRow("Latin-1 and UTF-8") << QByteArray("a=\xfc\n\nb=\xc3\xbc\n") << ""
                                           << "1, 3";
        QTest::newRow("byte-order mark") << QByteArray("\xef\xbb\xbf[General]\nb=\xc3\xbc\n") << ""
                                         << "";
        QTest::newRow("byte-order mark before a key") << QByteArray("\xef\xbb\xbf"
                                                                    "a=1\nb=2\n")
                                                      << "1"
                                                      << "";
    }

    void namesTheLinesThatQtDoesNotRead()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, unread);
        QFETCH(QString, beyondAscii);
        write(text);
        QCOMPARE(tool({"list"}), 0);
        const auto named = [&](const char *pattern) {
            return QRegularExpression(pattern).match(mOutput).captured(1);
        };
        QCOMPARE(named("not read, or only in part: line ([0-9, ]*[0-9])\\."), unread);
        QCOMPARE(named("letters beyond ASCII [^:]*: line ([0-9, ]*[0-9])\\."), beyondAscii);
        QCOMPARE(bytes(), text);
    }

    void documentsSayWhatIsTrue()
    {
        const auto text = [](const char *name) {
            QFile file(QString(SOURCE_FOLDER "/") + name);
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        };
        const QString keys = text("docs/settings.md");
        for (const settingsKeys::Key *key : settingsKeys::all) {
            const QString row = QString("| `%1` | %2 | %3 | %4 | %5 |")
                                    .arg(key->of("UID"), key->value, key->whenAbsent, key->meaning)
                                    .arg(key->setIn);
            QVERIFY2(keys.contains(row), qPrintable("docs/settings.md lacks the line: " + row));
        }
        for (const char *name : {"README.md", "CONTRIBUTING.md", "docs/settings.md"}) {
            // Each line of commands does what it says, one after the other.
            static const QRegularExpression line("^    staybolt-settings (.*?)(  .*)?$",
                                                 QRegularExpression::MultilineOption);
            for (auto all = line.globalMatch(text(name)); all.hasNext();) {
                const QString words = all.next().captured(1);
                QCOMPARE(run("sh", {"-c", SETTINGS_TOOL " --file \"$0\" " + words, mFile}), 0);
            }
            static const QRegularExpression script("tools/[a-z-]+");
            for (auto all = script.globalMatch(text(name)); all.hasNext();) {
                const QString tool = all.next().captured();
                QVERIFY2(QFileInfo(SOURCE_FOLDER "/" + tool).isExecutable(), qPrintable(tool));
            }
        }
    }
};

QTEST_MAIN(TestSettingsTool)
#include "tst_settingstool.moc"
