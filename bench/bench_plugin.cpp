// Measures whole exports of the built library against the least that the client's interface makes
// of each event: the same host calls and nothing else (calls), the same with each text turned into
// a QString (decode), and that with the texts put into records and the records into tables of the
// types that the model has (records), which is the least that a plug-in with such a model can do.

#include "bench/allocations.h"
#include "bench/plain_host.h"
#include "standin/plugin.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using plainHost::connection;

Plugin plugin;
TS3Functions table;

enum Depth { Calls, Decode, Records };

using Record = QHash<QString, QVariant>;
QHash<QString, Record> clientTable;
QHash<QString, QString> clientUids;
QHash<QString, Record> channelTable;

/// The host calls of the plug-in's loaders, and what is done with the answers.
template<Depth depth>
struct Floor
{
    static QVariant text(char *text)
    {
        QVariant value;
        if constexpr (depth == Records)
            value = QString::fromUtf8(text);
        else if constexpr (depth == Decode)
            benchmark::DoNotOptimize(QString::fromUtf8(text));
        table.freeMemory(text);
        return value;
    }

    static void put(Record &record, const QString &key, const QVariant &value)
    {
        if constexpr (depth == Records)
            record.insert(key, value);
    }

    static void store(const QList<Record> &records)
    {
        for (const Record &record : records) {
            const QString id = QString::number(record.value(QStringLiteral("clId")).toUInt());
            clientTable.insert(id, record);
            clientUids.insert(record.value(QStringLiteral("uid")).toString(), id);
        }
    }

    static anyID ownClient()
    {
        anyID own = 0;
        table.getClientID(connection, &own);
        return own;
    }

    static void ownChannel(anyID own)
    {
        uint64 channel = 0;
        table.getChannelOfClient(connection, own, &channel);
    }

    static Record client(anyID id)
    {
        const QString keys[] = {QStringLiteral("uid"), QStringLiteral("name"),
                                QStringLiteral("version"), QStringLiteral("platform")};
        Record record;
        for (size_t property : {0, 1, 3, 2}) {
            char *value = nullptr;
            table.getClientVariableAsString(connection, id, property, &value);
            put(record, keys[property], text(value));
        }
        put(record, QStringLiteral("clId"),
            depth == Records ? QVariant::fromValue(id) : QVariant());
        return record;
    }

    static void server()
    {
        for (size_t property : {0, 1, 3, 4}) {
            char *value = nullptr;
            table.getServerVariableAsString(connection, property, &value);
            text(value);
        }
    }

    static void clientsInChannel()
    {
        anyID *ids = nullptr;
        table.getChannelClientList(connection, 1, &ids);
        QList<Record> records;
        for (const anyID *id = ids; *id; ++id) {
            const Record record = client(*id);
            if constexpr (depth == Records)
                records.append(record);
        }
        table.freeMemory(ids);
        store(records);
    }

    static void channels()
    {
        uint64 *ids = nullptr;
        table.getChannelList(connection, &ids);
        QList<Record> records;
        for (const uint64 *id = ids; *id; ++id) {
            Record record;
            if constexpr (depth == Records)
                record.insert(QStringLiteral("id"), QString::number(*id));
            char *value = nullptr;
            table.getChannelVariableAsString(connection, *id, CHANNEL_NAME, &value);
            put(record, QStringLiteral("name"), text(value));
            int isDefault = 0;
            table.getChannelVariableAsInt(connection, *id, CHANNEL_FLAG_DEFAULT, &isDefault);
            put(record, QStringLiteral("default"), isDefault == 1);
            if constexpr (depth == Records)
                records.append(record);
        }
        table.freeMemory(ids);
        for (const Record &record : qAsConst(records))
            channelTable.insert(record.value(QStringLiteral("id")).toString(), record);
    }

    static void requestMove()
    {
        table.requestClientMove(connection, plainHost::own, 1, "", nullptr);
    }
};

/// One thing that the client tells the plug-in, and the floors of it.
struct Event
{
    const char *name;
    void (*plugin)();
    void (*calls)();
    void (*decode)();
    /// Null where an event is not about lists.
    void (*records)();
    /// What the sizes count: clients in the channel or channels on the server.
    enum Kind { Clients, Channels, Fixed } kind;
    std::vector<int> sizes;
    /// Measured up to the move request.
    bool toRequest = false;
};

template<Depth depth>
void forcedMoveFloor()
{
    using F = Floor<depth>;
    F::ownClient();
    const Record own = F::client(plainHost::own);
    if constexpr (depth == Records)
        F::store({own});
    F::clientsInChannel();
    F::requestMove();
}

