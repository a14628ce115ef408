#include "settings-tool/settingswindow.h"
#include "tests/files.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

/// The window of staybolt-settings, used with keys and clicks.
class TestSettingsWindow : public QObject
{
    Q_OBJECT

    QScopedPointer<QTemporaryDir> mFolder;
    QString mFile;
    QScopedPointer<SettingsWindow> mWindow;

    void open()
    {
        mWindow.reset(new SettingsWindow(mFile));
        mWindow->show();
        QVERIFY(QTest::qWaitForWindowActive(mWindow.data()));
    }

    template<typename Widget>
    Widget *find(const QString &name) const
    {
        return mWindow->findChild<Widget *>(name);
    }

    QTableWidget *table() const { return find<QTableWidget>("tableServers"); }

    QAbstractButton *button(QDialogButtonBox::StandardButton which) const
    {
        return find<QDialogButtonBox>("buttonBox")->button(which);
    }

    /// The rows of the table, one after the other; ! stands for the sign of something odd.
    QString rows() const
    {
        QStringList result;
        for (int row = 0; row < table()->rowCount(); ++row) {
            result.append(QString("%1%2 %3 %4")
                              .arg(table()->item(row, 0)->icon().isNull() ? "" : "!",
                                   table()->item(row, 0)->text(),
                                   table()->item(row, 1)->checkState() == Qt::Checked ? "x" : "-",
                                   table()->item(row, 2)->text()));
        }
        return result.join("; ");
    }

    /// The texts that can be seen of those that come and go.
    QString said(const QStringList &labels) const
    {
        QStringList result;
        for (const QString &name : labels) {
            if (find<QLabel>(name)->isVisible())
                result.append(find<QLabel>(name)->text());
        }
        return result.join('\n');
    }

    QString hints() const { return said({"hintNotice", "hintIdleDock", "hintServers"}); }
    QString outcome() const { return said({"labelOutcome"}); }

    /// Does what the words of a step say: press BUTTON; select ROW; alone ROW; id ROW TEXT;
    /// channel ROW TEXT; type TEXT, wherever the focus is.
    void play(const QString &steps)
    {
        const QStringList all = steps.split("; ", Qt::SkipEmptyParts);
        for (const QString &step : all) {
            const QString verb = step.section(' ', 0, 0);
            const QString object = step.section(' ', 1, 1);
            if (verb == "press") {
                auto *pressed = find<QAbstractButton>(object);
                QTest::mouseClick(pressed, Qt::LeftButton, {}, {8, pressed->height() / 2});
            } else if (verb == "type") {
                QTest::keyClicks(QApplication::focusWidget(), step.section(' ', 1));
            } else {
                const QStringList verbs{"id", "alone", "channel", "select"};
                table()->setFocus();
                table()->setCurrentCell(object.toInt(), verbs.indexOf(verb) % 3);
                if (verb == "alone")
                    QTest::keyClick(table(), Qt::Key_Space);
                if (verb == "id" || verb == "channel") {
                    QTest::keyClick(table(), Qt::Key_F2);
                    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Delete);
                    QTest::keyClicks(QApplication::focusWidget(), step.section(' ', 2));
                }
            }
        }
    }

