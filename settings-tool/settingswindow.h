#pragma once

#include "settings-tool/draft.h"

#include <QButtonGroup>
#include <QDialog>
#include <QScopedPointer>
#include <QStack>

class QTableWidget;
class Ui_SettingsWindow;

/// The settings in a window: the notice, the idleDock switch and the servers. It says what is wrong
/// with the file and with what is typed. Save writes only the keys that were changed. The window
/// asks before it drops changes. If there is nothing to show, it says why.
class SettingsWindow : public QDialog
{
    Q_OBJECT

public:
    /// For the settings file `path`; an empty path means that none is known. A Save waits
    /// up to `patience` for other processes that are changing the file.
    explicit SettingsWindow(const QString &path,
                            std::chrono::seconds patience = FolderLock::usualPatience);
    ~SettingsWindow() override;

    /// Takes the size that the content needs, but no more than a screen has. What does not fit
    /// scrolls.
    void fitInto(const QSize &screen);

public Q_SLOTS:
    /// Closes the window, and asks first if changes would be lost.
    void reject() override;

protected:
    /// The table's own keys.
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void load();
    /// Returns whether all is stored now.
    bool save();
    /// Reads the fields into the draft, and shows any errors and warnings.
    void check();
    void edited();
    void addServer();
    void removeServers();
    void undoRemove();
    void insertRow(int row, const Draft::Server &server);
    Draft::Server serverAt(int row) const;
    /// Scrolls to what has the focus: in the table, to the current row.
    void showFocus();

    const QScopedPointer<Ui_SettingsWindow> mUi;
    QTableWidget *mTable = nullptr;
    QButtonGroup mNotices;
    const QString mPath;
    const std::chrono::seconds mPatience;
    /// What the file should hold; null if it can't be read.
    QScopedPointer<Draft> mDraft;
    /// The rows taken out by each Remove, until the next load.
    QStack<QMap<int, Draft::Server>> mRemoved;
    /// What came of the last load or save, until something is edited.
    QString mOutcome;
};
