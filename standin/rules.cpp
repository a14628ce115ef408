#include "standin/rules.h"

namespace standin {

namespace {

using Words = std::vector<std::string>;

bool isBlank(const std::string &text) { return text.find_first_not_of(' ') == std::string::npos; }

}

bool Rules::happen(const Words &words)
{
    expected.clear();
    if (words.size() > 1 && mServers.count(words[1]))
        return happenOn(words[1], words);
    return prepare(words) || (mIsPluginLoaded && change(words));
}

/// Statements that set the stage.
bool Rules::prepare(const Words &words)
{
    const std::string &what = words[0];
    if (what == "server") {
        Server &server = mServers[words[1]];
        server.uid = words[2];
        server.connection = std::stoull(words[3]);
    } else if (what == "setting" && !mIsPluginLoaded) {
        if (words.size() > 2)
            mSettings[words[1]] = words[2];
        else
            mSettings.erase(words[1]);
    } else if (what == "load" && !mIsPluginLoaded) {
        mIsPluginLoaded = true;
        mRemembered = 0;
        mText.clear();
        mIsOpen = false;
        change({"reload"});
    } else if (what == "unload" && mIsPluginLoaded && mKnown.empty()) {
        // What is known stays where the library does, so nothing must be.
        mIsPluginLoaded = false;
    } else if (what == "refuse" || what == "empty" || what == "garble") {
        mFaults[words[1]] = what;
    } else if (what == "allow") {
        return mFaults.erase(words[1]) > 0;
    } else if (what == "callbacks") {
        mAnswersInside = words[1] == "inside";
    } else {
        return false;
    }
    return true;
}

/// What the user does in the dialog, and what it shows in the client.
bool Rules::change(const Words &words)
{
    const std::string &what = words[0];
    if (what == "notify") {
        mNotify = words[1] == "on";
    } else if (what == "idledock") {
        mIdleDock = words[1] == "on";
    } else if (what == "text") {
        mText = words[1];
    } else if (what == "save") {
        if (!isBlank(mText))
            mSettings["staybolt.customNotify"] = mText;
        mSettings["staybolt.permitIdleDock"] = mIdleDock ? "1" : "0";
        mSettings["staybolt.sendNotify"] = mNotify ? "1" : "0";
        for (const char *key : {"staybolt.permitIdleDock", "staybolt.sendNotify"})
            expected.push_back({"expect", "setting", key, mSettings[key]});
    } else if (what == "remove") {
        mText.clear();
        mSettings.erase("staybolt.customNotify");
        expected.push_back({"expect", "setting", "staybolt.customNotify"});
    } else if (what == "reload") {
        const auto text = mSettings.find("staybolt.customNotify");
        if (text != mSettings.end())
            mText = text->second;
        mNotify = isOn("staybolt.sendNotify");
        mIdleDock = isOn("staybolt.permitIdleDock");
        expected.push_back({"expect", "text", mText});
        expected.push_back({"expect", "notify", mNotify ? "on" : "off"});
        expected.push_back({"expect", "idledock", mIdleDock ? "on" : "off"});
    } else if (what == "close") {
        mIsOpen = false;
        expected.push_back({"expect", "dialog", "closed"});
    } else if (what == "configure") {
        mIsOpen = true;
        const std::string mode = !isOn("staybolt.sendNotify") ? "none"
            : mSettings.count("staybolt.customNotify")        ? "customNotify"
                                                              : "notify";
        expected.push_back({"expect", "info", "[I]\"" + mode + "\"[/I]"});
    } else if (what != "hotkey") {
        return false;
    }
    return true;
}

/// What happens on a server.
bool Rules::happenOn(const std::string &name, const Words &words)
{
    const std::string &what = words[0];
    Server &server = mServers[name];
    const auto id = [&](size_t at) { return std::stoull(words.at(at)); };
    if ((what == "channel" || what == "create") && id(2) == 0)
        return false; // 0 is no channel, and ends every list
    if (what == "channel") {
        return server.channels.insert({id(2), words.size() > 5 ? words[5] : ""}).second;
    }
    if (what == "user" || (what == "client" && !server.isConnected)) {
        if (server.isConnected || !server.clients.insert({id(2), id(4)}).second)
            return false;
        if (what == "user")
            server.own = id(2);
        return true;
    }
    if (what == "tab")
        return true;
    if (!mIsPluginLoaded)
        return false;

    if (what == "connect") {
        server.isConnected = true;
        establish(name);
    } else if (what == "disconnect") {
        server.isConnected = false;
        mKnown.erase(name);
    } else if (what == "client") {
        if (!server.clients.insert({id(2), id(4)}).second)
            return false;
        movedItself(name, id(2), id(4), false);
    } else if (what == "move") {
        if (server.clients.count(id(2)))
            server.clients[id(2)] = id(3);
        movedItself(name, id(2), id(3), words.size() > 4 && words[4] == "leaves");
    } else if (what == "leave") {
        if (server.clients.erase(id(2)) == 0)
            return false;
        movedItself(name, id(2), 0, true);
    } else if (what == "moved") {
        if (server.clients.count(id(2)))
            server.clients[id(2)] = id(3);
        wasMoved(name, id(2), id(3), id(5));
    } else if (what == "news") {
        mKnown[name].clients.insert({id(2), id(4)});
    } else if (what == "rename") {
        mKnown[name].clients.insert(id(2));
    } else if (what == "create") {
        if (!server.channels.insert({id(2), ""}).second)
            return false;
        learnChannels(name);
    } else if (what == "delete") {
        if (server.channels.erase(id(2)) == 0)
            return false;
        learnChannels(name);
    } else if (what == "edit" || what == "update" || what == "reorder") {
        learnChannels(name);
    } else if (what == "menu") {
        mIsOpen = mIsOpen || words[2] == "0";
        expected.push_back({"expect", "dialog", mIsOpen ? "open" : "closed"});
    } else {
        return false;
    }
    return true;
}

bool Rules::has(const std::string &function, const char *fault) const
{
    const auto found = mFaults.find(function);
    return found != mFaults.end() && found->second == fault;
}

Rules::Id Rules::ownClient(const std::string &name)
{
    return mServers[name].isConnected && !has("getClientID", "refuse") ? mServers[name].own : 0;
}

Rules::Id Rules::ownChannel(const std::string &name, Id own)
{
    const Server &server = mServers[name];
    const auto found = server.clients.find(own);
    const bool isKnown =
        server.isConnected && found != server.clients.end() && !has("getChannelOfClient", "refuse");
    return isKnown ? found->second : 0;
}

void Rules::learnClientsIn(const std::string &name, Id channel)
{
    const Server &server = mServers[name];
    const std::string function = "getChannelClientList";
    if (!server.isConnected || has(function, "refuse") || has(function, "empty")
        || server.channels.count(channel) == 0) {
        return;
    }
    for (const auto &[client, in] : server.clients) {
        if (in == channel)
            mKnown[name].clients.insert(client);
    }
}

void Rules::learnChannels(const std::string &name)
{
    if (!mServers[name].isConnected || has("getChannelList", "refuse")
        || has("getChannelList", "empty"))
        return;
    for (const auto &[channel, password] : mServers[name].channels)
        mKnown[name].channels.insert(channel);
}

void Rules::establish(const std::string &name)
{
    const std::string function = "getServerVariableAsString";
    mKnown[name].isLoaded = true;
    mKnown[name].uid = has(function, "refuse") ? "Unknown"
        : has(function, "empty")               ? ""
                                               : mServers[name].uid;
    learnClientsIn(name, ownChannel(name, ownClient(name)));
    learnChannels(name);
}

bool Rules::isOn(const std::string &key) const
{
    const auto found = mSettings.find(key);
    if (found == mSettings.end())
        return false;
    std::string text = found->second;
    for (char &letter : text)
        letter = char(tolower(letter));
    return text != "" && text != "0" && text != "false";
}

Rules::Id Rules::knownChannel(const std::string &name, Id channel)
{
    return mKnown[name].channels.count(channel) ? channel : 0;
}

void Rules::movedItself(const std::string &name, Id client, Id channel, bool leaves)
{
    const Id own = ownClient(name);
    if (own == 0)
        return;
    if (client != own) {
        if (!leaves)
            mKnown[name].clients.insert(client);
        return;
    }
    learnClientsIn(name, ownChannel(name, own));
    if (mSettings.count("staybolt." + mKnown[name].uid) == 0)
        mRemembered = knownChannel(name, channel);
}

void Rules::wasMoved(const std::string &name, Id client, Id channel, Id mover)
{
    const Id own = ownClient(name);
    if (own == 0)
        return;
    mKnown[name].clients.insert(client);
    if (client != own)
        return;
    learnClientsIn(name, channel);
    const std::string uid = mKnown[name].uid;
    if (mSettings.count("staybolt." + uid))
        return;
    if (isOn("module.staybolt.idleDock")) {
        const auto found = mSettings.find("module.idleDock." + uid + ".target");
        const std::string target = found == mSettings.end() ? "" : found->second;
        const bool isNumber =
            !target.empty() && target.find_first_not_of("0123456789") == std::string::npos;
        const Id number = isNumber ? std::stoull(target) : 0;
        if ((number & 0xffffffff) == (knownChannel(name, channel) & 0xffffffff))
            return;
    }
    // A server that the plug-in has not seen established has no connection id for it.
    const std::string on = mKnown[name].isLoaded ? name : "None";
    const Id addressee = mKnown[name].clients.count(mover) ? mover : 0;
    const Id back = mRemembered;
    const bool moves = requestMove(on, own, back);
    if (moves && mAnswersInside)
        movedItself(on, own, back, false);
    if (isOn("staybolt.sendNotify")) {
        const auto custom = mSettings.find("staybolt.customNotify");
        send(on, addressee,
             custom == mSettings.end() ? "This operation is not permitted!" : custom->second);
    }
    if (moves && !mAnswersInside)
        movedItself(on, own, back, false);
}

void Rules::request(const Words &what, const std::string &error)
{
    expected.push_back(what);
    if (error.empty())
        return;
    const std::string text = has("getErrorMessage", "refuse") ? "Unknown error"
        : has("getErrorMessage", "empty")                     ? ""
                                                              : error;
    expected.push_back({"expect", "log", what[2], text});
}

/// Answers whether the client reports a move because of it.
bool Rules::requestMove(const std::string &name, Id client, Id channel)
{
    Server &server = mServers[name];
    const auto target = server.channels.find(channel);
    const std::string error = !server.isConnected ? "unknown connection"
        : has("requestClientMove", "refuse")      ? "insufficient permissions"
        : server.clients.count(client) == 0       ? "unknown client"
        : target == server.channels.end()         ? "unknown channel"
        : !target->second.empty()                 ? "wrong channel password"
                                                  : "";
    request({"expect", "move", name, std::to_string(client), std::to_string(channel)}, error);
    if (!error.empty() || server.clients[client] == channel)
        return false;
    server.clients[client] = channel;
    return true;
}

void Rules::send(const std::string &name, Id client, const std::string &text)
{
    const Server &server = mServers[name];
    const std::string error = !server.isConnected    ? "unknown connection"
        : has("requestSendPrivateTextMsg", "refuse") ? "insufficient permissions"
        : server.clients.count(client) == 0          ? "unknown client"
                                                     : "";
    request({"expect", "message", name, std::to_string(client), text}, error);
}

}
