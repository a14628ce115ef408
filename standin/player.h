#pragma once

#include "standin/rules.h"

#include <QByteArray>
#include <QString>
#include <QTextStream>

#include <functional>

namespace standin {

/// The bytes that decide what a player plays.
class Choices
{
public:
    /// Uses the given bytes.
    explicit Choices(const QByteArray &bytes) : mBytes(bytes) { }
    /// Enough bytes for a run; the same seed gives the same bytes everywhere.
    static Choices seeded(quint64 seed);

    /// A number below `count`, which is at most 256; 0 once the bytes are used up.
    unsigned below(unsigned count);
    bool atEnd() const { return mPosition >= mBytes.size(); }

private:
    QByteArray mBytes;
    int mPosition = 0;
};

using Lines = std::vector<Line>;

/// Makes up a stage and what happens on it: at most 200 events, fewer if the choices run out.
Lines draw(Choices source);

/// Turns lines into a scenario in which each is followed by what the plug-in's rules expect. Lines
/// that the rules refuse are left out.
QByteArray scenarioOf(const Lines &lines);

/// Removes lines as long as the rest still goes wrong, according to `fails`.
Lines shrink(Lines lines, const std::function<bool(const Lines &)> &fails);

/// Plays runs of made-up events, `eventCount` in all, each in a child process of this program.
/// After one that fails it prints the shortest scenario that goes wrong in the same way. Returns
/// the exit status of the program.
int playRandom(const QString &library, int eventCount, quint64 seed, QTextStream &output,
               QTextStream &errors);

/// The same for the one run that `bytes` encode.
int playBytes(const QString &library, const QByteArray &bytes, QTextStream &output,
              QTextStream &errors);

}
