#include "shared/settings/configuration.h"

#include "shared/host/funcwrapper.h"
#include "shared/settings/settingsfile.h"
#include "shared/singleton.h"

#include <QFile>
#include <QSettings>

namespace {

/// A copy of `text` on the heap. The settings object outlives the library, so it must not keep a
/// text whose characters lie in the library's own data.
QString heapCopy(const QString &text) { return QString(text.constData(), text.size()); }

/// Tells the host's log of a copy.
void report(const settingsFile::Kept &kept)
{
    if (!kept.error.isEmpty()) {
        funcwrapper::instance()->txtToLog(
            configuration::tr("The settings file could not be copied to ") + kept.copy
                + QLatin1String(": ") + kept.error,
            LogLevel_WARNING, 0);
    } else if (!kept.copy.isEmpty()) {
        funcwrapper::instance()->txtToLog(
            configuration::tr("What the settings file held is kept in %1").arg(kept.copy),
            LogLevel_INFO, 0);
    }
}

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
    // What could not be written so far is written now, by the old object or, where an earlier life
    // of the library left it behind, by the new one. Mostly there is nothing to write.
    settingsFile::Kept ofOld;
    if (mSettings) {
        const QString old = mSettings->fileName();
        const QByteArray before = settingsFile::read(old);
        ofOld = settingsFile::keep(old);
        delete mSettings;
        if (settingsFile::read(old) == before) {
            if (!ofOld.copy.isEmpty())
                QFile::remove(ofOld.copy);
            ofOld = {};
        }
    }
    const QByteArray before = settingsFile::read(path);
    mSettings = new QSettings(path, QSettings::IniFormat);
    settingsFile::readAll(*mSettings);
    // Only now, since the host may call us from inside its log.
    report(ofOld);
    if (settingsFile::read(path) != before)
        report(settingsFile::keep(path, before));
}

void configuration::set(QString key, QVariant value)
{
    if (value.type() == QVariant::String)
        value = heapCopy(value.toString());
    write([&] { mSettings->setValue(heapCopy(key), value); });
}

QVariant configuration::get(QString key) const
{
    return contains(key) ? mSettings->value(key) : QVariant();
}

bool configuration::contains(QString key) const { return mSettings && mSettings->contains(key); }

void configuration::remove(QString key)
{
    if (contains(key))
        write([&] { mSettings->remove(heapCopy(key)); });
}

/// Makes a change, and sees to it that what Qt is going to drop from the file is not lost.
template<typename Change>
void configuration::write(Change change)
{
    if (!mSettings)
        return;
    const settingsFile::Kept kept = settingsFile::keep(mSettings->fileName());
    change();
    report(kept); // last, since the host may call us from inside its log
}
