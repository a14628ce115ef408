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
    /// The result of playing, and the exit status of the program.
    enum Outcome { Held = 0, Failed = 1, Unplayable = 2 };

    /// `library` is the plug-in that the statement "load" loads. Problems go to `errors`, one line
    /// each.
    Scenario(const QString &library, QTextStream &errors, const QString &configFolder = QString());

    /// Plays one line; `place` is its FILE:LINE, empty if a person typed it.
    Outcome playLine(const QString &line, const QString &place);
    /// Plays all lines of `text`, which must contain an expectation; fails if a request was left
    /// unexpected. `name` is the file that problems refer to.
    Outcome play(QString text, const QString &name);
    /// Plays a whole file.
    Outcome playFile(const QString &path);
    /// Checks that every request of the plug-in was expected, if there was any expectation at all.
    Outcome finish(const QString &place);
    /// Whether the statement "quit" came.
    bool isOver() const { return mIsOver; }

    /// Describes the statements whose names begin with `word`, or all of them if none does.
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
    QString mStatement; ///< the name of the one being played
    bool mExpects = false;
    bool mIsOver = false;
    int mCallsBefore = 0;
    QDateTime mStored; ///< the time of the settings file that store() wrote last
};

}
