#include "shared/settings/configuration.h"
#include "shared/settings/guiconfiguration.h"
#include "shared/settings/settingsfile.h"
#include "tests/files.h"
#include "tests/one_server.h"

#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QSettings>
#include <QSlider>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

namespace {

const QString notify = "staybolt.sendNotify";
const QString custom = "staybolt.customNotify";
const QString permit = "staybolt.permitIdleDock";

int syncs = 0;

}

/// Replaces the system's function, to count how often Qt waits for the disk.
extern "C" __attribute__((visibility("default"))) int fdatasync(int)
{
    ++syncs;
    return 0;
}

class TestSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mFolder.reset(new QTemporaryDir);
        mHost.reset(new standin::Host);
        mHost->accepts = true;
        // A folder with a dot in its name, like the client's.
        QVERIFY(QDir(mFolder->path()).mkdir(".ts3client"));
        mConfig = mFolder->filePath(".ts3client");
        mHost->configPath = mConfig.toUtf8();
        mFile = mConfig + "/Kestrelsoft Staybolt.ini";
        mKept = mConfig + "/Kestrelsoft Staybolt.kept-%1.ini";
        funcwrapper::instance()->setFunctions(tableOf(*mHost));
        open();
        mDialog.reset(new guiConfiguration(nullptr));
    }

    void cleanup()
    {
        mDialog.reset();
        mHost.reset();
    }

    void answersForAbsentKeys()
    {
        configuration *settings = configuration::instance();
        QVERIFY(!settings->get(notify).isValid());
        QVERIFY(!settings->contains(custom));
        settings->remove(custom);
        QCoreApplication::processEvents();
        QVERIFY2(!QFile::exists(mFile), "the file was written although nothing changed");

        configuration unopened;
        unopened.set(notify, 1);
        QVERIFY(!unopened.contains(notify) && !unopened.get(notify).isValid());
    }

    void keepsWhatQtDrops_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const auto row = [](const char *name, const QByteArray &rest) {
            QTest::newRow(name) << "[General]\nstaybolt.sendNotify=1\n" + rest;
        };
        row("comment", "; mine\n");
        row("key twice", "mine=1\nmine=2\n");
        row("quote that is never closed", "staybolt.customNotify=\"a\nmine=2\n");
        row("letters beyond ASCII", "staybolt.customNotify=gr\xc3\xbc\xc3\x9f\x65\n");
        row("rubbish", QByteArray("\x00\x01\xff\xfegarbage\x00more", 16));
        // Qt parses a section when it is first asked for, and must still take it for UTF-8 then.
        QTest::newRow("byte-order mark")
            << QByteArray("\xef\xbb\xbf[General]\nstaybolt.sendNotify=1\na=\xc3\xbc\n"
                          "[b]\nc=\xc3\xbc\n");
    }

    void keepsWhatQtDrops()
    {
        QFETCH(QByteArray, bytes);
        writeFile(mKept.arg(1), "an earlier copy");
        QVERIFY(QFile::link("nowhere", mKept.arg(2)));
        openWith(bytes);
        // What Qt reads counts, before a save ...
        QCOMPARE(configuration::instance()->get(notify).toString(), "1");
        press("buttonReload");
        QCOMPARE(field<QSlider>("sliderNotify")->value(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(readFile(mFile), bytes);
        const QMap<QString, QString> before = contents(mFile, bytes.startsWith("\xef\xbb\xbf"));

        // ... and after it. The copy is logged last, once the value is set.
        bool isSet = false;
        mHost->asked = [&](const QString &, unsigned int) {
            isSet = configuration::instance()->contains(permit);
        };
        configuration::instance()->set(permit, 1);
        QVERIFY(isSet);
        QCOMPARE(readFile(mKept.arg(3)), bytes);
        QCOMPARE(mHost->takeRequests(),
                 QStringList(QString("log at level 4 for connection (0): \"What the settings file "
                                     "held is kept in %1\"")
                                 .arg(mKept.arg(3))));
        QTRY_VERIFY(readFile(mFile) != bytes);
        const QMap<QString, QString> after = contents(mFile);
        for (auto one = before.begin(); one != before.end(); ++one)
            QCOMPARE(after.value(one.key()), one.value());
        // What Qt wrote needs no copy, and an identical copy isn't made twice.
        configuration::instance()->set(permit, 1);
        QCoreApplication::processEvents();
        writeFile(mFile, bytes);
        configuration::instance()->set(permit, 1);
        QCoreApplication::processEvents();
        QVERIFY(!QFile::exists(mKept.arg(4)));
        QCOMPARE(readFile(mKept.arg(1)), QByteArray("an earlier copy"));
        QCOMPARE(mHost->takeRequests(), QStringList());
    }

    void needsNoCopyOfWhatQtWrites()
    {
        {
            QSettings file(mFile, QSettings::IniFormat);
            file.setValue("text", "a, \"b\"; 50% \\n\n\U0001F426 ");
            file.setValue("a/b", 1.5);
            // The longest text that a field accepts by default.
            file.setValue("long", QString(32767, 'x') + QChar(0x20ac));
        }
        const QByteArray bytes = readFile(mFile);
        QVERIFY(bytes.size() > 32767);
        for (const QByteArray &one : {bytes, QByteArray(bytes).replace("\n", "\r\n\n \t\n")}) {
            QVERIFY2(settingsFile::isSafe(one), one.left(4000));
        }
    }

    void keepsWhereNothingCanBeTried()
    {
        // Without a temporary file nobody knows what Qt would drop.
        const QByteArray usual = qgetenv("TMPDIR");
        qputenv("TMPDIR", "/dev/null"); // fails for root too
        const auto restore = qScopeGuard([=] { qputenv("TMPDIR", usual); });
        openWith("a=1\n");
        configuration::instance()->set(permit, 1);
        QCOMPARE(readFile(mKept.arg(1)), QByteArray("a=1\n"));
        configuration::instance()->set(notify, 1);
        QVERIFY(!QFile::exists(mKept.arg(2)));
    }

    void keepsOnAFullDisk()
    {
        const QByteArray bytes = "; mine\na=1\nstaybolt.customNotify=a\n";
        openWith(bytes);
        whileTheDiskIsFull([this] { press("buttonRemove"); });
        QCOMPARE(readFile(mFile), bytes);
        QCOMPARE(readFile(mKept.arg(1)), bytes);
        QVERIFY(!configuration::instance()->contains(custom));
        QCOMPARE(mHost->takeRequests(),
                 QStringList(QString("log at level 2 for connection (0): \"The settings may not be "
                                     "saved: File too large. What the settings file held is kept "
                                     "in %1\"")
                                 .arg(mKept.arg(1))));
        // Even if Qt has truncated the file to nothing, nothing is forgotten.
        QVERIFY(QFile::remove(mFile));
        writeFile(mFile, "");
        configuration::instance()->contains(custom);
        QTRY_VERIFY(contents(mFile).contains("a"));
    }

    void readsAfreshWhatOthersWrote()
    {
        openWith("a=0\n");
        const auto value = [] { return configuration::instance()->get("a").toString(); };
        const auto written = [&](const char *bytes, int time, mode_t mode = 0666) {
            writeFile(mFile + ".new", bytes);
            setTime(mFile + ".new", time);
            chmod(qPrintable(mFile + ".new"), mode);
            rename(qPrintable(mFile + ".new"), qPrintable(mFile));
            return value();
        };
        QCOMPARE(written("a=1\n", 20), QString("1"));
        QCOMPARE(written("a=2\n", 10), QString("2")); // an older file
        QCOMPARE(written("", 10), QString());
        QCOMPARE(written("a=3\nb=1\n", 20), QString("3"));
        QVERIFY(configuration::instance()->contains("b"));
        QVERIFY(QFile::remove(mFile));
        QVERIFY(!configuration::instance()->contains("a"));
        QCOMPARE(written("a=4\n", 20), QString("4"));
        // A file that can't be read for a while takes effect once it can be.
        QVERIFY(chmod(qPrintable(mConfig), 0777) == 0);
        asAUser([&] {
            QVERIFY(rename(qPrintable(mFile), qPrintable(mFile + ".old")) == 0);
            written("a=5\nb=1\n", 30, 0);
            QVERIFY(chmod(qPrintable(mFile), 0666) == 0);
            QCOMPARE(value(), QString("5"));
            written("a=6\n", 30, 0);
            QVERIFY(rename(qPrintable(mFile + ".old"), qPrintable(mFile)) == 0);
            QCOMPARE(value(), QString("4"));
        });
        // All of it is known again, so a write loses nothing.
        configuration::instance()->set(permit, 1);
        QTRY_VERIFY(contents(mFile).contains(permit));
        QCOMPARE(contents(mFile).value("a"), QString("4"));
    }

    void keepsWhatCameAfterAFailedWrite_data()
    {
        // What could not be written is written when the file is next read: after somebody else has
        // changed it, or after the library has been loaded again.
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("isReloaded");
        for (const bool isReloaded : {false, true}) {
            const char *when = isReloaded ? "reloaded" : "changed";
            QTest::addRow("%s", when) << QByteArray("; mine\na=\\xfc\n") << isReloaded;
            QTest::addRow("%s, marked", when)
                << QByteArray("\xef\xbb\xbf; mine\na=\xc3\xbc\n") << isReloaded;
        }
    }

    void keepsWhatCameAfterAFailedWrite()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, isReloaded);
        openWith("a=1\n");
        whileTheDiskIsFull([] { configuration::instance()->set(permit, 1); });
        QVERIFY(QFile::remove(mFile)); // the kept copy is a link to it
        writeFile(mFile, bytes);
        static configuration another; // never frees its settings object
        configuration &now = isReloaded ? another : *configuration::instance();
        if (isReloaded)
            another.init("Kestrelsoft Staybolt");
        QCOMPARE(now.get("a").toString(), QString("\u00fc"));
        QCOMPARE(readFile(mKept.arg(2)), bytes);
        QCOMPARE(mHost->takeRequests().size(), 2);
        QCoreApplication::processEvents();
        QCOMPARE(contents(mFile).value("a"), QString("\u00fc"));
        QCOMPARE(contents(mFile).value(permit), QString("1"));
        now.set(notify, 1);
        QVERIFY(!QFile::exists(mKept.arg(3)));
    }

    void keepsWhatAPendingWriteCuts()
    {
        openWith("a=1\n");
        whileTheDiskIsFull([] { configuration::instance()->set(permit, 1); });
        const QByteArray bytes = "[General]\na=" + QByteArray(8000, 'x') + '\n';
        QVERIFY(QFile::remove(mFile));
        writeFile(mFile, bytes);
        whileTheDiskIsFull([] { configuration::instance()->get("a"); }, 4096);
        QCOMPARE(readFile(mFile).size(), 4096); // truncated by Qt, which doesn't notice
        QCOMPARE(readFile(mKept.arg(2)), bytes);
    }

    void keepsWhatCameWhileAWriteWasPending()
    {
        open();
        writeFile(mFile, "a=1\n");
        configuration::instance()->set(permit, 1);
        writeFile(mFile, "a=2\n; mine\n");
        // The client may call us while it logs, and the settings are open again by then.
        bool isOpenWhenTold = false;
        mHost->asked = [&](const QString &, unsigned) {
            isOpenWhenTold = configuration::instance()->contains("a");
        };
        open(); // writes pending changes
        QVERIFY(isOpenWhenTold);
        QCOMPARE(readFile(mKept.arg(1)), QByteArray("a=2\n; mine\n"));
        QCOMPARE(contents(mFile).value("a"), QString("2"));
        QCOMPARE(contents(mFile).value(permit), QString("1"));
    }

    void keepsNothingWhereNothingIsWritten()
    {
        openWith("; mine\na=1\n");
        open();
        QCOMPARE(QDir(mConfig).entryList(QDir::Files), QStringList("Kestrelsoft Staybolt.ini"));
        QCOMPARE(mHost->takeRequests(), QStringList());
    }

    void readsAByteOrderMarkThatCameLater()
    {
        openWith("a=1\n");
        writeFile(mFile, "\xef\xbb\xbf[General]\na=gr\xc3\xbc\xc3\x9f\x65\n");
        configuration::instance()->set(permit, 1);
        configuration::instance()->set(notify, 1);
        QTRY_VERIFY(contents(mFile).contains(notify));
        QCOMPARE(contents(mFile).value("a"), QString::fromUtf8("grüße"));
        open();
        QCOMPARE(configuration::instance()->get("a").toString(), QString::fromUtf8("grüße"));
    }

    void keepsWhatALinkLeadsTo()
    {
        // On another file system where there is one, so that the bytes must be copied.
        const QTemporaryDir elsewhere("/dev/shm/staybolt");
        const QString folder = elsewhere.isValid() ? elsewhere.path() : mFolder->path();
        const bool isElsewhere =
            QStorageInfo(folder).rootPath() != QStorageInfo(mFolder->path()).rootPath();
        writeFile(folder + "/a.ini", "; mine\n");
        QVERIFY(QFile::setPermissions(folder + "/a.ini", QFile::ReadOwner | QFile::WriteOwner));
        QVERIFY(QFile::link(folder + "/a.ini", mFile));
        open();
        if (isElsewhere) {
            whileTheDiskIsFull([this] { press("buttonApply"); });
            QVERIFY(mHost->takeRequests().first().endsWith("File too large\""));
            QVERIFY(!QFile::exists(mKept.arg(1)));
        }
        press("buttonApply");
        QCoreApplication::processEvents();
        QVERIFY(!QFile(mKept.arg(1)).permissions().testFlag(QFile::ReadOther));
        QVERIFY(contents(mFile).contains(notify));
        QCOMPARE(readFile(mKept.arg(1)), QByteArray("; mine\n"));
        QVERIFY(!QFileInfo(mKept.arg(1)).isSymLink());
    }

    void countsForTheSessionWithoutAFileItCanWrite()
    {
        const QByteArray bytes = "; mine\nstaybolt.customNotify=a\n";
        openWith(bytes);
        QVERIFY(chmod(qPrintable(mConfig), 0555) == 0);
        asAUser([this] { press("buttonApply"); });
        QVERIFY(chmod(qPrintable(mConfig), 0755) == 0);
        QCOMPARE(configuration::instance()->get(notify), QVariant(0));
        QCOMPARE(configuration::instance()->get(custom).toString(), "a");
        QCOMPARE(readFile(mFile), bytes);
        QCOMPARE(mHost->takeRequests(),
                 QStringList(QString("log at level 2 for connection (0): \"The settings file could "
                                     "not be copied to %1: Permission denied\"")
                                 .arg(mKept.arg(1))));
    }

    void costsTheClientLittle()
    {
        openWith("a=1\n");
        // Qt waits for the disk twice when it writes the file, and twice when we find out what it
        // would drop.
        for (const int most : {4, 4, 2, 2}) {
            syncs = 0;
            press("buttonApply");
            QCoreApplication::processEvents();
            QVERIFY2(syncs <= most, qPrintable(QString::number(syncs)));
        }
    }

    void leavesAFileThatItCannotRead()
    {
        writeFile(mFile, "staybolt.sendNotify=1\n");
        QVERIFY(QFile(mFile).setPermissions({}) && chmod(qPrintable(mConfig), 0777) == 0);
        asAUser([this] {
            open();
            QVERIFY(!configuration::instance()->contains(notify));
            press("buttonApply");
        });
        QVERIFY(QFile(mFile).setPermissions(QFile::ReadOwner));
        QCOMPARE(readFile(mFile), QByteArray("staybolt.sendNotify=1\n"));
    }

    void formIsAsLaidOut()
    {
        const QSize size(400, 190);
        QCOMPARE(mDialog->minimumSize(), size);
        QCOMPARE(mDialog->maximumSize(), size);
        QVERIFY(!mDialog->isVisible());
        QCOMPARE(mDialog->windowTitle(), "Configuration");
        QCOMPARE(mDialog->findChild<QGroupBox *>()->title(), "Configuration:");
        for (const QSlider *slider : mDialog->findChildren<QSlider *>()) {
            QCOMPARE(slider->orientation(), Qt::Horizontal);
            QCOMPARE(slider->maximumWidth(), 60);
            QCOMPARE(slider->maximum(), 1);
        }
        // From top to bottom and from left to right, as people read.
        mDialog->showFitted();
        QMap<QPair<int, int>, QString> widgets;
        for (const QWidget *widget : mDialog->findChildren<QWidget *>()) {
            const QPoint place = widget->mapTo(mDialog.data(), widget->rect().center());
            const QString text = widget->property("text").toString();
            if (!widget->layout())
                widgets[{place.y() / 8, place.x()}] = widget->objectName() + ' ' + text;
        }
        QCOMPARE(QStringList(widgets.values()).join('\n'),
                 QString("label Permit moves to idleDock-Channel: (with v0.2)\nsliderIdleDock \n"
                         "label_2 Notify mover, that this is not wanted:\nsliderNotify \n"
                         "label_3 Custom notificationmessage:\nlineCustomNotify \n"
                         "buttonApply Save\nbuttonRemove Remove\nbuttonReload Reload"));
        for (const auto &[label, name] :
             {std::pair("label", "sliderIdleDock"), std::pair("label_2", "sliderNotify"),
              std::pair("label_3", "lineCustomNotify")}) // for screen readers
            QCOMPARE(field<QLabel>(label)->buddy(), field<QWidget>(name));
    }

    void holdsItsContentUnderAnyFont_data()
    {
        QTest::addColumn<QString>("style");
        QTest::addColumn<QString>("sheet");
        QTest::addColumn<int>("points");
        QTest::addColumn<bool>("isInPixels");
        for (const char *style : {"Fusion", "Windows"}) {
            for (const char *sheet : {"", "*{color:#eee}", "QWidget{font-size:13pt}"}) {
                for (int points : {9, 12, 13, 36}) {
                    for (bool isInPixels : {false, true}) {
                        const char *unit = isInPixels ? "points in pixels" : "points";
                        QTest::addRow("%s, %d %s, %s", style, points, unit, sheet)
                            << QString(style) << QString(sheet) << points << isInPixels;
                    }
                }
            }
        }
    }

    void holdsItsContentUnderAnyFont()
    {
        QFETCH(QString, style);
        QFETCH(QString, sheet);
        QFETCH(int, points);
        QFETCH(bool, isInPixels);
        // Fonts are measured in points on a desktop, and in pixels without one.
        const int pixels = points * 4 / 3;
        QFont font = QApplication::font();
        const auto restore = qScopeGuard([usual = font] {
            qApp->setStyleSheet({});
            QApplication::setFont(usual);
        });
        // The client's look may change before the dialog is first shown, and later.
        font.setPointSize(20);
        QApplication::setFont(font);
        mDialog->showFitted();
        mDialog->close();
        if (isInPixels)
            font.setPixelSize(pixels);
        else
            font.setPointSize(points);
        QApplication::setFont(font);
        QApplication::setStyle(style);
        qApp->setStyleSheet(sheet);
        mDialog->showFitted();

        const bool isFixed = sheet.contains("font");
        const double whole = isFixed ? 13 : isInPixels ? pixels * 0.75 : points;
        const QFont used = field<QLabel>("label")->font();
        const double size = used.pixelSize() > 0 ? used.pixelSize() * 0.75 : used.pointSizeF();
        QCOMPARE(mDialog->minimumSize(), mDialog->maximumSize());
        QCOMPARE(mDialog->size(), mDialog->minimumSize());
        if (points < 13 && !isFixed) {
            QCOMPARE(mDialog->size(), QSize(400, 190));
            // Tighter spacing comes before smaller letters.
            QVERIFY2(size >= (points < 12 ? whole : whole * 0.799),
                     qPrintable(QString::number(size)));
        } else {
            QVERIFY(mDialog->width() > 400 && mDialog->height() >= 190);
            QCOMPARE(size, whole);
        }
        const QWidgetList widgets = mDialog->findChildren<QWidget *>();
        for (const QWidget *widget : widgets) {
            const QRect place(widget->mapTo(mDialog.data(), QPoint()), widget->size());
            QVERIFY2(widget->size().expandedTo(widget->minimumSizeHint()) == widget->size(),
                     qPrintable(widget->objectName()));
            QVERIFY2(mDialog->rect().contains(place), qPrintable(widget->objectName()));
        }
    }

    void showsALongTextWhole()
    {
        const QString text(40000, 'x'); // longer than a field accepts by default
        configuration::instance()->set(custom, text);
        QCOMPARE(guiConfiguration(nullptr).findChild<QLineEdit *>()->text(), text);
    }

