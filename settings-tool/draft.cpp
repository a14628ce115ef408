#include "settings-tool/draft.h"

#include <QFileInfo>

#include <algorithm>

using namespace settingsKeys;

Draft::Draft(const QString &path) : stored(path)
{
    if (stored.isOn(sendNotify))
        notice = stored.ownText() ? Notice::Own : Notice::Standard;
    ownText = stored.ownText().value_or(QString());
    allowsIdleDock = stored.isOn(idleDock);
    const auto &held = stored.servers();
    for (auto one = held.begin(); one != held.end(); ++one)
        servers.append(
            {one.key(), stored.names().value(one.key()), one->isLeftAlone, one->channel});
}

int Draft::find(const QString &uid) const
{
    for (int i = 0; i < servers.size(); ++i) {
        if (uidAsStored(servers.at(i).uid) == uidAsStored(uid))
            return i;
    }
    return -1;
}

int Draft::indexOf(const QString &uid)
{
    const int index = find(uid);
    if (index >= 0)
        return index;
    servers.append({uid, stored.names().value(uid), false, std::nullopt});
    return servers.size() - 1;
}

std::optional<Draft::Problem> Draft::problemWith(const Server &server, int index) const
{
    const bool isNew = index < 0;
    const Server before = isNew ? Server() : servers.at(index);
    const bool isOther = isNew || server.uid != before.uid;
    const QString error = errorInUid(server.uid);
    // The file can hold a channel for some ids that can have no other setting.
    if (!error.isEmpty() && (isOther || (server.isLeftAlone && !before.isLeftAlone)))
        return Problem{Problem::Uid, error};
    for (int other = 0; isOther && other < servers.size(); ++other) {
        if (other != index && uidAsStored(servers.at(other).uid) == uidAsStored(server.uid))
            return Problem{Problem::Uid, QStringLiteral("this server is already in the list")};
    }
    if (server.isLeftAlone || !(isNew || before.isLeftAlone || server.channel != before.channel))
        return std::nullopt;
    const QString channel = server.channel.value_or(QString());
    if (channel.isEmpty()) {
        return Problem{Problem::Channel,
                       QStringLiteral("enter the channel's number. To undo every move on this "
                                      "server, press Cancel%1")
                           .arg(QLatin1String(isNew ? "" : ", then Remove"))};
    }
    return channelIn(channel) ? std::nullopt
                              : std::optional(Problem{Problem::Channel, channelRule()});
}

QStringList Draft::warningsOfUid(const Server &server)
{
    QStringList result;
    // The file loses doubled slashes, so an id with slashes may be shorter there.
    constexpr int usual = 28;
    const int least = server.uid.contains(QLatin1Char('/')) ? usual - 2 : usual;
    if (server.uid.size() < least || server.uid.size() > usual
        || !server.uid.endsWith(QLatin1Char('=')) || !errorInUid(server.uid).isEmpty()) {
        result.append(QStringLiteral("this doesn't look like a server's unique id, which has 28 "
                                     "characters and ends in ="));
    }
    const QString same = uidAsStored(server.uid);
    if (same != server.uid) {
        result.append(QStringLiteral("the file can't tell this id from %1, so the setting applies "
                                     "to both")
                          .arg(same));
    }
    return result;
}

QStringList Draft::warningsOfChannel(const Server &server)
{
    if (!server.channel)
        return {};
    const std::optional<uint> channel = channelIn(*server.channel);
    const uint effective = QVariant(*server.channel).toUInt(); // as the plug-in reads it
    if (!channel && effective != 0) {
        return {QStringLiteral("the plug-in reads \"%1\" as channel %2")
                    .arg(*server.channel, QString::number(effective))};
    }
    if (!channel) {
        return {QStringLiteral("\"%1\" is not a channel; %2").arg(*server.channel, channelRule())};
    }
    if (channel == 0U)
        return {QStringLiteral("channel 0 means that the server has no idleDock channel")};
    if (server.isLeftAlone)
        return {QStringLiteral("the server is left alone, so its idleDock channel has no effect")};
    return {};
}

QStringList Draft::warningsOf(const Server &server)
{
    return warningsOfUid(server) + warningsOfChannel(server);
}

QStringList Draft::sentences(const QStringList &warnings)
{
    QStringList result;
    for (const QString &warning : warnings) {
        result.append(warning.left(1).toUpper() + warning.mid(1)
                      + QLatin1String(warning.endsWith(QLatin1Char('.')) ? "" : "."));
    }
    return result;
}

QStringList Draft::warningOfNotice() const
{
    if (notice == Notice::Standard && (stored.ownText() || !ownText.isEmpty()))
        return {QStringLiteral("Save removes your own message.")};
    if (notice == Notice::Own && ownText.isEmpty())
        return {QStringLiteral("Your message is empty, and is sent as it is.")};
    return {};
}

