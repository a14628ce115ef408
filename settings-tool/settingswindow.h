#pragma once

#include "settings-tool/storedsettings.h"

#include <QDialog>
#include <QScopedPointer>

class Ui_SettingsWindow;

/// The settings in a window: the notice, the idleDock switch and the servers. It says what is wrong
/// with the file and with what is typed, writes the keys that were changed on Save, and asks before
/// it drops changes. Where there is nothing to show, it says why.
class SettingsWindow : public QDialog
{
    Q_OBJECT

public:
    /// For the settings file `path`; an empty path stands for one that nobody named.
    /// A Save waits for others that change the file for as long as `patience`.
    explicit SettingsWindow(const QString &path,
                            std::chrono::seconds patience = StoredSettings::usualPatience);
    ~SettingsWindow() override;

public Q_SLOTS:
    /// Closes the window, after a question where something would be lost.
    void reject() override;

private:
    Q_DISABLE_COPY(SettingsWindow)

    void load();
    /// Answers whether all is stored now.
    bool save();
    /// Says what there is to say of what the fields hold.
    void check();
    void edited();
    void addRow(const StoredSettings::Server &server, const QVariant &storedUid);
    void addServer();
    void removeServer();

    StoredSettings::Server serverAt(int row) const;
    /// Whether the row stands in the file under the id that it shows.
    bool isStored(int row) const;
    /// Whether it is a new row in which nothing was typed.
    bool isBlank(int row) const;
    /// What keeps a row from being stored, empty when nothing does.
    QString mistakeAt(int row) const;
    /// The keys that the fields change, an invalid value for one that they remove.
    QVariantMap changes() const;

    const QScopedPointer<Ui_SettingsWindow> mUi;
    const QString mPath;
    const std::chrono::seconds mPatience;
    /// What the fields showed at first; none where the file can't be read.
    QScopedPointer<StoredSettings> mStored;
};
