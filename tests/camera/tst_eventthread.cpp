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
    void init()
    {
        m_handle = 1 | TV_OPEN_BY_DEVICE_ID;
        QCOMPARE(tv_InitCamera(&m_handle, nullptr), TV_SUCCESS);
        ApiSpy::reset();
        m_reported.clear();
    }
    void cleanup()
    {
        m_thread.reset();
        tv_ExitCamera(m_handle);
    }
    void pool();
    void waitAndStop();
    void coalescedCode();

private:
    // A thread on the camera for the codes 2, 9, 128 and 8; its reports go to m_reported.
    int startThread(unsigned int coalesced = 0)
    {
        m_thread = std::make_unique<EventThread>();
        m_thread->setCoalescedEvent(coalesced);
        connect(m_thread.get(), &EventThread::eventhappen, this,
                [this](uint code) { m_reported.append(code); });
        return m_thread->start(m_handle, {2, 9, 128, 8});
    }

    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    std::unique_ptr<EventThread> m_thread;
    uint32_t m_handle = 0;
    QVector<uint> m_reported;
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
    QCOMPARE(startThread(), 0);
    EventThread &thread = *m_thread;
    // Each code registered alone, then all enabled at once, own code last.
    const QString prefix = QString::number(m_handle) + QLatin1Char(' ');
    const QString own = QString::number(thread.ownEvent());
    const QString all = QStringLiteral("2 9 128 8 ") + own;
    QCOMPARE(ApiSpy::calls("tv_Event"),
             (QStringList {prefix + "1 2", prefix + "1 9", prefix + "1 128", prefix + "1 8",
                           prefix + "1 " + own, prefix + "3 " + all}));

    // A code of the list set from outside is reported.
    unsigned int code = 128;
    QCOMPARE(tv_Event(m_handle, TV_EVT_OP_SIGNAL, &code, sizeof(code)), TV_SUCCESS);
    QTRY_COMPARE_WITH_TIMEOUT(m_reported, QVector<uint> {128}, 10000);

    // stop() wakes the wait with the own code, which is not reported, and
    // the thread releases its codes.
    ApiSpy::reset();
    thread.stop();
    QVERIFY(thread.wait(10000));
    QCoreApplication::processEvents();
    QCOMPARE(m_reported.size(), 1);
    QCOMPARE(ApiSpy::calls("tv_Event"), (QStringList {prefix + "5 " + own, prefix + "2 " + all}));
}

void tst_EventThread::coalescedCode()
{
    QCOMPARE(startThread(2), 0);
    EventThread &thread = *m_thread;
    // Set from outside one after another while nothing is handled here:
    // the coalesced code is reported once, the others every time.
    const auto signal = [this](unsigned int code) {
        const int before = ApiSpy::reported(code, m_handle);
        QCOMPARE(tv_Event(m_handle, TV_EVT_OP_SIGNAL, &code, sizeof(code)), TV_SUCCESS);
        QVERIFY(ApiSpy::awaitReported(code, m_handle, before + 1));
    };
    for (unsigned int code : {2u, 8u, 2u, 2u, 8u, 128u})
        signal(code);
    QTRY_COMPARE_WITH_TIMEOUT(m_reported, (QVector<uint> {2, 8, 8, 128}), 10000);
    QCOMPARE(thread.takeCoalescedCount(), 3);
    QCOMPARE(thread.takeCoalescedCount(), 0);

    // Once taken, the next occurrence is reported again.
    signal(2);
    QTRY_COMPARE_WITH_TIMEOUT(m_reported.size(), 5, 10000);
    QCOMPARE(m_reported.last(), 2u);

    // A new start forgets what was not taken.
    signal(2);
    thread.stop();
    QVERIFY(thread.wait(10000));
    QCOMPARE(thread.start(m_handle, {2}), 0);
    QCOMPARE(thread.takeCoalescedCount(), 0);
}

QTEST_GUILESS_MAIN(tst_EventThread)
#include "tst_eventthread.moc"
