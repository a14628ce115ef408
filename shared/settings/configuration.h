#pragma once

#include "shared/settings/settingskeys.h"

#include <QObject>
#include <QString>
#include <QVariant>

#include <atomic>

class QSettings;

/// The plug-in's settings, one INI file in the client's configuration directory.
///
/// No call fails: a missing, unreadable or damaged file reads as empty, and Qt creates or replaces
/// it on the first write. What a damaged file held is first copied to a file beside it,
/// `name`.damaged-1.ini or the next free number; while that can't be done, nothing is stored. Qt
/// writes changes from the event loop of the thread that called init(), on which all calls but
/// instance() are made; before init() the store is empty and keeps nothing.
class configuration : public QObject
{
    Q_OBJECT

public:
    configuration() = default;

    /// The one store, created on the first call, from any thread. It lives until the library is
    /// unloaded.
    static configuration *instance();

    /// Opens, once, `name`.ini in the directory that the client names (getConfigPath).
    void init(QString name);

    void set(QString key, QVariant value);
    /// The value under `key`, an invalid one when the key is absent. What was read from the file is
    /// text.
    QVariant get(QString key) const;
    bool contains(QString key) const;
    /// Removes `key`; nothing happens when it is absent.
    void remove(QString key);

private:
    Q_DISABLE_COPY(configuration)

    bool prepareWrite();

    static std::atomic<configuration *> mInstance;

    // Outlives the library, so that Qt still writes what is pending when we are gone.
    QSettings *mSettings = nullptr;
    // The file was damaged when it was opened and nothing has been written since.
    bool mReadsAsEmpty = false;
    // When the file that was last seen to be sound was changed, in ms since the epoch.
    qint64 mSoundSince = 0;
};
