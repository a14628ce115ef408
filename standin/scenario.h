#pragma once

#include "standin/stage.h"

#include <QTextStream>

namespace standin {

/// Plays the statements of a scenario, a line each, on a stage.
class Scenario
{
public:
    /// What came of playing: the exit status of the program.
    enum Outcome { Held = 0, Failed = 1, Mistaken = 2 };

    /// `library` is the plug-in that the statement "load" loads. Problems go to `errors`, one line
    /// each.
    Scenario(Stage &stage, const QString &library, QTextStream &errors);

    /// Plays one line; `place` is where it stands, as FILE:LINE, and empty where a person types.
    Outcome playLine(const QString &line, const QString &place);
    /// Plays a whole file, in which something must be expected, and asks at its end that nothing
    /// came that was not.
    Outcome playFile(const QString &path);
    /// Asks that every request of the plug-in was expected, once anything was.
    Outcome finish(const QString &place);
    /// Whether the statement "quit" came.
    bool isOver() const { return mIsOver; }

    /// All statements with their arguments, or those that begin with a word.
    static QString help(const QString &word = QString());

private:
    class Words;
    struct Statement;
    static const QList<Statement> &statements();

    static int visibility(const Words &words);
    static QByteArray function(const Words &words);

    void play(const QString &line);
    void addClient(const Words &words, bool isUser);
    void press(const char *button);
    void slide(const char *slider, const char *label, const Words &words);
    void show();
    void expectRequest(const Request &request);

    Stage &mStage;
    QString mLibrary;
    QTextStream &mErrors;
    bool mExpects = false;
    bool mIsOver = false;
    int mCallsBefore = 0;
};

}
