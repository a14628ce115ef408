#pragma once

#include "standin/host.h"
#include "standin/plugin.h"

#include <QTemporaryDir>

class QWidget;

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

    /// Loads and initialises the plug-in. Answers what went wrong, nothing if all is well.
    QString load(const QString &library);
    /// Shuts the plug-in down and unloads it.
    void unload();

    /// The file in which the plug-in keeps its settings.
    QString settingsFile() const;

    void connect(uint64 connection);
    void disconnect(uint64 connection);
    /// A client appears on a server, moves itself, or is moved. Channel 0 is out of sight.
    void enter(uint64 connection, const Client &client);
    void move(uint64 connection, anyID client, uint64 channel);
    void leave(uint64 connection, anyID client);
    void moved(uint64 connection, anyID client, uint64 channel, anyID mover);
    void renameClient(uint64 connection, anyID client, const QByteArray &name);
    void createChannel(uint64 connection, const Channel &channel);
    void editChannel(uint64 connection, uint64 channel, const QByteArray &name);
    void updateChannel(uint64 connection, uint64 channel);
    void moveChannel(uint64 connection, uint64 channel, uint64 parent);
    void deleteChannel(uint64 connection, uint64 channel);
    void chooseMenuItem(uint64 connection, PluginMenuType type, int item, uint64 selected);
    void pressHotkey(const QByteArray &keyword);
    void configure();

    /// The plug-in's menu as the client shows it: "TYPE ID TEXT" an item.
    QStringList menu();
    /// The keywords of the plug-in's hotkeys.
    QStringList hotkeys();
    /// The text of the plug-in's section in the info panel.
    QString info();
    /// The settings dialog that the plug-in has made, null when there is none.
    static QWidget *dialog();

    QString serverName(uint64 connection);
    QString channelName(uint64 connection, uint64 channel);
    /// The client's name; "you" for the user.
    QString clientName(uint64 connection, uint64 client);

private:
    /// Notes a call into the plug-in, makes it and delivers the answers that it brought about.
    template<typename Function, typename... Arguments>
    auto call(const char *name, Function function, Arguments... arguments);
    void reportMove(uint64 connection, anyID client, uint64 oldChannel, uint64 newChannel,
                    int visibility);
    void tellRequest(const Request &request, unsigned int code);

    QTemporaryDir mFolder;
};

/// A request in one line; names where there are any.
QString describe(Stage &stage, const Request &request);
