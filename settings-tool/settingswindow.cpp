#include "settings-tool/settingswindow.h"

#include "ui_settingswindow.h"

#include <QDir>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QScopeGuard>
#include <QScreen>
#include <QShortcut>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <QTimer>

using Server = StoredSettings::Server;

namespace {

enum Column { UidColumn, LeftAloneColumn, ChannelColumn };

/// What a cell had from the file: the unique id, nothing for a new row, and whether that server was
/// left alone.
constexpr int storedRole = Qt::UserRole;

/// Lets ids and channels be typed.
class ServerDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &,
                          const QModelIndex &index) const override
    {
        auto *editor = new QLineEdit(parent);
        editor->setFrame(false);
        editor->setProperty(before, index.data());
        if (index.column() == ChannelColumn) {
            editor->setValidator(new QRegularExpressionValidator(
                QRegularExpression(QStringLiteral("[0-9]{0,10}")), editor));
        }
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
        const auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            // Not on to the next cell, where the next key would take the place of what is there.
            Q_EMIT closeEditor(line);
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

/// The keys that say what there is to say of a server.
void insertKeys(QVariantMap &values, const Server &server)
{
    if (server.isLeftAlone)
        values.insert(storedKey(settingsKeys::excludedServer, server.uid), true);
    if (server.idleDockChannel) {
        values.insert(storedKey(settingsKeys::idleDockTarget, server.uid), *server.idleDockChannel);
    }
}

void say(QLabel *label, const QString &text)
{
    label->setText(text);
    label->setVisible(!text.isEmpty());
}

}

