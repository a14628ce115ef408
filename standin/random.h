#pragma once

#include "standin/stage.h"

class QTextStream;

/// Lets random things happen on the stage, on which nothing must be loaded yet, and compares what
/// the plug-in asks for with what a second statement of its rules predicts. The same seed plays the
/// same events. Answers whether all `events` were answered as predicted; the first that was not is
/// told to `errors`.
bool playRandom(Stage &stage, const QString &library, int events, quint64 seed,
                QTextStream &errors);
