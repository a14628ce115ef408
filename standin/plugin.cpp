#include "standin/plugin.h"

#include <QFile>
#include <QStringList>

#include <dlfcn.h>

QString Plugin::open(const QString &path)
{
    close();
    // A report of leaks can only name what is still mapped.
    const int keep = qEnvironmentVariableIsSet("STAYBOLT_HOST_KEEPS_LIBRARY") ? RTLD_NODELETE : 0;
    mLibrary = dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL | keep);
    if (!mLibrary)
        return QStringLiteral("the plug-in can't be loaded: %1").arg(QString::fromUtf8(dlerror()));

    QStringList missing;
    const auto find = [&](const char *symbol) {
        void *address = dlsym(mLibrary, symbol);
        if (!address)
            missing.append(QLatin1String(symbol));
        return address;
    };
#define TS3PLUGIN_FIND(member)                                                                     \
    member = reinterpret_cast<decltype(member)>(find("ts3plugin_" #member));
    TS3PLUGIN_EXPORTS(TS3PLUGIN_FIND)
#undef TS3PLUGIN_FIND
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
