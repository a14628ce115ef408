#include "shared/settings/guiconfiguration.h"

#include "shared/settings/configuration.h"
#include "ui_guiconfiguration.h"

#include <QApplication>
#include <QtMath>

#include <limits>

namespace {

/// The size of the form as drawn, which it has again wherever that is enough.
constexpr QSize formSize(400, 190);
constexpr int smallestPercent = 80;
constexpr int stepPercent = 5;
/// The room around and between the fields: the style's own, and less where that is too much.
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
    // The host goes on when its own window is hidden and ours is closed.
    setAttribute(Qt::WA_QuitOnClose, false);
    // What the file holds is stored again whole.
    ui->lineCustomNotify->setMaxLength(std::numeric_limits<int>::max());
    connect(ui->buttonApply, SIGNAL(clicked(bool)), SLOT(apply()));
    connect(ui->buttonReload, SIGNAL(clicked(bool)), SLOT(reload()));
    connect(ui->buttonRemove, SIGNAL(clicked(bool)), SLOT(remove()));
    reload();
}

guiConfiguration::~guiConfiguration() { delete ui; }

/// Makes the form hold its content under the host's font and style sheet, whatever it held last:
/// with less room between the fields, then with a smaller font. Where that would be hard to read,
/// it grows.
void guiConfiguration::showFitted()
{
    // Without a sheet of their own the fields would let a font that we set override the host's
    // sheet, which goes on drawing with its font.
    setStyleSheet(QLatin1String(qApp->styleSheet().isEmpty() ? "" : "*{}"));
    QSize content;
    const auto fits = [&](int room, int percent) {
        for (QLayout *one : {ui->gridLayout, ui->gridLayout_2}) {
            one->setContentsMargins(room, room, room, room);
            one->setSpacing(room);
        }
        // A sheet keeps the dialog's font from its fields.
        const QWidgetList fields = findChildren<QWidget *>();
        for (QWidget *one : fields) {
            QFont font = QApplication::font(one);
            scaleFont(font, percent);
            one->setFont(font);
            one->updateGeometry(); // the layouts keep what it needed last
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
    // Taken at once: the host may call us while the settings are stored.
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
