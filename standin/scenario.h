#pragma once

#include "standin/stage.h"

#include <QHash>
#include <QTextStream>

/// Plays the statements of a scenario, a line each, on a stage.
class Scenario
{
public:
    /// What came of playing: the exit status of the program.
    enum Outcome { Held = 0, Failed = 1, Mistaken = 2 };

    /// `library` is the plug-in that the statement "load" loads. Problems go to `errors`, one line
    /// each.
    Scenario(Stage &stage, const QString &library, QTextStream &errors);

    /// Plays one line; `place` is where it stands, as FILE:LINE.
    Outcome playLine(const QString &line, const QString &place);
    /// Plays a whole file and asks at its end that nothing came that was not expected.
    Outcome playFile(const QString &path);
    /// Asks that every request of the plug-in was expected, once anything was.
    Outcome finish(const QString &place);

    /// All statements with their arguments.
    static QString help();
    /// The names of all statements.
    static QStringList names();

private:
    class Words;
    struct Statement
    {
        const char *name;
        const char *arguments;
        void (Scenario::*play)(Words &words);
    };
    static const QList<Statement> &statements();

    uint64 takeServer(Words &words);
    uint64 takeChannel(Words &words, uint64 connection);
    anyID takeClient(Words &words, uint64 connection);
    QByteArray takeFunction(Words &words);
    void needPlugin();
    void expectText(const QString &what, const QString &expected, const QString &came);
    void slide(const char *slider, const char *label, Words &words);
    void press(const char *button);
    void addClient(Words &words, bool own);

    void playServer(Words &words);
    void playChannel(Words &words);
    void playClient(Words &words);
    void playUser(Words &words);
    void playSetting(Words &words);
    void playLoad(Words &words);
    void playUnload(Words &words);
    void playConnect(Words &words);
    void playDisconnect(Words &words);
    void playTab(Words &words);
    void playMove(Words &words);
    void playLeave(Words &words);
    void playMoved(Words &words);
    void playRename(Words &words);
    void playCreate(Words &words);
    void playEdit(Words &words);
    void playUpdate(Words &words);
    void playReorder(Words &words);
    void playDelete(Words &words);
    void playMenu(Words &words);
    void playHotkey(Words &words);
    void playConfigure(Words &words);
    void playNotify(Words &words);
    void playIdledock(Words &words);
    void playText(Words &words);
    void playSave(Words &words);
    void playRemove(Words &words);
    void playReload(Words &words);
    void playRefuse(Words &words);
    void playAllow(Words &words);
    void playCallbacks(Words &words);
    void playShow(Words &words);
    void playSay(Words &words);
    void playHelp(Words &words);
    void playExpect(Words &words);

    Stage &mStage;
    QString mLibrary;
    QTextStream &mErrors;
    /// Requests before this one have been expected.
    int mExpected = 0;
    bool mExpects = false;
    int mCallsBefore = 0;
};
