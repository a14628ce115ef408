// Compares whole exports of the built library with the least that the client's interface allows for
// each event: the same host calls and nothing else (calls), and the same with each text turned into
// a QString (decode).

#include "bench/allocations.h"
#include "bench/plain_host.h"
#include "standin/plugin.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

using plainHost::connection;

standin::Plugin plugin;
TS3Functions table;

/// The host calls that the plug-in makes; `decodes` turns the texts into QStrings.
template<bool decodes>
struct Floor
{
    static void text(char *text)
    {
        if (decodes)
            benchmark::DoNotOptimize(QString::fromUtf8(text));
        table.freeMemory(text);
    }

    static anyID ownClient()
    {
        anyID own = 0;
        table.getClientID(connection, &own);
        return own;
    }

    static void client(anyID id)
    {
        for (size_t property : {0, 1, 3, 2}) {
            char *value = nullptr;
            table.getClientVariableAsString(connection, id, property, &value);
            text(value);
        }
    }

    static void clientsInChannel()
    {
        anyID *ids = nullptr;
        table.getChannelClientList(connection, 1, &ids);
        for (const anyID *id = ids; *id; ++id)
            client(*id);
        table.freeMemory(ids);
    }

    static void channels()
    {
        uint64 *ids = nullptr;
        table.getChannelList(connection, &ids);
        for (const uint64 *id = ids; *id; ++id) {
            char *value = nullptr;
            table.getChannelVariableAsString(connection, *id, 0, &value);
            text(value);
            int isDefault = 0;
            table.getChannelVariableAsInt(connection, *id, 11, &isDefault);
        }
        table.freeMemory(ids);
    }

    static void forcedMove()
    {
        client(ownClient());
        clientsInChannel();
        table.requestClientMove(connection, plainHost::own, 1, "", nullptr);
    }

    static void establishment()
    {
        uint64 channel = 0;
        table.getChannelOfClient(connection, ownClient(), &channel);
        for (size_t property : {0, 1, 3, 4}) {
            char *value = nullptr;
            table.getServerVariableAsString(connection, property, &value);
            text(value);
        }
        clientsInChannel();
        channels();
    }
};

void nothing() { }
void forget() { plugin.onConnectStatusChangeEvent(connection, 0, 0); }
void establish() { plugin.onConnectStatusChangeEvent(connection, 4, 0); }
void channelEvent() { plugin.onUpdateChannelEvent(connection, 1); }
void forcedMove()
{
    plugin.onClientMoveMovedEvent(connection, plainHost::own, 1, 2, 1, plainHost::mover, "mover",
                                  "uid", "");
}

/// One event that the client reports to the plug-in, and its two floors.
struct Event
{
    const char *name;
    void (*plugin)();
    void (*calls)();
    void (*decode)();
    /// Runs before each event and is not measured.
    void (*before)();
    /// Whether sizes count the server's channels instead of the clients in a channel.
    bool isOfChannels;
    std::vector<int> sizes;
};

const std::vector<Event> &events()
{
    using Calls = Floor<false>;
    using Decode = Floor<true>;
    static const std::vector<Event> all{
        {"forced move, unchanged",
         forcedMove,
         Calls::forcedMove,
         Decode::forcedMove,
         nothing,
         false,
         {1, 1000, 60000}},
        {"forced move, renamed",
         forcedMove,
         Calls::forcedMove,
         Decode::forcedMove,
         plainHost::renameAll,
         false,
         {1000}},
        {"establishment, first",
         establish,
         Calls::establishment,
         Decode::establishment,
         forget,
         false,
         {1000}},
        {"channel event, unchanged",
         channelEvent,
         Calls::channels,
         Decode::channels,
         nothing,
         true,
         {1000, 100000}},
        {"channel event, first",
         channelEvent,
         Calls::channels,
         Decode::channels,
         forget,
         true,
         {1000}},
    };
    return all;
}

/// Starts each size with a model that was emptied and loaded once.
void prepare(const Event &event, int size)
{
    plainHost::setSize(event.isOfChannels ? 1 : size, event.isOfChannels ? size : 1);
    forget();
    establish();
    event.plugin();
}

/// Prints a line for each measured size, separated by tabs: the event, the number of records, and
/// the medians of the plug-in and its floors in nanoseconds.
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

    void Finalize() override
    {
        for (const Event &event : events()) {
            for (int size : event.sizes) {
                const std::string name = std::string(event.name) + '/' + std::to_string(size);
                if (mNanoseconds.count(name + "/plugin") == 0)
                    continue;
                printf("%s\t%d", event.name, size);
                for (const char *what : {"/plugin", "/calls", "/decode"}) {
                    std::vector<double> &times = mNanoseconds[name + what];
                    std::sort(times.begin(), times.end());
                    printf("\t%.1f", times[times.size() / 2]);
                }
                printf("\n");
            }
        }
    }

private:
    std::map<std::string, std::vector<double>> mNanoseconds;
};

void registerBenchmarks()
{
    using Clock = std::chrono::steady_clock;
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
                            event.before();
                            const Clock::time_point start = Clock::now();
                            run();
                            state.SetIterationTime(
                                std::chrono::duration<double>(Clock::now() - start).count());
                        }
                    })
                    ->UseManualTime()
                    ->MinTime(0.02);
            };
            measure("plugin", event.plugin);
            measure("calls", event.calls);
            measure("decode", event.decode);
        }
    }
}

/// Runs an event once. Prints how much memory it takes; a tool that counts instructions counts only
/// this run. `what` is plugin, calls or decode.
int runOnce(const std::string &name, int size, const std::string &what)
{
    for (const Event &event : events()) {
        if (event.name != name)
            continue;
        prepare(event, size);
        event.before();
        void (*run)() = event.plugin;
        if (what != "plugin")
            run = what == "calls" ? event.calls : event.decode;
        const size_t blocks = allocationCount();
        const size_t heap = mallinfo2().uordblks;
        CALLGRIND_TOGGLE_COLLECT;
        run();
        CALLGRIND_TOGGLE_COLLECT;
        printf("blocks %zu heap %zd\n", allocationCount() - blocks,
               ssize_t(mallinfo2().uordblks - heap));
        return 0;
    }
    fprintf(stderr, "There is no event \"%s\"\n", name.c_str());
    return 2;
}

}

int main(int argc, char *argv[])
{
    // In a client, our blocks are not the last on the heap. Here they would be, and the C library
    // would return them to the system after each event and fetch them again page by page.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const QTemporaryDir folder;
    plainHost::setConfigPath(folder.path().toUtf8());
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) {
        fprintf(stderr,
                "usage: bench_plugin LIBRARY [--list | --once EVENT SIZE WHAT | option of Google "
                "Benchmark...]\n");
        return 2;
    }
    const QString error = plugin.open(QString::fromStdString(arguments[0]));
    if (!error.isEmpty()) {
        fprintf(stderr, "%s\n", qPrintable(error));
        return 2;
    }
    table = plainHost::functions();
    standin::Table slots;
    memcpy(&slots, &table, sizeof slots);
    plugin.setFunctionPointers(slots);
    plugin.init();
    int status = 0;
    if (arguments.size() > 1 && arguments[1] == "--list") {
        for (const Event &event : events()) {
            for (int size : event.sizes)
                printf("%s/%d/\n", event.name, size);
        }
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
