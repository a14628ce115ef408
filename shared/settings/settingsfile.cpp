#include "shared/settings/settingsfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QSettings>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace {

/// The lines of a file, each preceded by its section's header, since the same line means something
/// else in another section.
QList<QByteArray> linesInSections(const QByteArray &bytes)
{
    QList<QByteArray> result = settingsFile::lines(bytes);
    QByteArray section = "[General]";
    for (QByteArray &line : result) {
        if (line.startsWith('['))
            section = line;
        if (!line.trimmed().isEmpty())
            line = section + '\n' + line;
    }
    return result;
}

/// Writes all of the bytes. Returns why it couldn't, empty if it could.
QString writeAll(QFileDevice &file, QByteArray bytes)
{
    while (!bytes.isEmpty()) {
        // If only part of them fits, the next call reports the error.
        const qint64 count = file.write(bytes);
        if (count <= 0)
            return file.errorString();
        bytes.remove(0, int(count));
    }
    return file.flush() || file.flush() ? QString() : file.errorString();
}

}

bool settingsFile::hasByteOrderMark(const QByteArray &bytes)
{
    return bytes.startsWith("\xef\xbb\xbf");
}

QList<QByteArray> settingsFile::lines(const QByteArray &bytes)
{
    return QByteArray(bytes).replace("\r\n", "\n").replace('\r', '\n').split('\n');
}

std::optional<QList<int>> settingsFile::linesThatChange(const QByteArray &bytes)
{
    const QTemporaryDir folder;
    const QString path = folder.path() + QLatin1String("/copy.ini");
    {
        // Nobody needs the file after a crash, so don't wait for the disk.
        QFile file(path);
        if (!folder.isValid() || !file.open(QIODevice::WriteOnly)
            || !writeAll(file, bytes).isEmpty())
            return std::nullopt;
    }
    {
        QSettings settings(path, QSettings::IniFormat);
        readAll(settings);
        // Qt's cache may outlive the library, so give it no text from our data.
        settings.setValue(QString(QLatin1String("staybolt-writes-this")), 1);
    }
    const QByteArray after = read(path);
    if (after == bytes)
        return std::nullopt; // it could not be written
    const QList<QByteArray> all = linesInSections(after);
    const QSet<QByteArray> written(all.begin(), all.end());
    const QList<QByteArray> before = linesInSections(bytes);
    QList<int> result;
    for (int i = 0; i < before.size(); ++i) {
        if (!before.at(i).trimmed().isEmpty() && !written.contains(before.at(i)))
            result.append(i + 1);
    }
    return result;
}

void settingsFile::readAll(QSettings &settings)
{
    // Qt parses a section when it is first needed, and a later settings object for the file may no
    // longer know of the byte-order mark.
    settings.allKeys();
    // It would write UTF-8 without the mark, which is not what is read back.
    settings.setIniCodec(static_cast<QTextCodec *>(nullptr));
}

bool settingsFile::FileState::operator==(const FileState &other) const
{
    return device == other.device && inode == other.inode && size == other.size
        && modified == other.modified;
}

std::optional<settingsFile::FileState> settingsFile::stateOf(const QByteArray &name)
{
    struct stat file;
    // The C library's own function for this needs a newer version than users have.
    if (syscall(SYS_newfstatat, AT_FDCWD, name.constData(), &file, 0) == 0) {
        const qint64 modified = file.st_mtim.tv_sec * 1000000000 + file.st_mtim.tv_nsec;
        return FileState{file.st_dev, file.st_ino, file.st_size, modified};
    }
    return errno == ENOENT || errno == ENOTDIR ? std::optional(FileState()) : std::nullopt;
}

QByteArray settingsFile::read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool settingsFile::isSafe(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return true;
    const std::optional<QList<int>> lines = linesThatChange(bytes);
    return lines && lines->isEmpty();
}

QString settingsFile::whyNoRoom(const QString &path, qint64 newBytes)
{
    const QFileInfo info(path);
    QTemporaryFile file((info.exists() ? info.canonicalFilePath() : path)
                        + QLatin1String(".XXXXXX"));
    constexpr qint64 margin = 8192; // for Qt's lock and what the file system adds
    const qint64 size = info.size() + newBytes + margin;
    return file.open() ? writeAll(file, QByteArray(int(size), ' ')) : QString();
}

QString settingsFile::write(const QString &path, const QByteArray &bytes,
                            QFileDevice::Permissions permissions)
{
    QTemporaryFile file(path + QLatin1String(".XXXXXX"));
    if (!file.open() || !file.setPermissions(permissions))
        return file.errorString();
    QString error = writeAll(file, bytes);
    if (!error.isEmpty())
        return error;
    if (fsync(file.handle()) != 0
        || rename(QFile::encodeName(file.fileName()).constData(),
                  QFile::encodeName(path).constData())
            != 0)
        return qt_error_string(errno);
    file.setAutoRemove(false);
    return QString();
}

settingsFile::Kept settingsFile::keep(const QString &path, const QByteArray &bytes)
{
    const QFileInfo info(path);
    const QString start = info.completeBaseName() + QStringLiteral(".kept-");
    const QFileInfoList others = info.dir().entryInfoList(QDir::Files | QDir::Hidden);
    for (const QFileInfo &other : others) {
        if (other.fileName().startsWith(start) && !other.isSymLink()
            && read(other.filePath()) == bytes)
            return {};
    }

    const QByteArray name = QFile::encodeName(path);
    for (int number = 1;; ++number) {
        const QString copy =
            info.dir().filePath(start + QString::number(number) + QStringLiteral(".ini"));
        // A link needs no space on a full disk, and Qt, which replaces the file by renaming, leaves
        // the linked bytes alone. If somebody has already replaced the file, the bytes are written.
        if (linkat(AT_FDCWD, name.constData(), AT_FDCWD, QFile::encodeName(copy).constData(),
                   AT_SYMLINK_FOLLOW)
            == 0) {
            if (read(copy) == bytes)
                return {copy, QString()};
            QFile::remove(copy);
        } else if (errno == EEXIST || QFileInfo(copy).exists()) {
            continue;
        }
        return {copy, write(copy, bytes, QFile::permissions(path))};
    }
}