template<Depth depth>
void ownMoveFloor()
{
    using F = Floor<depth>;
    F::ownChannel(F::ownClient());
    F::clientsInChannel();
}

template<Depth depth>
void thirdPartyFloor()
{
    Floor<depth>::ownClient();
    Floor<depth>::client(9);
}

template<Depth depth>
void establishFloor()
{
    using F = Floor<depth>;
    F::ownChannel(F::ownClient());
    F::server();
    F::clientsInChannel();
    F::channels();
}

template<Depth depth>
void updateFloor()
{
    Floor<depth>::client(9);
    Floor<depth>::client(plainHost::mover);
}

void forcedMove()
{
    plugin.onClientMoveMovedEvent(connection, plainHost::own, 1, 2, RETAIN_VISIBILITY,
                                  plainHost::mover, "mover", "uid", "");
}

void ownMove()
{
    plugin.onClientMoveEvent(connection, plainHost::own, 2, 1, RETAIN_VISIBILITY, "");
}

void thirdPartyMove() { plugin.onClientMoveEvent(connection, 9, 2, 1, RETAIN_VISIBILITY, ""); }

void channelEvent() { plugin.onUpdateChannelEvent(connection, 1); }

void establish()
{
    plugin.onConnectStatusChangeEvent(connection, STATUS_CONNECTION_ESTABLISHED, ERROR_ok);
}

void clientUpdate() { plugin.onUpdateClientEvent(connection, 9, plainHost::mover, "mover", "uid"); }

void infoPanel()
{
    char *text = nullptr;
    plugin.infoData(connection, 1, PLUGIN_CLIENT, &text);
    plugin.freeMemory(text);
}

void infoFloor() { free(malloc(128)); }

const std::vector<Event> &events()
{
    static const std::vector<int> clients{1, 10, 100, 1000, 10000, 60000};
    static const std::vector<int> channels{10, 100, 1000, 10000, 100000};
    static const std::vector<Event> all{
        {"forced move, to the request", forcedMove, forcedMoveFloor<Calls>, forcedMoveFloor<Decode>,
         forcedMoveFloor<Records>, Event::Clients, clients, true},
        {"forced move", forcedMove, forcedMoveFloor<Calls>, forcedMoveFloor<Decode>,
         forcedMoveFloor<Records>, Event::Clients, clients},
        {"own move",
         ownMove,
         ownMoveFloor<Calls>,
         ownMoveFloor<Decode>,
         nullptr,
         Event::Clients,
         {100}},
        {"third party's move",
         thirdPartyMove,
         thirdPartyFloor<Calls>,
         thirdPartyFloor<Decode>,
         nullptr,
         Event::Fixed,
         {1}},
        {"channel event", channelEvent, Floor<Calls>::channels, Floor<Decode>::channels,
         Floor<Records>::channels, Event::Channels, channels},
        {"establishment",
         establish,
         establishFloor<Calls>,
         establishFloor<Decode>,
         nullptr,
         Event::Clients,
         {100}},
        {"client update",
         clientUpdate,
         updateFloor<Calls>,
         updateFloor<Decode>,
         nullptr,
         Event::Fixed,
         {2}},
        {"info panel", infoPanel, infoFloor, infoFloor, nullptr, Event::Fixed, {1}},
    };
    return all;
}

void prepare(const Event &event, int size)
{
    plainHost::setSize(event.kind == Event::Clients ? size : 1,
                       event.kind == Event::Channels ? size : 100);
    // Each size starts from an empty model that has been loaded once.
    plugin.onConnectStatusChangeEvent(connection, STATUS_DISCONNECTED, ERROR_ok);
    establish();
    event.plugin();
}

/// Collects the median of each measurement.
class TableReporter : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                mNanoseconds[run.run_name.function_name].push_back(run.real_accumulated_time
                                                                   / double(run.iterations) * 1e9);
            }
        }
    }

    /// A line for each size that was measured: event, records, and in nanoseconds the plug-in and
    /// its floors (0 where there is none), separated by tabs.
    void Finalize() override
    {
        for (const Event &event : events()) {
            for (int size : event.sizes) {
                const std::string name = std::string(event.name) + '/' + std::to_string(size);
                if (mNanoseconds.count(name + "/plugin") == 0)
                    continue;
                printf("%s\t%d", event.name, size);
                for (const char *what : {"/plugin", "/calls", "/decode", "/records"})
                    printf("\t%.1f", median(name + what));
                printf("\n");
            }
        }
    }

private:
    double median(const std::string &name)
    {
        std::vector<double> &times = mNanoseconds[name];
        if (times.empty())
            return 0;
        std::sort(times.begin(), times.end());
        return times[times.size() / 2];
    }

    std::map<std::string, std::vector<double>> mNanoseconds;
};

