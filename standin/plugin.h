#pragma once

#include "standin/interface.h"

#include <QString>

namespace standin {

/// A plug-in's library and the functions that it exports.
class Plugin
{
public:
    Plugin() = default;
    ~Plugin() { close(); }
    Q_DISABLE_COPY(Plugin)

    /// Loads the library, or the running program itself if `path` is empty, and looks up all
    /// exports. Returns what went wrong, empty if nothing did.
    QString open(const QString &path);
    void close();
    bool isOpen() const { return mLibrary; }

// NOLINTNEXTLINE(bugprone-macro-parentheses): a list of parameters and a name take no parentheses
#define STANDIN_MEMBER(Result, name, parameters) Result(*name) parameters = nullptr;
    STANDIN_EXPORTS(STANDIN_MEMBER)
#undef STANDIN_MEMBER

private:
    void *mLibrary = nullptr;
};

}
