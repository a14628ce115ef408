#pragma once

#include "standin/host.h"
#include "standin/plugin.h"

#include <QTemporaryDir>

class QWidget;

namespace standin {

/// The host with a plug-in loaded into it. What happens to the servers here is reported to the
/// plug-in as the voice client would report it, and told as a story, a line an event.
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
    /// Answers what went wrong, nothing if all is well.
    QString load(const QString &library);
    /// Shuts the plug-in down and unloads it.
    void unload();

    /// The file in which the plug-in keeps its settings.
    QString settingsFile() const;

    void connect(Id connection);
    /// `error` is 0 where the user left, and not where the connection was lost.
    void disconnect(Id connection, unsigned int error = 0);
    /// A client appears on a server, moves itself, or is moved, within the user's view, into it or
    /// out of it.
    void enter(Id connection, const Client &client);
    void move(Id connection, ClientId client, Id channel, int visibility = retains);
    void leave(Id connection, ClientId client);
    void moved(Id connection, ClientId client, Id channel, ClientId mover,
               int visibility = retains);
    void updateClient(Id connection, ClientId client, ClientId invoker);
    void renameClient(Id connection, ClientId client, const QByteArray &name);
    void createChannel(Id connection, const Channel &channel);
    void editChannel(Id connection, Id channel, const QByteArray &name);
    void updateChannel(Id connection, Id channel);
    void moveChannel(Id connection, Id channel, Id parent);
    void deleteChannel(Id connection, Id channel);
    void chooseMenuItem(Id connection, int type, int item, Id selected);
    void pressHotkey(const QByteArray &keyword);
    void configure();

    /// The plug-in's menu as the client shows it: "TYPE ID TEXT" an item.
    QStringList menu();
    /// The keywords of the plug-in's hotkeys.
    QStringList hotkeys();
    /// The text of the plug-in's section in the info panel, for a server (0), channel (1) or client
    /// (2).
    QString info(int itemType = 0);
    /// Shows or hides the client's own window, which is hidden at first. As in any client, closing
    /// the last window ends the program.
    void showWindow(bool isShown);
    /// The settings dialog that the plug-in has made, null when there is none.
    static QWidget *dialog();

    /// How a move relates to the user's view.
    enum Visibility { enters = 0, retains = 1, leaves = 2 };

private:
    /// Notes a call into the plug-in, makes it and delivers the answers that it brought about.
    template<typename Function, typename... Arguments>
    auto call(const char *name, Function function, Arguments... arguments);
    template<typename Item, typename Text>
    QStringList collect(Item **items, Text text);
    void giveBack(void *block);
    Id put(Id connection, ClientId client, Id channel);
    QString who(Id connection, ClientId client, const char *verb, const char *ending) const;

    QTemporaryDir mFolder;
    QScopedPointer<QWidget> mWindow;
};

}
