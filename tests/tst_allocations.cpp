#include "bench/allocations.h"
#include "bench/plain_host.h"
#include "plugins/staybolt/modelupdate.h"
#include "shared/host/funcwrapper.h"

#include <QtTest>

/// What one record more may cost in blocks of memory, those of the client's answers included.
class TestAllocations : public QObject
{
    Q_OBJECT

    /// Blocks that one record more costs when it is read for the first time, and when it is read
    /// again and is still the same.
    static QPair<double, double> perRecord(void (*refresh)(), void (*resize)(int))
    {
        const auto count = [&](int size) {
            resize(size);
            dropServer(plainHost::connection);
            const size_t before = allocationCount();
            refresh();
            const size_t first = allocationCount();
            refresh();
            return QPair<double, double>(double(first - before), double(allocationCount() - first));
        };
        const auto many = count(1100);
        const auto few = count(100);
        return {(many.first - few.first) / 1000, (many.second - few.second) / 1000};
    }

    static void isUnder(QPair<double, double> counts, double first, double again)
    {
        const QByteArray came =
            QByteArray::number(counts.first) + ' ' + QByteArray::number(counts.second);
        QVERIFY2(counts.first > 2 && counts.first <= first, came);
        QVERIFY2(counts.second > 1 && counts.second <= again, came);
    }

private Q_SLOTS:
    void initTestCase() { funcwrapper::instance()->setFunctions(plainHost::functions()); }

    void clientRecordStaysUnderItsCeiling()
    {
        // 4 texts from the client; the first time 2 decoded, 7 of the record, 3 of the tables and
        // the id, which is made once more to look for a record. A name beyond ASCII is decoded
        // again.
        isUnder(perRecord([] { refreshChannelClients(plainHost::connection, 1); },
                          [](int size) { plainHost::setSize(size, 1); }),
                18.1, 5.2);
    }

    void channelRecordStaysUnderItsCeiling()
    {
        // 1 text from the client; the first time 1 decoded, 5 of the record, 2 of the table and
        // its id.
        isUnder(perRecord([] { refreshChannels(plainHost::connection); },
                          [](int size) { plainHost::setSize(1, size); }),
                10.1, 2.1);
    }
};

QTEST_GUILESS_MAIN(TestAllocations)
#include "tst_allocations.moc"
