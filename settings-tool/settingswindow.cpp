#include "settings-tool/settingswindow.h"

#include "settings-tool/hint.h"
#include "settings-tool/serverdialog.h"

#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QCollator>
#include <QDialogButtonBox>
#include <QDir>
#include <QGuiApplication>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QScopeGuard>
#include <QScreen>
#include <QShortcut>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <limits>

namespace {

enum Column { ServerColumn, SettingColumn, UidColumn };

/// How many letters of a name the list shows at least.
constexpr int longestName = 50;

/// The index of the server in the draft.
constexpr int indexRole = Qt::UserRole;

/// A row, sorted as people read names.
class ServerItem : public QTreeWidgetItem
{
public:
    using QTreeWidgetItem::QTreeWidgetItem;

    bool operator<(const QTreeWidgetItem &other) const override
    {
        QCollator collator{QLocale(QLocale::English)};
        collator.setCaseSensitivity(Qt::CaseInsensitive);
        collator.setNumericMode(true);
        const int column = treeWidget()->sortColumn();
        return collator.compare(text(column), other.text(column)) < 0;
    }
};

}

SettingsWindow::SettingsWindow(const QString &path, std::chrono::seconds patience) :
    mPages(new QTabWidget), mOwnText(new QLineEdit), mNoticeHint(new Hint),
    mIdleDock(new QCheckBox(QStringLiteral("Allow moves into &idleDock channels"))),
    mList(new QTreeWidget), mListHint(new Hint), mWarnings(new QListWidget), mStatus(new Hint),
    mPath(path), mPatience(patience)
{
    setWindowTitle(QStringLiteral("Staybolt Settings[*]"));
    setWindowIcon(QIcon::fromTheme(QStringLiteral("staybolt-settings")));
    mPages->setAccessibleName(QStringLiteral("Pages"));
    mPages->addTab(newMessagePage(), QStringLiteral("&Message"));
    mPages->addTab(newServersPage(), QStringLiteral("Ser&vers"));
    mPages->addTab(mWarnings, style()->standardIcon(QStyle::SP_MessageBoxWarning),
                   QStringLiteral("&Warnings"));
    mWarnings->setAccessibleName(QStringLiteral("Warnings about the file"));
    mWarnings->setWordWrap(true);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Close);
    // Not every desktop gives these a key.
    mSave = buttons->button(QDialogButtonBox::Save);
    mSave->setText(QStringLiteral("&Save"));
    buttons->button(QDialogButtonBox::Close)->setText(QStringLiteral("&Close"));
    connect(buttons, &QDialogButtonBox::accepted, this, &SettingsWindow::save);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);
    connect(new QShortcut(QKeySequence::Save, this), &QShortcut::activated, mSave,
            &QPushButton::click);
    connect(new QShortcut(QKeySequence::Cancel, this), &QShortcut::activated, this,
            &QWidget::close);

    auto *layout = new QVBoxLayout(this);
    auto *bottom = new QHBoxLayout;
    layout->addWidget(mPages, 1);
    layout->addLayout(bottom);
    bottom->addWidget(mStatus, 1);
    bottom->addWidget(buttons);
    const QList<QPushButton *> all = findChildren<QPushButton *>();
    for (QPushButton *button : all)
        button->setAutoDefault(true); // Enter presses it, as in a dialog
    load();
    fillList(-1);
    if (mDraft)
        mNotices.checkedButton()->setFocus(Qt::TabFocusReason); // with a mark
    fitInto(QGuiApplication::primaryScreen()->availableSize());
}

QWidget *SettingsWindow::newMessagePage()
{
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(new QLabel(QStringLiteral("Message to whoever moves you:")));
    const auto add = [this](const QString &text, Draft::Notice notice) {
        auto *button = new QRadioButton(text);
        mNotices.addButton(button, int(notice));
        return button;
    };
    layout->addWidget(add(QStringLiteral("&No message"), Draft::Notice::Off));
    layout->addWidget(add(QStringLiteral("S&tandard message: \"%1\"")
                              .arg(QLatin1String(settingsKeys::standardNotice)),
                          Draft::Notice::Standard));
    auto *own = new QHBoxLayout;
    own->addWidget(add(QStringLiteral("My &own message:"), Draft::Notice::Own));
    own->addWidget(mOwnText);
    layout->addLayout(own);
    layout->addWidget(mNoticeHint);
    layout->addStretch();
    auto *file = new Hint;
    layout->addWidget(file);
    QString shown = mPath;
    if (shown.startsWith(QDir::homePath() + QLatin1Char('/')))
        shown.replace(0, QDir::homePath().size(), QLatin1Char('~'));
    if (!shown.isEmpty())
        file->say({QStringLiteral("Settings in %1").arg(shown)});
    mOwnText->setAccessibleName(QStringLiteral("Own message"));
    // The plug-in takes texts of any length.
    mOwnText->setMaxLength(std::numeric_limits<int>::max());
    connect(&mNotices, &QButtonGroup::idClicked, this, [this](int notice) {
        edited();
        if (notice == int(Draft::Notice::Own))
            mOwnText->setFocus();
    });
    connect(mOwnText, &QLineEdit::textEdited, this, [this](QString text) {
        // A pasted line break would be sent, although it looks like a blank here.
        for (QChar &letter : text) {
            if (letter.isSpace())
                letter = QLatin1Char(' ');
        }
        if (text != mOwnText->text())
            mOwnText->setText(text);
        mNotices.button(int(Draft::Notice::Own))->setChecked(true);
        edited();
    });
    return page;
}

