#include "plugins/staybolt/staybolt.h"

#include "shared/host/funcwrapper.h"
#include "shared/settings/configuration.h"

QList<Record> staybolt::getMenuEntries() const { return {}; }

QList<Record> staybolt::getHotkeyKeywords() const { return {}; }

void staybolt::parseEvent(moduleEvents event, QVariantHash server, QVariantHash channel,
                          QVariantHash client)
{
    configuration *settings = configuration::instance();
    const QString serverUid = server.value(recordKeys::uid()).toString();
    if (settings->contains(settingsKeys::excludedServer.of(serverUid)))
        return;

    const Record dest = channel.value(eventKeys::dest()).toHash();
    if (event == eventClientMove) {
        mLastChannel = dest;
        return;
    }
    if (event != eventClientMoveMoved)
        return;

    if (settings->get(settingsKeys::idleDock.text()).toBool()) {
        const uint target = settings->get(settingsKeys::idleDockTarget.of(serverUid)).toUInt();
        if (dest.value(recordKeys::id()).toUInt() == target)
            return;
    }

    // The host may report the move back from inside the request. That brings us back here and
    // sets mLastChannel, so nothing below the request reads it.
    const QVariant connection = server.value(recordKeys::conHandler());
    const uint own = client.value(eventKeys::own()).toHash().value(recordKeys::clId()).toUInt();
    funcwrapper::instance()->requestClientMove(connection.toULongLong(), static_cast<anyID>(own),
                                               mLastChannel.value(recordKeys::id()).toULongLong(),
                                               QString());

    if (!settings->get(settingsKeys::sendNotify.text()).toBool())
        return;
    const QString notice = settings->contains(settingsKeys::customNotify.text())
        ? settings->get(settingsKeys::customNotify.text()).toString()
        : tr(settingsKeys::standardNotice);
    const Record mover = client.value(eventKeys::executor()).toHash();
    funcwrapper::instance()->sendMessage(connection.toString(),
                                         mover.value(recordKeys::clId()).toString(), notice);
}
