#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

/// What can be done with the settings file in words, one command a call.
namespace commands {

/// The commands and what each does, a line each.
QString help();

/// Carries out a command on the settings file `path` and says in `output` what came of it. Throws a
/// Mistake when it can't be done.
void run(const QString &path, QStringList words, QTextStream &output);

}
