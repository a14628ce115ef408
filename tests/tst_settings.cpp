#include "shared/host/funcwrapper.h"
#include "shared/settings/configuration.h"
#include "shared/settings/guiconfiguration.h"
#include "standin/host.h"

#include <QFile>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString notify = QStringLiteral("staybolt.sendNotify");
const QString custom = QStringLiteral("staybolt.customNotify");
const QString permit = QStringLiteral("staybolt.permitIdleDock");

}

class TestSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void answersForAbsentKeys();
    void keepsValuesInTheFile_data();
    void keepsValuesInTheFile();
    void formIsAsLaidOut();
    void formCells_data();
    void formCells();
    void savesTheFields();
    void leavesTheStoredTextWhenTheFieldIsBlank();
    void removesTheTextOnly();
    void reloadsTheFields();

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

    QScopedPointer<Host> mHost;
    QScopedPointer<QTemporaryDir> mFolder;
    QString mFile;
    QScopedPointer<guiConfiguration> mDialog;
};

void TestSettings::init()
{
    mFolder.reset(new QTemporaryDir);
    mHost.reset(new Host);
    mHost->accepts = true;
    mHost->configPath = mFolder->path().toUtf8();
    mFile = mFolder->filePath(QStringLiteral("Kestrelsoft Staybolt.ini"));
    funcwrapper::instance()->setFunctions(mHost->functions());
    configuration::instance()->init(QStringLiteral("Kestrelsoft Staybolt"));
    mDialog.reset(new guiConfiguration(nullptr));
}

void TestSettings::cleanup()
{
    mDialog.reset();
    mHost.reset();
}

void TestSettings::answersForAbsentKeys()
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

void TestSettings::keepsValuesInTheFile_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("number") << notify << QVariant(1);
    QTest::newRow("text") << custom
                          << QVariant(QString::fromUtf8("a, \"b\"; 50% \\n\n\xf0\x9f\x90\xa6 "));
    QTest::newRow("empty text") << custom << QVariant(QString());
    QTest::newRow("server id") << QStringLiteral("staybolt.a+b/c=") << QVariant(1);
}

void TestSettings::keepsValuesInTheFile()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);

    configuration::instance()->set(key, value);
    QCOMPARE(configuration::instance()->get(key), value);
    // Written by Qt from the event loop; read by somebody who shares no cache with the writer.
    QTRY_VERIFY(QFile::exists(mFile));
    const QString copy = mFolder->filePath(QStringLiteral("copy.ini"));
    QVERIFY(QFile::copy(mFile, copy));
    const QSettings file(copy, QSettings::IniFormat);
    QCOMPARE(file.allKeys(), QStringList{key});
    QCOMPARE(file.value(key).toString(), value.toString());
    QCOMPARE(file.value(key).toBool(), value.toBool());

    configuration::instance()->remove(key);
    QVERIFY(!configuration::instance()->contains(key));
}

void TestSettings::formIsAsLaidOut()
{
    QCOMPARE(mDialog->objectName(), QStringLiteral("guiConfiguration"));
    QCOMPARE(mDialog->windowTitle(), QStringLiteral("Configuration"));
    const QSize size(400, 190);
    QCOMPARE(mDialog->size(), size);
    QCOMPARE(mDialog->minimumSize(), size);
    QCOMPARE(mDialog->maximumSize(), size);
    QVERIFY(!mDialog->isVisible());
    QCOMPARE(field<QGroupBox>("groupBox")->title(), QStringLiteral("Configuration:"));
    for (const char *name : {"sliderIdleDock", "sliderNotify"}) {
        const auto *slider = field<QSlider>(name);
        QCOMPARE(slider->maximumSize(), QSize(60, QWIDGETSIZE_MAX));
        QCOMPARE(slider->minimum(), 0);
        QCOMPARE(slider->maximum(), 1);
        QCOMPARE(slider->orientation(), Qt::Horizontal);
        QCOMPARE(slider->value(), 0);
    }
    const QMap<const char *, const char *> texts{
        {"label", "Permit moves to idleDock-Channel: (with v0.2)"},
        {"label_2", "Notify mover, that this is not wanted:"},
        {"label_3", "Custom notificationmessage:"}};
    for (auto text = texts.cbegin(); text != texts.cend(); ++text)
        QCOMPARE(field<QLabel>(text.key())->text(), QLatin1String(text.value()));
    QStringList buttons;
    const auto *row = field<QHBoxLayout>("horizontalLayout");
    for (int i = 0; i < row->count(); ++i) {
        const auto *button = qobject_cast<QPushButton *>(row->itemAt(i)->widget());
        buttons << button->objectName() << button->text();
    }
    QCOMPARE(buttons.join(QLatin1Char(' ')),
             QStringLiteral("buttonApply Save buttonRemove Remove buttonReload Reload"));
    QVERIFY(text().isEmpty());
}

