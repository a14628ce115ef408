#include "settings-tool/settingswindow.h"
#include "tests/files.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
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

    /// Said in many cases that are about other things.
    const QString ofTheSwitch = "idleDock channels have no effect until you allow moves into them.";

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

    QString status() const { return find<QLabel>("labelStatus")->text(); }

    /// What is said but for what belongs to many cases.
    QString hints() const { return status().remove(ofTheSwitch).trimmed(); }

    /// Does what the words of a step say: press BUTTON; select ROW; alone ROW; id ROW TEXT;
    /// channel ROW TEXT; type TEXT and key NAME, wherever the focus is.
    void play(const QString &steps)
    {
        const QStringList all = steps.split("; ", Qt::SkipEmptyParts);
        for (const QString &step : all) {
            QCoreApplication::processEvents(); // what was begun before
            const QString verb = step.section(' ', 0, 0);
            const QString object = step.section(' ', 1, 1);
            if (verb == "press") {
                auto *pressed = find<QAbstractButton>(object);
                QTest::mouseClick(pressed, Qt::LeftButton, {}, {8, pressed->height() / 2});
            } else if (verb == "type") {
                for (const QChar c : step.section(' ', 1))
                    QTest::keyClick(QApplication::focusWidget(), c.toLatin1());
            } else if (verb == "key") {
                QTest::keySequence(QApplication::focusWidget(), QKeySequence(object));
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
        const QByteArray file = "; note\n[General]\nstaybolt.sendNotify=yes\nfoo=1\n"
                                "staybolt.x=1,2\nmodule.idleDock.abc%3D.target=1,2\n";
        writeFile(mFile, file);
        open();
        QCOMPARE(rows(), QString("!abc= - 1, 2; !x x "));
        QVERIFY(find<QAbstractButton>("radioStandard")->isChecked());
        auto *warnings = find<QListWidget>("listWarnings");
        QCOMPARE(warnings->count(), 2);
        QCOMPARE(warnings->item(1)->text(), QString("foo: the plug-in doesn't know this key"));
        QVERIFY(warnings->isVisible() && hints().startsWith("There are warnings"));
        QVERIFY(!button(QDialogButtonBox::Save)->isEnabled());
        play("select 1"); // and hints follow
        QVERIFY2(hints().contains("x: this doesn't look like a server's"), qPrintable(hints()));
        QCOMPARE(readFile(mFile), file);
        play("press radioOff");
        button(QDialogButtonBox::Save)->click();
        QCOMPARE(warnings->count(), 1); // that of foo
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
        row("standard", mine, "press radioStandard", "staybolt.sendNotify=1\n",
            "Save removes your own message.");
        row("standard after all", "", "press radioOwn; type mine; press radioStandard",
            "staybolt.sendNotify=1\n", "Save removes your own message.");
        row("text, and no idleDock any more", "module.staybolt.idleDock=1\n",
            "press checkIdleDock; press radioOwn; type a, b",
            "module.staybolt.idleDock=false\nstaybolt.customNotify=\"a, b\"\n"
            "staybolt.sendNotify=1\n");
        row("a text that is emptied, and not sent", mine + "staybolt.sendNotify=1\n",
            "press radioOwn; key Ctrl+A; key Del; press radioOff",
            mine + "staybolt.sendNotify=0\n");
        row("text that is not sent", mine, "press radioOwn; type s; press radioOff",
            "staybolt.customNotify=mines\n");
        row("idleDock, and nothing that is only spelled in another way",
            "module.idleDock.abc%3D.target=five\nstaybolt.customNotify=a, b\n"
            "staybolt.sendNotify=yes\nstaybolt.x=0\n",
            "press checkIdleDock",
            "module.idleDock.abc%3D.target=five\nmodule.staybolt.idleDock=true\n"
            "staybolt.customNotify=a, b\nstaybolt.sendNotify=yes\nstaybolt.x=0\n",
            "Your message is empty.\nNo server has an idleDock channel yet.");

        const char *strange =
            "this doesn't look like a server's unique id: those have 28 characters "
            "and end in =";
        const QByteArray servers = "module.idleDock.abd%3D.target=42\nstaybolt.abc%3D=1\n"
                                   "staybolt.abe%3D=3\n";
        row("add", "", "press buttonAdd; type  ab/c= ; alone 0", "\n[staybolt.ab]\nc%3D=true\n");
        row("add with a channel only, and an empty text", "",
            "press radioOwn; press buttonAdd; type abc; channel 0 4294967295",
            "module.idleDock.abc.target=4294967295\nstaybolt.customNotify=\n"
            "staybolt.sendNotify=1\n",
            QByteArray("Your message is empty.\nabc: ") + strange);
        row("left alone with a channel", servers, "alone 0; alone 0; channel 0 7",
            "module.idleDock.abc%3D.target=7\n" + servers,
            "abc=: the server is left alone, so its idleDock channel has no effect");
        row("channel 0", servers, "alone 2; channel 2 0",
            "module.idleDock.abd%3D.target=42\nmodule.idleDock.abe%3D.target=0\n"
            "staybolt.abc%3D=1\n",
            "abe=: channel 0 means that the server has no idleDock channel");
        row("what the file holds may stay, or go",
            "module.idleDock.abc%3D.target=fortytwo\nstaybolt.My%20Server=1\nstaybolt.x%20y=1\n",
            "select 1; press buttonRemove; channel 0 42; channel 0 fortytwo; select 1; press "
            "radioStandard",
            "module.idleDock.abc%3D.target=fortytwo\nstaybolt.sendNotify=1\nstaybolt.x%20y=1\n",
            QByteArray("x y: ") + strange);
        row("remove, and take it back", servers + "staybolt.sendNotify=1\n",
            "press radioOff; select 1; key Del; select 1; key Del; select 0; key Del; key Ctrl+Z; "
            "press buttonUndo; key Ctrl+Z",
            servers + "staybolt.sendNotify=0\n");
        row("other id", servers, "id 1 abf=",
            "module.idleDock.abf%3D.target=42\nstaybolt.abc%3D=1\nstaybolt.abe%3D=3\n");

        const auto refused = [&](const QByteArray &before, const char *steps, const char *why) {
            row(why, before, steps, before, why);
        };
        refused(servers, "channel 0 x; id 0 ", "the server's unique id is missing");
        refused(servers, "channel 0 4294967296",
                "abc=: a channel is a number from 0 to 4294967295");
        refused(servers, "press buttonAdd; type abc=; alone 3",
                "abc=: this server is already in the list");
        refused(servers,
                "press buttonAdd; type abf=", "abf=: tick \"Left alone\" or enter a channel");
        // Its other key is there, but belongs to nobody.
        refused("module.idleDock.customNotify.target=6\nstaybolt.customNotify=mine\n", "alone 0",
                "customNotify: this id clashes with the name of a setting");
    }

    void savesWhatWasChanged()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, steps);
        QFETCH(QString, hint);
        QFETCH(QByteArray, after);
        writeFile(mFile, before);
        open();
        const int place = find<QLabel>("labelStatus")->y();
        play(steps);
        QCOMPARE(hints(), hint);
        QCOMPARE(find<QLabel>("labelStatus")->y(), place); // nothing moves while one types
        QCOMPARE(readFile(mFile), before);
        // By its letter, which leaves the focus in the cell that is being edited.
        QTest::keyClick(mWindow.data(), Qt::Key_S, Qt::AltModifier);
        if (after == before) {
            QTRY_VERIFY2(hints().startsWith("Not saved: " + hint), qPrintable(hints()));
            QCOMPARE(rows().count('!'), 1);
            QCOMPARE(table()->currentColumn(), hint.contains("a channel is") ? 2 : 0);
            QCOMPARE(readFile(mFile), before);
            return;
        }
        QTRY_VERIFY2(hints().startsWith("Saved. Your changes apply from the next move."),
                     qPrintable(hints()));
        QCOMPARE(readFile(mFile), after);
        QVERIFY(!button(QDialogButtonBox::Save)->isEnabled());
    }

    void isUsedWithTheKeyboardAlone()
    {
        writeFile(mFile,
                  "[General]\nmodule.idleDock.abc%3D.target=42\nmodule.idleDock.42%3D.target=7\n");
        open();
        const auto plays = [&](const char *steps) {
            play(steps);
            return rows();
        };
        QCOMPARE(status(), ofTheSwitch);
        QVERIFY(!find<QListWidget>("listWarnings")->isVisible());
        QCOMPARE(plays("channel 1 "), QString("42= - 7; !abc= - "));
        QCOMPARE(plays("key Esc"), QString("42= - 7; abc= - 42"));
        // Each way into a cell; what was there can be kept, and Esc brings it back.
        QCOMPARE(plays("key F2; key Home; type  1; type 3"), QString("42= - 7; abc= -  1342"));
        QCOMPARE(plays("key Esc; key Return; key Home; type 1"), QString("42= - 7; abc= - 142"));
        QCOMPARE(plays("key Return; type 42"), QString("42= - 7; abc= - 42"));
        // Space, Return and Enter toggle the tick, from each cell or from the tick's own.
        QCOMPARE(plays("key Return; key Space"), QString("42= - 7; !abc= x 42"));
        QCOMPARE(plays("key Left; key Space; key Left; key Space"), QString("42= - 7; !abc= x 42"));
        QCOMPARE(plays("key Right; key Enter"), QString("42= - 7; abc= - 42"));
        // Tab goes on from an editor, and leaves the table from its last column or between edits.
        QCOMPARE(plays("key Right; type 5; key Tab"), QString("42= - 7; abc= - 5"));
        QCOMPARE(QApplication::focusWidget()->objectName(), QString("buttonAdd"));
        QCOMPARE(plays("key Space; type x; key Backspace"), QString("42= - 7; abc= - 5;  - "));
        // An empty new row is nothing.
        QVERIFY(!hints().contains("missing"));
        // Only what is seen to be selected is removed.
        QCOMPARE(plays("key Esc; key Up; key Shift+Up; key Del"), QString(" - "));
        QCOMPARE(plays("press buttonUndo"), QString("42= - 7; abc= - 5;  - "));
        QVERIFY(!find<QAbstractButton>("buttonUndo")->isEnabled());
        table()->clearSelection();
        QVERIFY(!find<QAbstractButton>("buttonRemove")->isEnabled());
        QCOMPARE(plays("key Del"), QString("42= - 7; abc= - 5;  - "));
        QVERIFY(mWindow->isVisible());
    }

    void showsWhichCellIsTheCurrentOne()
    {
        writeFile(mFile, "[General]\nstaybolt.abc%3D=1\n");
        QApplication::setStyle("Windows"); // which itself shows it in no selected row
        open();
        play("channel 0 ");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        // All three are selected; the current one alone has a frame.
        const auto hasFrame = [&](int column) {
            const QRect place = table()->visualItemRect(table()->item(0, column));
            const QImage cell = table()->viewport()->grab(place).toImage();
            return cell.pixelColor(1, place.height() / 2) != cell.pixelColor(place.width() - 5, 5);
        };
        QVERIFY(hasFrame(2) && !hasFrame(1));
    }

    void fitsOnSmallScreens_data()
    {
        QTest::addColumn<QSize>("screen");
        QTest::addColumn<int>("dpi");
        for (const QSize screen : {QSize(1366, 768), QSize(1024, 600)}) {
            for (int dpi : {96, 144, 192})
                QTest::addRow("%d dots an inch, %d high", dpi, screen.height()) << screen << dpi;
        }
    }

    void fitsOnSmallScreens()
    {
        QFETCH(QSize, screen);
        QFETCH(int, dpi);
        QFont font = QApplication::font();
        const auto restore = qScopeGuard([usual = font] { QApplication::setFont(usual); });
        font.setPixelSize(dpi / 8); // 9 points
        QApplication::setFont(font);
        QByteArray servers = "[General]\n";
        for (int i = 10; i < 70; ++i)
            servers += QByteArray("staybolt.NNNNNNNNNNNNNNNNNNNNNNNNN%1%3D=true\n")
                           .replace("%1", QByteArray::number(i));
        for (const bool hasWarnings : {false, true}) {
            writeFile(mFile, servers + (hasWarnings ? "a=1\nb=2\nc=3\n" : ""));
            open();
            mWindow->fitInto(screen);
            play(QString("press buttonAdd; type /; ").repeated(9)); // many that are wrong
            button(QDialogButtonBox::Save)->click(); // refused
            QCoreApplication::processEvents();
            const int frame = 24; // of a usual window manager
            QVERIFY(mWindow->width() <= screen.width()
                    && mWindow->height() + frame <= screen.height());
            for (const QWidget *widget :
                 QWidgetList{button(QDialogButtonBox::Save), button(QDialogButtonBox::Close),
                             find<QLabel>("labelStatus")})
                QCOMPARE(widget->visibleRegion().boundingRect(), widget->rect());
            // Whatever is reached with Tab is to be seen.
            find<QWidget>("radioOff")->setFocus();
            for (int i = 0; i < 5; ++i) {
                const QWidget *focus = QApplication::focusWidget();
                QVERIFY2(focus == table() || focus->visibleRegion().boundingRect() == focus->rect(),
                         qPrintable(focus->objectName()));
                QTest::keyClick(mWindow.data(), Qt::Key_Tab);
            }
            // The row that it is about is to be seen, and an id is whole.
            QCOMPARE(table()->currentRow(), 68);
            const QRect row = table()->visualItemRect(table()->currentItem());
            QCOMPARE(table()->viewport()->visibleRegion().boundingRect() & row, row);
            const QSize needed = table()->itemDelegate()->sizeHint(QStyleOptionViewItem(),
                                                                   table()->model()->index(0, 0));
            if (dpi < 192 || screen.width() > 1024)
                QVERIFY(table()->columnWidth(0) >= needed.width());
            // The rest takes part when the window grows.
            const int height = table()->height();
            mWindow->resize(mWindow->width(), 2000);
            QCoreApplication::processEvents();
            QVERIFY(table()->height() > height);
        }
    }

    void sortsAndStaysWhereTheUserIs()
    {
        QByteArray servers = "[General]\n";
        for (int i = 10; i < 70; ++i)
            servers += "module.idleDock.a" + QByteArray::number(i)
                + "%3D.target=" + QByteArray::number(90 - i) + '\n';
        writeFile(mFile, servers);
        open();
        const auto sortBy = [&](int column) {
            auto *header = table()->horizontalHeader();
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                              {header->sectionViewportPosition(column) + 8, header->height() / 2});
        };
        sortBy(2);
        QCOMPARE(rows().left(20), QString("a69= - 21; a68= - 22"));
        sortBy(2);
        QCOMPARE(rows().left(20), QString("a10= - 80; a11= - 79"));
        // No row moves while it is edited, and what was edited stays in sight.
        play("channel 30 5");
        QCOMPARE(table()->currentRow(), 30);
        const auto save = [&] {
            QTest::keyClick(mWindow.data(), Qt::Key_S, Qt::ControlModifier);
            QVERIFY(hints().startsWith("Saved."));
            QVERIFY(table()->currentItem()->isSelected());
            QVERIFY(table()->viewport()->rect().contains(
                table()->visualItemRect(table()->currentItem())));
        };
        save();
        QCOMPARE(table()->currentItem()->text(), QString("5"));
        QCOMPARE(table()->currentRow(), 59);
        sortBy(0);
        table()->verticalScrollBar()->setValue(27);
        play("channel 30 6");
        const int position = table()->verticalScrollBar()->value();
        save(); // from an open cell
        QCOMPARE(table()->verticalScrollBar()->value(), position);
        QVERIFY(table()->hasFocus());
    }

    void speaksToScreenReaders()
    {
        writeFile(mFile, "; mine\n[General]\nstaybolt.abc=1\nfoo=1\n");
        open();
        play("press radioOwn; id 0 My Server"); // with an open editor
        const auto nameOf = [](QWidget *widget) {
            return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
        };
        const QWidgetList widgets = mWindow->findChildren<QWidget *>();
        for (QWidget *widget : widgets) {
            if (widget->isVisible() && widget->focusPolicy() != Qt::NoFocus)
                QVERIFY2(!nameOf(widget).isEmpty(), qPrintable(widget->objectName()));
        }
        QCOMPARE(nameOf(QApplication::focusWidget()), QString("Unique id"));
        auto *cells = QAccessible::queryAccessibleInterface(table())->tableInterface();
        QCOMPARE(cells->cellAt(0, 1)->text(QAccessible::Name), QString("Left alone: yes"));
        QCOMPARE(cells->cellAt(0, 2)->text(QAccessible::Name), QString("idleDock channel: "));
        QVERIFY(cells->cellAt(0, 0)
                    ->text(QAccessible::Description)
                    .startsWith("\"My Server\" is not a unique id"));
    }

    void leavesWhatOthersChanged()
    {
        writeFile(mFile, "[General]\nstaybolt.abc%3D=1\n");
        open();
        play("press checkIdleDock");
        QVERIFY(QFile::remove(mFile) && QDir().mkdir(mFile));
        button(QDialogButtonBox::Save)->click();
        QVERIFY(hints().startsWith(
            QString("Not saved: %1 can't be written: Is a directory").arg(mFile)));
        QVERIFY(QDir().rmdir(mFile));

        writeFile(
            mFile,
            "; note\n[General]\nstaybolt.abc%3D=1\nstaybolt.abd%3D=1\nstaybolt.sendNotify=1\n");
        button(QDialogButtonBox::Save)->click();
        QVERIFY(hints().startsWith(
            QString(
                "Saved. A copy of the old file is in %1. Your changes apply from the next move.")
                .arg(mFolder->filePath("a.kept-1.ini"))));
        QCOMPARE(readFile(mFile),
                 QByteArray("[General]\nmodule.staybolt.idleDock=true\nstaybolt.abc%3D=1\n"
                            "staybolt.abd%3D=1\nstaybolt.sendNotify=1\n"));
        QCOMPARE(rows(), QString("abc= x ; abd= x "));
        QVERIFY(find<QAbstractButton>("radioStandard")->isChecked());
        play("press buttonAdd");
        QVERIFY(!hints().startsWith("Saved"));
    }

    void asksBeforeItDropsChanges()
    {
        QSet<QString> letters;
        // Whether it asked, whether the window is still there, and what the file holds.
        const auto closed = [&](const QString &steps, QMessageBox::StandardButton answer) {
            writeFile(mFile, "[General]\nstaybolt.sendNotify=1\n");
            open();
            play(steps);
            QString result = "not asked";
            QTimer::singleShot(0, this, [&] {
                if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                    result = "asked";
                    for (const QAbstractButton *one : box->buttons())
                        letters.insert(one->shortcut().toString());
                    box->button(answer)->click();
                }
            });
            button(QDialogButtonBox::Close)->click();
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
        QCOMPARE(closed("press buttonAdd; type /; alone 0; press radioOff", save),
                 QString("asked, open, staybolt.sendNotify=1\n"));
        QCOMPARE(mWindow->focusWidget(), table());
        QCOMPARE(letters, QSet<QString>({"Alt+S", "Alt+D", "Alt+C"}));
    }

    void saysWhyThereIsNothingToShow()
    {
        QVERIFY(QDir().mkdir(mFile));
        open();
        QCOMPARE(hints(), QString("%1 can't be read: Is a directory").arg(mFile));
        QVERIFY(!find<QAbstractButton>("radioOff")->isEnabled());
        QVERIFY(!button(QDialogButtonBox::Save)->isEnabled());
        QTest::keyClick(mWindow.data(), Qt::Key_Escape);
        QVERIFY(!mWindow->isVisible());
    }
};

QTEST_MAIN(TestSettingsWindow)
#include "tst_settingswindow.moc"
