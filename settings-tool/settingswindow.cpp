#include "settings-tool/settingswindow.h"

#include "ui_settingswindow.h"

#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QScopeGuard>
#include <QScreen>
#include <QScrollBar>
#include <QShortcut>
#include <QSignalBlocker>
#include <QStyledItemDelegate>

#include <limits>

namespace {

enum Column { UidColumn, LeftAloneColumn, ChannelColumn };

/// Under which unique id the file knows the server, nothing for a new one.
constexpr int storedRole = Qt::UserRole;

/// A cell, sorted by what it stands for.
class ServerItem : public QTableWidgetItem
{
public:
    using QTableWidgetItem::QTableWidgetItem;

    bool operator<(const QTableWidgetItem &other) const override
    {
        if (column() == LeftAloneColumn)
            return checkState() < other.checkState();
        if (column() == ChannelColumn)
            return channelIn(text()).value_or(0) < channelIn(other.text()).value_or(0);
        return text().compare(other.text(), Qt::CaseInsensitive) < 0;
    }
};

/// Lets ids and channels be typed.
class ServerDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        QStyledItemDelegate::paint(painter, option, index);
        // In a selected row, some styles leave it open which cell is the current one.
        if (!option.state.testFlag(QStyle::State_HasFocus))
            return;
        const bool isSelected = option.state.testFlag(QStyle::State_Selected);
        painter->setPen(
            QPen(option.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text), 2));
        painter->drawRect(option.rect.adjusted(1, 1, -1, -1));
    }

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &,
                          const QModelIndex &index) const override
    {
        auto *editor = new QLineEdit(parent);
        editor->setFrame(false);
        editor->setAccessibleName(
            index.model()->headerData(index.column(), Qt::Horizontal).toString());
        editor->setProperty(before, index.data());
        // At each key, so that it is checked at once, and that no way of saving misses the last
        // one.
        auto *self = const_cast<ServerDelegate *>(this);
        connect(editor, &QLineEdit::textEdited, self,
                [self, editor] { Q_EMIT self->commitData(editor); });
        return editor;
    }

    void setEditorData(QWidget *editor, const QModelIndex &index) const override
    {
        // What comes back from the table is what was just typed; the cursor stays where it is then.
        auto *line = static_cast<QLineEdit *>(editor);
        if (line->text() != index.data().toString())
            line->setText(index.data().toString());
    }

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        auto *line = qobject_cast<QLineEdit *>(object);
        if (!line || event->type() != QEvent::KeyPress)
            return QStyledItemDelegate::eventFilter(object, event);
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            // To the cell beside it, but not into it, and from the last one out of the table.
            Q_EMIT closeEditor(line);
            const bool isForward = key->key() == Qt::Key_Tab;
            const int column = static_cast<QTableWidget *>(parent())->currentColumn();
            const bool isLast = column == (isForward ? ChannelColumn : UidColumn);
            const int arrow = isForward ? Qt::Key_Right : Qt::Key_Left;
            QKeyEvent moving(QEvent::KeyPress, isLast ? key->key() : arrow, {});
            QCoreApplication::sendEvent(parent(), &moving);
            return true;
        }
        if (key->matches(QKeySequence::Cancel)) {
            line->setText(line->property(before).toString());
            Q_EMIT commitData(line);
        }
        return QStyledItemDelegate::eventFilter(object, event);
    }

private:
    static constexpr const char *before = "before";
};

}