void TestSettings::formCells_data()
{
    QTest::addColumn<QString>("grid");
    QTest::addColumn<QString>("cell");
    QTest::addColumn<QRect>("place"); // column, row, columns, rows
    const auto cell = [](const char *grid, const char *name, int row, int column, int columns) {
        QTest::newRow(name) << QString::fromLatin1(grid) << QString::fromLatin1(name)
                            << QRect(column, row, columns, 1);
    };
    cell("gridLayout", "groupBox", 0, 0, 1);
    cell("gridLayout", "widget", 1, 0, 1);
    cell("gridLayout_2", "label", 0, 0, 5);
    cell("gridLayout_2", "sliderIdleDock", 0, 5, 1);
    cell("gridLayout_2", "label_2", 1, 0, 5);
    cell("gridLayout_2", "sliderNotify", 1, 5, 1);
    cell("gridLayout_2", "label_3", 2, 0, 6);
    cell("gridLayout_2", "lineCustomNotify", 3, 0, 6);
}

void TestSettings::formCells()
{
    QFETCH(QString, grid);
    QFETCH(QString, cell);

    auto *layout = mDialog->findChild<QGridLayout *>(grid);
    QVERIFY(layout);
    const int index = layout->indexOf(mDialog->findChild<QWidget *>(cell));
    QVERIFY(index >= 0);
    int row = 0, column = 0, rows = 0, columns = 0;
    layout->getItemPosition(index, &row, &column, &rows, &columns);
    QTEST(QRect(column, row, columns, rows), "place");
    QCOMPARE(layout->itemAt(index)->alignment(), Qt::Alignment());
}

void TestSettings::savesTheFields()
{
    setText("  Hände weg ");
    field<QSlider>("sliderNotify")->setValue(1);
    press("buttonApply");
    const configuration *settings = configuration::instance();
    QCOMPARE(settings->get(custom), QVariant(QStringLiteral("  Hände weg ")));
    QCOMPARE(settings->get(notify), QVariant(1));
    QCOMPARE(settings->get(permit), QVariant(0));
    field<QSlider>("sliderIdleDock")->setValue(1);
    QCOMPARE(settings->get(permit), QVariant(0));
    press("buttonApply");
    QCOMPARE(settings->get(permit), QVariant(1));
}

void TestSettings::leavesTheStoredTextWhenTheFieldIsBlank()
{
    for (const char *blank : {"", "  ", "\t\xc2\xa0"}) {
        setText(blank);
        press("buttonApply");
        QVERIFY(!configuration::instance()->contains(custom));
    }
    configuration::instance()->set(custom, QStringLiteral("stored"));
    press("buttonApply");
    QCOMPARE(configuration::instance()->get(custom), QVariant(QStringLiteral("stored")));
}

void TestSettings::removesTheTextOnly()
{
    setText("typed");
    field<QSlider>("sliderNotify")->setValue(1);
    press("buttonApply");
    press("buttonRemove");
    QCOMPARE(text(), QString());
    QVERIFY(!configuration::instance()->contains(custom));
    QCOMPARE(field<QSlider>("sliderNotify")->value(), 1);
    QVERIFY(configuration::instance()->get(notify).toBool());
    QVERIFY(configuration::instance()->contains(permit));
}

void TestSettings::reloadsTheFields()
{
    configuration *settings = configuration::instance();
    settings->set(notify, 5);
    settings->set(permit, QStringLiteral("TRUE"));
    settings->set(custom, QStringLiteral("stored"));
    mDialog->show();
    QCOMPARE(text(), QString()); // showing does not reload
    press("buttonReload");
    QCOMPARE(text(), QStringLiteral("stored"));
    QCOMPARE(field<QSlider>("sliderNotify")->value(), 1);
    QCOMPARE(field<QSlider>("sliderIdleDock")->value(), 1);
    press("buttonApply");
    QCOMPARE(settings->get(notify), QVariant(1));

    settings->remove(custom);
    settings->remove(notify);
    settings->set(permit, QStringLiteral("False"));
    press("buttonReload");
    QCOMPARE(text(), QStringLiteral("stored")); // an absent text leaves the field
    QCOMPARE(field<QSlider>("sliderNotify")->value(), 0);
    QCOMPARE(field<QSlider>("sliderIdleDock")->value(), 0);

    settings->set(custom, QStringLiteral("stored anew"));
    QCOMPARE(guiConfiguration(nullptr).findChild<QLineEdit *>()->text(),
             QStringLiteral("stored anew"));
}

QTEST_MAIN(TestSettings)
#include "tst_settings.moc"
