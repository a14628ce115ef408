#pragma once

#include "settings-tool/storedsettings.h"

#include <QDeadlineTimer>

#include <chrono>

/// Keeps other staybolt-settings processes from changing files in the folder of the file that
/// `path` leads to. It needs no lock file, and the plug-in never waits for it.
class FolderLock
{
public:
    /// How long to wait for another program that is changing the file.
    static constexpr std::chrono::seconds usualPatience{15};

    /// Throws an Error if there is no such folder, or another process holds it for longer than
    /// `patience`.
    FolderLock(const QString &path, std::chrono::seconds patience);
    ~FolderLock();

    /// How much of the patience is left.
    qint64 remainingMs() const { return mDeadline.remainingTime(); }
    /// Throws an Error that says that the patience has run out, and gives the reason `why`.
    [[noreturn]] void giveUp(const QString &why) const;

private:
    Q_DISABLE_COPY(FolderLock)

    const std::chrono::seconds mPatience;
    const QDeadlineTimer mDeadline;
    int mFolder = -1;
};

/// Stores values in the settings file `path` under their keys, and removes keys whose value is
/// invalid. Either the disk then holds these values and all others that were in the file, or the
/// file is unchanged and an Error says why. Keeps a copy of the old file if Qt might drop or
/// rewrite any line of it. Returns the path of that copy, empty if none was needed.
QString changeFile(const QString &path, const QVariantMap &values, const FolderLock &lock);