QWidget *SettingsWindow::newServersPage()
{
    mList->setAccessibleName(QStringLiteral("Servers"));
    mList->setHeaderLabels(
        {QStringLiteral("Server"), QStringLiteral("Setting"), QStringLiteral("Unique id")});
    mList->setRootIsDecorated(false);
    mList->setAllColumnsShowFocus(true);
    mList->setSortingEnabled(true);
    mList->header()->setStretchLastSection(false); // an id is shown whole
    connect(mList->header(), &QHeaderView::sortIndicatorChanged, this,
            [this] { mList->scrollToItem(mList->currentItem()); });
    mList->sortByColumn(ServerColumn, Qt::AscendingOrder);
    connect(mList, &QTreeWidget::itemSelectionChanged, this, &SettingsWindow::check);
    // Otherwise, letters typed are searched for in the column that was clicked last.
    connect(mList->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex &current) {
                if (current.column() > ServerColumn) {
                    mList->selectionModel()->setCurrentIndex(current.siblingAtColumn(ServerColumn),
                                                             QItemSelectionModel::NoUpdate);
                }
            });

    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    auto *middle = new QHBoxLayout;
    auto *buttons = new QVBoxLayout;
    middle->addWidget(mList, 1);
    middle->addLayout(buttons);
    layout->addLayout(middle, 1);
    layout->addWidget(mListHint);
    layout->addWidget(mIdleDock);
    auto *add = new QPushButton(QStringLiteral("&Add…"));
    buttons->addWidget(add);
    const auto newAction = [&](const QString &text, const QList<QKeySequence> &keys,
                               void (SettingsWindow::*act)()) {
        // By button, or by key while the list has the focus.
        auto *action = new QAction(this);
        auto *button = new QPushButton(text);
        action->setShortcuts(keys);
        action->setShortcutContext(Qt::WidgetShortcut);
        mList->addAction(action);
        buttons->addWidget(button);
        connect(action, &QAction::triggered, this, act);
        connect(action, &QAction::changed, button,
                [action, button] { button->setEnabled(action->isEnabled()); });
        connect(button, &QPushButton::clicked, action, &QAction::trigger);
        action->setEnabled(false);
        return action;
    };
    mEdit = newAction(QStringLiteral("&Edit…"), {Qt::Key_Return, Qt::Key_Enter},
                      &SettingsWindow::editSelected);
    mRemove = newAction(QStringLiteral("&Remove"), {QKeySequence::Delete},
                        &SettingsWindow::removeSelected);
    mUndo = newAction(QStringLiteral("&Undo"), {QKeySequence::Undo}, &SettingsWindow::undo);
    buttons->addStretch();
    connect(add, &QPushButton::clicked, this, [this] { editServer(-1); });
    connect(mList, &QTreeWidget::doubleClicked, mEdit, &QAction::trigger);
    connect(mIdleDock, &QAbstractButton::clicked, this, [this] {
        edited();
        fillList(selected());
    });
    return page;
}

void SettingsWindow::fitInto(const QSize &screen)
{
    // Wide enough, in any font, for an id and what is beside it.
    const QString letters(110, QLatin1Char('n'));
    constexpr int lines = 28;
    const QSize content = sizeHint().expandedTo(
        {fontMetrics().horizontalAdvance(letters), fontMetrics().height() * lines});
    // The window manager's frame is not known before the window is shown.
    const int frame = style()->pixelMetric(QStyle::PM_TitleBarHeight) * 3 / 2;
    resize(content.boundedTo(screen - QSize(frame, frame)));
}

