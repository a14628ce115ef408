#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <chrono>

/// The commands of staybolt-settings; each call runs one.
namespace commands {

/// The commands and what each does, for --help.
QString help();

/// Runs a command on the settings file `path` and reports the result in `output`. Waits up to
/// `patience` for other processes that are changing the file. Throws an Error if it fails.
void run(const QString &path, std::chrono::seconds patience, QStringList words,
         QTextStream &output);

}