void registerBenchmarks()
{
    for (const Event &event : events()) {
        for (int size : event.sizes) {
            const auto measure = [&](const char *what, void (*run)()) {
                const std::string name =
                    std::string(event.name) + '/' + std::to_string(size) + '/' + what;
                benchmark::RegisterBenchmark(
                    name.c_str(),
                    [&event, size, run](benchmark::State &state) {
                        prepare(event, size);
                        for (auto _ : state) {
                            const Clock::time_point start = Clock::now();
                            run();
                            const Clock::time_point end =
                                event.toRequest ? plainHost::moveRequested() : Clock::now();
                            state.SetIterationTime(
                                std::chrono::duration<double>(end - start).count());
                        }
                    })
                    ->UseManualTime()
                    ->MinTime(0.02);
            };
            measure("plugin", event.plugin);
            measure("calls", event.calls);
            measure("decode", event.decode);
            if (event.records)
                measure("records", event.records);
        }
    }
}

/// Allocations for each record more; what does not change with the machine's mood.
double allocationsPerRecord(const Event &event, void (*run)())
{
    constexpr int few = 100;
    constexpr int many = 1100;
    const auto allocationsAt = [&](int size) {
        prepare(event, size);
        const size_t before = allocationCount();
        run();
        return double(allocationCount() - before);
    };
    return (allocationsAt(many) - allocationsAt(few)) / (many - few);
}

/// What the model holds for each record after a load from nothing.
double heapPerRecord(const Event &event)
{
    const int size = event.sizes.back();
    plugin.onConnectStatusChangeEvent(connection, STATUS_DISCONNECTED, ERROR_ok);
    plainHost::setSize(event.kind == Event::Clients ? size : 1,
                       event.kind == Event::Channels ? size : 1);
    const size_t before = mallinfo2().uordblks;
    event.plugin();
    return double(mallinfo2().uordblks - before) / size;
}

void printCounts()
{
    printf("%-28s %12s %12s %12s %22s\n", "allocations per record", "plug-in", "calls", "decode",
           "bytes of heap a record");
    for (const Event &event : events()) {
        if (event.toRequest || event.sizes.size() == 1)
            continue;
        printf("%-28s %12.2f %12.2f %12.2f %22.0f\n", event.name,
               allocationsPerRecord(event, event.plugin), allocationsPerRecord(event, event.calls),
               allocationsPerRecord(event, event.decode), heapPerRecord(event));
    }
}

/// One run of an event for a tool that counts instructions: `what` is plugin, calls, decode or
/// records.
int runOnce(const std::string &name, int size, const std::string &what)
{
    for (const Event &event : events()) {
        if (event.name == name) {
            prepare(event, size);
            void (*const run)() = what == "plugin" ? event.plugin
                : what == "calls"                  ? event.calls
                : what == "decode"                 ? event.decode
                                                   : event.records;
            CALLGRIND_TOGGLE_COLLECT;
            run();
            CALLGRIND_TOGGLE_COLLECT;
            return 0;
        }
    }
    fprintf(stderr, "There is no event \"%s\"\n", name.c_str());
    return 2;
}

}

int main(int argc, char *argv[])
{
    // In a client the heap does not end with our blocks. Here it would, and the C library would
    // hand it back to the system after each event and fetch it again page by page.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const QTemporaryDir folder;
    plainHost::setConfigPath(folder.path().toUtf8());
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) {
        fprintf(
            stderr,
            "usage: bench_plugin LIBRARY [--list | --counts | --once EVENT SIZE WHAT | option of "
            "Google Benchmark...]\n");
        return 2;
    }
    const QString error = plugin.open(QString::fromStdString(arguments[0]));
    if (!error.isEmpty()) {
        fprintf(stderr, "%s\n", qPrintable(error));
        return 2;
    }
    table = plainHost::functions();
    plugin.setFunctionPointers(table);
    plugin.init();
    int status = 0;
    if (arguments.size() > 1 && arguments[1] == "--list") {
        for (const Event &event : events()) {
            for (int size : event.sizes)
                printf("%s/%d/\n", event.name, size);
        }
    } else if (arguments.size() > 1 && arguments[1] == "--counts") {
        printCounts();
    } else if (arguments.size() == 5 && arguments[1] == "--once") {
        status = runOnce(arguments[2], std::stoi(arguments[3]), arguments[4]);
    } else {
        registerBenchmarks();
        TableReporter reporter;
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks(&reporter);
    }
    plugin.shutdown();
    return status;
}
