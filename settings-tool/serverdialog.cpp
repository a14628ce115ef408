#include "settings-tool/serverdialog.h"

#include "settings-tool/hint.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLineEdit>
#include <QRadioButton>
#include <QRegularExpression>

namespace {

/// The field's text: unchanged if it is what was there `before`, otherwise without the stray blanks
/// that pasting can add.
QString entered(const QLineEdit *field, const QString &before)
{
    return field->text() == before ? before : field->text().simplified();
}

}

ServerDialog::ServerDialog(const Draft &draft, int index, QWidget *parent) :
    QDialog(parent), mDraft(draft), mIndex(index),
    mBefore(index < 0 ? Draft::Server() : draft.servers.at(index)),
    mUid(new QLineEdit(mBefore.uid)), mUidHint(new Hint), mName(new QLineEdit(mBefore.name)),
    mLeaveAlone(new QRadioButton(QStringLiteral("&Leave this server alone"))),
    mUndo(new QRadioButton(QStringLiteral("&Undo moves, except those into the idleDock channel"))),
    mChannel(new QLineEdit(mBefore.channel.value_or(QString()))), mChannelHint(new Hint)
{
    setWindowTitle(index < 0 ? QStringLiteral("Add Server") : QStringLiteral("Edit Server"));
    auto *grid = new QGridLayout(this);
    const auto addField = [grid](const QString &text, QLineEdit *field) {
        auto *label = new QLabel(text);
        label->setBuddy(field);
        const int row = grid->rowCount();
        grid->addWidget(label, row, 0);
        grid->addWidget(field, row, 1);
    };
    const auto addRow = [grid](QWidget *widget) {
        grid->addWidget(widget, grid->rowCount(), 0, 1, -1);
    };
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    addField(QStringLiteral("Unique &id:"), mUid);
    addRow(mUidHint);
    addField(QStringLiteral("&Name:"), mName);
    addRow(mLeaveAlone);
    addRow(mUndo);
    addField(QStringLiteral("C&hannel number:"), mChannel);
    addRow(mChannelHint);
    addRow(buttons);
    constexpr int idLetters = 30;
    mUid->setMinimumWidth(fontMetrics().horizontalAdvance(QLatin1Char('N')) * idLetters);
    mName->setPlaceholderText(QStringLiteral("For your eyes only; may be empty"));
    (index < 0 || mBefore.isLeftAlone ? mLeaveAlone : mUndo)->setChecked(true);
    const auto edited = [this] {
        mProblem.reset();
        showHints();
    };
    for (QLineEdit *field : {mUid, mChannel}) {
        connect(field, &QLineEdit::textEdited, this, [field, edited](QString text) {
            // Text pasted from a chat may contain blanks and line breaks.
            const QString bare = text.remove(QRegularExpression(QStringLiteral("\\s")));
            if (field->text() != bare)
                field->setText(bare);
            edited();
        });
    }
    connect(mUndo, &QRadioButton::toggled, this, edited);
    connect(mUndo, &QRadioButton::clicked, mChannel, qOverload<>(&QWidget::setFocus));
    connect(buttons, &QDialogButtonBox::accepted, this, &ServerDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &ServerDialog::reject);
    showHints();
}

Draft::Server ServerDialog::server() const
{
    Draft::Server server = mBefore;
    server.uid = entered(mUid, mBefore.uid);
    server.name = entered(mName, mBefore.name);
    server.isLeftAlone = mLeaveAlone->isChecked();
    const QString before = mBefore.channel.value_or(QString());
    const QString channel = entered(mChannel, before);
    // If the channel's field is disabled, its text stays.
    if (!server.isLeftAlone && channel != before)
        server.channel = channel;
    return server;
}

void ServerDialog::accept()
{
    mProblem = mDraft.problemWith(server(), mIndex);
    if (!mProblem)
        return QDialog::accept();
    showHints();
    const bool isUid = mProblem->field == Draft::Problem::Uid;
    (isUid ? mUid : mChannel)->setFocus();
}

/// Shows what is wrong or odd, next to the field concerned.
void ServerDialog::showHints()
{
    const Draft::Server now = server();
    mChannel->setEnabled(mUndo->isChecked());
    QStringList ofUid;
    if (!now.uid.isEmpty())
        ofUid = Draft::warningsOfUid(now);
    QStringList ofChannel;
    if (mUndo->isChecked()) {
        ofChannel = Draft::warningsOfChannel(now);
        if (!mDraft.allowsIdleDock) {
            ofChannel.append(QStringLiteral("the channel has no effect until moves into idleDock "
                                            "channels are allowed"));
        }
    }
    if (mProblem)
        (mProblem->field == Draft::Problem::Uid ? ofUid : ofChannel) =
            QStringList(mProblem->message);
    mUidHint->say(Draft::sentences(ofUid));
    mChannelHint->say(Draft::sentences(ofChannel));
    mUid->setAccessibleDescription(mUidHint->text()); // for screen readers
    mChannel->setAccessibleDescription(mChannelHint->text());
    layout()->activate(); // hints may have appeared or disappeared
    resize(width(), layout()->totalHeightForWidth(width()));
}
