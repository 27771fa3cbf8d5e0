#include "camera/eventcodepool.h"
#include "camera/eventthread.h"
#include "tests/camera/apispy.h"
#include "tests/testutil/testutil.h"

#include <QtTest>

#include <memory>
#include <stdexcept>

class tst_EventThread : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_sim = std::make_unique<TestUtil::SimEnvironment>(); }
    void pool();
    void waitAndStop();
    void coalescedCode();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_EventThread::pool()
{
    // Codes are taken from the back of the pool and given back to the back.
    QVector<unsigned int> taken;
    while (EventCodePool::available() > 0)
        taken.append(EventCodePool::take());
    QCOMPARE(taken.size(), 200);
    QCOMPARE(taken.first(), 10199u);
    QCOMPARE(taken.last(), 10000u);
    try {
        EventThread tooMany;
        QFAIL("a thread was made with the pool empty");
    } catch (const std::runtime_error &error) {
        QCOMPARE(QString::fromUtf8(error.what()), QStringLiteral("Too many events :D"));
    }
    EventCodePool::give(10042);
    {
        EventThread reused;
        QCOMPARE(reused.ownEvent(), 10042u);
    }
    QCOMPARE(EventCodePool::take(), 10042u);
    for (unsigned int code : qAsConst(taken))
        EventCodePool::give(code);
}

void tst_EventThread::waitAndStop()
{
    uint32_t handle = 1 | TV_OPEN_BY_DEVICE_ID;
    QCOMPARE(tv_InitCamera(&handle, nullptr), TV_SUCCESS);
    ApiSpy::reset();
    {
        EventThread thread;
        QVector<uint> reported;
        connect(&thread, &EventThread::eventhappen, this,
                [&](uint code) { reported.append(code); });
        QCOMPARE(thread.start(handle, {2, 9, 128, 8}), 0);

        // Each code registered alone, then all enabled at once, own code last.
        const QString prefix = QString::number(handle) + QLatin1Char(' ');
        const QString own = QString::number(thread.ownEvent());
        const QString all = QStringLiteral("2 9 128 8 ") + own;
        QCOMPARE(ApiSpy::calls("tv_Event"),
                 (QStringList {prefix + "1 2", prefix + "1 9", prefix + "1 128", prefix + "1 8",
                               prefix + "1 " + own, prefix + "3 " + all}));

        // A code of the list set from outside is reported.
        unsigned int code = 128;
        QCOMPARE(tv_Event(handle, TV_EVT_OP_SIGNAL, &code, sizeof(code)), TV_SUCCESS);
        QTRY_COMPARE_WITH_TIMEOUT(reported, QVector<uint> {128}, 10000);

        // stop() wakes the wait with the own code, which is not reported, and
        // the thread releases its codes.
        ApiSpy::reset();
        thread.stop();
        QVERIFY(thread.wait(10000));
        QCoreApplication::processEvents();
        QCOMPARE(reported.size(), 1);
        QCOMPARE(ApiSpy::calls("tv_Event"),
                 (QStringList {prefix + "5 " + own, prefix + "2 " + all}));
    }
    tv_ExitCamera(handle);
}

void tst_EventThread::coalescedCode()
{
    uint32_t handle = 1 | TV_OPEN_BY_DEVICE_ID;
    QCOMPARE(tv_InitCamera(&handle, nullptr), TV_SUCCESS);
    ApiSpy::reset();
    {
        EventThread thread;
        thread.setCoalescedEvent(2);
        QVector<uint> reported;
        connect(&thread, &EventThread::eventhappen, this,
                [&](uint code) { reported.append(code); });
        QCOMPARE(thread.start(handle, {2, 9, 128, 8}), 0);

        // Set from outside one after another while nothing is handled here:
        // the coalesced code is reported once, the others every time.
        const auto signal = [handle](unsigned int code) {
            const int before = ApiSpy::reported(code, handle);
            QCOMPARE(tv_Event(handle, TV_EVT_OP_SIGNAL, &code, sizeof(code)), TV_SUCCESS);
            QElapsedTimer clock;
            clock.start();
            while (ApiSpy::reported(code, handle) == before && clock.elapsed() < 10000)
                QThread::yieldCurrentThread();
        };
        for (unsigned int code : {2u, 8u, 2u, 2u, 8u, 128u})
            signal(code);
        QTRY_COMPARE_WITH_TIMEOUT(reported, (QVector<uint> {2, 8, 8, 128}), 10000);
        QCOMPARE(thread.takeCoalescedCount(), 3);
        QCOMPARE(thread.takeCoalescedCount(), 0);

        // Once taken, the next occurrence is reported again.
        signal(2);
        QTRY_COMPARE_WITH_TIMEOUT(reported.size(), 5, 10000);
        QCOMPARE(reported.last(), 2u);

        // A new start forgets what was not taken.
        signal(2);
        thread.stop();
        QVERIFY(thread.wait(10000));
        QCOMPARE(thread.start(handle, {2}), 0);
        QCOMPARE(thread.takeCoalescedCount(), 0);
    }
    tv_ExitCamera(handle);
}

QTEST_GUILESS_MAIN(tst_EventThread)
#include "tst_eventthread.moc"
