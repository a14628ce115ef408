#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace standin {

/// A line of a scenario, word by word.
using Line = std::vector<std::string>;

/// A second, independent implementation of the plug-in's rules, as simple as possible. It uses only
/// standard containers, shares nothing with the plug-in and asks the host for nothing.
class Rules
{
public:
    /// Plays one line. If it is unknown or makes no sense at this point, returns false and changes
    /// nothing.
    bool happen(const Line &line);

    /// The expectations that must follow that line.
    std::vector<Line> expected;

private:
    using Id = unsigned long long;

    /// The state of a server.
    struct Server
    {
        std::string uid;
        bool isConnected = false;
        Id own = 0;
        std::map<Id, std::string> channels; ///< with their passwords
        std::map<Id, Id> clients; ///< the channel that each client is in
    };

    /// What the plug-in has been told about a connection.
    struct Known
    {
        bool isLoaded = false;
        std::string uid;
        std::set<Id> channels;
        std::set<Id> clients;
    };

    bool prepare(const Line &line);
    bool happenOn(const std::string &name, const Line &line);
    bool useDialog(const Line &line);
    void expectFields();

    bool misbehaves(const std::string &function) const { return mFaults.count(function) > 0; }
    std::string given(const std::string &function, const std::string &text,
                      const std::string &otherwise) const;
    std::string setting(const std::string &key, const std::string &otherwise) const;
    bool isOn(const std::string &key) const;

    Id ownClient(const std::string &name);
    Id ownChannel(const std::string &name, Id own);
    void learnClientsIn(const std::string &name, Id channel);
    void learnChannels(const std::string &name);
    Id knownChannel(const std::string &name, Id channel);
    void movedItself(const std::string &name, Id client, Id channel, bool leaves);
    void wasMoved(const std::string &name, Id client, Id channel, Id mover);
    bool request(const std::string &function, Line expectation, Id client, std::string error);
    bool requestMove(const std::string &name, Id client, Id channel);

    std::map<std::string, Server> mServers;
    std::map<std::string, Known> mKnown;
    std::map<std::string, std::string> mSettings;
    std::map<std::string, std::string> mFaults; ///< how functions of the host misbehave
    bool mIsPluginLoaded = false;
    Id mRemembered = 0;
    bool mIsOpen = false; ///< the dialog
    std::map<std::string, std::string> mFields; ///< what it shows
};

}
