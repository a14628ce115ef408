#include "settings-tool/serverdialog.h"
#include "settings-tool/settingswindow.h"
#include "tests/files.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QScopeGuard>
#include <QScrollBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

/// What people see in the window of staybolt-settings on screens of all sizes, and what a server's
/// dialog does with what is entered. window-on-x tests how the window is used.
class TestSettingsWindow : public QObject
{
    Q_OBJECT

    QScopedPointer<QTemporaryDir> mFolder;
    QString mFile;
    QScopedPointer<SettingsWindow> mWindow;

    void open(const QByteArray &bytes)
    {
        writeFile(mFile, "[General]\n" + bytes);
        mWindow.reset(new SettingsWindow(mFile));
        mWindow->show();
        QVERIFY(QTest::qWaitForWindowActive(mWindow.data()));
    }

    static QString nameOf(QWidget *widget, QAccessible::Text kind = QAccessible::Name)
    {
        return QAccessible::queryAccessibleInterface(widget)->text(kind);
    }

    /// The widget that a screen reader knows by that name.
    template<typename Widget>
    static Widget *named(const QWidget &window, const QString &name)
    {
        for (Widget *one : window.findChildren<Widget *>()) {
            if (nameOf(one) == name)
                return one;
        }
        qFatal("there is no %s", qPrintable(name));
    }

