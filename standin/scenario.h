#pragma once

#include "standin/stage.h"

#include <QDateTime>
#include <QTextStream>

namespace standin {

/// A stage on which scenarios are played, a statement a line. What happens to the servers is
/// reported to the plug-in as the voice client would report it, and told as a story.
class Scenario : public Stage
{
public:
    /// What came of playing: the exit status of the program.
    enum Outcome { Held = 0, Failed = 1, Unplayable = 2 };

    /// `library` is the plug-in that the statement "load" loads. Problems go to `errors`, one line
    /// each.
    Scenario(const QString &library, QTextStream &errors, const QString &configFolder = QString());

    /// Plays one line; `place` is where it stands, as FILE:LINE, and empty where a person types.
    Outcome playLine(const QString &line, const QString &place);
    /// Plays all lines of `text`, in which something must be expected, and asks at the end that
    /// nothing came that was not. They stand in a file of that name.
    Outcome play(QString text, const QString &name);
    /// Plays a whole file.
    Outcome playFile(const QString &path);
    /// Asks that every request of the plug-in was expected, once anything was.
    Outcome finish(const QString &place);
    /// Whether the statement "quit" came.
    bool isOver() const { return mIsOver; }

    /// The statements with their words: those that begin with `word`, or all of them if none does.
    static QString help(const QString &word = QString());

private:
    class Words;
    struct Statement;
    static const QList<Statement> &statements();

    void play(const QString &line);
    Server &server(const Words &words);
    void addClient(const Words &words);
    void store(const Words &words);
    Id put(const Words &words);
    void show();
    void expect(const QString &expected, const QString &came);
    void expectRequest(const QString &expected);

    QString mLibrary;
    QTextStream &mErrors;
    QString mStatement; ///< the name of the one that is played
    bool mExpects = false;
    bool mIsOver = false;
    int mCallsBefore = 0;
    QDateTime mStored; ///< the time of the settings file that store() wrote last
};

}
