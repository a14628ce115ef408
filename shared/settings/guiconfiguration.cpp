#include "shared/settings/guiconfiguration.h"

#include "shared/settings/configuration.h"
#include "ui_guiconfiguration.h"

guiConfiguration::guiConfiguration(QWidget *parent) : QDialog(parent), ui(new Ui_guiConfiguration)
{
    ui->setupUi(this);
    connect(ui->buttonApply, SIGNAL(clicked(bool)), SLOT(apply()));
    connect(ui->buttonReload, SIGNAL(clicked(bool)), SLOT(reload()));
    connect(ui->buttonRemove, SIGNAL(clicked(bool)), SLOT(remove()));
    reload();
}

guiConfiguration::~guiConfiguration() { delete ui; }

void guiConfiguration::apply()
{
    configuration *settings = configuration::instance();
    const QString text = ui->lineCustomNotify->text();
    if (!text.trimmed().isEmpty())
        settings->set(settingsKeys::customNotify(), text);
    settings->set(settingsKeys::permitIdleDock(), ui->sliderIdleDock->value());
    settings->set(settingsKeys::sendNotify(), ui->sliderNotify->value());
}

void guiConfiguration::reload()
{
    configuration *settings = configuration::instance();
    if (settings->contains(settingsKeys::customNotify()))
        ui->lineCustomNotify->setText(settings->get(settingsKeys::customNotify()).toString());
    ui->sliderIdleDock->setValue(settings->get(settingsKeys::permitIdleDock()).toBool() ? 1 : 0);
    ui->sliderNotify->setValue(settings->get(settingsKeys::sendNotify()).toBool() ? 1 : 0);
}

void guiConfiguration::remove()
{
    ui->lineCustomNotify->clear();
    configuration::instance()->remove(settingsKeys::customNotify());
}
