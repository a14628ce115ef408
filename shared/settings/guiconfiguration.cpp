#include "shared/settings/guiconfiguration.h"

#include "shared/settings/configuration.h"
#include "ui_guiconfiguration.h"

#include <QtMath>

#include <limits>

namespace {

constexpr int smallestPercent = 80;
constexpr int stepPercent = 5;
/// The room around and between the fields where the style's own is too much, from much to little.
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
    fitContent();
    // What the file holds is stored again whole.
    ui->lineCustomNotify->setMaxLength(std::numeric_limits<int>::max());
    connect(ui->buttonApply, SIGNAL(clicked(bool)), SLOT(apply()));
    connect(ui->buttonReload, SIGNAL(clicked(bool)), SLOT(reload()));
    connect(ui->buttonRemove, SIGNAL(clicked(bool)), SLOT(remove()));
    reload();
}

guiConfiguration::~guiConfiguration() { delete ui; }

/// Makes the form's fixed size hold its content under the host's font: with less room between the
/// fields, then with a smaller font. Where that would be hard to read, the form grows.
void guiConfiguration::fitContent()
{
    const auto fits = [this] {
        // The group box keeps what it needed last.
        ui->groupBox->updateGeometry();
        const QSize content = layout()->minimumSize();
        return content.width() <= width() && content.height() <= height();
    };
    if (fits())
        return;
    const auto leaveRoom = [this](int room) {
        for (QLayout *one : {ui->gridLayout, ui->gridLayout_2}) {
            one->setContentsMargins(room, room, room, room);
            one->setSpacing(room);
        }
    };
    for (const int room : tighterRooms) {
        leaveRoom(room);
        if (fits())
            return;
    }
    const QFont whole = font();
    for (int percent = 100 - stepPercent; percent >= smallestPercent; percent -= stepPercent) {
        QFont smaller = whole;
        scaleFont(smaller, percent);
        setFont(smaller);
        if (fits())
            return;
    }
    setFont(whole);
    leaveRoom(tighterRooms[0]);
    setFixedSize(layout()->minimumSize().expandedTo(size()));
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