private:
    template<typename T>
    T *field(const char *name) const
    {
        return mDialog->findChild<T *>(QLatin1String(name));
    }
    static void open() { configuration::instance()->init("Kestrelsoft Staybolt"); }
    /// Opens a file that somebody has just written.
    void openWith(const QByteArray &bytes)
    {
        configuration::instance()->init("another file");
        writeFile(mFile, bytes);
        open();
    }
    static void setTime(const QString &path, int seconds)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::Append));
        QVERIFY(file.setFileTime(QDateTime::fromSecsSinceEpoch(seconds),
                                 QFileDevice::FileModificationTime));
    }
    void press(const char *button) { field<QPushButton>(button)->click(); }

    /// Does the work as an ordinary user, even when the tests run as root, who may do anything.
    template<typename Work>
    void asAUser(Work work)
    {
        QCOMPARE(chmod(qPrintable(mFolder->path()), 0755), 0);
        const bool isRoot = geteuid() == 0;
        QVERIFY(!isRoot || seteuid(65534) == 0);
        work();
        QCoreApplication::processEvents();
        QVERIFY(!isRoot || seteuid(0) == 0);
    }

    template<typename Work>
    static void whileTheDiskIsFull(Work work, rlim_t room = 0)
    {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlimit little{room, limit.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &little), 0);
        work();
        QCoreApplication::processEvents();
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    /// What the file holds for a program that reads it for the first time.
    QMap<QString, QString> contents(const QString &path, bool isUtf8 = false)
    {
        const QTemporaryDir folder;
        const QString copy = folder.filePath("copy.ini");
        QFile::copy(path, copy);
        QSettings file(copy, QSettings::IniFormat);
        if (isUtf8)
            file.setIniCodec("UTF-8");
        QMap<QString, QString> contents;
        const QStringList keys = file.allKeys();
        for (const QString &key : keys)
            contents.insert(key, file.value(key).toString());
        return contents;
    }

    QScopedPointer<standin::Host> mHost;
    QScopedPointer<QTemporaryDir> mFolder;
    QString mConfig;
    QString mFile;
    QString mKept;
    QScopedPointer<guiConfiguration> mDialog;
};

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
