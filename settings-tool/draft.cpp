#include "settings-tool/draft.h"

#include <QRegularExpression>

#include <algorithm>

using namespace settingsKeys;

namespace {

QString about(const Draft::Server &server, const QString &what)
{
    return QStringLiteral("%1: %2").arg(server.uid, what);
}

}

Draft::Draft(const QString &path) : stored(path)
{
    if (stored.isOn(sendNotify))
        notice = stored.ownText() ? Notice::Own : Notice::Standard;
    ownText = stored.ownText().value_or(QString());
    allowsIdleDock = stored.isOn(idleDock);
    const auto &held = stored.servers();
    for (auto one = held.begin(); one != held.end(); ++one)
        servers.append({one.key(), one->isLeftAlone, one->channel.value_or(QString()), one.key()});
}

int Draft::indexOf(const QString &uid)
{
    for (int i = 0; i < servers.size(); ++i) {
        if (uidAsStored(servers.at(i).uid) == uidAsStored(uid))
            return i;
    }
    servers.append({uid, false, QString(), std::nullopt});
    return servers.size() - 1;
}

QString Draft::errorIn(int index) const
{
    const Server &server = servers.at(index);
    if (isBlank(server))
        return QString();
    // What the file holds already may stay, whatever it is.
    const bool isStored = server.storedUid == server.uid;
    const StoredSettings::Server held = stored.servers().value(server.uid);
    QString error = errorInUid(server.uid);
    if ((!isStored || (server.isLeftAlone && !held.isLeftAlone)) && !error.isEmpty())
        return error;
    const bool isOtherChannel = !isStored || server.channel != held.channel;
    if (!server.channel.isEmpty() && isOtherChannel && !channelIn(server.channel))
        return about(server, channelRule());
    for (int other = 0; other < index; ++other) {
        const Server &above = servers.at(other);
        const bool areStored = isStored && above.storedUid == above.uid;
        if (!areStored && uidAsStored(above.uid) == uidAsStored(server.uid))
            return about(server, QStringLiteral("this server is already in the list"));
    }
    // A channel that the file holds as an empty text may stay.
    if (!server.isLeftAlone && server.channel.isEmpty() && isOtherChannel)
        return about(server, QStringLiteral("tick \"Left alone\" or enter a channel"));
    return QString();
}

QStringList Draft::warningsOf(int index) const
{
    const Server &server = servers.at(index);
    if (isBlank(server))
        return {};
    QStringList result;
    const auto warn = [&](const QString &what) { result.append(about(server, what)); };
    // Its length tells nothing, since the file loses doubled slashes.
    static const QRegularExpression usual(QStringLiteral("\\A[A-Za-z0-9+/]+==?\\z"));
    if (!usual.match(server.uid).hasMatch()) {
        warn(QStringLiteral("this doesn't look like a server's unique id: those have 28 characters "
                            "and end in ="));
    }
    const QString same = uidAsStored(server.uid);
    if (same != server.uid) {
        warn(QStringLiteral("the file can't tell this id from %1, so the setting applies to both")
                 .arg(same));
    }
    const std::optional<uint> channel = channelIn(server.channel);
    if (!server.channel.isEmpty() && !channel)
        warn(QStringLiteral("\"%1\" is not a channel; %2").arg(server.channel, channelRule()));
    else if (channel == 0U)
        warn(QStringLiteral("channel 0 means that the server has no idleDock channel"));
    else if (server.isLeftAlone && channel)
        warn(QStringLiteral("the server is left alone, so its idleDock channel has no effect"));
    return result;
}

QStringList Draft::warningOfNotice() const
{
    if (notice == Notice::Standard && (stored.ownText() || !ownText.isEmpty()))
        return {QStringLiteral("Save removes your own message.")};
    if (notice == Notice::Own && ownText.isEmpty())
        return {QStringLiteral("Your message is empty.")};
    return {};
}

QStringList Draft::warningOfIdleDock() const
{
    const bool isSet = std::any_of(servers.begin(), servers.end(), [](const Server &one) {
        return channelIn(one.channel).value_or(0) != 0;
    });
    if (isSet == allowsIdleDock)
        return {};
    return {
        isSet ? QStringLiteral("idleDock channels have no effect until you allow moves into them.")
              : QStringLiteral("No server has an idleDock channel yet.")};
}

QVariantMap Draft::changes() const
{
    QVariantMap result;
    const bool isOn = notice != Notice::Off;
    if (isOn != stored.isOn(sendNotify))
        result.insert(sendNotify.text(), isOn ? 1 : 0);
    if (notice == Notice::Standard) {
        if (stored.ownText())
            result.insert(customNotify.text(), QVariant());
    } else if ((notice == Notice::Own || !ownText.isEmpty()) && stored.ownText() != ownText) {
        // While the notice is off as well, so that no text is lost.
        result.insert(customNotify.text(), ownText);
    }
    if (allowsIdleDock != stored.isOn(idleDock))
        result.insert(idleDock.text(), allowsIdleDock);

    // What is no longer in the list goes; what is there as before stays as it is spelled.
    const auto &held = stored.servers();
    for (auto one = held.begin(); one != held.end(); ++one) {
        if (one->isLeftAlone)
            result.insert(storedKey(excludedServer, one.key()), QVariant());
        if (one->channel)
            result.insert(storedKey(idleDockTarget, one.key()), QVariant());
    }
    for (const Server &server : servers) {
        const StoredSettings::Server before = held.value(server.uid);
        const QString leftAloneKey = storedKey(excludedServer, server.uid);
        const QString channelKey = storedKey(idleDockTarget, server.uid);
        if (server.isLeftAlone && before.isLeftAlone)
            result.remove(leftAloneKey);
        else if (server.isLeftAlone)
            result.insert(leftAloneKey, true);
        if (before.channel == server.channel)
            result.remove(channelKey);
        else if (!server.channel.isEmpty())
            result.insert(channelKey, channelIn(server.channel).value_or(0));
    }
    return result;
}

QStringList Draft::save(const FolderLock &lock) const
{
    const QVariantMap values = changes();
    const QString copy = changeFile(stored.path(), values, lock);
    QStringList result;
    if (!copy.isEmpty())
        result.append(QStringLiteral("A copy of the old file is in %1.").arg(copy));
    result.append(QStringLiteral("Your changes apply from the next move."));
    const bool isGone = values.contains(customNotify.text()) && notice == Notice::Standard;
    if (values.contains(sendNotify.text()) || values.contains(customNotify.text())) {
        // Reload leaves the field alone where no text is stored.
        result.append(
            QStringLiteral("In the plug-in's own dialog, press %1 before you press Save. "
                           "Save stores what its fields show.")
                .arg(isGone ? QStringLiteral("Remove, then Reload,") : QStringLiteral("Reload")));
    }
    return result;
}

bool Draft::isBlank(const Server &server)
{
    // A stored one whose id was emptied is not: Save would drop what is stored without a word.
    return !server.storedUid && !server.isLeftAlone && server.uid.isEmpty()
        && server.channel.isEmpty();
}
