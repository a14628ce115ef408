#include "shared/settings/settingskeys.h"
#include "standin/scenario.h"
#include "tests/files.h"

#include <QLineEdit>
#include <QLockFile>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace standin;

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
        // No limit of its own, since the machine may be busy; the whole test has one.
        if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit)
            return -1;
        mOutput = QString::fromUtf8(process.readAllStandardOutput());
        mError = QString::fromUtf8(process.readAllStandardError());
        return process.exitCode();
    }

    int tool(const QStringList &words)
    {
        return run(SETTINGS_TOOL, QStringList{"--file", mFile} + words);
    }

private Q_SLOTS:
    void init()
    {
        mFolder.reset(new QTemporaryDir);
        mFile = mFolder->filePath("Kestrelsoft Staybolt.ini");
    }

    void refusesWhatMakesNoSense_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("error");
        const auto row = [](const QStringList &words, const QByteArray &error) {
            QTest::newRow(qPrintable(words.join(' '))) << words << QString(error);
        };
        row({"exclude", " / "}, "the server's unique id is missing");
        row({"exclude", "permitIdleDock/"},
            "permitIdleDock/: this id clashes with the name of a setting");
        for (const char *uid : {"My Server", "50%1=", "gr\u00fc\u00dfe", "-x=", "a_b="}) {
            row({"idledock-target", "--", uid, "5"},
                QByteArray("\"") + uid
                    + "\" is not a unique id. Unique ids contain only letters, digits, +, / and =. "
                      "To find a server's id, click the server's name in the client and look at "
                      "the info panel.");
        }
        row({"name", "abc=", "Home"},
            "abc= has no settings. Leave it alone or set its idleDock channel first");
        for (const char *channel : {"4294967296", "five", "+5", ""}) {
            const QByteArray error =
                "a channel is a number from 0 to 4294967295, or none to remove it; not \"";
            row({"idledock-target", "abc=", channel}, error + channel + '"');
        }
        row({"notify", "text", "hands", "off"},
            "put the message in quotes: staybolt-settings notify text \"hands off\"");
        row({"forget"}, "there is no command \"forget\". See --help.");
        for (const QString seconds : {"-1", "3601", "soon"}) {
            row({"--wait=" + seconds, "notify", "off"},
                "--wait takes a number of seconds from 0 to 3600, not \"" + seconds.toUtf8() + '"');
        }
        row({"notify", "text", "-xi"},
            "Unknown options: x, i. See --help. Put -- before an id or a message that begins with "
            "a dash.");
        row({"exclude"}, "Usage: staybolt-settings exclude UID");
        for (const char *usage : {"list [UID]", "exclude UID", "include UID", "idledock on|off",
                                  "idledock-target UID CHANNEL|none", "name UID TEXT|none"})
            row(QString(usage).split(' ') + QStringList("x"),
                QByteArray("Usage: staybolt-settings ") + usage);
        row({"idledock", "maybe"}, "Usage: staybolt-settings idledock on|off");
        for (const char *word : {"of", "text", "on off"}) {
            row(QStringList{"notify"} + QString(word).split(' '),
                "Usage: staybolt-settings notify on|off|standard|text TEXT");
        }
    }

    void refusesWhatMakesNoSense()
    {
        QFETCH(QStringList, words);
        QFETCH(QString, error);
        const QByteArray before = "; mine\n[General]\nkey=value\n";
        writeFile(mFile, before);
        QCOMPARE(tool(words), 2);
        const char *name = error.startsWith("Usage: ") ? "" : "staybolt-settings: ";
        QCOMPARE(mError, name + error + '\n');
        QCOMPARE(readFile(mFile), before);
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
        row({"exclude", " abC+/d9eFgHiJkLmNoPqRsTuVwX= "}, "",
            "\n[staybolt.abC%2B]\nd9eFgHiJkLmNoPqRsTuVwX%3D=true\n");
        row({"exclude", "--", "-x="}, "staybolt.-x%3D=1\n", "staybolt.-x%3D=1\n",
            "-x=: this doesn't look like a server's unique id, which has 28 characters and ends "
            "in =");
        row({"exclude", "x//y="}, "\n[staybolt.x]\n\\y%3D=1\n",
            "\n[staybolt.x]\n\\y%3D=1\ny%3D=true\n",
            "x//y=: the file can't tell this id from x/y=, so the setting applies to both");
        row({"include", "abc="}, "staybolt.abc%3D=false\nstaybolt.abd%3D=1\n",
            "staybolt.abd%3D=1\n");
        row({"include", "abc="}, "", "");
        row({"include", "abc= "}, "staybolt.abc%3D=1\nstaybolt.abc%3D%20=1\n",
            "staybolt.abc%3D=1\n");
        row({"include", "ab"}, "staybolt.ab=true\n\n[staybolt.ab]\nc%3D=true\nd%3D=\"a, b\"\n",
            "\n[staybolt.ab]\nc%3D=true\nd%3D=\"a, b\"\n");
        row({"idledock", "on"}, "module.idleDock.abc%3D.target=5\n",
            "module.idleDock.abc%3D.target=5\nmodule.staybolt.idleDock=true\n");
        row({"idledock", "on"}, "module.idleDock.abc%3D.target=0\n",
            "module.idleDock.abc%3D.target=0\nmodule.staybolt.idleDock=true\n",
            "No server has an idleDock channel yet.");
        row({"idledock", "off"}, "module.staybolt.idleDock=true\n",
            "module.staybolt.idleDock=false\n");
        row({"idledock-target", "ab/c=", "042"}, "", "\n[module.idleDock.ab]\nc%3D.target=42\n",
            "ab/c=: this doesn't look like a server's unique id, which has 28 characters and ends "
            "in =");
        row({"idledock-target", "abc=", "00"}, "", "module.idleDock.abc%3D.target=0\n",
            "abc=: channel 0 means that the server has no idleDock channel");
        row({"idledock-target", "abc=", "none"}, "module.idleDock.abc%3D.target=5\n", "");
        row({"idledock-target", "abc=", "none"}, "", "");
        row({"idledock-target", "--", "abc=", "none"},
            "name.abc%3D=Home\nmodule.idleDock.abc%3D.target=\n", "");
        row({"name", "abc=", " My \n home "}, "staybolt.abc%3D=1\n",
            "name.abc%3D=My home\nstaybolt.abc%3D=1\n");
        row({"name", "abc=", "none"}, "name.abc%3D=Home\nstaybolt.abc%3D=1\n",
            "staybolt.abc%3D=1\n");
        row({"notify", "on"}, "staybolt.customNotify=mine\nstaybolt.sendNotify=0\n",
            "staybolt.customNotify=mine\nstaybolt.sendNotify=1\n");
        row({"notify", "text", "off"}, "staybolt.customNotify=mine\n",
            "staybolt.customNotify=off\nstaybolt.sendNotify=1\n");
        row({"notify", "on"}, "", "staybolt.sendNotify=1\n");
        row({"notify", "standard"}, "staybolt.customNotify=mine\n", "staybolt.sendNotify=1\n");
        row({"notify", "off"}, "staybolt.customNotify=mine\nstaybolt.sendNotify=1\n",
            "staybolt.customNotify=mine\nstaybolt.sendNotify=0\n");
    }

    void changesWhatItIsToldTo()
    {
        QFETCH(QStringList, words);
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        QFETCH(QString, warning);
        writeFile(mFile, before);
        QCOMPARE(tool(words), 0);
        QCOMPARE(readFile(mFile), after);
        QCOMPARE(mError, QString());
        const bool warns = mOutput.contains("WARNING: ");
        QCOMPARE(warns ? mOutput.section("WARNING: ", -1).trimmed() : QString(), warning);
        QCOMPARE(mOutput.contains("Your changes apply from the next move.\n"),
                 before != after && !words.contains("name"));
        const char *first = words.contains("standard") ? "Remove, then Reload," : "Reload";
        QCOMPARE(mOutput.contains(QString("In the plug-in's own dialog, press %1 before you press "
                                          "Save: that Save stores what the fields there show.\n")
                                      .arg(first)),
                 words.contains("notify"));
        QCOMPARE(QDir(mFolder->path()).entryList(QDir::Files).size(), 1);
    }

    void saysWhatItDid_data()
    {
        QTest::addColumn<QString>("words");
        QTest::addColumn<QString>("said");
        const auto row = [](const char *words, const char *said) {
            QTest::newRow(words) << QString(words) << QString(said);
        };
        row("exclude abc=", "Nothing to change: Staybolt will leave abc= alone.");
        row("include abc=", "Saved: Staybolt will protect you on abc=.");
        row("idledock on", "Saved: moves into idleDock channels will be allowed.");
        row("idledock off", "Nothing to change: moves into idleDock channels will be undone.");
        row("idledock-target abc= 7", "Saved: the idleDock channel of abc= is 7.");
        row("idledock-target abc= none", "Nothing to change: abc= has no idleDock channel.");
        row("name abc= Home", "Saved: the name of abc= is \"Home\".");
        row("name abc= none", "Nothing to change: abc= has no name.");
        row("notify off", "Saved: whoever moves you will get no message.");
        row("notify text Hey", "Saved: whoever moves you will get the message \"Hey\".");
        row("notify standard",
            "Nothing to change: whoever moves you will get the message \"This "
            "operation is not permitted!\".");
    }

    void saysWhatItDid()
    {
        QFETCH(QString, words);
        QFETCH(QString, said);
        writeFile(mFile, "[General]\nstaybolt.abc%3D=1\nstaybolt.sendNotify=1\n");
        QCOMPARE(tool(words.split(' ')), 0);
        QCOMPARE(mOutput.section('\n', 0, 0), said);
    }

    void saysWhyAFileCannotBeUsed()
    {
        const QByteArray before = "no value\nkey=value\n";
        const QString folder = mFolder->path();
        QVERIFY(QFile::copy(SETTINGS_TOOL, folder + "/tool"));
        writeFile(mFile, before);
        const auto refused = [&](const QString &path, const QString &script, const QString &why) {
            const QString start =
                "tool() { $user \"$0/tool\" --file \"$file\" \"$@\"; }; file=$1; ";
            const int status = run("sh", {"-c", start + script, folder, path});
            const QString error = "staybolt-settings: " + QString(why).replace("FILE", path) + '\n';
            QVERIFY2(status == 2 && mError == error, qPrintable(mError + "instead of " + error));
        };
        refused(folder, "tool list", "FILE can't be read: Is a directory");
        refused("/dev/null", "tool list", "FILE can't be read: it is not an ordinary file");
        refused("/no/a.ini", "tool notify off",
                "there is no folder /no. Is the client installed there?");
        refused("/no/a.ini", "tool list >/dev/full",
                "the output can't be written: No space left on device");
        // After lines that it can't read, Qt doesn't report errors of a write.
        refused(mFile, "ulimit -f 0; trap '' XFSZ; tool notify on",
                "FILE can't be written: File too large");

        const QString big = folder + "/big.ini";
        const QByteArray bigBytes = "[General]\nfill=" + QByteArray(19960, 'x') + '\n';
        writeFile(big, bigBytes);
        refused(big, "ulimit -f 32; trap '' XFSZ; tool notify on",
                "FILE can't be written: File too large");
        // Errors may come when everything seems written. (Sanitizers must be loaded first.)
        refused(big,
                "ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=" FAILING_SYNC " tool notify on",
                "FILE can't be written: Disk quota exceeded");
        QCOMPARE(readFile(big), bigBytes);
        QVERIFY(QFile::remove(big));
        if (geteuid() == 0) { // root must not take over somebody else's file
            QCOMPARE(chown(qPrintable(mFile), 65534, 65534), 0);
            refused(mFile, "tool notify on",
                    "FILE belongs to nobody. Run staybolt-settings as that user, for example with "
                    "sudo -u 'nobody' staybolt-settings");
            QCOMPARE(chown(qPrintable(mFile), 0, 0), 0);
        }

        // Another user, who may use only this folder.
        const auto refusedWith = [&](mode_t ofFolder, mode_t ofFile, const char *why) {
            QVERIFY(chmod(qPrintable(mFile), ofFile) == 0);
            QVERIFY(chmod(qPrintable(folder), ofFolder) == 0);
            const QString user = geteuid() == 0 ? "user='setpriv --reuid=65534 --'; " : "";
            refused(mFile, user + "tool notify on", why);
            QVERIFY(chmod(qPrintable(folder), 0700) == 0);
            QVERIFY(chmod(qPrintable(mFile), 0600) == 0);
        };
        refusedWith(0755, 0, "FILE can't be read: Permission denied");
        refusedWith(0755, 0444, "FILE can't be written: Permission denied");
        refusedWith(0555, 0666, "FILE can't be written: Permission denied");
        QCOMPARE(readFile(mFile), before);
        QCOMPARE(QDir(folder).entryList(QDir::Files).size(), 2);
    }

    void looksForItsFileAtHome()
    {
        QVERIFY(QDir(mFolder->path()).mkdir(".ts3client"));
        mFile = mFolder->filePath(".ts3client/Kestrelsoft Staybolt.ini");
        QCOMPARE(run("env", {"HOME=" + mFolder->path(), SETTINGS_TOOL, "idledock", "on"}), 0);
        QCOMPARE(readFile(mFile), QByteArray("[General]\nmodule.staybolt.idleDock=true\n"));
        QCOMPARE(run("env", {"-u", "HOME", SETTINGS_TOOL, "list"}), 2);
        QCOMPARE(mError,
                 QString("staybolt-settings: HOME is not set; name the settings file with "
                         "--file\n"));
        for (const char *option : {"--help", "--version"})
            QVERIFY(run("env", {"-u", "HOME", SETTINGS_TOOL, option}) == 0 && !mOutput.isEmpty());
        QCOMPARE(run(SETTINGS_TOOL, {"--file", "", "list"}), 2);
        QCOMPARE(mError, QString("staybolt-settings: --file needs the name of a file\n"));
    }

    void appliesFromTheNextMove()
    {
        QTextStream errors(stderr);
        Scenario stage(STAYBOLT_LIBRARY, errors, mFolder->path());
        for (const QString line :
             {"server Northgate abc=", "channel Northgate 1 Lobby", "channel Northgate 2 Dungeon",
              "user Northgate 7 Robin Lobby", "client Northgate 8 Mallory Lobby", "load",
              "connect Northgate", "move Northgate Robin Lobby"}) {
            QVERIFY(stage.playLine(line, line) == Scenario::Held);
        }
        const QString undone = "expect move Northgate Robin Lobby\n";
        const QString silent = "expect info '[I]\"none\"[/I]'\n";
        const QList<QPair<QString, QString>> steps{
            {"exclude abc=", silent},
            {"include abc=", undone + silent},
            {"idledock on", undone + silent},
            {"idledock-target abc= 2", silent},
            {"idledock off", undone + silent},
            {"notify text Hands-off",
             undone
                 + "expect message Northgate Mallory Hands-off\n"
                   "expect info '[I]\"customNotify\"[/I]'\n"
                   "expect field notify off\n" // unchanged until Reload
                   "press reload\n"
                   "expect field notify on\n"
                   "expect field text Hands-off"},
            {"notify off", undone + silent}};
        for (const auto &[words, expected] : steps) {
            QCOMPARE(tool(words.split(' ')), 0);
            // That must be all.
            const QString lines = "moved Northgate Robin Dungeon by Mallory\n" + expected;
            QVERIFY(stage.play(lines, words) == Scenario::Held);
        }
    }

    void losesNothingToOthers()
    {
        // Many of these programs at once, while the plug-in saves.
        constexpr int count = 40;
        writeFile(mFile, "key=value\n");
        Stage stage(mFolder->path());
        QCOMPARE(stage.load(STAYBOLT_LIBRARY), QString());
        auto *text = Stage::dialog()->findChild<QLineEdit *>("lineCustomNotify");
        auto *save = Stage::dialog()->findChild<QPushButton *>("buttonApply");
        QObject owner;
        for (int i = 0; i < count; ++i) {
            (new QProcess(&owner))
                ->start(SETTINGS_TOOL,
                        {"--file", mFile, "--wait", "3600", "exclude", QString("%1=").arg(i)});
        }
        int saves = 0;
        for (const QProcess *one : owner.findChildren<QProcess *>()) {
            do {
                text->setText(QString::number(++saves));
                save->click();
                QTest::qWait(20); // give the others a chance to lock the file
            } while (one->state() != QProcess::NotRunning);
            QCOMPARE(one->exitCode(), 0);
        }
        stage.unload();
        QTest::qWait(20);
        const QByteArray after = readFile(mFile);
        QCOMPARE(after.count("%3D=true\n"), count);
        QVERIFY2(after.contains("\nkey=value\n"), after);
        QVERIFY2(after.contains("\nstaybolt.customNotify=" + QByteArray::number(saves) + '\n'),
                 after);
        QCOMPARE(QDir(mFolder->path()).entryList(QDir::Files).size(), 1);
    }

    void waitsForOthersOfItsKind()
    {
        int folder = ::open(qPrintable(mFolder->path()), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        QCOMPARE(flock(folder, LOCK_EX), 0);
        QCOMPARE(tool({"list"}), 0); // changes nothing, so it doesn't wait
        QCOMPARE(tool({"--wait", "1", "exclude", "abc="}), 2);
        QCOMPARE(mError,
                 "staybolt-settings: gave up after 1 s: another staybolt-settings is still "
                 "changing a file in "
                     + mFolder->path() + '\n');
        QVERIFY(!QFile::exists(mFile));
        ::close(folder);

        // Qt's own lock, even if the lock file doesn't name its owner.
        const QString left = "staybolt-settings: gave up after 0 s: %1 holds the lock " + mFile
            + ".lock. If that program isn't running any more, delete the lock\n";
        writeFile(mFile + ".lock", "");
        QCOMPARE(tool({"--wait", "0", "exclude", "abc="}), 2);
        QCOMPARE(mError, left.arg("an unknown program"));
        QVERIFY(QFile::remove(mFile + ".lock"));
        QLockFile lock(mFile + ".lock");
        QVERIFY(lock.lock());
        QCOMPARE(tool({"--wait", "0", "exclude", "abc="}), 2);
        QCOMPARE(mError,
                 left.arg(QString("tst_settingstool (process %1 on %2)")
                              .arg(QString::number(getpid()), QSysInfo::machineHostName())));
        lock.unlock();

        folder = ::open(qPrintable(mFolder->path()), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        QCOMPARE(flock(folder, LOCK_EX), 0);
        QProcess waiting;
        writeFile(mFile, "[General]\nstaybolt.sendNotify=1\n");
        const QTemporaryDir elsewhere;
        const QString link = elsewhere.filePath("link.ini");
        QVERIFY(QFile::link(mFile, link));
        waiting.start(SETTINGS_TOOL, {"--file", link, "--wait", "3600", "notify", "on"});
        QVERIFY(!waiting.waitForFinished(500));
        writeFile(mFile, "[General]\nstaybolt.sendNotify=0\n");
        ::close(folder);
        QVERIFY(waiting.waitForFinished(-1));
        QCOMPARE(waiting.exitCode(), 0);
        QCOMPARE(readFile(mFile), QByteArray("[General]\nstaybolt.sendNotify=1\n"));
    }

    void listsAsAWhole()
    {
        writeFile(mFile,
                  "; mine\n[General]\nstaybolt.sendNotify=TRUE\nstaybolt.customNotify=a,b\n"
                  "staybolt.permitIdleDock=1\nmodule.staybolt.idleDock=1\nstaybolt.sendnotify=1\n"
                  "foo=\xfc\nmodule.idleDock.abc%3D.target=fortytwo\nname.abc%3D=Home\n");
        QCOMPARE(tool({"list"}), 0);
        QCOMPARE(mOutput,
                 "Settings in " + mFile
                     + R"(

WARNING: Lines 1, 4 and 8 are ignored or rewritten; the next save keeps a copy of the old file.
WARNING: Line 8 is read with garbled non-ASCII letters. Text that you enter in Staybolt )"
                       R"(Settings is saved correctly.
WARNING: foo: the plug-in doesn't know this key
WARNING: staybolt.customNotify: an unquoted comma makes this a list, which the plug-in reads as empty
WARNING: No server has an idleDock channel yet.
WARNING: abc=: this doesn't look like a server's unique id, which has 28 characters and ends in =
WARNING: abc=: "fortytwo" is not a channel; a channel is a number from 0 to 4294967295
WARNING: sendnotify: this doesn't look like a server's unique id, which has 28 characters and ends in =
staybolt.sendNotify
    sends a message to whoever moves you, even if you couldn't be moved back
    in the file: TRUE
    the plug-in uses: on
staybolt.customNotify
    the message; an empty one is sent as it is
    in the file: a, b
    the plug-in uses: ""
staybolt.permitIdleDock
    stores the dialog's first switch; has no effect yet
    in the file: 1
    the plug-in uses: on
module.staybolt.idleDock
    allows moves into idleDock channels
    in the file: 1
    the plug-in uses: on
foo
    unknown
    in the file: ü
    the plug-in uses: nothing
module.idleDock.abc=.target
    the idleDock channel on this server
    server: abc= (Home)
    in the file: fortytwo
    the plug-in uses: channel 0
name.abc=
    your name for this server; the plug-in never reads it
    server: abc= (Home)
    in the file: Home
    the plug-in uses: nothing
staybolt.sendnotify
    turns protection off on this server, whatever the value
    server: sendnotify
    in the file: 1
    the plug-in uses: left alone
)");
        QCOMPARE(tool({"list", " abc= "}), 0);
        QVERIFY(mOutput.contains(
            "staybolt.abc=\n    turns protection off on this server, whatever the value\n"
            "    server: abc= (Home)\n    in the file: (not set)\n    the plug-in uses: the "
            "server is protected\nmodule.idleDock.abc=.target\n"));
        QVERIFY(mOutput.contains("WARNING: abc=: \"fortytwo\" is not a channel"));
        QVERIFY(!mOutput.contains("\nfoo\n"));
    }

    void opensAWindowWhereThereIsADisplay()
    {
        const QByteArray why = "Can't open a window: no display is available.";
        const auto opens = [&](const QStringList &environment, int wait) {
            QProcess process;
            process.start(
                "env",
                QStringList{"-u", "DISPLAY", "-u", "WAYLAND_DISPLAY", "-u", "QT_QPA_PLATFORM"}
                    + environment + QStringList{SETTINGS_TOOL, "--file", mFile});
            // The window is open if the program keeps running.
            if (process.waitForFinished(wait)) {
                const QByteArray output = process.readAllStandardOutput();
                const bool isHelp = output.startsWith(why) && output.contains("exclude UID");
                return isHelp && process.exitCode() == 0 ? "help" : "something else";
            }
            process.kill();
            process.waitForFinished(-1);
            return "window";
        };
        QCOMPARE(opens({}, -1), "help");
        QCOMPARE(opens({"DISPLAY=:4711", "WAYLAND_DISPLAY=gone"}, -1), "help");
        QCOMPARE(opens({"QT_QPA_PLATFORM=offscreen"}, 1000), "window");
    }

    void completesIds()
    {
        mFile = mFolder->filePath("a b.ini");
        writeFile(
            mFile,
            "[General]\nstaybolt.abc%3D=1\nstaybolt.abd%3D=1\nmodule.idleDock.xyz%3D.target=1\n"
            "name.abd%3D=mine\nname.gone%3D=unused\n"
            "staybolt.%24%28touch%24%7BIFS%7Dpwned%29%3D=1\n");
        const auto completed = [&](const QString &words) {
            const QString script = "PATH=$(dirname \"$1\"):$PATH; cd \"$2\"; . " SOURCE_FOLDER
                                   "/settings-tool/staybolt-settings.bash-completion\n"
                                   "COMP_WORDS=(staybolt-settings --file '\"a b.ini\"' %1)\n"
                                   "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _staybolt_settings; "
                                   "echo \"${COMPREPLY[*]}\"";
            const QStringList arguments{"-c", script.arg(words), "", SETTINGS_TOOL,
                                        mFolder->path()};
            const int status = run("bash", arguments);
            return status == 0 ? mOutput : mError;
        };
        QCOMPARE(completed("include a"), QString("abc= abd=\n"));
        QCOMPARE(completed("include x"), QString("\n")); // has a channel only
        QCOMPARE(completed("include '\\$'"), QString("\\$\\(touch\\$\\{IFS\\}pwned\\)=\n"));
        QCOMPARE(completed("idledock-target x"), QString("xyz=\n"));
        QCOMPARE(completed("idledock-target abc = n"), QString("none\n"));
        QCOMPARE(completed("name x"), QString("xyz=\n"));
        QCOMPARE(completed("name g"), QString("\n")); // has no settings
        QCOMPARE(completed("inc"), QString("include\n"));
        QCOMPARE(QDir(mFolder->path()).entryList(QDir::Files), QStringList("a b.ini"));
    }

    void namesAndKeepsWhatQtDoesNotRead_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("warning");
        QTest::addColumn<QByteArray>("after");
        QTest::newRow("each kind")
            << QByteArray("; \"one\n[general]\na=1\nb=\xfc ; rest\nfour\n a = 2 \r\n\nc=1\\\nd=2\n"
                          "e=\xc3\xbc\n[b]\na=\"3;\" \nf=\"1\ng=2\"\n")
            << "Lines 1, 2, 3, 4, 5, 6, 8, 9, 10, 12, 13 and 14 are ignored or rewritten; the next "
               "save keeps a copy of the old file.\nWARNING: Lines 4 and 10 are read with garbled"
            << QByteArray(
                   "[General]\na=2\nb=\\xfc\nc=\"1d=2\"\ne=\\xc3\\xbc\nstaybolt.abc%3D=true\n\n"
                   "[b]\na=\"3;\"\nf=\"1\\ng=2\"\n");
        QTest::newRow("byte-order mark")
            << QByteArray("\xef\xbb\xbf[General]\nb=\xc3\xbc\n")
            << "Lines 1 and 2 are ignored or rewritten; the next save keeps a copy of the old file."
               "\nWARNING: b: the plug-in doesn't know this key"
            << QByteArray("[General]\nb=\\xfc\nstaybolt.abc%3D=true\n");
    }

    void namesAndKeepsWhatQtDoesNotRead()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, warning);
        QFETCH(QByteArray, after);
        writeFile(mFile, text);
        QCOMPARE(tool({"list"}), 0);
        QVERIFY2(mOutput.contains("\n\nWARNING: " + warning), qPrintable(mOutput));
        QCOMPARE(readFile(mFile), text);

        QCOMPARE(tool({"exclude", "abc="}), 0);
        QCOMPARE(readFile(mFile), after);
        mFile = mFolder->filePath("Kestrelsoft Staybolt.kept-1.ini");
        QVERIFY2(mOutput.contains("The old file is kept as Kestrelsoft Staybolt.kept-1.ini."),
                 qPrintable(mOutput));
        QCOMPARE(readFile(mFile), text);
    }

    void documentsSayWhatIsTrue()
    {
        const auto text = [](const char *name) {
            return QString::fromUtf8(readFile(QString(SOURCE_FOLDER "/") + name));
        };
        const QString keys = text("docs/settings.md");
        for (const settingsKeys::Key *key : settingsKeys::all) {
            const QString row = QString("| %1 | %2 |").arg(key->whenAbsent, key->meaning);
            QVERIFY2(keys.contains("| `" + key->of("UID") + "` |"), key->pattern);
            QVERIFY2(keys.contains(row), qPrintable("docs/settings.md lacks the line: " + row));
        }
        // Every command that the documents show works, one after the other. One with another file
        // opens the window.
        const QRegularExpression commands("^(?:    )?staybolt-settings (?!--file)(.*?)(  .*)?$",
                                          QRegularExpression::MultilineOption);
        for (const char *name :
             {"README.md", "docs/settings.md", "settings-tool/staybolt-settings.1"}) {
            const QString all = text(name).section(".SH EXAMPLES", -1).replace("\\-", "-");
            auto found = commands.globalMatch(all);
            QVERIFY2(found.hasNext(), name);
            while (found.hasNext()) {
                const QString words = found.next().captured(1);
                QCOMPARE(run("sh", {"-c", SETTINGS_TOOL " --file \"$0\" " + words, mFile}), 0);
            }
        }
    }
};

QTEST_MAIN(TestSettingsTool)
#include "tst_settingstool.moc"
