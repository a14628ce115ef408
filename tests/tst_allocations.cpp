#include "bench/allocations.h"
#include "bench/plain_host.h"
#include "plugins/staybolt/hostevents.h"
#include "shared/host/funcwrapper.h"

#include <QtTest>

/// What one record more may cost in blocks of memory, those of the client's answers included.
class TestAllocations : public QObject
{
    Q_OBJECT

    static double perRecord(void (*refresh)(), void (*resize)(int))
    {
        const auto count = [&](int size) {
            resize(size);
            refresh(); // from here on records are replaced
            const size_t before = allocationCount();
            refresh();
            return double(allocationCount() - before);
        };
        return (count(1100) - count(100)) / 1000;
    }

private Q_SLOTS:
    void initTestCase() { funcwrapper::instance()->setFunctions(plainHost::functions()); }

    void clientRecordStaysUnderItsCeiling()
    {
        // 4 texts from the client and 4 decoded, 7 of the record, 1 of the list, 1 of the id.
        const double count = perRecord([] { refreshChannelClients(plainHost::connection, 1); },
                                       [](int size) { plainHost::setSize(size, 1); });
        QVERIFY2(count > 8 && count <= 17.1, qPrintable(QString::number(count)));
    }

    void channelRecordStaysUnderItsCeiling()
    {
        // 1 text from the client and 1 decoded, 5 of the record, 1 of the list, 1 of the id.
        const double count = perRecord([] { refreshChannels(plainHost::connection); },
                                       [](int size) { plainHost::setSize(1, size); });
        QVERIFY2(count > 2 && count <= 9.1, qPrintable(QString::number(count)));
    }
};

QTEST_GUILESS_MAIN(TestAllocations)
#include "tst_allocations.moc"
