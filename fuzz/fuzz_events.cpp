// Turns bytes into what a client may do to the plug-in: the settings file it finds, the answers it
// gets and the events that it is told of. Built with libFuzzer, or with a main() that replays kept
// inputs.

#include "shared/host/host_interface.h"
#include "standin/host.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace {

class Input
{
public:
    Input(const char *data, size_t size) : mData(QByteArray(data, int(size))) { }

    bool atEnd() const { return mPosition >= mData.size(); }
    unsigned char byte() { return atEnd() ? 0 : static_cast<unsigned char>(mData.at(mPosition++)); }
    QByteArray text()
    {
        const QByteArray text = mData.mid(mPosition, byte() % 32);
        mPosition += text.size();
        return text.left(text.indexOf('\0'));
    }
    /// Mostly small ids, so that events meet what is there; sometimes the ends of the range.
    uint64 id()
    {
        const unsigned char kind = byte();
        return kind < 240 ? kind % 8 : ~uint64(0) >> (kind % 16) * 4;
    }
    anyID client() { return static_cast<anyID>(id()); }

private:
    QByteArray mData;
    int mPosition = 0;
};

void oneEvent(Input &in, Host &host)
{
    const uint64 connection = in.id() % 4;
    switch (in.byte() % 14) {
    case 0:
        ts3plugin_onConnectStatusChangeEvent(connection, in.byte() % 6, in.byte());
        break;
    case 1:
        ts3plugin_onClientMoveEvent(connection, in.client(), in.id(), in.id(), in.byte() % 4, "");
        break;
    case 2:
        ts3plugin_onClientMoveMovedEvent(connection, in.client(), in.id(), in.id(), in.byte() % 4,
                                         in.client(), in.text(), "", "");
        break;
    case 3:
        ts3plugin_onUpdateChannelEvent(connection, in.id());
        break;
    case 4:
        ts3plugin_onDelChannelEvent(connection, in.id(), in.client(), "", "");
        break;
    case 5:
        ts3plugin_onUpdateClientEvent(connection, in.client(), in.client(), "", "");
        break;
    case 6:
        ts3plugin_onMenuItemEvent(connection, PluginMenuType(in.byte() % 4), int(in.id()), in.id());
        break;
    case 7:
        ts3plugin_onHotkeyEvent(in.text());
        break;
    case 8: {
        char *text = nullptr;
        ts3plugin_infoData(connection, in.id(), PLUGIN_CLIENT, &text);
        ts3plugin_freeMemory(text);
        break;
    }
    case 9: {
        const char *functions[] = {"getClientVariableAsString",
                                   "getServerVariableAsString",
                                   "getChannelVariableAsString",
                                   "getChannelList",
                                   "getChannelClientList",
                                   "getClientID",
                                   "getErrorMessage",
                                   "requestClientMove",
                                   "requestSendPrivateTextMsg"};
        host.faults.insert(functions[in.byte() % 9], Host::Fault(in.byte() % 3));
        break;
    }
    case 10:
        host.faults.clear();
        break;
    case 11:
        host.answersInside = in.byte() % 2;
        break;
    case 12: {
        Server &server = host.servers[connection];
        server.connection = connection;
        server.status = in.byte() % 5;
        server.uid = in.text();
        server.own = in.client();
        server.channels.append({in.id(), in.text(), in.text(), in.byte()});
        const anyID id = in.client();
        server.clients[id] = {id, in.text(), in.text(), in.text(), in.text(), in.id()};
        break;
    }
    default:
        ts3plugin_configure(nullptr, nullptr);
        break;
    }
    host.deliver();
}

void play(const char *data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    static QApplication application(argc, argv);
    static QTemporaryDir folder;

    Input in(data, size);
    QFile settings(folder.filePath("Kestrelsoft Staybolt.ini"));
    if (in.byte() % 2 && settings.open(QIODevice::WriteOnly)) {
        settings.write("staybolt.sendNotify=1\n" + in.text() + '\n' + in.text());
        settings.close();
    }
    Host host;
    host.keepsCalls = false;
    host.configPath = folder.path().toUtf8();
    host.accepts = true;
    host.moved = [](uint64 connection, anyID client, uint64 oldChannel, uint64 newChannel) {
        ts3plugin_onClientMoveEvent(connection, client, oldChannel, newChannel, 1, "");
    };
    ts3plugin_setFunctionPointers(host.functions());
    ts3plugin_init();
    while (!in.atEnd())
        oneEvent(in, host);
    for (uint64 connection = 0; connection < 4; ++connection)
        ts3plugin_onConnectStatusChangeEvent(connection, STATUS_DISCONNECTED, 0);
    ts3plugin_shutdown();
    for (const QString &complaint : host.complaints()) {
        fprintf(stderr, "The plug-in broke a rule: %s\n", qPrintable(complaint));
        abort();
    }
}

}

#ifdef STAYBOLT_REPLAY
int main(int argc, char *argv[])
{
    int played = 0;
    for (int i = 1; i < argc; ++i) {
        QFile file(QFile::decodeName(argv[i]));
        if (!file.open(QIODevice::ReadOnly)) {
            fprintf(stderr, "%s can't be read\n", argv[i]);
            return 1;
        }
        const QByteArray bytes = file.readAll();
        play(bytes.constData(), size_t(bytes.size()));
        ++played;
    }
    fprintf(stderr, "%d inputs replayed\n", played);
    return played > 0 ? 0 : 1;
}
#else
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    play(reinterpret_cast<const char *>(data), size);
    return 0;
}
#endif