private Q_SLOTS:
    void init()
    {
        mFolder.reset(new QTemporaryDir);
        mFile = mFolder->filePath("a.ini");
    }

    void cleanup() { mWindow.reset(); }

    void showsWhatIsStored()
    {
        const auto shown = [&](const QByteArray &file) {
            writeFile(mFile, file);
            open();
            QStringList result{rows(), find<QLineEdit>("lineOwn")->text()};
            for (const char *name : {"radioOff", "radioStandard", "radioOwn", "checkIdleDock"}) {
                if (find<QAbstractButton>(name)->isChecked())
                    result.append(name);
            }
            // What the warnings are about.
            auto *warnings = find<QPlainTextEdit>("textWarnings");
            if (warnings->isVisible()) {
                const QStringList lines = warnings->toPlainText().split('\n');
                for (const QString &line : lines)
                    result.append(line.section(": ", 0, 0));
            }
            if (button(QDialogButtonBox::Save)->isEnabled() || readFile(mFile) != file)
                result.append("changed");
            return result;
        };
        QCOMPARE(shown("[General]\nstaybolt.sendNotify=1\nstaybolt.customNotify=mine\n"
                       "module.idleDock.abc%3D.target=42\nstaybolt.abc%3D=true\n"
                       "module.idleDock.abd%3D.target=7\n"),
                 QStringList({"abc= x 42; abd= - 7", "mine", "radioOwn"}));
        QCOMPARE(shown("; note\n[General]\nstaybolt.sendNotify=yes\nfoo=1\nstaybolt.x=1,2\n"
                       "module.idleDock.abc%3D.target=1,2\nmodule.staybolt.idleDock=1\n"),
                 QStringList({"abc= - 0; !x x ", "", "radioStandard", "checkIdleDock",
                              "not read, or only in part", "module.staybolt.idleDock", "foo",
                              "module.idleDock.abc=.target", "staybolt.x"}));
    }

    void savesWhatWasChanged_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("hint");
        QTest::addColumn<QByteArray>("after");
        const auto row = [](const char *name, const QByteArray &before, const char *steps,
                            const QByteArray &after, const char *hint = "") {
            QTest::newRow(name) << "[General]\nkey=value\n" + before << QString(steps)
                                << QString(hint) << "[General]\nkey=value\n" + after;
        };
        const QByteArray mine = "staybolt.customNotify=mine\n";
        row("own text again", mine + "staybolt.sendNotify=0\n", "press radioOwn",
            mine + "staybolt.sendNotify=1\n");
        row("standard", mine, "press radioStandard", "staybolt.sendNotify=1\n",
            "Save removes your own text.");
        row("standard after all", "", "press radioOwn; type mine; press radioStandard",
            "staybolt.sendNotify=1\n", "Save removes your own text.");
        row("text, and no idleDock any more", "module.staybolt.idleDock=1\n",
            "press checkIdleDock; press radioOwn; type a, b",
            "module.staybolt.idleDock=false\nstaybolt.customNotify=\"a, b\"\n"
            "staybolt.sendNotify=1\n");
        row("text that is not sent", mine, "press radioOwn; type s; press radioOff",
            "staybolt.customNotify=mines\n");
        row("empty text", "staybolt.sendNotify=1\n", "press radioOwn",
            "staybolt.customNotify=\nstaybolt.sendNotify=1\n", "They get an empty message.");
        row("idleDock, and nothing that is only spelled in another way",
            "module.idleDock.abc%3D.target=five\nstaybolt.customNotify=a, b\n"
            "staybolt.sendNotify=yes\nstaybolt.x=0\n",
            "press checkIdleDock",
            "module.idleDock.abc%3D.target=five\nmodule.staybolt.idleDock=true\n"
            "staybolt.customNotify=a, b\nstaybolt.sendNotify=yes\nstaybolt.x=0\n",
            "They get an empty message.\nNo server below has an idleDock channel.");

        const QByteArray servers = "module.idleDock.abd%3D.target=42\nstaybolt.abc%3D=1\n"
                                   "staybolt.abd%3D=2\nstaybolt.abe%3D=3\n";
        row("add", "", "press buttonAdd; type  ab/c= ", "\n[staybolt.ab]\nc%3D=true\n");
        row("add with a channel only", "",
            "press buttonAdd; type abc; alone 0; channel 0 4294967295",
            "module.idleDock.abc.target=4294967295\n",
            "abc: this does not look like a server's unique id, which ends in = and has 28 "
            "characters as a rule");
        row("remove", servers, "select 1; press buttonRemove; press buttonRemove",
            "staybolt.abc%3D=1\n");
        row("other channel", servers, "channel 1 43",
            "module.idleDock.abd%3D.target=43\nstaybolt.abc%3D=1\nstaybolt.abd%3D=2\n"
            "staybolt.abe%3D=3\n");
        row("no channel, not left alone, a blank line", servers,
            "press buttonAdd; channel 1 ; alone 0; alone 3",
            "staybolt.abd%3D=2\nstaybolt.abe%3D=3\n",
            "abc=: nothing to store, so Save drops this line");
        row("other id", servers, "id 1 abf=",
            "module.idleDock.abf%3D.target=42\nstaybolt.abc%3D=1\nstaybolt.abe%3D=3\n"
            "staybolt.abf%3D=true\n");

        const auto refused = [&](const QByteArray &before, const char *steps, const char *why) {
            row(why, before, steps, before, why);
        };
        refused(servers, "id 0 ", "a server's unique id is not empty");
        refused(servers, "channel 0 4294967296",
                "abc=: a channel is a number from 0 to 4294967295");
        refused(servers, "press buttonAdd; type abc=", "abc=: this server stands there twice");
        // Its other key is there, but belongs to nobody.
        refused("module.idleDock.customNotify.target=6\nstaybolt.customNotify=mine\n", "alone 0",
                "the file can't hold the id customNotify: its key is a setting");
    }

    void savesWhatWasChanged()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, steps);
        QFETCH(QString, hint);
        QFETCH(QByteArray, after);
        writeFile(mFile, before);
        open();
        play(steps);
        QCOMPARE(hints(), hint);
        QCOMPARE(readFile(mFile), before);
        // By its letter, which leaves the focus in the cell that is being edited.
        QTest::keyClick(mWindow.data(), Qt::Key_S, Qt::AltModifier);
        if (after == before) {
            QTRY_COMPARE(outcome(), "Not saved: " + hint);
            QCOMPARE(rows().count('!'), 1);
            QCOMPARE(readFile(mFile), before);
            return;
        }
        QTRY_VERIFY(outcome().startsWith("Saved. A running client sees this after a restart"));
        QCOMPARE(readFile(mFile), after);
        QVERIFY(!button(QDialogButtonBox::Save)->isEnabled());
    }

    void typesIntoWhatACellHolds()
    {
        writeFile(mFile, "[General]\nmodule.idleDock.abc%3D.target=42\n");
        open();
        play("channel 0 ");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        QCOMPARE(rows(), QString("abc= - 42"));
        QTest::keyClick(table(), Qt::Key_F2);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Home);
        play("type 1five3");
        QCOMPARE(rows(), QString("abc= - 1342"));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        QCOMPARE(rows(), QString("abc= - 42"));
        play("press buttonAdd; type x; type \b");
        QCOMPARE(rows(), QString("abc= - 42;  x "));
        QVERIFY(!mWindow->isWindowModified());
        // The next key takes the place of nothing.
        play("channel 0 43");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        play("type 7");
        QCOMPARE(rows(), QString("abc= - 43;  x "));
        QVERIFY(mWindow->isVisible());
    }

    void leavesWhatOthersChanged()
    {
        writeFile(mFile, "[General]\nstaybolt.abc%3D=1\n");
        open();
        play("press checkIdleDock");
        QVERIFY(QFile::remove(mFile) && QDir().mkdir(mFile));
        button(QDialogButtonBox::Save)->click();
        QCOMPARE(outcome(), QString("Not saved: %1 can't be read: Is a directory").arg(mFile));
        QVERIFY(QDir().rmdir(mFile));

        writeFile(
            mFile,
            "; note\n[General]\nstaybolt.abc%3D=1\nstaybolt.abd%3D=1\nstaybolt.sendNotify=1\n");
        button(QDialogButtonBox::Save)->click();
        QCOMPARE(outcome(),
                 QString("Saved. What the file held before is kept in %1. A running client sees "
                         "this after a restart, or after its next Save.")
                     .arg(mFolder->filePath("a.kept-1.ini")));
        QCOMPARE(readFile(mFile),
                 QByteArray("[General]\nmodule.staybolt.idleDock=true\nstaybolt.abc%3D=1\n"
                            "staybolt.abd%3D=1\nstaybolt.sendNotify=1\n"));
        QCOMPARE(rows(), QString("abc= x ; abd= x "));
        QVERIFY(find<QAbstractButton>("radioStandard")->isChecked());
        play("press radioOff");
        QCOMPARE(outcome(), QString());
    }

    void asksBeforeItDropsChanges()
    {
        // Whether it asked, whether the window is still there, and what the file holds.
        const auto closed = [&](const QString &steps, QMessageBox::StandardButton answer) {
            writeFile(mFile, "[General]\nstaybolt.sendNotify=1\n");
            open();
            play(steps);
            QString result = "not asked";
            QTimer::singleShot(0, this, [&] {
                if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                    result = "asked";
                    box->button(answer)->click();
                }
            });
            QTest::keyClick(mWindow.data(), Qt::Key_Escape);
            QTest::qWait(1);
            return result + (mWindow->isVisible() ? ", open, " : ", closed, ")
                + readFile(mFile).mid(10);
        };
        const auto save = QMessageBox::Save;
        QCOMPARE(closed("press radioOff; press radioStandard; press buttonAdd; select 0", save),
                 QString("not asked, closed, staybolt.sendNotify=1\n"));
        QCOMPARE(closed("press radioOff", save), QString("asked, closed, staybolt.sendNotify=0\n"));
        QCOMPARE(closed("press radioOff", QMessageBox::Discard),
                 QString("asked, closed, staybolt.sendNotify=1\n"));
        QCOMPARE(closed("press radioOff", QMessageBox::Cancel),
                 QString("asked, open, staybolt.sendNotify=1\n"));
        QCOMPARE(closed("press radioOff; press buttonAdd; type /; select 0", save),
                 QString("asked, open, staybolt.sendNotify=1\n"));
    }

    void saysWhyThereIsNothingToShow()
    {
        QVERIFY(QDir().mkdir(mFile));
        open();
        QCOMPARE(outcome(), QString("%1 can't be read: Is a directory").arg(mFile));
        QVERIFY(!find<QAbstractButton>("radioOff")->isEnabled());
    }
};

QTEST_MAIN(TestSettingsWindow)
#include "tst_settingswindow.moc"