void SettingsWindow::closeEvent(QCloseEvent *event)
{
    event->accept();
    if (!isWindowModified())
        return;
    QMessageBox question(QMessageBox::Question, QStringLiteral("Staybolt Settings"),
                         QStringLiteral("Save your changes?"),
                         QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
    question.button(QMessageBox::Save)->setText(QStringLiteral("&Save"));
    question.button(QMessageBox::Discard)->setText(QStringLiteral("&Don't Save"));
    question.button(QMessageBox::Cancel)->setText(QStringLiteral("&Cancel"));
    question.setDefaultButton(QMessageBox::Save);
    const int answer = question.exec();
    event->setAccepted(answer == QMessageBox::Discard || (answer == QMessageBox::Save && save()));
}

void SettingsWindow::load()
{
    mDraft.reset();
    mWarnings->clear();
    mStatus->say({});
    try {
        mDraft.reset(new Draft(mPath));
        mNotices.button(int(mDraft->notice))->setChecked(true);
        mOwnText->setText(mDraft->ownText);
        mIdleDock->setChecked(mDraft->allowsIdleDock);
        mWarnings->addItems(mDraft->stored.warnings());
    } catch (const Error &error) {
        mStatus->say({error.message});
        mSave->setEnabled(false);
        setWindowModified(false);
    }
    mPages->setTabVisible(mPages->indexOf(mWarnings), mWarnings->count() > 0);
    mPages->setEnabled(mDraft);
}

bool SettingsWindow::save()
{
    const int index = selected();
    const QString uid = index < 0 ? QString() : mDraft->servers.at(index).uid;
    QStringList notes;
    try {
        // It may have to wait for another program.
        QGuiApplication::setOverrideCursor(Qt::WaitCursor);
        const auto restore = qScopeGuard([] { QGuiApplication::restoreOverrideCursor(); });
        const FolderLock lock(mPath, mPatience);
        notes = mDraft->save(lock);
    } catch (const Error &error) {
        QMessageBox::warning(this, QStringLiteral("Staybolt Settings"),
                             QStringLiteral("Not saved: ") + error.message);
        return false;
    }
    if (mSave->hasFocus())
        (mList->isVisible() ? static_cast<QWidget *>(mList) : mPages)
            ->setFocus(); // a button that gets disabled would lose it
    load();
    fillList(mDraft ? mDraft->find(uid) : -1);
    mStatus->say({QStringLiteral("Saved. ") + notes.join(QLatin1Char(' '))});
    return true;
}

void SettingsWindow::fillList(int selected)
{
    {
        const QSignalBlocker blocker(mList);
        mList->clear();
        const QIcon sign = style()->standardIcon(QStyle::SP_MessageBoxWarning);
        for (int i = 0; mDraft && i < mDraft->servers.size(); ++i) {
            const Draft::Server &server = mDraft->servers.at(i);
            const QString reason = Draft::warningsOf(server).join(QLatin1Char('\n'));
            auto *item = new ServerItem(mList);
            item->setText(ServerColumn, server.name.isEmpty() ? server.uid : server.name);
            item->setText(SettingColumn, mDraft->effectOf(server));
            item->setText(UidColumn, server.uid);
            item->setData(ServerColumn, indexRole, i);
            if (!reason.isEmpty())
                item->setIcon(ServerColumn, sign);
            for (int column = ServerColumn; column <= UidColumn; ++column) {
                item->setToolTip(column, reason);
                item->setData(column, Qt::AccessibleDescriptionRole, reason);
            }
            if (i == selected)
                mList->setCurrentItem(item);
        }
        if (!mList->currentItem())
            mList->setCurrentItem(mList->topLevelItem(0));
        for (int column = ServerColumn; column <= UidColumn; ++column) {
            mList->resizeColumnToContents(column);
            const int width = mList->columnWidth(column) + fontMetrics().height();
            const int widest = fontMetrics().horizontalAdvance(QLatin1Char('n')) * longestName;
            mList->setColumnWidth(column, std::min(width, widest));
        }
    }
    check();
}

int SettingsWindow::selected() const
{
    const QList<QTreeWidgetItem *> items = mList->selectedItems();
    return items.isEmpty() ? -1 : items.first()->data(ServerColumn, indexRole).toInt();
}

void SettingsWindow::editServer(int index)
{
    ServerDialog dialog(*mDraft, index, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    if (index >= 0 && dialog.server() == mDraft->servers.at(index))
        return; // there would be nothing to undo
    mStatus->say({});
    fillList(mDraft->put(dialog.server(), index));
    mList->setFocus();
}

void SettingsWindow::removeSelected()
{
    const int index = selected();
    QTreeWidgetItem *item = mList->selectedItems().first();
    const QTreeWidgetItem *next =
        mList->itemBelow(item) ? mList->itemBelow(item) : mList->itemAbove(item);
    const int nextIndex = next ? next->data(ServerColumn, indexRole).toInt() : -1;
    mDraft->remove(index);
    mStatus->say({});
    fillList(nextIndex > index ? nextIndex - 1 : nextIndex);
}

void SettingsWindow::undo()
{
    mStatus->say({});
    fillList(mDraft->undo());
}

void SettingsWindow::edited()
{
    mStatus->say({});
    check();
}

void SettingsWindow::check()
{
    if (!mDraft)
        return;
    mDraft->notice = Draft::Notice(mNotices.checkedId());
    mDraft->ownText = mOwnText->text();
    mDraft->allowsIdleDock = mIdleDock->isChecked();
    mNoticeHint->say(mDraft->warningOfNotice());

    const int index = selected();
    QStringList hints = mDraft->warningOfIdleDock();
    if (index >= 0)
        hints += Draft::sentences(Draft::warningsOf(mDraft->servers.at(index)));
    mListHint->say(hints);
    // Once the hints below the list have their size.
    QMetaObject::invokeMethod(
        this, [this] { mList->scrollToItem(mList->currentItem()); }, Qt::QueuedConnection);
    mEdit->setEnabled(index >= 0);
    mRemove->setEnabled(index >= 0);
    mUndo->setEnabled(mDraft->canUndo());

    const bool isModified = !mDraft->changes().isEmpty();
    mSave->setEnabled(isModified);
    setWindowModified(isModified);
}
