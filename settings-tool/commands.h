#pragma once

#include <QString>
#include <QStringList>

#include <chrono>

/// The commands of staybolt-settings; each call runs one.
namespace commands {

/// The commands and what each does, for --help.
QString help();

/// Runs a command on the settings file `path` and returns what to print. Waits up to `patience` for
/// other processes that are changing the file. Throws an Error if it fails.
QString run(const QString &path, std::chrono::seconds patience, QStringList words);

}
