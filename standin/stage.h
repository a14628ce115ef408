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
    /// Keeps settings in `configFolder`, or in a temporary folder if that is empty.
    explicit Stage(const QString &configFolder = QString());
    ~Stage();

    Host host;
    Plugin plugin;
    /// Called for each line of the story.
    std::function<void(const QString &line)> tell = [](const QString &) {};

    /// Loads and initialises the plug-in; an empty `library` means the running program itself.
    /// Returns what went wrong, empty if nothing did.
    QString load(const QString &library);
    /// Shuts the plug-in down and unloads it.
    void unload();

    /// Calls the plug-in, then delivers the callbacks that this caused.
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
    /// The plug-in's menu items, each as "TYPE ID TEXT", with commas between them.
    QString menu();
    /// The keywords of the plug-in's hotkeys, with commas between them.
    QString hotkeys();
    /// The text of the plug-in's section in the info panel, for a server (0), channel (1) or client
    /// (2).
    QString info(int itemType = 0);
    /// The host's own window, hidden at first. As in any program, closing the last window quits.
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
