#pragma once

#include "standin/host.h"
#include "standin/plugin.h"

#include <QTemporaryDir>
#include <QWidget>

#include <type_traits>

namespace standin {

/// The host with a plug-in loaded into it, which judges what the plug-in hands out.
class Stage
{
public:
    /// Settings are kept in `configFolder`, in a temporary folder when that is empty.
    explicit Stage(const QString &configFolder = QString());
    ~Stage();

    Host host;
    Plugin plugin;
    /// Takes the lines of the story.
    std::function<void(const QString &line)> tell = [](const QString &) {};

    /// Loads and initialises the plug-in, the running program's own where `library` is empty.
    /// Returns what went wrong, nothing if all is well.
    QString load(const QString &library);
    /// Shuts the plug-in down and unloads it.
    void unload();

    /// Calls the plug-in and delivers the callbacks that it brought about.
    template<typename Result, typename... Parameters>
    Result call(Result (*Plugin::*function)(Parameters...),
                std::common_type_t<Parameters>... arguments)
    {
        host.countCall();
        if constexpr (std::is_void_v<Result>) {
            (plugin.*function)(arguments...);
            host.deliver();
        } else {
            return (plugin.*function)(arguments...);
        }
    }

    /// The file in which the plug-in keeps its settings.
    QString settingsFile() const;
    /// The plug-in's menu as the host shows it: "TYPE ID TEXT" an item, with commas between them.
    QString menu();
    /// The keywords of the plug-in's hotkeys, with commas between them.
    QString hotkeys();
    /// The text of the plug-in's section in the info panel, for a server (0), channel (1) or client
    /// (2).
    QString info(int itemType = 0);
    /// The host's own window, hidden at first. As in any program, closing the last window ends it.
    QWidget window;
    /// The settings dialog that the plug-in has made, null when there is none.
    static QWidget *dialog();

private:
    template<typename Item, typename Text>
    QString collect(Item **items, Text text);
    void giveBack(void *block);

    QTemporaryDir mFolder;
};

}