    static QString hints(const QWidget &window)
    {
        QStringList result;
        for (const QLabel *label : window.findChildren<QLabel *>()) {
            if (label->wordWrap() && label->isVisibleTo(&window))
                result.append(label->text());
        }
        return result.join(" | ");
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
        open("; note\nmodule.idleDock.5.target=5\nmodule.idleDock.abc%3D.target=42\n"
             "module.idleDock.abd%3D.target=fortytwo\nmodule.idleDock.abe%3D.target=\n"
             "module.idleDock.abf%3D.target=0\nname.abc%3D=Home\nname.gone%3D=Gone\n"
             "module.idleDock.abh%3D.target=4294967298\nstaybolt.5=1\n"
             "staybolt.Jrn2dCmqOZ3cq7Jd2lpQPVI3rB8%3D=1\nstaybolt.sendNotify=1\n");
        auto *list = mWindow->findChild<QTreeWidget *>();
        QStringList rows;
        for (QTreeWidgetItemIterator item(list); *item; ++item) {
            const QString sign = (*item)->icon(0).isNull() ? "" : "!";
            rows.append(sign + (*item)->text(0) + " | " + (*item)->text(1) + " | "
                        + (*item)->text(2));
        }
        QCOMPARE(
            rows.join('\n'),
            QString("!5 | left alone (channel 5 unused) | 5\n"
                    "!abd= | protected (channel \"fortytwo\" has no effect) | abd=\n"
                    "!abe= | protected (channel \"\" has no effect) | abe=\n"
                    "!abf= | protected (channel 0 has no effect) | abf=\n"
                    "!abh= | idleDock channel 2 (not allowed) | abh=\n"
                    "!Home | idleDock channel 42 (not allowed) | abc=\n"
                    "Jrn2dCmqOZ3cq7Jd2lpQPVI3rB8= | left alone | Jrn2dCmqOZ3cq7Jd2lpQPVI3rB8="));
        QCOMPARE(list->selectedItems().first()->text(0), QString("5"));
        QCOMPARE(list->currentItem()->data(1, Qt::AccessibleDescriptionRole).toString(),
                 QString("this doesn't look like a server's unique id, which has 28 characters "
                         "and ends in =\nthe server is left alone, so its idleDock channel has no "
                         "effect"));
        // After a click on another column, typed letters are still searched for in the first one.
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          {list->columnViewportPosition(1) + 5, 5});
        QTest::keyClicks(list, "Ho");
        QCOMPARE(list->selectedItems().first()->text(2), QString("abc="));
        named<QAbstractButton>(*mWindow, "Allow moves into idleDock channels")->click();
        QCOMPARE(list->selectedItems().first()->text(1), QString("idleDock channel 42"));
        QCOMPARE(mWindow->findChild<QListWidget *>()->count(), 1);
    }

    void judgesAServer_data()
    {
        QTest::addColumn<int>("index"); // in the list, -1 for a new one
        QTest::addColumn<QString>("fields"); // id, name, choice and channel, - for unchanged
        QTest::addColumn<QString>("result"); // what changes, or why not
        const auto row = [](int index, const char *fields, const char *result) {
            QTest::addRow("%d: %s", index, fields) << index << QString(fields) << QString(result);
        };
        const QByteArray noNumber =
            "Enter the channel's number. To undo every move on this server, "
            "press Cancel, then Remove.";
        const char *noChannel = "A channel is a number from 0 to 4294967295.";
        row(-1, " \n a bf\n=\r\n, My  home ,leave,-", "name.abf==My home; staybolt.abf==true");
        row(-1, "abf=,-,undo,042", "module.idleDock.abf=.target=42");
        row(-1, ",-,leave,-", "The server's unique id is missing.");
        row(-1, "abc=/,-,leave,-", "This server is already in the list.");
        row(-1, "permitIdleDock,-,leave,-",
            "PermitIdleDock: this id clashes with the name of a setting.");
        row(-1, "abf=,-,undo,-",
            "Enter the channel's number. To undo every move on this server, press Cancel.");
        row(-1, "abf=,-,undo,4294967296", noChannel);
        // Whatever the file holds may stay.
        row(0, "-,Home,-,-", "name.50%=Home");
        row(0, "-,-,leave,-",
            "\"50%\" is not a unique id. Unique ids contain only letters, digits, "
            "+, / and =. To find a server's id, click the server's name in the "
            "client and look at the info panel.");
        row(0, "abf=,-,-,-", "module.idleDock.50%.target=; module.idleDock.abf=.target=fortytwo");
        row(2, "-,-,-,five", noChannel);
        row(1, "-,-,undo,-", noNumber);
        row(1, "abd=,-,-,-", "This server is already in the list.");
        row(1, "-,-,undo,7", "module.idleDock.abc=.target=7; staybolt.abc==");
        row(2, "-,,-,7", "module.idleDock.abd=.target=7; name.abd==");
        row(2, "-,-,-,", noNumber);
        row(2, "-,-,leave,7", "staybolt.abd==true"); // and the channel stays
    }

    void judgesAServer()
    {
        QFETCH(int, index);
        QFETCH(QString, fields);
        QFETCH(QString, result);
        writeFile(mFile,
                  "[General]\nmodule.idleDock.50%25.target=fortytwo\n"
                  "module.idleDock.abd%3D.target=5\nmodule.staybolt.idleDock=true\n"
                  "name.abd%3D=Den\nstaybolt.abc%3D=1\n");
        Draft draft(mFile);
        ServerDialog dialog(draft, index, nullptr);
        const QStringList parts = fields.split(',');
        const auto enter = [&](const char *label, const QString &text) {
            auto *field = named<QLineEdit>(dialog, label);
            field->selectAll();
            if (text != "-")
                field->insert(text);
        };
        enter("Unique id:", parts.at(0));
        enter("Name:", parts.at(1));
        enter("Channel number:", parts.at(3));
        if (parts.at(2) != "-") {
            named<QAbstractButton>(dialog,
                                   parts.at(2) == "undo"
                                       ? "Undo moves, except those into the idleDock channel"
                                       : "Leave this server alone")
                ->click();
        }
        dialog.accept();
        if (dialog.result() != QDialog::Accepted) {
            QCOMPARE(hints(dialog).section(" | ", -1), result);
            return;
        }
        draft.put(dialog.server(), index);
        QStringList changes;
        const QVariantMap all = draft.changes();
        for (auto one = all.begin(); one != all.end(); ++one)
            changes.append(one.key() + '=' + one->toString());
        QCOMPARE(changes.join("; "), result);
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
        const int frame = 36; // what a typical window manager adds
        QByteArray servers = "staybolt.customNotify=x\nstaybolt.sendNotify=1\n";
        for (int i = 10; i < 70; ++i)
            servers += "module.idleDock.N" + QByteArray::number(i) + ".target=fortytwo\n";
        const QByteArray longKey = QByteArray("c%20").repeated(99);
        for (const QByteArray &warnings : {QByteArray(), "; note\na=1\n" + longKey + "=3\n"}) {
            open(servers + warnings);
            mWindow->fitInto(screen);
            // With every possible warning and hint.
            named<QAbstractButton>(*mWindow, "Save")->setEnabled(true);
            named<QAbstractButton>(*mWindow, "Save")->click();
            auto *pages = mWindow->findChild<QTabWidget *>();
            for (int page = 0; page < (warnings.isEmpty() ? 2 : 3); ++page) {
                pages->setCurrentIndex(page);
                QTest::qWait(1);
                QVERIFY2(
                    mWindow->width() <= screen.width()
                        && mWindow->height() + frame <= screen.height(),
                    qPrintable(QString("%1 x %2").arg(mWindow->width()).arg(mWindow->height())));
                for (QWidget *widget : mWindow->findChildren<QWidget *>()) {
                    const QString what = widget->metaObject()->className() + (' ' + nameOf(widget));
                    if (!widget->isVisible()
                        || widget->parentWidget()->inherits("QAbstractScrollArea"))
                        continue;
                    const QRect place(widget->mapTo(mWindow.data(), QPoint()), widget->size());
                    QVERIFY2(mWindow->rect().contains(place), qPrintable(what));
                    const int needed = widget->hasHeightForWidth()
                        ? widget->heightForWidth(widget->width())
                        : widget->minimumSizeHint().height();
                    QVERIFY2(widget->height() >= needed, qPrintable(what));
                    // For screen readers.
                    QVERIFY2(widget->focusPolicy() == Qt::NoFocus || !nameOf(widget).isEmpty(),
                             qPrintable(what));
                }
            }
            // Long warnings take several lines.
            QCOMPARE(mWindow->findChild<QListWidget *>()->horizontalScrollBar()->maximum(), 0);
        }
    }

    void saysWhyThereIsNothingToShow()
    {
        QVERIFY(QDir().mkdir(mFile));
        SettingsWindow window(mFile);
        QCOMPARE(hints(window).section(" | ", -1), mFile + " can't be read: Is a directory");
        QVERIFY(!named<QAbstractButton>(window, "No message")->isEnabled());
        QVERIFY(!named<QAbstractButton>(window, "Save")->isEnabled());
    }
};

QTEST_MAIN(TestSettingsWindow)
#include "tst_settingswindow.moc"
