#include "settings-tool/filechange.h"

#include "shared/settings/settingsfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace {

/// Throws an Error if we are root and the file is somebody else's. The new file would be root's,
/// and perhaps the client couldn't read it. Giving it to its user afterwards isn't safe: in a
/// folder that the user controls, the name could lead elsewhere by then.
void refuseToTakeAway(const QString &file)
{
    const QFileInfo info(file);
    const QFileInfo owned(info.exists() ? file : info.path());
    if (geteuid() != 0 || owned.ownerId() == 0)
        return;
    const QString owner =
        owned.owner().isEmpty() ? QStringLiteral("#%1").arg(owned.ownerId()) : owned.owner();
    throw Error{QStringLiteral("%1 belongs to %2. Run staybolt-settings as that user, for example "
                               "with sudo -u '%2' staybolt-settings")
                    .arg(owned.filePath(), owner)};
}

/// Takes the lock under which Qt writes the file. Returns whether it could; whatever prevents that
/// also prevents writing the file. Throws an Error if somebody else holds the lock too long.
bool takeQtLock(QLockFile &qtLock, const QString &path, const FolderLock &lock)
{
    if (qtLock.tryLock(int(lock.remainingMs())))
        return true;
    if (qtLock.error() != QLockFile::LockFailedError)
        return false;
    qint64 process = 0;
    QString host;
    QString program;
    const QString holder = qtLock.getLockInfo(&process, &host, &program)
        ? QStringLiteral("%1 (process %2 on %3)").arg(program, QString::number(process), host)
        : QStringLiteral("an unknown program");
    lock.giveUp(QStringLiteral("%1 holds the lock %2.lock. If that program isn't running any more, "
                               "delete the lock")
                    .arg(holder, path));
}

/// Stores and removes the given values. Returns all values that the file then holds.
QVariantMap changeValues(QSettings &file, const QVariantMap &change)
{
    const QVariantMap before = valuesOf(file);
    for (auto one = change.begin(); one != change.end(); ++one) {
        if (one->isValid())
            file.setValue(one.key(), *one);
        else
            file.remove(one.key());
    }
    // With a key, Qt also removes everything below it, but two servers' ids may begin alike.
    for (auto one = before.begin(); one != before.end(); ++one) {
        const QString &key = one.key();
        if (!change.contains(key) && !file.contains(key) && key == lookedUp(key))
            file.setValue(key, *one);
    }
    return valuesOf(file);
}

/// Whether somebody who reads the file from the disk finds these values.
bool holds(const QString &file, const QVariantMap &values)
{
    const QVariantMap found = valuesOf(QSettings(file, QSettings::IniFormat));
    // Numbers are read back as text.
    const auto isSame = [](const QVariant &one, const QVariant &other) {
        return one.type() == other.type() ? one == other : one.toString() == other.toString();
    };
    return found.keys() == values.keys()
        && std::equal(found.begin(), found.end(), values.begin(), isSame);
}

}

FolderLock::FolderLock(const QString &path, std::chrono::seconds patience) :
    mPatience(patience), mDeadline(patience)
{
    const QString folder = QFileInfo(fileAt(path)).path();
    mFolder = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (mFolder < 0 && (errno == ENOENT || errno == ENOTDIR))
        throw Error{noFolder(folder)};
    constexpr unsigned long pauseMs = 20;
    // A folder that can't be read, or on some network file systems, has no such lock.
    while (flock(mFolder, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        if (mDeadline.hasExpired()) {
            close(mFolder);
            giveUp(QStringLiteral("another staybolt-settings is still changing a file in ")
                   + folder);
        }
        QThread::msleep(pauseMs);
    }
}

FolderLock::~FolderLock()
{
    if (mFolder >= 0)
        close(mFolder);
}

void FolderLock::giveUp(const QString &why) const
{
    throw Error{
        QStringLiteral("gave up after %1 s: %2").arg(QString::number(mPatience.count()), why)};
}

QString changeFile(const QString &path, const QVariantMap &values, const FolderLock &lock)
{
    const auto refuse = [&path](const QString &why) {
        if (!why.isEmpty())
            throw Error{QStringLiteral("%1 can't be written: %2").arg(path, why)};
    };
    const QString file = fileAt(path);
    refuseToTakeAway(file);
    QLockFile qtLock(path + QStringLiteral(".lock"));
    const bool isLocked = takeQtLock(qtLock, path, lock);
    const QByteArray name = QFile::encodeName(file);
    const auto state = settingsFile::stateOf(name);
    QFile present(file);
    const bool exists = present.exists();
    if (exists && !present.open(QIODevice::ReadWrite))
        refuse(present.errorString());
    const QByteArray old = settingsFile::read(file);
    int letters = 0;
    for (const QVariant &value : values)
        letters += value.toString().size();
    constexpr int longestLetter = 6; // as in \x20ac
    refuse(settingsFile::whyNoRoom(path, old.size() + longestLetter * letters));

    // Qt might replace the file with a truncated one, so let it write a draft elsewhere. Any such
    // folder that is there already is a killed run's: nobody else can be at work now.
    const QString start = file + QStringLiteral(".saving-");
    const QFileInfo info(start);
    const QFileInfoList left =
        info.dir().entryInfoList({info.fileName() + QLatin1Char('*')}, QDir::Dirs);
    for (const QFileInfo &one : left)
        QDir(one.filePath()).removeRecursively();
    const QTemporaryDir folder(start + QStringLiteral("XXXXXX"));
    if (!folder.isValid())
        refuse(folder.errorString());
    if (!isLocked)
        refuse(QStringLiteral("the lock %1.lock can't be made").arg(path));
    const QString draft = folder.filePath(QStringLiteral("draft.ini"));
    if (exists)
        refuse(settingsFile::write(draft, old, present.permissions()));
    QVariantMap expected;
    {
        QSettings settings(draft, QSettings::IniFormat);
        settingsFile::readAll(settings);
        expected = changeValues(settings, values);
    }
    // Under a new name, so that Qt reads it from the disk instead of from its cache.
    const QString whole = folder.filePath(QStringLiteral("whole.ini"));
    refuse(settingsFile::write(whole, settingsFile::read(draft), QFile::permissions(draft)));
    if (!holds(whole, expected))
        refuse(QStringLiteral("what was written can't be read back"));

    const settingsFile::Kept kept =
        settingsFile::isSafe(old) ? settingsFile::Kept() : settingsFile::keep(path, old);
    if (!kept.error.isEmpty()) {
        throw Error{
            QStringLiteral("%1 could not be copied to %2: %3").arg(path, kept.copy, kept.error)};
    }
    if (!(settingsFile::stateOf(name) == state))
        refuse(QStringLiteral("another program has just changed it; try again"));
    if (rename(QFile::encodeName(whole).constData(), name.constData()) != 0)
        refuse(qt_error_string(errno));
    return kept.copy;
}
