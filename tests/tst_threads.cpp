#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"
#include "shared/settings/configuration.h"
#include "shared/singleton.h"

#include <QTest>

#include <algorithm>
#include <future>
#include <thread>
#include <vector>

namespace {

constexpr int threadCount = 4;

/// Calls `get` on several threads at once. Returns what they got, null if it wasn't the same for
/// all.
template<typename T>
T *race(const std::function<T *()> &get)
{
    std::atomic<int> waiting{threadCount};
    std::vector<std::future<T *>> threads(threadCount);
    for (std::future<T *> &thread : threads) {
        thread = std::async(std::launch::async, [&] {
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            return get();
        });
    }
    T *const first = threads.front().get();
    const bool isSame =
        std::all_of(threads.begin() + 1, threads.end(),
                    [&](std::future<T *> &thread) { return thread.get() == first; });
    return isSame ? first : nullptr;
}

}

/// The first use of each singleton, the only thing that several threads may do at once.
class TestThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstUseGivesOneObject()
    {
        QVERIFY(race<funcwrapper>(&funcwrapper::instance));
        QVERIFY(race<configuration>(&configuration::instance));
        QVERIFY(race<server>(&server::instance));
    }

    void oneObjectIsCreated()
    {
        static std::atomic<int> created;
        struct Counted
        {
            Counted() { ++created; }
            int value = 42;
        };
        for (int round = 1; round <= 500; ++round) {
            std::atomic<Counted *> instance{nullptr};
            QMutex mutex;
            const Counted *got = race<Counted>([&] {
                Counted *object = singletonInstance(instance, mutex);
                // If the object isn't complete by now, the thread sanitizer notices.
                return object->value == 42 ? object : nullptr;
            });
            QVERIFY(got);
            QCOMPARE(created.load(), round);
            delete got;
        }
    }
};

QTEST_GUILESS_MAIN(TestThreads)
#include "tst_threads.moc"
