#pragma once

#include "standin/rules.h"

#include <QByteArray>
#include <QString>
#include <QTextStream>

#include <functional>
#include <random>

namespace standin {

/// Where a player's decisions come from: a seed, or bytes that somebody else chose.
class Choices
{
public:
    explicit Choices(quint64 seed) : mRandom(seed), mIsSeeded(true) { }
    explicit Choices(const QByteArray &bytes) : mBytes(bytes) { }

    /// A number below `count`, which is at most 256.
    unsigned below(unsigned count);
    /// Whether the bytes are used up.
    bool atEnd() const { return !mIsSeeded && mPosition >= mBytes.size(); }

private:
    std::mt19937_64 mRandom;
    QByteArray mBytes;
    int mPosition = 0;
    bool mIsSeeded = false;
};

using Lines = std::vector<Line>;

/// Draws what a stage looks like and what happens on it, as long as there are choices in
/// `source`, and at most `length` events.
Lines draw(Choices &source, int length);

/// The scenario of these lines, with what the rules of the plug-in expect after each; those
/// that make no sense as things stand are left out.
QByteArray scenarioOf(const Lines &lines);

/// Leaves out lines for as long as `fails` says that what is left still goes wrong.
Lines shrink(Lines lines, const std::function<bool(const Lines &)> &fails);

/// Plays runs of made-up events, `eventCount` in all, in child processes of this program. After a
/// run that fails it prints the shortest scenario that goes wrong in the same way. Returns the exit
/// status of the program.
int playRandom(const QString &library, int eventCount, quint64 seed, QTextStream &output,
               QTextStream &errors);

/// Shrinks and prints what goes wrong with the choices that `bytes` stand for.
int playBytes(const QString &library, const QByteArray &bytes, QTextStream &output,
              QTextStream &errors);

}
