#include "shared/host/funcwrapper.h"
#include "shared/settings/configuration.h"
#include "shared/settings/guiconfiguration.h"
#include "standin/host.h"

#include <QDir>
#include <QFile>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const QString notify = "staybolt.sendNotify";
const QString custom = "staybolt.customNotify";
const QString permit = "staybolt.permitIdleDock";

}

class TestSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mFolder.reset(new QTemporaryDir);
        mHost.reset(new Host);
        mHost->accepts = true;
        mHost->configPath = mFolder->path().toUtf8();
        mFile = mFolder->filePath("Kestrelsoft Staybolt.ini");
        funcwrapper::instance()->setFunctions(mHost->functions());
        configuration::instance()->init("Kestrelsoft Staybolt");
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

    void keepsValuesInTheFile_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("value");
        QTest::newRow("number") << notify << QVariant(1);
        QTest::newRow("text") << custom
                              << QVariant(
                                     QString::fromUtf8("a, \"b\"; 50% \\n\n\xf0\x9f\x90\xa6 "));
        QTest::newRow("empty text") << custom << QVariant(QString());
        QTest::newRow("server id") << "staybolt.a+b/c=" << QVariant(1);
    }

    void keepsValuesInTheFile()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, value);

        configuration::instance()->set(key, value);
        QCOMPARE(configuration::instance()->get(key), value);
        // Written by Qt from the event loop; read by somebody who shares no cache with the writer.
        QTRY_VERIFY(QFile::exists(mFile));
        const QString copy = mFolder->filePath("copy.ini");
        QVERIFY(QFile::copy(mFile, copy));
        const QSettings file(copy, QSettings::IniFormat);
        QCOMPARE(file.allKeys(), QStringList{key});
        QCOMPARE(file.value(key).toString(), value.toString());
        QCOMPARE(file.value(key).toBool(), value.toBool());

        configuration::instance()->remove(key);
        QVERIFY(!configuration::instance()->contains(key));
    }

    void keepsWhatADamagedFileHeld_data()
    {
        QTest::addColumn<QByteArray>("damage");
        QTest::newRow("rubbish") << QByteArray("\x00\x01\xff\xfegarbage\x00more", 16);
        QTest::newRow("unclosed section")
            << QByteArray("[General]\nmine=2\nstaybolt.sendNotify=1\n[uncl");
        QTest::newRow("cut off") << QByteArray("mine=2\nstaybolt.sendNotify=1\nstaybolt.custo");
    }

    void keepsWhatADamagedFileHeld()
    {
        QFETCH(QByteArray, damage);
        const QString copy = mFolder->filePath("Kestrelsoft Staybolt.damaged-%1.ini");
        write(copy.arg(1), "an earlier damage");
        write(mFile, damage);
        configuration *settings = configuration::instance();
        settings->init("Kestrelsoft Staybolt");
        QVERIFY(!settings->contains(notify) && !settings->get(notify).isValid());
        press("buttonReload");
        QCOMPARE(field<QSlider>("sliderNotify")->value(), 0);
        press("buttonRemove");
        QCoreApplication::processEvents();
        QCOMPARE(read(mFile), damage);
        QVERIFY(!QFile::exists(copy.arg(2)));

        press("buttonApply");
        QCOMPARE(read(copy.arg(2)), damage);
        QTRY_COMPARE(read(mFile),
                     QByteArray("[General]\nstaybolt.permitIdleDock=0\nstaybolt.sendNotify=0\n"));
        // Damaged when it was opened, repaired before it is saved: what stands there counts.
        write(mFile, damage);
        settings->init("Kestrelsoft Staybolt");
        write(mFile, "[General]\nmine=2\n");
        press("buttonApply");
        QTRY_VERIFY(read(mFile).contains("sendNotify"));
        QVERIFY(read(mFile).contains("mine=2"));
        // Damaged anew while it is open: Qt would drop the line that it can't read.
        write(mFile, "[General]\nmine=1\nno value\n");
        press("buttonApply");
        QCoreApplication::processEvents();
        QCOMPARE(read(copy.arg(3)), QByteArray("[General]\nmine=1\nno value\n"));
        QVERIFY(read(mFile).contains("mine=1"));
        press("buttonApply");
        QVERIFY(!QFile::exists(copy.arg(4)));
        QCOMPARE(read(copy.arg(1)), QByteArray("an earlier damage"));
    }

    void worksWithoutAFileItCanUse()
    {
        QVERIFY(QDir().mkdir(mFile));
        configuration::instance()->init("Kestrelsoft Staybolt");
        press("buttonApply");
        QVERIFY(configuration::instance()->contains(notify));
        QCoreApplication::processEvents();
        QVERIFY(QFileInfo(mFile).isDir());

        // Nobody but root could read this one, and the tests may run as root.
        QVERIFY(QDir().rmdir(mFile));
        write(mFile, "staybolt.sendNotify=1\n");
        QVERIFY(QFile(mFile).setPermissions({}) && chmod(qPrintable(mFolder->path()), 0777) == 0);
        const uid_t user = geteuid();
        QVERIFY(user != 0 || seteuid(65534) == 0);
        configuration::instance()->init("Kestrelsoft Staybolt");
        const bool readsAsEmpty = !configuration::instance()->contains(notify);
        press("buttonApply");
        QCoreApplication::processEvents();
        QVERIFY(user != 0 || seteuid(0) == 0);
        QVERIFY(readsAsEmpty);
        QVERIFY(QFile(mFile).setPermissions(QFile::ReadOwner));
        QCOMPARE(read(mFile), QByteArray("staybolt.sendNotify=1\n"));
    }

    void sharesTheFileWithAnotherProcess()
    {
        write(mFile, "[other]\nkey=kept\n");
        configuration::instance()->init("Kestrelsoft Staybolt");
        constexpr int count = 50;
        const pid_t other = fork();
        if (other == 0) {
            for (int i = 0; i < count; ++i) {
                QSettings file(mFile, QSettings::IniFormat);
                file.setValue(QString("other.%1").arg(i), i);
                file.sync();
            }
            _exit(0);
        }
        for (int i = 0; i < count; ++i) {
            configuration::instance()->set(QString("own.%1").arg(i), i);
            QCoreApplication::processEvents();
        }
        QCOMPARE(waitpid(other, nullptr, 0), other);
        configuration::instance()->init("Kestrelsoft Staybolt");
        QStringList lost;
        for (int i = 0; i < count; ++i) {
            for (const char *name : {"own.%1", "other.%1"}) {
                if (!configuration::instance()->contains(QString(name).arg(i)))
                    lost.append(QString(name).arg(i));
            }
        }
        QCOMPARE(lost, QStringList());
        QCOMPARE(configuration::instance()->get("other/key").toString(), QString("kept"));
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
        }
        QCOMPARE(field<QSlider>("sliderNotify")->maximum(), 1);
        QCOMPARE(field<QSlider>("sliderIdleDock")->maximum(), 1);
        // From top to bottom and from left to right, as a user reads it.
        mDialog->show();
        QMap<QPair<int, int>, QString> texts;
        for (const QWidget *widget : mDialog->findChildren<QWidget *>()) {
            const QPoint place = widget->mapTo(mDialog.data(), widget->rect().center());
            for (const char *property : {"title", "text"}) {
                if (!widget->property(property).toString().isEmpty())
                    texts[{place.y() / 8, place.x()}] = widget->property(property).toString();
            }
        }
        texts.remove(texts.key("Configuration:"));
        QCOMPARE(QStringList(texts.values()).join('|'),
                 QString("Permit moves to idleDock-Channel: (with v0.2)|Notify mover, that this is "
                         "not wanted:|Custom notificationmessage:|Save|Remove|Reload"));
    }

    void reloadsTheFields()
    {
        configuration *settings = configuration::instance();
        settings->set(notify, 5);
        settings->set(permit, "TRUE");
        settings->set(custom, "stored");
        mDialog->show();
        QCOMPARE(text(), QString()); // showing does not reload
        press("buttonReload");
        QCOMPARE(text(), "stored");
        QCOMPARE(field<QSlider>("sliderNotify")->value(), 1);
        QCOMPARE(field<QSlider>("sliderIdleDock")->value(), 1);
        press("buttonApply");
        QCOMPARE(settings->get(notify), QVariant(1));

        settings->remove(custom);
        settings->remove(notify);
        settings->set(permit, "False");
        press("buttonReload");
        QCOMPARE(text(), "stored"); // an absent text leaves the field
        QCOMPARE(field<QSlider>("sliderNotify")->value(), 0);
        QCOMPARE(field<QSlider>("sliderIdleDock")->value(), 0);

        settings->set(custom, "stored anew");
        QCOMPARE(guiConfiguration(nullptr).findChild<QLineEdit *>()->text(), "stored anew");
    }

private:
    template<typename T>
    T *field(const char *name) const
    {
        return mDialog->findChild<T *>(QLatin1String(name));
    }
    void press(const char *button) { field<QPushButton>(button)->click(); }
    QString text() const { return field<QLineEdit>("lineCustomNotify")->text(); }
    void setText(const char *text)
    {
        field<QLineEdit>("lineCustomNotify")->setText(QString::fromUtf8(text));
    }

    static void write(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    static QByteArray read(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
    }

    QScopedPointer<Host> mHost;
    QScopedPointer<QTemporaryDir> mFolder;
    QString mFile;
    QScopedPointer<guiConfiguration> mDialog;
};

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
