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

/// Tells the host's log of a copy, and why the settings can't be saved. Must be the last thing that
/// a call does, since the host may call us from inside its log.
void report(const settingsFile::Kept &kept, const QString &whyNot = QString())
{
    const QString where =
        configuration::tr("What the settings file held is kept in %1").arg(kept.copy);
    if (!kept.error.isEmpty()) {
        funcwrapper::instance()->txtToLog(
            configuration::tr("The settings file could not be copied to ") + kept.copy
                + QLatin1String(": ") + kept.error,
            LogLevel_WARNING, 0);
    } else if (!whyNot.isEmpty()) {
        funcwrapper::instance()->txtToLog(
            configuration::tr("The settings may not be saved: ") + whyNot
                + (kept.copy.isEmpty() ? QString() : QLatin1String(". ") + where),
            LogLevel_WARNING, 0);
    } else if (!kept.copy.isEmpty()) {
        funcwrapper::instance()->txtToLog(where, LogLevel_INFO, 0);
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
    mName = QFile::encodeName(path);
    const std::optional<settingsFile::FileState> state = settingsFile::stateOf(mName);
    // What could not be written so far is written now, by the old object or, where an earlier life
    // of the library left it behind, by the new one. Mostly there is nothing to write.
    settingsFile::Kept ofNew;
    const QString old = mSettings ? mSettings->fileName() : path;
    const settingsFile::Kept ofOld = keepWhatGoes(old, [&] {
        delete mSettings;
        ofNew = keepWhatGoes(path, [&] {
            mSettings = new QSettings(path, QSettings::IniFormat);
            settingsFile::readAll(*mSettings);
        });
    });
    const bool isRead = state && mSettings->status() != QSettings::AccessError;
    mSeen = isRead ? *state : settingsFile::FileState();
    report(ofOld);
    report(ofNew);
}

void configuration::set(QString key, QVariant value) { set(QVariantHash{{key, value}}); }

void configuration::set(QVariantHash values)
{
    const settingsFile::Kept ofOthers = renew();
    int newLetters = 0;
    for (QVariant &value : values) {
        if (value.type() == QVariant::String)
            value = heapCopy(value.toString());
        newLetters += value.toString().size();
    }
    if (mSettings) {
        write(newLetters, [&] {
            for (auto one = values.cbegin(); one != values.cend(); ++one)
                mSettings->setValue(heapCopy(one.key()), *one);
        });
    }
    report(ofOthers);
}

QVariant configuration::get(QString key) const
{
    const settingsFile::Kept ofOthers = renew();
    QVariant value;
    if (mSettings && mSettings->contains(key))
        value = mSettings->value(key);
    report(ofOthers);
    return value;
}

bool configuration::contains(QString key) const
{
    const settingsFile::Kept ofOthers = renew();
    const bool isThere = mSettings && mSettings->contains(key);
    report(ofOthers);
    return isThere;
}

void configuration::remove(QString key)
{
    const settingsFile::Kept ofOthers = renew();
    if (mSettings && mSettings->contains(key))
        write(0, [&] { mSettings->remove(heapCopy(key)); });
    report(ofOthers);
}

/// Has Qt read the file again if it has changed since the last time.
settingsFile::Kept configuration::renew() const
{
    if (!mSettings)
        return {};
    const std::optional<settingsFile::FileState> state = settingsFile::stateOf(mName);
    if (!state || *state == mSeen)
        return {};
    // Qt would forget what it knows before noticing that it can't read the file.
    const QString path = mSettings->fileName();
    if (state->inode != 0 && !QFile(path).open(QIODevice::ReadOnly))
        return {};
    // Qt may have cut the file to nothing, but it still knows what was in it.
    if (mLacksRoom && state->size == 0) {
        const QStringList keys = mSettings->allKeys();
        for (const QString &key : keys)
            mSettings->setValue(key, mSettings->value(key));
    }
    return keepWhatGoes(path, [&] {
        // All objects on a file share what one of them reads when it is made. Only this one knows
        // of a byte-order mark, so it must read everything before it goes.
        const QSettings another(path, QSettings::IniFormat);
        another.allKeys();
        // Our own object may also have come across a mark when it wrote.
        settingsFile::readAll(*mSettings);
        if (another.status() != QSettings::AccessError)
            mSeen = *state;
    });
}

/// Runs something that makes Qt read the file. Before it reads, Qt writes what it could not write
/// so far, so the bytes that this drops are kept.
template<typename Read>
settingsFile::Kept configuration::keepWhatGoes(const QString &path, Read readFile) const
{
    const QByteArray before = settingsFile::read(path);
    mLacksRoom = !settingsFile::whyNoRoom(path, 0).isEmpty();
    settingsFile::Kept kept;
    if (mLacksRoom && !before.isEmpty())
        kept = settingsFile::keep(path, before);
    readFile();
    const QByteArray after = settingsFile::read(path);
    if (settingsFile::hasByteOrderMark(before) && !settingsFile::hasByteOrderMark(after)) {
        // Qt wrote it as UTF-8 without the mark, which is not what is read back. Nothing is lost,
        // since our own object writes it all again in plain ASCII once there is a change.
        mSafe = after;
        const QStringList keys = mSettings->allKeys();
        if (!keys.isEmpty())
            mSettings->setValue(keys.first(), mSettings->value(keys.first()));
    }
    if (after == before && kept.error.isEmpty() && !kept.copy.isEmpty())
        QFile::remove(kept.copy);
    if (after == before)
        return {};
    if (!mLacksRoom && before != mSafe && !settingsFile::isSafe(before))
        kept = settingsFile::keep(path, before);
    return kept;
}

/// Makes a change, and keeps a copy of the file if Qt is going to drop anything from it.
template<typename Change>
void configuration::write(int newLetters, Change change)
{
    constexpr qint64 longestLetter = 6; // as in \x20ac
    const QString path = mSettings->fileName();
    const QString whyNot = settingsFile::whyNoRoom(path, longestLetter * newLetters);
    mLacksRoom = !whyNot.isEmpty();
    const QByteArray bytes = settingsFile::read(path);
    settingsFile::Kept kept;
    if (bytes != mSafe && settingsFile::isSafe(bytes))
        mSafe = bytes;
    // A link needs no room, so the old file survives even if Qt truncates it.
    if (bytes != mSafe || (mLacksRoom && !bytes.isEmpty()))
        kept = settingsFile::keep(path, bytes);
    change();
    report(kept, whyNot);
}
