#include "settings-tool/settingswindow.h"

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

    void write(const QByteArray &text) const
    {
        QFile file(mFile);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }

    QByteArray bytes() const
    {
        QFile file(mFile);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
    }

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

    /// Does what the words of a step say: press BUTTON; text TEXT; select ROW; alone ROW; id ROW
    /// TEXT; channel ROW TEXT; type TEXT, wherever the focus is.
    void play(const QString &steps)
    {
        const QStringList all = steps.split("; ", Qt::SkipEmptyParts);
        for (const QString &step : all) {
            const QString verb = step.section(' ', 0, 0);
            const QString object = step.section(' ', 1, 1);
            if (verb == "press") {
                auto *pressed = find<QAbstractButton>(object);
                QTest::mouseClick(pressed, Qt::LeftButton, {}, {8, pressed->height() / 2});
            } else if (verb == "text") {
                find<QLineEdit>("lineOwn")->selectAll();
                QTest::keyClicks(find<QLineEdit>("lineOwn"), step.section(' ', 1));
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

    void showsWhatIsStored_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("notice");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isIdleDock");
        QTest::addColumn<QString>("servers");
        QTest::addColumn<QString>("warnings");
        QTest::newRow("no file") << QByteArray() << "radioOff"
                                 << "" << false << ""
                                 << "";
        QTest::newRow("own text") << QByteArray(
            "[General]\nstaybolt.sendNotify=1\nstaybolt.customNotify=mine\n"
            "module.staybolt.idleDock=true\nmodule.idleDock.abc%3D.target=42\n"
            "staybolt.abc%3D=true\nmodule.idleDock.abd%3D.target=7\n")
                                  << "radioOwn"
                                  << "mine" << true << "abc= x 42; abd= - 7"
                                  << "";
        QTest::newRow("standard, and all kinds of mistakes")
            << QByteArray("; note\n[General]\nstaybolt.sendNotify=yes\nfoo=\xfc\nstaybolt.x=1,2\n"
                          "module.idleDock.abc%3D.target=1,2\nmodule.staybolt.idleDock=1\n")
            << "radioStandard"
            << "" << true << "abc= - 0; !x x "
            << "not read, or only in part: line 1. The next change drops this from the file and "
               "keeps it in a copy.\nthe plug-in takes letters beyond ASCII for others than your "
               "editor shows: line 4. staybolt-settings stores them right.\nfoo: nothing reads "
               "this "
               "key\nmodule.idleDock.abc=.target: an unquoted comma makes this a list, which the "
               "plug-in reads as empty\nstaybolt.x: this does not look like a server's unique id, "
               "which ends in = and has 28 characters as a rule";
    }

    void showsWhatIsStored()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, notice);
        QFETCH(QString, text);
        QFETCH(bool, isIdleDock);
        QFETCH(QString, servers);
        QFETCH(QString, warnings);
        write(file);
        open();
        QVERIFY(find<QAbstractButton>(notice)->isChecked());
        QCOMPARE(find<QLineEdit>("lineOwn")->text(), text);
        QCOMPARE(find<QAbstractButton>("checkIdleDock")->isChecked(), isIdleDock);
        QCOMPARE(rows(), servers);
        auto *shown = find<QPlainTextEdit>("textWarnings");
        QCOMPARE(shown->isVisible() ? shown->toPlainText() : QString(), warnings);
        QVERIFY(!button(QDialogButtonBox::Save)->isEnabled());
        QCOMPARE(bytes(), file);
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
        row("off", mine + "staybolt.sendNotify=1\n", "press radioOff",
            mine + "staybolt.sendNotify=0\n");
        row("own text again", mine + "staybolt.sendNotify=0\n", "press radioOwn",
            mine + "staybolt.sendNotify=1\n");
        row("standard", mine, "press radioStandard", "staybolt.sendNotify=1\n",
            "Save removes your own text.");
        row("standard, without a text", "", "press radioStandard", "staybolt.sendNotify=1\n");
        row("text", "", "press radioOwn; text a, b",
            "staybolt.customNotify=\"a, b\"\nstaybolt.sendNotify=1\n");
        row("text that is not sent", mine, "press radioOwn; text yours; press radioOff",
            "staybolt.customNotify=yours\n");
        row("empty text", "staybolt.sendNotify=1\n", "press radioOwn",
            "staybolt.customNotify=\nstaybolt.sendNotify=1\n", "They get an empty message.");
        row("idleDock, and nothing that is only spelled in another way",
            "module.idleDock.abc%3D.target=five\nstaybolt.customNotify=a, b\n"
            "staybolt.sendNotify=yes\nstaybolt.x=0\n",
            "press checkIdleDock",
            "module.idleDock.abc%3D.target=five\nmodule.staybolt.idleDock=true\n"
            "staybolt.customNotify=a, b\nstaybolt.sendNotify=yes\nstaybolt.x=0\n",
            "They get an empty message.");
        row("no idleDock any more", "module.staybolt.idleDock=1\n", "press checkIdleDock",
            "module.staybolt.idleDock=false\n");
        row("idleDock without a channel", "staybolt.abc%3D=1\n", "press checkIdleDock",
            "module.staybolt.idleDock=true\nstaybolt.abc%3D=1\n",
            "No server below has an idleDock channel.");

        const QByteArray servers = "module.idleDock.abd%3D.target=42\nstaybolt.abc%3D=1\n"
                                   "staybolt.abd%3D=2\nstaybolt.abe%3D=3\n";
        row("add", "", "press buttonAdd; type  ab/c= ", "\n[staybolt.ab]\nc%3D=true\n");
        row("add with a channel only", "",
            "press buttonAdd; type abc; alone 0; channel 0 4294967295",
            "module.idleDock.abc.target=4294967295\n",
            "abc: this does not look like a server's unique id, which ends in = and has 28 "
            "characters as a rule");
        row("remove", servers, "select 1; press buttonRemove",
            "staybolt.abc%3D=1\nstaybolt.abe%3D=3\n");
        row("remove all", servers,
            "select 0; press buttonRemove; press buttonRemove; press buttonRemove", "");
        row("other channel", servers, "channel 1 43",
            "module.idleDock.abd%3D.target=43\nstaybolt.abc%3D=1\nstaybolt.abd%3D=2\n"
            "staybolt.abe%3D=3\n");
        row("no channel, not left alone", servers, "channel 1 ; alone 0",
            "staybolt.abd%3D=2\nstaybolt.abe%3D=3\n",
            "abc=: nothing to store, so Save drops this line");
        row("other id", servers, "id 1 abf=",
            "module.idleDock.abf%3D.target=42\nstaybolt.abc%3D=1\nstaybolt.abe%3D=3\n"
            "staybolt.abf%3D=true\n");
    }

    void savesWhatWasChanged()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, steps);
        QFETCH(QString, hint);
        QFETCH(QByteArray, after);
        write(before);
        open();
        play(steps);
        QCOMPARE(hints(), hint);
        QCOMPARE(bytes(), before);
        // By its letter, which leaves the focus in the cell that is being edited.
        QTest::keyClick(mWindow.data(), Qt::Key_S, Qt::AltModifier);
        QTRY_COMPARE(outcome(),
                     QString("Saved. A running client sees this after a restart, or after its next "
                             "Save."));
        QCOMPARE(bytes(), after);
        QVERIFY(!button(QDialogButtonBox::Save)->isEnabled());
    }

    void refusesWhatTheFileCannotHold_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("why");
        QTest::newRow("no id") << "press buttonAdd"
                               << "a server's unique id is not empty";
        QTest::newRow("a setting") << "id 0 sendNotify"
                                   << "the file can't hold the id sendNotify: its key is a setting";
        QTest::newRow("twice") << "press buttonAdd; type abc="
                               << "abc=: this server stands there twice";
        QTest::newRow("large channel") << "channel 0 4294967296"
                                       << "abc=: a channel is a number from 0 to 4294967295";
    }

    void refusesWhatTheFileCannotHold()
    {
        QFETCH(QString, steps);
        QFETCH(QString, why);
        const QByteArray before = "; note\n[General]\nstaybolt.abc%3D=1\n";
        write(before);
        open();
        play(steps);
        QCOMPARE(hints(), why);
        QCOMPARE(rows().count('!'), 1);
        button(QDialogButtonBox::Save)->click();
        QCOMPARE(outcome(), "Not saved: " + why);
        QCOMPARE(bytes(), before);
    }

    void typesIntoWhatACellHolds()
    {
        write("[General]\nmodule.idleDock.abc%3D.target=42\n");
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
        QVERIFY(!mWindow->isWindowModified());
        QVERIFY(mWindow->isVisible());
    }

    void leavesWhatOthersChanged()
    {
        write("[General]\nstaybolt.abc%3D=1\n");
        open();
        play("press checkIdleDock");
        QVERIFY(QFile::remove(mFile) && QDir().mkdir(mFile));
        button(QDialogButtonBox::Save)->click();
        QCOMPARE(outcome(), QString("Not saved: %1 can't be read: Is a directory").arg(mFile));
        QVERIFY(QDir().rmdir(mFile));

        write("; note\n[General]\nstaybolt.abc%3D=1\nstaybolt.abd%3D=1\nstaybolt.sendNotify=1\n");
        button(QDialogButtonBox::Save)->click();
        QCOMPARE(outcome(),
                 QString("Saved. What the file held before is kept in %1. A running client sees "
                         "this after a restart, or after its next Save.")
                     .arg(mFolder->filePath("a.kept-1.ini")));
        QCOMPARE(bytes(),
                 QByteArray("[General]\nmodule.staybolt.idleDock=true\nstaybolt.abc%3D=1\n"
                            "staybolt.abd%3D=1\nstaybolt.sendNotify=1\n"));
        QCOMPARE(rows(), QString("abc= x ; abd= x "));
        QVERIFY(find<QAbstractButton>("radioStandard")->isChecked());
        play("press radioOff");
        QCOMPARE(outcome(), QString());
    }

    void asksBeforeItDropsChanges_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("isOpen");
        QTest::addColumn<QByteArray>("after");
        const QByteArray before = "[General]\nstaybolt.sendNotify=1\n";
        QTest::newRow("no change") << "press radioOff; press radioStandard"
                                   << int(QMessageBox::NoButton) << false << before;
        QTest::newRow("save") << "press radioOff" << int(QMessageBox::Save) << false
                              << QByteArray("[General]\nstaybolt.sendNotify=0\n");
        QTest::newRow("discard") << "press radioOff" << int(QMessageBox::Discard) << false
                                 << before;
        QTest::newRow("cancel") << "press radioOff" << int(QMessageBox::Cancel) << true << before;
        QTest::newRow("save what can't be saved")
            << "press buttonAdd; select 0" << int(QMessageBox::Save) << true << before;
    }

    void asksBeforeItDropsChanges()
    {
        QFETCH(QString, steps);
        QFETCH(int, answer);
        QFETCH(bool, isOpen);
        QFETCH(QByteArray, after);
        write("[General]\nstaybolt.sendNotify=1\n");
        open();
        play(steps);
        int answered = QMessageBox::NoButton;
        QTimer::singleShot(0, this, [&] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                answered = answer;
                box->button(QMessageBox::StandardButton(answer))->click();
            }
        });
        QTest::keyClick(mWindow.data(), Qt::Key_Escape);
        QTest::qWait(1);
        QCOMPARE(answered, answer);
        QCOMPARE(mWindow->isVisible(), isOpen);
        QCOMPARE(bytes(), after);
    }

    void saysWhyThereIsNothingToShow()
    {
        QVERIFY(QDir().mkdir(mFile));
        open();
        QCOMPARE(outcome(), QString("%1 can't be read: Is a directory").arg(mFile));
        QVERIFY(!find<QAbstractButton>("radioOff")->isEnabled());
        mFile.clear();
        open();
        QCOMPARE(outcome(), QString("HOME is not set; name the settings file with --file"));

        mFile = mFolder->filePath("gone/a.ini");
        open();
        const QString why = QString("there is no folder %1; is the client installed there?")
                                .arg(mFolder->filePath("gone"));
        QCOMPARE(find<QPlainTextEdit>("textWarnings")->toPlainText(), why);
        play("press checkIdleDock");
        button(QDialogButtonBox::Save)->click();
        QCOMPARE(outcome(), "Not saved: " + why);
    }
};

QTEST_MAIN(TestSettingsWindow)
#include "tst_settingswindow.moc"
