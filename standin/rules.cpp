#include "standin/rules.h"

namespace standin {

bool Rules::happen(const Line &line)
{
    expected.clear();
    if (line.size() > 1 && mServers.count(line[1]))
        return happenOn(line[1], line);
    return prepare(line) || (mIsPluginLoaded && useDialog(line));
}

/// Sets the stage.
bool Rules::prepare(const Line &line)
{
    const std::string &what = line[0];
    if (what == "server") {
        mServers[line[1]].uid = line[2];
    } else if (what == (mIsPluginLoaded ? "change" : "setting")) {
        // Takes effect at the next use; the dialog's fields don't change until Reload.
        if (line.size() > 2)
            mSettings[line[1]] = line[2];
        else
            mSettings.erase(line[1]);
    } else if (what == "load" && !mIsPluginLoaded) {
        mIsPluginLoaded = true;
        mRemembered = 0;
        mIsOpen = false;
        mFields.clear();
        useDialog({"press", "reload"});
    } else if (what == "unload" && mIsPluginLoaded && mKnown.empty()) {
        // The library may stay loaded, and would then remember the servers.
        mIsPluginLoaded = false;
    } else if (what == "refuse" || what == "empty" || what == "garble") {
        mFaults[line[1]] = what;
    } else if (what == "allow") {
        return mFaults.erase(line[1]) > 0;
    } else if (what != "callbacks") { // these change when a move is reported, but not the outcome
        return false;
    }
    return true;
}

/// What the user does in the dialog, and what the dialog and the info panel then show.
bool Rules::useDialog(const Line &line)
{
    const std::string what = line[0] == "press" ? line[1] : line[0];
    if (what == "set") {
        mFields[line[1]] = line[2];
    } else if (what == "save") {
        const std::string &text = mFields["text"];
        if (text.find_first_not_of(' ') != std::string::npos)
            mSettings["staybolt.customNotify"] = text;
        mSettings["staybolt.permitIdleDock"] = mFields["idledock"] == "on" ? "1" : "0";
        mSettings["staybolt.sendNotify"] = mFields["notify"] == "on" ? "1" : "0";
        for (const char *key : {"staybolt.permitIdleDock", "staybolt.sendNotify"})
            expected.push_back({"expect", "setting", key, mSettings[key]});
    } else if (what == "remove") {
        mFields["text"].clear();
        mSettings.erase("staybolt.customNotify");
        expected.push_back({"expect", "setting", "staybolt.customNotify"});
    } else if (what == "reload") {
        mFields["text"] = setting("staybolt.customNotify", mFields["text"]);
        mFields["notify"] = isOn("staybolt.sendNotify") ? "on" : "off";
        mFields["idledock"] = isOn("staybolt.permitIdleDock") ? "on" : "off";
        expectFields();
    } else if (what == "close") {
        mIsOpen = false;
        expected.push_back({"expect", "dialog", "closed"});
    } else if (what == "configure") {
        mIsOpen = true;
        std::string mode = "none";
        if (isOn("staybolt.sendNotify"))
            mode = mSettings.count("staybolt.customNotify") ? "customNotify" : "notify";
        expected.push_back({"expect", "info", "[I]\"" + mode + "\"[/I]"});
        expectFields();
    } else if (what != "hotkey") {
        return false;
    }
    return true;
}

void Rules::expectFields()
{
    for (const char *field : {"text", "notify", "idledock"})
        expected.push_back({"expect", "field", field, mFields[field]});
}

/// What happens on a server.
bool Rules::happenOn(const std::string &name, const Line &line)
{
    const std::string &what = line[0];
    Server &server = mServers[name];
    const auto id = [&](size_t at) { return std::stoull(line.at(at)); };
    if ((what == "channel" || what == "create") && id(2) == 0)
        return false; // 0 isn't a channel; it ends every list
    if (what == "channel")
        return server.channels.insert({id(2), line.size() > 5 ? line[5] : ""}).second;
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

    if ((what == "move" || what == "moved") && server.clients.count(id(2)))
        server.clients[id(2)] = id(3);
    if (what == "connect") {
        server.isConnected = true;
        Known &known = mKnown[name];
        known.isLoaded = true;
        known.uid = given("getServerVariableAsString", server.uid, "Unknown");
        learnClientsIn(name, ownChannel(name, ownClient(name)));
        learnChannels(name);
    } else if (what == "disconnect") {
        server.isConnected = false;
        mKnown.erase(name);
    } else if (what == "client") {
        if (!server.clients.insert({id(2), id(4)}).second)
            return false;
        movedItself(name, id(2), id(4), false);
    } else if (what == "move") {
        movedItself(name, id(2), id(3), line.size() > 4 && line[4] == "leaves");
    } else if (what == "leave") {
        if (server.clients.erase(id(2)) == 0)
            return false;
        movedItself(name, id(2), 0, true);
    } else if (what == "moved") {
        wasMoved(name, id(2), id(3), id(5));
    } else if (what == "news") {
        mKnown[name].clients.insert({id(2), id(4)});
    } else if (what == "rename") {
        mKnown[name].clients.insert(id(2));
    } else if (what == "menu") {
        mIsOpen = mIsOpen || line[2] == "0";
        expected.push_back({"expect", "dialog", mIsOpen ? "open" : "closed"});
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
    } else {
        return false;
    }
    return true;
}

/// The text that the plug-in gets from the host, or `otherwise` if the host refuses it.
std::string Rules::given(const std::string &function, const std::string &text,
                         const std::string &otherwise) const
{
    if (!misbehaves(function))
        return text;
    return mFaults.at(function) == "refuse" ? otherwise : "";
}

std::string Rules::setting(const std::string &key, const std::string &otherwise) const
{
    const auto found = mSettings.find(key);
    return found == mSettings.end() ? otherwise : found->second;
}

bool Rules::isOn(const std::string &key) const
{
    std::string text = setting(key, "");
    for (char &letter : text)
        letter = char(tolower(letter));
    return text != "" && text != "0" && text != "false";
}

Rules::Id Rules::ownClient(const std::string &name)
{
    return mServers[name].isConnected && !misbehaves("getClientID") ? mServers[name].own : 0;
}

Rules::Id Rules::ownChannel(const std::string &name, Id own)
{
    const Server &server = mServers[name];
    const bool isKnown =
        server.isConnected && server.clients.count(own) && !misbehaves("getChannelOfClient");
    return isKnown ? server.clients.at(own) : 0;
}

void Rules::learnClientsIn(const std::string &name, Id channel)
{
    const Server &server = mServers[name];
    if (!server.isConnected || misbehaves("getChannelClientList")
        || server.channels.count(channel) == 0)
        return;
    for (const auto &[client, in] : server.clients) {
        if (in == channel)
            mKnown[name].clients.insert(client);
    }
}

void Rules::learnChannels(const std::string &name)
{
    if (!mServers[name].isConnected || misbehaves("getChannelList"))
        return;
    for (const auto &[channel, password] : mServers[name].channels)
        mKnown[name].channels.insert(channel);
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
        const std::string target = setting("module.idleDock." + uid + ".target", "");
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
    if (requestMove(on, own, back))
        movedItself(on, own, back, false);
    if (isOn("staybolt.sendNotify")) {
        const std::string text =
            setting("staybolt.customNotify", "This operation is not permitted!");
        request("requestSendPrivateTextMsg",
                {"expect", "message", on, std::to_string(addressee), text}, addressee, "");
    }
}

/// Expects a request, and a warning in the log if the host refuses it. Returns whether it grants
/// it.
bool Rules::request(const std::string &function, Line expectation, Id client, std::string error)
{
    const std::string name = expectation[2];
    const Server &server = mServers[name];
    if (misbehaves(function))
        error = "insufficient permissions";
    else if (!server.isConnected)
        error = "unknown connection";
    else if (server.clients.count(client) == 0)
        error = "unknown client";
    expected.push_back(std::move(expectation));
    if (!error.empty()) {
        error = given("getErrorMessage", error, "Unknown error");
        expected.push_back({"expect", "log", name, error});
        return false;
    }
    return true;
}

/// Expects a request to move a client. Returns whether the host will report that move.
bool Rules::requestMove(const std::string &name, Id client, Id channel)
{
    Server &server = mServers[name];
    const auto target = server.channels.find(channel);
    std::string error;
    if (target == server.channels.end())
        error = "unknown channel";
    else if (!target->second.empty())
        error = "wrong channel password";
    const Line move{"expect", "move", name, std::to_string(client), std::to_string(channel)};
    if (!request("requestClientMove", move, client, error) || server.clients[client] == channel)
        return false;
    server.clients[client] = channel;
    return true;
}

}
