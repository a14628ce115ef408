#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <chrono>

/// What can be done with the settings file in words, one command a call.
namespace commands {

/// The commands and what each does, a line each.
QString help();

/// Carries out a command on the settings file `path` and says in `output` what came of it. Waits
/// for others that change the file for as long as `patience`. Throws an Error when it can't be
/// done.
void run(const QString &path, std::chrono::seconds patience, QStringList words,
         QTextStream &output);

}
