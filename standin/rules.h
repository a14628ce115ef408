#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace standin {

/// The rules that the plug-in goes by once more, in plain containers and as plainly as they can be
/// said. Nothing here is shared with the plug-in, and nothing is asked of the host.
class Rules
{
public:
    /// Lets a statement of a scenario happen. Answers whether it makes sense as things stand; if
    /// not, nothing has happened.
    bool happen(const std::vector<std::string> &statement);

    /// What must be expected after it, as statements.
    std::vector<std::vector<std::string>> expected;

private:
    using Id = unsigned long long;

    /// What is the case on a server.
    struct Server
    {
        Id connection = 0;
        std::string uid;
        bool isConnected = false;
        Id own = 0;
        std::map<Id, std::string> channels; ///< with their passwords
        std::map<Id, Id> clients; ///< the channel that each client is in
    };

    /// What the plug-in has been told of a connection.
    struct Known
    {
        bool isLoaded = false;
        std::string uid;
        std::set<Id> channels;
        std::set<Id> clients;
    };

    bool prepare(const std::vector<std::string> &words);
    bool happenOn(const std::string &name, const std::vector<std::string> &words);
    bool change(const std::vector<std::string> &words);

    bool has(const std::string &function, const char *fault) const;
    Id ownClient(const std::string &name);
    Id ownChannel(const std::string &name, Id own);
    void learnClientsIn(const std::string &name, Id channel);
    void learnChannels(const std::string &name);
    void establish(const std::string &name);
    bool isOn(const std::string &key) const;
    Id knownChannel(const std::string &name, Id channel);
    void movedItself(const std::string &name, Id client, Id channel, bool leaves);
    void wasMoved(const std::string &name, Id client, Id channel, Id mover);
    void request(const std::vector<std::string> &what, const std::string &error);
    bool requestMove(const std::string &name, Id client, Id channel);
    void send(const std::string &name, Id client, const std::string &text);

    std::map<std::string, Server> mServers;
    std::map<std::string, Known> mKnown;
    std::map<std::string, std::string> mSettings;
    std::map<std::string, std::string> mFaults; ///< what is the matter with functions of the host
    bool mIsPluginLoaded = false;
    bool mAnswersInside = false;
    Id mRemembered = 0;
    // What the dialog shows.
    bool mIsOpen = false;
    bool mNotify = false;
    bool mIdleDock = false;
    std::string mText;
};

}
