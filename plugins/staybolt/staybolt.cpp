#include "plugins/staybolt/staybolt.h"

#include "shared/host/funcwrapper.h"
#include "shared/settings/configuration.h"

QList<QHash<QString, QVariant>> staybolt::getMenuEntries() const { return {}; }

QList<QHash<QString, QVariant>> staybolt::getHotkeyKeywords() const { return {}; }

void staybolt::parseEvent(moduleEvents event, QVariantHash server, QVariantHash channel,
                          QVariantHash client)
{
    configuration *settings = configuration::instance();
    const QString serverUid = server.value(recordKeys::uid()).toString();
    if (settings->contains(settingsKeys::excludedServer(serverUid)))
        return;

    const Record dest = channel.value(eventKeys::dest()).toHash();
    if (event == eventClientMove) {
        mLastChannel = dest;
        return;
    }
    if (event != eventClientMoveMoved)
        return;

    if (settings->get(settingsKeys::idleDock()).toBool()) {
        const uint target = settings->get(settingsKeys::idleDockTarget(serverUid)).toUInt();
        if (dest.value(recordKeys::id()).toUInt() == target)
            return;
    }

    // The client may report the move back from inside the request. That brings us back here and
    // sets mLastChannel, so nothing below the request reads it.
    const QVariant connection = server.value(recordKeys::conHandler());
    const uint own = client.value(eventKeys::own()).toHash().value(recordKeys::clId()).toUInt();
    funcwrapper::instance()->requestClientMove(connection.toULongLong(), static_cast<anyID>(own),
                                               mLastChannel.value(recordKeys::id()).toULongLong(),
                                               QString());

    if (!settings->get(settingsKeys::sendNotify()).toBool())
        return;
    const QString msg = QStringLiteral("msg");
    Record executor = client.value(eventKeys::executor()).toHash();
    executor.insert(msg,
                    settings->contains(settingsKeys::customNotify())
                        ? settings->get(settingsKeys::customNotify()).toString()
                        : tr("This operation is not permitted!"));
    funcwrapper::instance()->sendMessage(connection.toString(),
                                         executor.value(recordKeys::clId()).toString(),
                                         executor.value(msg).toString());
}
