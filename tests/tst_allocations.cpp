#include "bench/allocations.h"
#include "bench/plain_host.h"
#include "plugins/staybolt/modelupdate.h"
#include "shared/host/funcwrapper.h"

#include <QTest>

/// How many blocks of memory each further record may cost, including those of the host's answers.
class TestAllocations : public QObject
{
    Q_OBJECT

    /// How many blocks each further record costs when it is read for the first time, and when it is
    /// read again unchanged.
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
        // 4 texts from the host. The first time also 2 decoded texts, 7 blocks of the record, 3 of
        // the tables, and the id twice, once to look for a known record. A name that isn't ASCII is
        // decoded each time.
        isUnder(perRecord([] { refreshChannelClients(plainHost::connection, 1); },
                          [](int size) { plainHost::setSize(size, 1); }),
                18.1, 5.2);
    }

    void channelRecordStaysUnderItsCeiling()
    {
        // 1 text from the host. The first time also 1 decoded text, 5 blocks of the record, 2 of
        // the table, and its id.
        isUnder(perRecord([] { refreshChannels(plainHost::connection); },
                          [](int size) { plainHost::setSize(1, size); }),
                10.1, 2.1);
    }
};

QTEST_GUILESS_MAIN(TestAllocations)
#include "tst_allocations.moc"
