#pragma once

#include "settings-tool/draft.h"

#include <QDialog>

class Hint;
class QLineEdit;
class QRadioButton;

/// The fields of one server. OK closes it only when what was entered can be stored.
class ServerDialog : public QDialog
{
    Q_OBJECT

public:
    /// For the server at `index` of the draft's list, or a new one if that is negative.
    ServerDialog(const Draft &draft, int index, QWidget *parent);

    /// The server as it was entered.
    Draft::Server server() const;

public Q_SLOTS:
    void accept() override;

private:
    void showHints();

    const Draft &mDraft;
    const int mIndex;
    const Draft::Server mBefore;
    QLineEdit *const mUid;
    Hint *const mUidHint;
    QLineEdit *const mName;
    QRadioButton *const mLeaveAlone;
    QRadioButton *const mUndo;
    QLineEdit *const mChannel;
    Hint *const mChannelHint;
    /// Why OK refused, until something is edited.
    std::optional<Draft::Problem> mProblem;
};
