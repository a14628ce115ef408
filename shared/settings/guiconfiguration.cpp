#include "shared/settings/guiconfiguration.h"

#include "shared/settings/configuration.h"
#include "ui_guiconfiguration.h"

#include <QApplication>
#include <QtMath>

#include <limits>

namespace {

/// The size of the form as designed. The dialog has this size wherever its content fits.
constexpr QSize formSize(400, 190);
constexpr int smallestPercent = 80;
constexpr int stepPercent = 5;
/// The space around and between the fields: the style's own, or less if that doesn't fit.
constexpr int usualRoom = -1;
constexpr int tighterRooms[] = {5, 2};

void scaleFont(QFont &font, int percent)
{
    if (font.pixelSize() > 0)
        font.setPixelSize(qCeil(font.pixelSize() * percent / 100.0));
    else
        font.setPointSizeF(font.pointSizeF() * percent / 100);
}

}

guiConfiguration::guiConfiguration(QWidget *parent) : QDialog(parent), ui(new Ui_guiConfiguration)
{
    ui->setupUi(this);
    // Screen readers name a field after its label.
    ui->label->setBuddy(ui->sliderIdleDock);
    ui->label_2->setBuddy(ui->sliderNotify);
    ui->label_3->setBuddy(ui->lineCustomNotify);
    // The host must not quit when our dialog is closed while its own window is hidden.
    setAttribute(Qt::WA_QuitOnClose, false);
    // Save must not shorten a long text from the file.
    ui->lineCustomNotify->setMaxLength(std::numeric_limits<int>::max());
    connect(ui->buttonApply, SIGNAL(clicked(bool)), SLOT(apply()));
    connect(ui->buttonReload, SIGNAL(clicked(bool)), SLOT(reload()));
    connect(ui->buttonRemove, SIGNAL(clicked(bool)), SLOT(remove()));
    reload();
}

guiConfiguration::~guiConfiguration() { delete ui; }

/// Fits the content to the form under the host's current font and style sheet: first with less
/// space between the fields, then with a smaller font. If that would be hard to read, the form
/// grows.
void guiConfiguration::showFitted()
{
    // If the fields had no sheet of their own, a font that we set would override the one in the
    // host's sheet, although the sheet still draws with its own.
    setStyleSheet(QLatin1String(qApp->styleSheet().isEmpty() ? "" : "*{}"));
    QSize content;
    const auto fits = [&](int room, int percent) {
        for (QLayout *one : {ui->gridLayout, ui->gridLayout_2}) {
            one->setContentsMargins(room, room, room, room);
            one->setSpacing(room);
        }
        // Under a sheet, fields don't inherit the dialog's font.
        const QWidgetList fields = findChildren<QWidget *>();
        for (QWidget *one : fields) {
            QFont font = QApplication::font(one);
            scaleFont(font, percent);
            one->setFont(font);
            one->updateGeometry(); // the layouts cache its last size
        }
        content = layout()->minimumSize().expandedTo(formSize);
        return content == formSize;
    };
    const auto [tight, tightest] = tighterRooms;
    bool isHeld = fits(usualRoom, 100) || fits(tight, 100) || fits(tightest, 100);
    for (int percent = 100 - stepPercent; !isHeld && percent >= smallestPercent;
         percent -= stepPercent)
        isHeld = fits(tightest, percent);
    if (!isHeld)
        fits(tight, 100);
    setFixedSize(content);
    show();
}

void guiConfiguration::apply()
{
    // Read first: the host may call us while the settings are stored.
    const QString text = ui->lineCustomNotify->text();
    const int permitIdleDock = ui->sliderIdleDock->value();
    const int sendNotify = ui->sliderNotify->value();
    QVariantHash values{{settingsKeys::permitIdleDock.text(), permitIdleDock},
                        {settingsKeys::sendNotify.text(), sendNotify}};
    if (!text.trimmed().isEmpty())
        values.insert(settingsKeys::customNotify.text(), text);
    configuration::instance()->set(values);
}

void guiConfiguration::reload()
{
    configuration *settings = configuration::instance();
    if (settings->contains(settingsKeys::customNotify.text()))
        ui->lineCustomNotify->setText(settings->get(settingsKeys::customNotify.text()).toString());
    ui->sliderIdleDock->setValue(settings->get(settingsKeys::permitIdleDock.text()).toBool() ? 1
                                                                                             : 0);
    ui->sliderNotify->setValue(settings->get(settingsKeys::sendNotify.text()).toBool() ? 1 : 0);
}

void guiConfiguration::remove()
{
    ui->lineCustomNotify->clear();
    configuration::instance()->remove(settingsKeys::customNotify.text());
}
