#include "shared/host/funcwrapper.h"
#include "shared/model/server.h"
#include "shared/settings/configuration.h"
#include "shared/singleton.h"

#include <QtTest>

#include <future>
#include <thread>
#include <vector>

namespace {

constexpr int threadCount = 4;

/// What each of many threads gets that set off together.
template<typename T>
std::vector<T *> race(const std::function<T *()> &get)
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
    std::vector<T *> got(threadCount);
    for (size_t i = 0; i < got.size(); ++i)
        got[i] = threads[i].get();
    return got;
}

template<typename T>
void sameForAll()
{
    const std::vector<T *> got = race<T>(&T::instance);
    QVERIFY(got.front());
    QCOMPARE(got, std::vector<T *>(threadCount, got.front()));
}

}

/// The only thing that may happen on several threads: the first use of each singleton.
class TestThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstUseGivesOneObject()
    {
        sameForAll<funcwrapper>();
        sameForAll<configuration>();
        sameForAll<server>();
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
            race<Counted>([&] {
                Counted *object = singletonInstance(instance, mutex);
                // Seen whole by whoever gets it, which the thread sanitizer watches.
                return object->value == 42 ? object : nullptr;
            });
            QCOMPARE(created.load(), round);
            delete instance.load();
        }
    }
};

QTEST_GUILESS_MAIN(TestThreads)
#include "tst_threads.moc"
