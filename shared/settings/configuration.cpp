#include "shared/settings/configuration.h"

#include "shared/host/funcwrapper.h"
#include "shared/singleton.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryFile>

namespace {

/// A copy of `text` on the heap. The settings object outlives the library, so it must not keep a
/// text whose characters lie in the library's own data.
QString heapCopy(const QString &text) { return QString(text.constData(), text.size()); }

/// Whether the file holds something that Qt can't parse. A copy is parsed, for Qt parses a file
/// once for all settings objects on it and tells only one of them what was wrong.
bool isDamaged(const QString &path)
{
    QFile file(path);
    QTemporaryFile copy;
    if (!file.open(QIODevice::ReadOnly) || !copy.open())
        return false;
    const QByteArray bytes = file.readAll();
    if (copy.write(bytes) != bytes.size() || !copy.flush())
        return false;
    const QSettings settings(copy.fileName(), QSettings::IniFormat);
    settings.allKeys(); // Qt leaves sections unparsed until they are asked for.
    return settings.status() == QSettings::FormatError;
}

/// Copies a damaged settings file beside it without replacing an earlier copy.
bool keepDamaged(const QString &path)
{
    const QString base = path.left(path.lastIndexOf(QLatin1Char('.')));
    for (int number = 1;; ++number) {
        const QString copy = base + QStringLiteral(".damaged-%1.ini").arg(number);
        if (!QFile::exists(copy))
            return QFile::copy(path, copy);
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
    delete mSettings;
    mSettings = new QSettings(path, QSettings::IniFormat);
    mReadsAsEmpty = isDamaged(path);
    mSoundSince = 0;
}

void configuration::set(QString key, QVariant value)
{
    if (!prepareWrite())
        return;
    if (value.type() == QVariant::String)
        value = heapCopy(value.toString());
    mSettings->setValue(heapCopy(key), value);
}

QVariant configuration::get(QString key) const
{
    return contains(key) ? mSettings->value(key) : QVariant();
}

bool configuration::contains(QString key) const
{
    return mSettings && !mReadsAsEmpty && mSettings->contains(key);
}

void configuration::remove(QString key)
{
    if (contains(key) && prepareWrite())
        mSettings->remove(heapCopy(key));
}

/// Makes sure that the write to come loses nothing: Qt drops what it can't parse, whether that was
/// there from the start or came in by a careless edit since.
bool configuration::prepareWrite()
{
    if (!mSettings)
        return false;
    const qint64 changed = QFileInfo(mSettings->fileName()).lastModified().toMSecsSinceEpoch();
    if (changed == mSoundSince && !mReadsAsEmpty)
        return true;
    const bool damaged = isDamaged(mSettings->fileName());
    if (damaged && !keepDamaged(mSettings->fileName()))
        return false;
    // A file that somebody has repaired meanwhile is read anew with the write.
    if (mReadsAsEmpty && damaged)
        mSettings->clear();
    mReadsAsEmpty = false;
    mSoundSince = changed;
    return true;
}
