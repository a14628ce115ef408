#include "standin/plugin.h"

#include <QFile>
#include <QStringList>

#include <dlfcn.h>

namespace standin {

QString Plugin::open(const QString &path)
{
    close();
    // A leak report can only name functions that are still mapped.
    const int keep = qEnvironmentVariableIsSet("STAYBOLT_HOST_KEEPS_LIBRARY") ? RTLD_NODELETE : 0;
    const QByteArray file = QFile::encodeName(path);
    mLibrary = dlopen(path.isEmpty() ? nullptr : file.constData(), RTLD_NOW | RTLD_LOCAL | keep);
    if (!mLibrary)
        return QStringLiteral("the plug-in can't be loaded: %1").arg(QString::fromUtf8(dlerror()));

    QStringList missing;
    const auto find = [&](const char *symbol) {
        void *address = dlsym(mLibrary, symbol);
        if (!address)
            missing.append(QLatin1String(symbol));
        return address;
    };
// NOLINTBEGIN(bugprone-macro-parentheses): a list of parameters takes no parentheses
#define STANDIN_FIND(Result, name, parameters)                                                     \
    name = reinterpret_cast<Result(*) parameters>(find("ts3plugin_" #name));
    // NOLINTEND(bugprone-macro-parentheses)
    STANDIN_EXPORTS(STANDIN_FIND)
#undef STANDIN_FIND
    for (const char *object : exportedObjects)
        find(object);
    if (missing.isEmpty())
        return QString();

    close();
    return QStringLiteral("the plug-in %1 lacks %2").arg(path, missing.join(QLatin1String(", ")));
}

void Plugin::close()
{
    if (mLibrary)
        dlclose(mLibrary);
    mLibrary = nullptr;
}

}
