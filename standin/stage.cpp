#include "standin/stage.h"

#include <QApplication>
#include <QDialog>
#include <QFile>

#include <dlfcn.h>

namespace standin {

Stage::Stage(const QString &configFolder)
{
    host.configPath = QFile::encodeName(configFolder.isEmpty() ? mFolder.path() : configFolder);
    window.setWindowTitle(QStringLiteral("Stand-in host"));
    QObject::connect(qApp, &QGuiApplication::lastWindowClosed, &window,
                     [this] { host.complain(QStringLiteral("closing a window ended the host")); });
    host.asked = [this](const QString &request, unsigned int code) {
        const QString outcome = code == 0
            ? QString()
            : QStringLiteral(" - refused: ") + QString::fromUtf8(host.errorText(code));
        tell(QStringLiteral("    Staybolt: ") + request + outcome);
    };
    host.moved = [this](Id connection, ClientId client, Id oldChannel, Id newChannel) {
        tell(QStringLiteral("You were moved back to %1")
                 .arg(host.channelName(connection, newChannel)));
        constexpr int staysInView = 1;
        call(&Plugin::onClientMoveEvent, connection, client, oldChannel, newChannel, staysInView,
             "");
    };
}

Stage::~Stage()
{
    if (plugin.isOpen())
        unload();
}

QString Stage::load(const QString &library)
{
    QString error = plugin.open(library);
    if (!error.isEmpty())
        return error;
    const int version = call(&Plugin::apiVersion);
    if (version != 22) {
        plugin.close();
        return QStringLiteral("the plug-in %1 is for version %2 of the interface, not for 22")
            .arg(library)
            .arg(version);
    }
    tell(QStringLiteral("The host loaded the plug-in %1 %2")
             .arg(quoted(plugin.name()), QString::fromUtf8(plugin.version())));
    host.accepts = true;
    call(&Plugin::setFunctionPointers, host.functions());
    if (call(&Plugin::init) != 0) {
        unload();
        return QStringLiteral("the plug-in %1 refused to start").arg(library);
    }
    call(&Plugin::registerPluginID, "staybolt-1");
    return QString();
}

void Stage::unload()
{
    call(&Plugin::shutdown);
    host.accepts = false;
    plugin.close();
    tell(QStringLiteral("The host unloaded the plug-in"));
}

QString Stage::settingsFile() const
{
    return QStringLiteral("%1/Kestrelsoft Staybolt.ini").arg(QFile::decodeName(host.configPath));
}

/// Returns a block to the plug-in that handed it out.
void Stage::giveBack(void *block)
{
    Dl_info info;
    if (dladdr(block, &info) != 0)
        host.complain(QStringLiteral("a pointer into a library was handed out instead of a block"));
    else
        plugin.freeMemory(block);
}

/// Reads a null-terminated array of blocks that the plug-in handed out, and returns it.
template<typename Item, typename Text>
QString Stage::collect(Item **items, Text text)
{
    if (!items) {
        host.complain(QStringLiteral("no array of menu items or hotkeys was handed out"));
        return QString();
    }
    QStringList texts;
    for (Item **item = items; *item; ++item) {
        texts.append(text(**item));
        giveBack(*item);
    }
    giveBack(items);
    return texts.join(QLatin1String(", "));
}

QString Stage::menu()
{
    MenuItem **items = nullptr;
    char untouched = 0;
    char *icon = &untouched;
    call(&Plugin::initMenus, &items, &icon);
    if (icon != &untouched)
        host.complain(QStringLiteral("the menu's icon was written"));
    return collect(items, [this](const MenuItem &item) {
        if (item.icon[0] != '\0')
            host.complain(QStringLiteral("a menu item has an icon"));
        return QStringLiteral("%1 %2 %3")
            .arg(item.type)
            .arg(item.id)
            .arg(QString::fromUtf8(item.text));
    });
}

QString Stage::hotkeys()
{
    Hotkey **hotkeys = nullptr;
    call(&Plugin::initHotkeys, &hotkeys);
    return collect(hotkeys, [](const Hotkey &hotkey) { return QString::fromUtf8(hotkey.keyword); });
}

QString Stage::info(int itemType)
{
    char *text = nullptr;
    call(&Plugin::infoData, host.currentConnection, Id(1), itemType, &text);
    if (!text) {
        host.complain(QStringLiteral("no text for the info panel was handed out"));
        return QString();
    }
    QString info = QString::fromUtf8(text);
    giveBack(text);
    return info;
}

QWidget *Stage::dialog()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget *widget : widgets) {
        if (qobject_cast<QDialog *>(widget))
            return widget;
    }
    return nullptr;
}

}
