#pragma once

#include "settings-tool/draft.h"

#include <QButtonGroup>
#include <QScopedPointer>
#include <QWidget>

class Hint;
class QAction;
class QCheckBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTabWidget;
class QTreeWidget;

/// The settings in a window: the notice, the idleDock switch and the servers. It says what is wrong
/// with the file and what is odd about a server. Save writes only the keys that were changed. The
/// window asks before it drops changes. If there is nothing to show, it says why.
class SettingsWindow : public QWidget
{
    Q_OBJECT

public:
    /// For the settings file `path`; an empty path means that none is known. A Save waits
    /// up to `patience` for other programs that are changing the file.
    explicit SettingsWindow(const QString &path,
                            std::chrono::seconds patience = FolderLock::usualPatience);

    /// Takes the size that the content needs, up to that of the screen.
    void fitInto(const QSize &screen);

protected:
    /// Asks first if changes would be lost.
    void closeEvent(QCloseEvent *event) override;

private:
    void load();
    /// Returns whether everything is stored now.
    bool save();
    /// Fills the list from the draft, and selects the server at that index, or the first row.
    void fillList(int selected);
    /// The index of the selected server in the draft, -1 when none is selected.
    int selected() const;
    void editServer(int index);
    /// Reads the fields into the draft, and shows the warnings about them.
    void check();
    void edited();
    void editSelected() { editServer(selected()); }
    void removeSelected();
    void undo();
    QWidget *newMessagePage();
    QWidget *newServersPage();

    QTabWidget *const mPages;
    QButtonGroup mNotices;
    QLineEdit *const mOwnText;
    Hint *const mNoticeHint;
    QCheckBox *const mIdleDock;
    QTreeWidget *const mList;
    Hint *const mListHint;
    QAction *mEdit = nullptr;
    QAction *mRemove = nullptr;
    QAction *mUndo = nullptr;
    QListWidget *const mWarnings;
    Hint *const mStatus;
    QPushButton *mSave = nullptr;
    const QString mPath;
    const std::chrono::seconds mPatience;
    /// What the file should hold; null if it can't be read.
    QScopedPointer<Draft> mDraft;
};
