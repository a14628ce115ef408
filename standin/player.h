#pragma once

#include "standin/rules.h"

#include <QByteArray>
#include <QString>
#include <QTextStream>

#include <functional>

namespace standin {

/// The bytes that a player's decisions come from.
class Choices
{
public:
    /// Bytes that somebody else chose.
    explicit Choices(const QByteArray &bytes) : mBytes(bytes) { }
    /// Bytes that are the same for a seed everywhere, enough for a run.
    static Choices seeded(quint64 seed);

    /// A number below `count`, which is at most 256; 0 once the bytes are used up.
    unsigned below(unsigned count);
    bool atEnd() const { return mPosition >= mBytes.size(); }

private:
    QByteArray mBytes;
    int mPosition = 0;
};

using Lines = std::vector<Line>;

/// Draws what a stage looks like and what happens on it, for as long as there are choices, and at
/// most 200 events.
Lines draw(Choices source);

/// The scenario of these lines, with what the rules of the plug-in expect after each; those
/// that make no sense as things stand are left out.
QByteArray scenarioOf(const Lines &lines);

/// Leaves out lines for as long as `fails` says that what is left still goes wrong.
Lines shrink(Lines lines, const std::function<bool(const Lines &)> &fails);

/// Plays runs of made-up events, `eventCount` in all, each in a child process of this program.
/// After one that fails it prints the shortest scenario that goes wrong in the same way. Returns
/// the exit status of the program.
int playRandom(const QString &library, int eventCount, quint64 seed, QTextStream &output,
               QTextStream &errors);

/// Shrinks and prints what goes wrong with the choices that `bytes` stand for.
int playBytes(const QString &library, const QByteArray &bytes, QTextStream &output,
              QTextStream &errors);

}
