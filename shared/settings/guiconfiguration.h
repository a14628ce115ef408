#pragma once

#include <QDialog>

class Ui_guiConfiguration;

/// The settings dialog: whether the mover is told and with which text, and the idleDock switch. It
/// reads the settings only when it is created and on Reload. Closing it, even with Escape, hides it
/// and keeps what its fields hold, saved or not. Its size is fixed at 400 x 190, or larger if the
/// content doesn't fit under a large font or the host's style sheet.
class guiConfiguration : public QDialog
{
    Q_OBJECT

public:
    explicit guiConfiguration(QWidget *parent);
    ~guiConfiguration() override;
    /// Shows it, fitted to the font and the style sheet that the host has now.
    void showFitted();

private Q_SLOTS:
    /// Stores the fields; a blank text leaves the stored one as it is.
    void apply();
    /// Loads the stored settings; without a stored text the text field stays as it is.
    void reload();
    /// Clears the text field and removes the stored text.
    void remove();

private:
    Q_DISABLE_COPY(guiConfiguration)

    Ui_guiConfiguration *ui;
};