SettingsWindow::SettingsWindow(const QString &path, std::chrono::seconds patience) :
    mUi(new Ui_SettingsWindow), mPath(path), mPatience(patience)
{
    mUi->setupUi(this);
    mTable = mUi->tableServers;
    setWindowFlag(Qt::WindowMinMaxButtonsHint);
    setWindowIcon(QIcon::fromTheme(QStringLiteral("staybolt-settings")));
    QString shown = path;
    if (path.startsWith(QDir::homePath() + QLatin1Char('/')))
        shown.replace(0, QDir::homePath().size(), QLatin1Char('~'));
    mUi->labelFile->setText(QStringLiteral("Settings in %1").arg(shown));
    mUi->labelFile->setVisible(!path.isEmpty());
    // Ids and paths come from elsewhere.
    const QList<QLabel *> labels = findChildren<QLabel *>();
    for (QLabel *label : labels) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
    }
    mUi->layoutForm->setContentsMargins(0, 0, 0, 0);
    mUi->layoutRows->addStretch();
    mUi->radioStandard->setText(
        QStringLiteral("%1: \"%2\"")
            .arg(mUi->radioStandard->text(), QLatin1String(settingsKeys::standardNotice)));
    // Not every desktop gives these a key.
    QPushButton *saveButton = mUi->buttonBox->button(QDialogButtonBox::Save);
    saveButton->setText(QStringLiteral("&Save"));
    mUi->buttonBox->button(QDialogButtonBox::Close)->setText(QStringLiteral("&Close"));
    // The plug-in takes texts of any length.
    mUi->lineOwn->setMaxLength(std::numeric_limits<int>::max());
    // So that nothing moves when a text comes or goes.
    mUi->labelStatus->setText(QStringLiteral("x\n\n\nx"));
    mUi->labelStatus->setMinimumHeight(mUi->labelStatus->sizeHint().height());
    mTable->setColumnCount(ChannelColumn + 1);
    mTable->setHorizontalHeaderLabels({QStringLiteral("Unique id"), QStringLiteral("Left alone"),
                                       QStringLiteral("idleDock channel")});
    mTable->setItemDelegate(new ServerDelegate(mTable));
    mTable->installEventFilter(this);
    constexpr int leastRows = 5; // with the header
    mTable->setMinimumHeight(leastRows * mTable->verticalHeader()->defaultSectionSize());
    mTable->resizeColumnsToContents(); // of the headers
    mTable->horizontalHeader()->setSectionResizeMode(UidColumn, QHeaderView::Stretch);
    // Sorted by a click only, so that no row moves while it is edited.
    mTable->horizontalHeader()->setSortIndicator(UidColumn, Qt::AscendingOrder);
    mTable->horizontalHeader()->setSortIndicatorShown(true);
    connect(mTable->horizontalHeader(), &QHeaderView::sortIndicatorChanged, mTable,
            [this](int column, Qt::SortOrder order) {
                mTable->sortItems(column, order);
                mTable->scrollToItem(mTable->currentItem());
            });
    connect(qApp, &QApplication::focusChanged, this, &SettingsWindow::showFocus);
    connect(mTable, &QTableWidget::currentCellChanged, this, &SettingsWindow::showFocus,
            Qt::QueuedConnection); // when the table has scrolled

    mNotices.addButton(mUi->radioOff, int(Draft::Notice::Off));
    mNotices.addButton(mUi->radioStandard, int(Draft::Notice::Standard));
    mNotices.addButton(mUi->radioOwn, int(Draft::Notice::Own));
    connect(mUi->checkIdleDock, &QAbstractButton::clicked, this, &SettingsWindow::edited);
    connect(&mNotices, &QButtonGroup::idClicked, this, [this](int notice) {
        edited();
        if (notice == int(Draft::Notice::Own))
            mUi->lineOwn->setFocus();
    });
    connect(mUi->lineOwn, &QLineEdit::textEdited, this, &SettingsWindow::edited);
    connect(mTable, &QTableWidget::itemChanged, this, &SettingsWindow::edited);
    connect(mTable, &QTableWidget::currentCellChanged, this, &SettingsWindow::check);
    connect(mTable, &QTableWidget::itemSelectionChanged, this, &SettingsWindow::check);
    connect(mUi->buttonAdd, &QPushButton::clicked, this, &SettingsWindow::addServer);
    connect(mUi->buttonRemove, &QPushButton::clicked, this, &SettingsWindow::removeServers);
    connect(mUi->buttonUndo, &QPushButton::clicked, this, &SettingsWindow::undoRemove);
    connect(mUi->buttonBox, &QDialogButtonBox::accepted, this, &SettingsWindow::save);
    connect(mUi->buttonBox, &QDialogButtonBox::rejected, this, &SettingsWindow::reject);
    connect(new QShortcut(QKeySequence::Save, this), &QShortcut::activated, saveButton,
            &QPushButton::click);
    load();
    fitInto(QGuiApplication::primaryScreen()->availableSize());
}

