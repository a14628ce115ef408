#pragma once

#include "standin/scenario.h"

#include <QTest>

/// Plays lines of a scenario, all of which must hold.
inline void play(standin::Scenario &scenario, const QString &lines)
{
    for (const QString &line : lines.split('\n'))
        QVERIFY2(scenario.playLine(line, line) == standin::Scenario::Held, qPrintable(line));
}
