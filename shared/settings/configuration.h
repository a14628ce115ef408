#pragma once

#include "shared/settings/settingsfile.h"
#include "shared/settings/settingskeys.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QVariant>

#include <atomic>

class QSettings;

/// The plug-in's settings, one INI file in the host's configuration directory.
///
/// No call fails. Whatever Qt can read from the file is used; a file that is missing, or can't be
/// read at init(), counts as empty. Each call first checks whether somebody has changed the file,
/// and if so has Qt read it again; as long as it can't be read, what was read last stays in effect.
/// A value that can't be written stays in effect until the host ends. Qt writes changes from the
/// event loop of the thread that called init(); all calls but instance() must be made on that
/// thread. Anything that Qt would drop (comments, notes, keys that occur twice) is first saved in a
/// copy beside the file, `name`.kept-1.ini or the next free number, and a line in the host's log
/// names the copy (logMessage). On a full disk, a copy is kept even if Qt would drop nothing. Edits
/// made to the file between a change and Qt's write are not checked. Before init() the store is
/// empty and keeps nothing.
class configuration : public QObject
{
    Q_OBJECT

public:
    configuration() = default;

    /// The one store, created on the first call, from any thread. It lives until the library is
    /// unloaded.
    static configuration *instance();

    /// Opens `name`.ini in the directory that the host names (getConfigPath), in place of a file
    /// that was open before.
    void init(QString name);

    void set(QString key, QVariant value);
    /// Sets several values at once, which costs no more than one.
    void set(QVariantHash values);
    /// The value under `key`, an invalid one when the key is absent. Values read from the file are
    /// text.
    QVariant get(QString key) const;
    bool contains(QString key) const;
    /// Removes `key`; nothing happens when it is absent.
    void remove(QString key);

private:
    Q_DISABLE_COPY(configuration)

    settingsFile::Kept renew() const;
    template<typename Read>
    settingsFile::Kept keepWhatGoes(const QString &path, Read readFile) const;
    template<typename Change>
    void write(int newLetters, Change change);

    static std::atomic<configuration *> mInstance;

    // Outlives the library, so that Qt still writes what is pending when we are gone.
    QSettings *mSettings = nullptr;
    QByteArray mName; ///< of the file, in the system's encoding
    mutable settingsFile::FileState mSeen; ///< the file when Qt last read it
    mutable QByteArray mSafe; ///< bytes that Qt writes back unchanged
    mutable bool mLacksRoom = false; ///< whether the disk was full at the last check
};
