#pragma once

#include "standin/host.h"

#include <QStringList>

/// What the plug-in asked for so far, a line each: "move CONNECTION CLIENT CHANNEL", "message
/// CONNECTION CLIENT TEXT" or "log CONNECTION TEXT".
inline QStringList requestLines(const Host &host)
{
    QStringList lines;
    for (const Request &request : host.requests) {
        const QString connection = QString::number(request.connection);
        const QString client = QString::number(request.client);
        const QString text = QString::fromUtf8(request.text);
        if (request.kind == Request::Move) {
            lines.append(QString("move %1 %2 %3%4")
                             .arg(connection, client, QString::number(request.channel), text));
        } else if (request.kind == Request::Message) {
            lines.append(QString("message %1 %2 %3").arg(connection, client, text));
        } else {
            lines.append(QString("log %1 %2").arg(connection, text));
        }
    }
    return lines;
}
