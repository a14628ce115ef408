#include "shared/settings/configuration.h"

#include "shared/host/funcwrapper.h"
#include "shared/singleton.h"

#include <QSettings>

namespace {

/// A copy of `text` on the heap. The settings object outlives the library, so it must not keep a
/// text whose characters lie in the library's own data.
QString heapCopy(const QString &text) { return QString(text.constData(), text.size()); }

}

std::atomic<configuration *> configuration::mInstance{nullptr};

configuration *configuration::instance()
{
    static QMutex mutex;
    return singletonInstance(mInstance, mutex);
}

void configuration::init(QString name)
{
    const QString path =
        QStringLiteral("%1/%2.ini").arg(funcwrapper::instance()->getConfigPath()).arg(name);
    mSettings = new QSettings(path, QSettings::IniFormat);
}

void configuration::set(QString key, QVariant value)
{
    if (!mSettings)
        return;
    if (value.type() == QVariant::String)
        value = heapCopy(value.toString());
    mSettings->setValue(heapCopy(key), value);
}

QVariant configuration::get(QString key) const
{
    return contains(key) ? mSettings->value(key) : QVariant();
}

bool configuration::contains(QString key) const { return mSettings && mSettings->contains(key); }

void configuration::remove(QString key)
{
    if (contains(key))
        mSettings->remove(heapCopy(key));
}