QStringList Draft::warningOfIdleDock() const
{
    const bool isSet = std::any_of(servers.begin(), servers.end(), [](const Server &one) {
        return QVariant(one.channel.value_or(QString())).toUInt() != 0;
    });
    if (isSet == allowsIdleDock)
        return {};
    return {
        isSet ? QStringLiteral("idleDock channels have no effect until you allow moves into them.")
              : QStringLiteral("No server has an idleDock channel yet.")};
}

QString Draft::effectOf(const Server &server) const
{
    const QString text = server.channel.value_or(QString());
    const uint id = QVariant(text).toUInt();
    const QString channel = id != 0 || channelIn(text) ? QStringLiteral("channel %1").arg(id)
                                                       : QStringLiteral("channel \"%1\"").arg(text);
    if (server.isLeftAlone) {
        return server.channel ? QStringLiteral("left alone (%1 unused)").arg(channel)
                              : QStringLiteral("left alone");
    }
    if (id == 0)
        return QStringLiteral("protected (%1 has no effect)").arg(channel);
    return QStringLiteral("idleDock %1").arg(channel)
        + (allowsIdleDock ? QString() : QStringLiteral(" (not allowed)"));
}

int Draft::put(const Server &server, int index)
{
    const int place = index < 0 ? servers.size() : index;
    mSteps.push({servers, place});
    servers.resize(std::max(servers.size(), place + 1));
    servers[place] = server;
    return place;
}

void Draft::remove(int index)
{
    mSteps.push({servers, index});
    servers.remove(index);
}

int Draft::undo()
{
    const Step step = mSteps.pop();
    servers = step.servers;
    return std::min(step.index, servers.size() - 1);
}

QVariantMap Draft::changes() const
{
    QVariantMap result;
    if (notice == Notice::Standard) {
        if (stored.ownText())
            result.insert(customNotify.text(), QVariant());
    } else if ((notice == Notice::Own || !ownText.isEmpty()) && stored.ownText() != ownText) {
        // Even while the notice is off, so that no text is lost.
        result.insert(customNotify.text(), ownText);
    }
    // Store both parts of the choice, since another program may have changed either.
    const bool isOn = notice != Notice::Off;
    if (isOn != stored.isOn(sendNotify) || !result.isEmpty())
        result.insert(sendNotify.text(), isOn ? 1 : 0);
    if (allowsIdleDock != stored.isOn(idleDock))
        result.insert(idleDock.text(), allowsIdleDock);

    // Servers that left the list lose their keys; unchanged ones keep them as they are spelled.
    const auto &held = stored.servers();
    for (auto one = held.begin(); one != held.end(); ++one) {
        if (one->isLeftAlone)
            result.insert(storedKey(excludedServer, one.key()), QVariant());
        if (one->channel)
            result.insert(storedKey(idleDockTarget, one.key()), QVariant());
        if (stored.names().contains(one.key()))
            result.insert(storedKey(serverName, one.key()), QVariant());
    }
    for (const Server &server : servers) {
        const StoredSettings::Server before = held.value(server.uid);
        const auto change = [&](const Key &key, bool isSame, const QVariant &value) {
            if (isSame)
                result.remove(storedKey(key, server.uid));
            else if (value.isValid())
                result.insert(storedKey(key, server.uid), value);
        };
        change(excludedServer, server.isLeftAlone && before.isLeftAlone,
               server.isLeftAlone ? QVariant(true) : QVariant());
        const std::optional<uint> channel = channelIn(server.channel.value_or(QString()));
        change(idleDockTarget, before.channel == server.channel,
               channel              ? QVariant(*channel)
                   : server.channel ? QVariant(*server.channel)
                                    : QVariant());
        // A server without settings loses its name.
        const bool hasSettings = server.isLeftAlone || server.channel;
        const QString name = stored.names().value(server.uid);
        if (hasSettings && name != server.name) {
            result.insert(storedKey(serverName, server.uid),
                          server.name.isEmpty() ? QVariant() : QVariant(server.name));
        } else if (hasSettings) {
            result.remove(storedKey(serverName, server.uid));
        }
    }
    return result;
}

QStringList Draft::save(const FolderLock &lock) const
{
    const QVariantMap values = changes();
    const QString copy = changeFile(stored.path(), values, lock);
    QStringList result;
    if (!copy.isEmpty())
        result.append(
            QStringLiteral("The old file is kept as %1.").arg(QFileInfo(copy).fileName()));
    const QStringList keys = values.keys();
    const QString start = serverName.of(QString());
    if (std::any_of(keys.begin(), keys.end(), [&](auto &key) { return !key.startsWith(start); }))
        result.append(QStringLiteral("Your changes apply from the next move."));
    const bool isGone = values.contains(customNotify.text()) && notice == Notice::Standard;
    if (values.contains(sendNotify.text()) || values.contains(customNotify.text())) {
        // Reload doesn't clear the field if no text is stored.
        result.append(
            QStringLiteral("In the plug-in's own dialog, press %1 before you press Save: that Save "
                           "stores what the fields there show.")
                .arg(isGone ? QStringLiteral("Remove, then Reload,") : QStringLiteral("Reload")));
    }
    return result;
}