SettingsWindow::SettingsWindow(const QString &path, std::chrono::seconds patience) :
    mUi(new Ui_SettingsWindow), mPath(path), mPatience(patience)
{
    mUi->setupUi(this);
    setWindowFlag(Qt::WindowMinimizeButtonHint);
    setWindowIcon(QIcon::fromTheme(QStringLiteral("staybolt-settings")));
    const QString home = QDir::homePath() + QLatin1Char('/');
    mUi->labelFile->setText(
        QStringLiteral("Settings in %1")
            .arg(path.startsWith(home) ? QLatin1String("~/") + path.mid(home.size()) : path));
    mUi->labelFile->setVisible(!path.isEmpty());
    mUi->radioStandard->setText(
        QStringLiteral("%1: \"%2\"")
            .arg(mUi->radioStandard->text(), QLatin1String(settingsKeys::standardNotice)));
    // Not every desktop gives these a key.
    mUi->buttonBox->button(QDialogButtonBox::Save)->setText(QStringLiteral("&Save"));
    mUi->buttonBox->button(QDialogButtonBox::Close)->setText(QStringLiteral("&Close"));
    mUi->tableServers->setItemDelegate(new ServerDelegate(this));
    mUi->tableServers->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    mUi->tableServers->horizontalHeader()->setSectionResizeMode(UidColumn, QHeaderView::Stretch);

    for (const QAbstractButton *button : std::initializer_list<const QAbstractButton *>{
             mUi->radioOff, mUi->radioStandard, mUi->radioOwn, mUi->checkIdleDock})
        connect(button, &QAbstractButton::clicked, this, &SettingsWindow::edited);
    connect(mUi->radioOwn, &QAbstractButton::clicked, mUi->lineOwn,
            [this] { mUi->lineOwn->setFocus(); });
    connect(mUi->lineOwn, &QLineEdit::textEdited, this, &SettingsWindow::edited);
    connect(mUi->tableServers, &QTableWidget::itemChanged, this, &SettingsWindow::edited);
    connect(mUi->tableServers, &QTableWidget::currentCellChanged, this, &SettingsWindow::check);
    connect(mUi->buttonAdd, &QPushButton::clicked, this, &SettingsWindow::addServer);
    connect(mUi->buttonRemove, &QPushButton::clicked, this, &SettingsWindow::removeServer);
    connect(mUi->buttonBox, &QDialogButtonBox::accepted, this, &SettingsWindow::save);
    connect(mUi->buttonBox, &QDialogButtonBox::rejected, this, &SettingsWindow::reject);
    connect(new QShortcut(QKeySequence::Save, this), &QShortcut::activated, this,
            &SettingsWindow::save);
    load();

    // Room for an id and a sentence, whatever the font.
    constexpr int columns = 80;
    resize(sizeHint()
               .expandedTo({columns * fontMetrics().averageCharWidth(), 0})
               .boundedTo(QGuiApplication::primaryScreen()->availableSize()));
}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::reject()
{
    if (isWindowModified()) {
        const auto answer = QMessageBox::question(
            this, QStringLiteral("Staybolt settings"), QStringLiteral("Save what you changed?"),
            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
        if (answer == QMessageBox::Cancel || (answer == QMessageBox::Save && !save()))
            return;
    }
    QDialog::reject();
}

void SettingsWindow::load()
{
    mStored.reset();
    try {
        mStored.reset(new StoredSettings(mPath));
    } catch (const Mistake &mistake) {
        say(mUi->labelOutcome, mistake.message);
    }
    mUi->form->setEnabled(mStored);
    if (mStored) {
        const bool hasOwnText = mStored->contains(settingsKeys::customNotify.text());
        QRadioButton *notice = !mStored->isOn(settingsKeys::sendNotify) ? mUi->radioOff
            : hasOwnText                                                ? mUi->radioOwn
                                                                        : mUi->radioStandard;
        notice->setChecked(true);
        mUi->lineOwn->setText(hasOwnText ? mStored->notice() : QString());
        mUi->checkIdleDock->setChecked(mStored->isOn(settingsKeys::idleDock));
        const QSignalBlocker blocker(mUi->tableServers);
        mUi->tableServers->setRowCount(0);
        const QVector<Server> servers = mStored->servers();
        for (const Server &server : servers)
            addRow(server, server.uid);
        mUi->textWarnings->setPlainText(mStored->warnings().join(QLatin1Char('\n')));
    }
    const bool hasWarnings = mStored && !mUi->textWarnings->document()->isEmpty();
    mUi->labelWarnings->setVisible(hasWarnings);
    mUi->textWarnings->setVisible(hasWarnings);
    check();
}

bool SettingsWindow::save()
{
    const auto refuse = [this](const QString &why) {
        say(mUi->labelOutcome, QStringLiteral("Not saved: %1").arg(why));
        return false;
    };
    for (int row = 0; row < mUi->tableServers->rowCount(); ++row) {
        const QString mistake = mistakeAt(row);
        if (!mistake.isEmpty()) {
            mUi->tableServers->setCurrentCell(row, UidColumn);
            return refuse(mistake);
        }
    }
    const QVariantMap values = changes();
    if (values.isEmpty())
        return true;
    QStringList notes{QStringLiteral("Saved.")};
    // Somebody else's change may take a while.
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    const auto restore = qScopeGuard([] { QGuiApplication::restoreOverrideCursor(); });
    try {
        notes += StoredSettings(mPath, mPatience).change(values);
    } catch (const Mistake &mistake) {
        return refuse(mistake.message);
    }
    load();
    say(mUi->labelOutcome, notes.join(QLatin1Char(' ')));
    return true;
}

void SettingsWindow::edited()
{
    mUi->labelOutcome->hide();
    check();
}

void SettingsWindow::check()
{
    const bool isOwn = mUi->radioOwn->isChecked();
    const bool dropsText = mUi->radioStandard->isChecked() && mStored
        && (mStored->contains(settingsKeys::customNotify.text())
            || !mUi->lineOwn->text().isEmpty());
    mUi->lineOwn->setEnabled(isOwn);
    say(mUi->hintNotice,
        dropsText ? QStringLiteral("Save removes your own text.")
            : isOwn && mUi->lineOwn->text().isEmpty() ? QStringLiteral("They get an empty message.")
                                                      : QString());

    QTableWidget *table = mUi->tableServers;
    const QSignalBlocker blocker(table);
    bool isModified = mStored && !changes().isEmpty();
    bool hasChannel = false;
    QStringList hints;
    for (int row = 0; row < table->rowCount(); ++row) {
        const Server server = serverAt(row);
        const QString mistake = mistakeAt(row);
        const QStringList warnings = isBlank(row) ? QStringList() : warningsOf(server.uid);
        if (!mistake.isEmpty()) {
            hints.append(mistake);
        } else if (!server.isLeftAlone && !server.idleDockChannel && !isBlank(row)) {
            hints.append(
                QStringLiteral("%1: nothing to store, so Save drops this line").arg(server.uid));
        } else if (!isStored(row)) {
            hints += warnings;
        }
        const bool isOdd = !mistake.isEmpty() || !warnings.isEmpty();
        table->item(row, UidColumn)
            ->setIcon(isOdd ? style()->standardIcon(QStyle::SP_MessageBoxWarning) : QIcon());
        isModified = isModified || !mistake.isEmpty();
        hasChannel = hasChannel || server.idleDockChannel.value_or(0) != 0;
    }
    say(mUi->hintServers, hints.join(QLatin1Char('\n')));
    const bool lacksChannel = mUi->checkIdleDock->isChecked() && !hasChannel;
    say(mUi->hintIdleDock,
        lacksChannel ? QStringLiteral("No server below has an idleDock channel.") : QString());

    // What is said takes room from the table; the row that it is about stays in sight.
    QTimer::singleShot(0, table, [table] { table->scrollTo(table->currentIndex()); });

    mUi->buttonRemove->setEnabled(table->currentRow() >= 0);
    mUi->buttonBox->button(QDialogButtonBox::Save)->setEnabled(isModified);
    setWindowModified(isModified);
}

void SettingsWindow::addRow(const Server &server, const QVariant &storedUid)
{
    QTableWidget *table = mUi->tableServers;
    const QSignalBlocker blocker(table);
    const int row = table->rowCount();
    table->insertRow(row);
    auto *uid = new QTableWidgetItem(server.uid);
    uid->setData(storedRole, storedUid);
    table->setItem(row, UidColumn, uid);
    auto *leftAlone = new QTableWidgetItem;
    leftAlone->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
    leftAlone->setCheckState(server.isLeftAlone ? Qt::Checked : Qt::Unchecked);
    leftAlone->setData(storedRole, server.isLeftAlone);
    table->setItem(row, LeftAloneColumn, leftAlone);
    table->setItem(row, ChannelColumn,
                   new QTableWidgetItem(server.idleDockChannel
                                            ? QString::number(*server.idleDockChannel)
                                            : QString()));
}

void SettingsWindow::addServer()
{
    Server server;
    server.isLeftAlone = true;
    addRow(server, QVariant());
    QTableWidget *table = mUi->tableServers;
    table->setCurrentCell(table->rowCount() - 1, UidColumn);
    table->editItem(table->currentItem());
    edited();
}

void SettingsWindow::removeServer()
{
    mUi->tableServers->removeRow(mUi->tableServers->currentRow());
    edited();
}

Server SettingsWindow::serverAt(int row) const
{
    const QTableWidget *table = mUi->tableServers;
    const QString uid = table->item(row, UidColumn)->text();
    // An id that was copied brings blanks along.
    return {isStored(row) ? uid : uid.trimmed(),
            table->item(row, LeftAloneColumn)->checkState() == Qt::Checked,
            channelIn(table->item(row, ChannelColumn)->text())};
}

bool SettingsWindow::isStored(int row) const
{
    const QTableWidgetItem *item = mUi->tableServers->item(row, UidColumn);
    const QVariant storedUid = item->data(storedRole);
    return storedUid.isValid() && storedUid.toString() == item->text();
}

bool SettingsWindow::isBlank(int row) const
{
    // A stored row whose id was emptied is none: Save would drop what is stored without a word.
    const QTableWidget *table = mUi->tableServers;
    return !table->item(row, UidColumn)->data(storedRole).isValid()
        && table->item(row, UidColumn)->text().trimmed().isEmpty()
        && table->item(row, ChannelColumn)->text().isEmpty();
}

QString SettingsWindow::mistakeAt(int row) const
{
    if (isBlank(row))
        return QString();
    const Server server = serverAt(row);
    // An id that is there for its channel alone may be one whose own key is another setting.
    const bool wasLeftAlone =
        mUi->tableServers->item(row, LeftAloneColumn)->data(storedRole).toBool();
    const bool isThere = isStored(row) && (wasLeftAlone || !server.isLeftAlone);
    QString mistake = isThere ? QString() : mistakeIn(server.uid);
    if (!mistake.isEmpty())
        return mistake;
    if (!server.idleDockChannel && !mUi->tableServers->item(row, ChannelColumn)->text().isEmpty())
        return QStringLiteral("%1: %2").arg(server.uid, whatAChannelIs());
    const auto keyAt = [this](int at) {
        return storedKey(settingsKeys::excludedServer, serverAt(at).uid);
    };
    for (int other = 0; other < row; ++other) {
        const bool areStored = isStored(row) && isStored(other);
        if (!areStored && keyAt(other) == keyAt(row))
            return QStringLiteral("%1: this server stands there twice").arg(server.uid);
    }
    return QString();
}

QVariantMap SettingsWindow::changes() const
{
    QVariantMap result;
    const bool isTold = !mUi->radioOff->isChecked();
    if (isTold != mStored->isOn(settingsKeys::sendNotify))
        result.insert(settingsKeys::sendNotify.text(), isTold ? 1 : 0);

    const QString ownKey = settingsKeys::customNotify.text();
    const bool hasOwnText = mStored->contains(ownKey);
    const QString text = mUi->lineOwn->text();
    if (mUi->radioStandard->isChecked()) {
        if (hasOwnText)
            result.insert(ownKey, QVariant());
    } else if (hasOwnText ? text != mStored->notice()
                          : mUi->radioOwn->isChecked() || !text.isEmpty()) {
        // Under "nothing" as well, so that no text is lost.
        result.insert(ownKey, text);
    }

    const bool isIdleDock = mUi->checkIdleDock->isChecked();
    if (isIdleDock != mStored->isOn(settingsKeys::idleDock))
        result.insert(settingsKeys::idleDock.text(), isIdleDock);

    QVariantMap before;
    const QVector<Server> servers = mStored->servers();
    for (const Server &server : servers)
        insertKeys(before, server);
    QVariantMap after;
    for (int row = 0; row < mUi->tableServers->rowCount(); ++row) {
        if (!isBlank(row))
            insertKeys(after, serverAt(row));
    }
    for (auto one = before.begin(); one != before.end(); ++one) {
        if (!after.contains(one.key()))
            result.insert(one.key(), QVariant());
    }
    for (auto one = after.begin(); one != after.end(); ++one) {
        if (before.value(one.key()) != *one)
            result.insert(one.key(), *one);
    }
    return result;
}