SettingsWindow::~SettingsWindow()
{
    hide(); // while there still is a form for the focus to leave
}

void SettingsWindow::fitInto(const QSize &screen)
{
    const QSize whole = sizeHint() - mUi->scrollArea->sizeHint() + mUi->form->sizeHint();
    // Room for an id, whatever the font, and for what is beside it.
    const QString widestId(30, QLatin1Char('N')); // and its sign
    const int columns = fontMetrics().horizontalAdvance(widestId)
        + mTable->columnWidth(LeftAloneColumn) + mTable->columnWidth(ChannelColumn);
    const QSize content(whole.width() - mTable->sizeHint().width() + columns, whole.height());
    // The window manager's frame is not known before the window is shown.
    const int frame = style()->pixelMetric(QStyle::PM_TitleBarHeight) * 3 / 2;
    resize(content.boundedTo(screen - QSize(frame, frame)));
}

void SettingsWindow::reject()
{
    if (isWindowModified()) {
        QMessageBox question(QMessageBox::Question, QStringLiteral("Staybolt Settings"),
                             QStringLiteral("Save your changes?"),
                             QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
        question.button(QMessageBox::Save)->setText(QStringLiteral("&Save"));
        question.button(QMessageBox::Discard)->setText(QStringLiteral("&Don't Save"));
        question.button(QMessageBox::Cancel)->setText(QStringLiteral("&Cancel"));
        question.setDefaultButton(QMessageBox::Save);
        const int answer = question.exec();
        if (answer == QMessageBox::Cancel || (answer == QMessageBox::Save && !save()))
            return;
    }
    QDialog::reject();
}

bool SettingsWindow::eventFilter(QObject *object, QEvent *event)
{
    if (object != mTable || event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(object, event);
    QTableWidgetItem *current = mTable->currentItem();
    const int key = static_cast<QKeyEvent *>(event)->key();
    const bool isEnter = key == Qt::Key_Return || key == Qt::Key_Enter;
    if (static_cast<QKeyEvent *>(event)->matches(QKeySequence::Undo)) {
        undoRemove();
        return true;
    }
    if (!current)
        return false;
    if (key == Qt::Key_Space || (isEnter && current->column() == LeftAloneColumn)) {
        // From each cell of the row: a blank would take the place of an id.
        QTableWidgetItem *tick = mTable->item(current->row(), LeftAloneColumn);
        tick->setCheckState(tick->checkState() == Qt::Checked ? Qt::Unchecked : Qt::Checked);
    } else if (isEnter) {
        mTable->editItem(current);
    } else if (key == Qt::Key_Delete) {
        removeServers();
    } else {
        return false;
    }
    return true;
}

void SettingsWindow::load()
{
    const int column = mTable->currentColumn();
    const QString uid = column < 0 ? QString() : serverAt(mTable->currentRow()).uid;
    const bool isSelected = column >= 0 && mTable->currentItem()->isSelected();
    const int position = mTable->verticalScrollBar()->value();
    const bool hasFocus = mTable->isAncestorOf(focusWidget());
    const QSignalBlocker blocker(mTable);
    mTable->setRowCount(0);
    mRemoved.clear();
    mDraft.reset();
    mUi->listWarnings->clear();
    try {
        mDraft.reset(new Draft(mPath));
        mNotices.button(int(mDraft->notice))->setChecked(true);
        mUi->lineOwn->setText(mDraft->ownText);
        mUi->checkIdleDock->setChecked(mDraft->allowsIdleDock);
        for (const Draft::Server &server : qAsConst(mDraft->servers))
            insertRow(mTable->rowCount(), server);
        const QHeaderView *header = mTable->horizontalHeader();
        mTable->sortItems(header->sortIndicatorSection(), header->sortIndicatorOrder());
        for (int row = 0; row < mTable->rowCount() && column >= 0; ++row) {
            if (serverAt(row).uid == uid)
                mTable->setCurrentCell(row, column);
        }
        if (!isSelected)
            mTable->clearSelection();
        mTable->verticalScrollBar()->setValue(position);
        mTable->scrollToItem(mTable->currentItem());
        if (hasFocus)
            mTable->setFocus(); // which went with an open editor
        mUi->listWarnings->addItems(mDraft->stored.warnings());
        if (mUi->listWarnings->count() > 0)
            mOutcome = QStringLiteral("There are warnings about the settings file; see the bottom "
                                      "of this window (Alt+F).");
    } catch (const Error &error) {
        mUi->labelStatus->setText(error.message);
        mUi->buttonBox->button(QDialogButtonBox::Save)->setEnabled(false);
        setWindowModified(false);
    }
    mUi->form->setEnabled(mDraft);
    mUi->labelWarnings->setVisible(mUi->listWarnings->count() > 0);
    mUi->listWarnings->setVisible(mUi->listWarnings->count() > 0);
    check();
}

bool SettingsWindow::save()
{
    const auto refuse = [this](const QString &why) {
        mOutcome = QStringLiteral("Not saved: ") + why;
        check();
        return false;
    };
    if (!mDraft)
        return false;
    const int rows = mDraft->servers.size();
    for (int i = 0; i < rows; ++i) {
        const int row = (std::max(mTable->currentRow(), 0) + i) % rows; // first where the user is
        const QString error = mDraft->errorIn(row);
        if (error.isEmpty())
            continue;
        const bool isChannel = error.endsWith(channelRule());
        mTable->setCurrentCell(row, isChannel ? ChannelColumn : UidColumn);
        mTable->setFocus();
        return refuse(error);
    }
    QStringList notes;
    // Somebody else's change may take a while.
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    const auto restore = qScopeGuard([] { QGuiApplication::restoreOverrideCursor(); });
    try {
        const FolderLock lock(mPath, mPatience);
        notes = mDraft->save(lock);
    } catch (const Error &error) {
        return refuse(error.message);
    }
    load();
    mOutcome = QStringLiteral("Saved. ") + notes.join(QLatin1Char(' '));
    check();
    return true;
}

void SettingsWindow::edited()
{
    mOutcome.clear();
    check();
}

void SettingsWindow::check()
{
    if (!mDraft)
        return;
    mDraft->notice = Draft::Notice(mNotices.checkedId());
    mDraft->ownText = mUi->lineOwn->text();
    mDraft->allowsIdleDock = mUi->checkIdleDock->isChecked();
    mUi->lineOwn->setEnabled(mDraft->notice == Draft::Notice::Own);

    // About the row where the user is, and about what keeps others from being stored.
    const QSignalBlocker blocker(mTable);
    mDraft->servers.clear();
    bool hasError = false;
    const QIcon warningSign = style()->standardIcon(QStyle::SP_MessageBoxWarning);
    QStringList hints = QStringList(mOutcome) + mDraft->warningOfNotice();
    for (int row = 0; row < mTable->rowCount(); ++row) {
        mDraft->servers.append(serverAt(row));
        const QString error = mDraft->errorIn(row);
        const QStringList remarks = error.isEmpty() ? mDraft->warningsOf(row) : QStringList(error);
        // Of other rows the first error alone, so that there is room for the buttons.
        const bool isHere = row == mTable->currentRow() || (!hasError && !error.isEmpty());
        if (isHere && (error.isEmpty() || !mOutcome.endsWith(error)))
            hints += remarks;
        hasError = hasError || !error.isEmpty();
        const QString text = remarks.join(QLatin1Char('\n'));
        mTable->item(row, UidColumn)->setIcon(text.isEmpty() ? QIcon() : warningSign);
        const QString isLeftAlone =
            QLatin1String(mDraft->servers.at(row).isLeftAlone ? "yes" : "no");
        for (int column = UidColumn; column <= ChannelColumn; ++column) {
            QTableWidgetItem *item = mTable->item(row, column);
            item->setToolTip(text);
            item->setData(Qt::AccessibleDescriptionRole, text);
            item->setData(Qt::AccessibleTextRole,
                          QStringLiteral("%1: %2").arg(mTable->horizontalHeaderItem(column)->text(),
                                                       column == LeftAloneColumn ? isLeftAlone
                                                                                 : item->text()));
        }
    }
    const bool isModified = hasError || !mDraft->changes().isEmpty();
    hints += mDraft->warningOfIdleDock();
    hints.removeAll(QString());
    mUi->labelStatus->setText(hints.join(QLatin1Char('\n')));
    mUi->buttonRemove->setEnabled(mTable->selectionModel()->hasSelection());
    mUi->buttonUndo->setEnabled(!mRemoved.isEmpty());
    mUi->buttonBox->button(QDialogButtonBox::Save)->setEnabled(isModified);
    setWindowModified(isModified);
}

void SettingsWindow::insertRow(int row, const Draft::Server &server)
{
    const QSignalBlocker blocker(mTable);
    mTable->insertRow(row);
    auto *uid = new ServerItem(server.uid);
    if (server.storedUid)
        uid->setData(storedRole, *server.storedUid);
    mTable->setItem(row, UidColumn, uid);
    auto *leftAlone = new ServerItem;
    leftAlone->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
    leftAlone->setCheckState(server.isLeftAlone ? Qt::Checked : Qt::Unchecked);
    mTable->setItem(row, LeftAloneColumn, leftAlone);
    mTable->setItem(row, ChannelColumn, new ServerItem(server.channel));
}

Draft::Server SettingsWindow::serverAt(int row) const
{
    const QString uid = mTable->item(row, UidColumn)->text();
    const QVariant stored = mTable->item(row, UidColumn)->data(storedRole);
    // A copied id may bring blanks along.
    return {stored == uid ? uid : uid.trimmed(),
            mTable->item(row, LeftAloneColumn)->checkState() == Qt::Checked,
            mTable->item(row, ChannelColumn)->text().trimmed(),
            stored.isValid() ? std::optional(stored.toString()) : std::nullopt};
}

void SettingsWindow::addServer()
{
    const int row = mTable->rowCount();
    insertRow(row, Draft::Server());
    mTable->setCurrentCell(row, UidColumn);
    mTable->editItem(mTable->currentItem());
    edited();
}

void SettingsWindow::removeServers()
{
    QMap<int, Draft::Server> removed;
    for (int row = mTable->rowCount() - 1; row >= 0; --row) {
        if (!mTable->item(row, UidColumn)->isSelected())
            continue;
        if (!Draft::isBlank(serverAt(row)))
            removed.insert(row, serverAt(row));
        mTable->removeRow(row);
    }
    if (!removed.isEmpty())
        mRemoved.push(removed);
    edited();
}

void SettingsWindow::undoRemove()
{
    if (mRemoved.isEmpty())
        return;
    const QMap<int, Draft::Server> removed = mRemoved.pop();
    for (auto one = removed.begin(); one != removed.end(); ++one)
        insertRow(std::min(one.key(), mTable->rowCount()), *one);
    mTable->setCurrentCell(removed.firstKey(), UidColumn);
    mTable->setFocus();
    edited();
}

void SettingsWindow::showFocus()
{
    layout()->activate(); // what is said may have taken room
    QWidget *focus = focusWidget();
    if (mTable->isAncestorOf(focus) && mTable->currentItem()) {
        mTable->scrollToItem(mTable->currentItem());
        const QRect row = mTable->visualItemRect(mTable->currentItem());
        const QPoint middle = mTable->viewport()->mapTo(mUi->form, row.center());
        mUi->scrollArea->ensureVisible(middle.x(), middle.y(), 0, row.height());
    } else if (mUi->form->isAncestorOf(focus)) {
        mUi->scrollArea->ensureWidgetVisible(focus);
    }
}
