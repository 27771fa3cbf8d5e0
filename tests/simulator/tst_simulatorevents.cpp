// Events of the simulated camera library: registration, auto-reset, waits
// across threads, user codes and the end of a camera.
#include "simulator/tavosim_control.h"
#include "tests/simulator/simcamera.h"
#include "tests/testutil/testutil.h"

#include <QtTest>

#include <future>
#include <pthread.h>

namespace {

// A wait on another thread; its result is (status, signaled).
std::future<std::pair<int32_t, uint32_t>>
waitAsync(cameraHandle handle, std::vector<uint32_t> codes, uint32_t timeoutMs = 0xFFFFFFFFu)
{
    return std::async(std::launch::async, [=]() mutable {
        EventWait wait {codes.data(), uint32_t(codes.size()), 0, timeoutMs, 0, 0};
        const int32_t status = tv_Event(handle, TV_EVT_OP_WAIT, &wait, sizeof wait);
        return std::make_pair(status, wait.signaled);
    });
}

void *waitOnDeviceEvents(void *argument)
{
    auto *wait = static_cast<EventWait *>(argument);
    tv_Event(0, TV_EVT_OP_WAIT, wait, sizeof *wait);
    return nullptr;
}

bool finishes(std::future<std::pair<int32_t, uint32_t>> &result, int ms = 20000)
{
    return result.wait_for(std::chrono::milliseconds(ms)) == std::future_status::ready;
}

} // namespace

class tst_SimulatorEvents : public QObject
{
    Q_OBJECT

private slots:
    void signalAcrossThreads();
    void arguments();
    void exitEndsWaits();
    void cancelledWait_data();
    void cancelledWait();
};

// A blocked wait woken by a signal from another thread, other calls going on
// meanwhile, the event thread's and the camera's tests show.
void tst_SimulatorEvents::signalAcrossThreads()
{
    TestUtil::SimEnvironment environment;
    uint32_t code = 10199;
    QCOMPARE(registerEvents(0, {code}), TV_SUCCESS);

    // Auto-reset: two signals before a wait are one event.
    tv_Event(0, TV_EVT_OP_SIGNAL, &code, 4);
    tv_Event(0, TV_EVT_OP_SIGNAL, &code, 4);
    auto first = waitAsync(0, {10199}, 1000);
    auto second = waitAsync(0, {10199}, 300);
    QVERIFY(finishes(first) && finishes(second));
    QCOMPARE((first.get().first == TV_SUCCESS) + (second.get().first == TV_SUCCESS), 1);

    // One signal wakes one of two waiters of the same code.
    auto a = waitAsync(0, {10199}, 3000);
    auto b = waitAsync(0, {10199}, 3000);
    QVERIFY(!finishes(a, 200) && !finishes(b, 0));
    tv_Event(0, TV_EVT_OP_SIGNAL, &code, 4);
    QVERIFY(finishes(a) && finishes(b));
    QCOMPARE((a.get().first == TV_SUCCESS) + (b.get().first == TV_SUCCESS), 1);

    QCOMPARE(tv_Event(0, TV_EVT_OP_RELEASE, &code, 4), TV_SUCCESS);
    QVERIFY(tv_Event(0, TV_EVT_OP_SIGNAL, &code, 4) != TV_SUCCESS); // released
}

void tst_SimulatorEvents::arguments()
{
    TestUtil::SimEnvironment environment;
    EventInit init {10000, 0, 0};
    QVERIFY(tv_Event(0, TV_EVT_OP_REGISTER, &init, 8) != TV_SUCCESS);
    QCOMPARE(tv_Event(0, TV_EVT_OP_REGISTER, &init, 12), TV_SUCCESS);
    EventInit bad {10200, 0, 0};
    QVERIFY(tv_Event(0, TV_EVT_OP_REGISTER, &bad, 12) != TV_SUCCESS);
    uint32_t code = 10000;
    QVERIFY(tv_Event(0, TV_EVT_OP_ENABLE, &code, 3) != TV_SUCCESS);
    QCOMPARE(tv_Event(0, TV_EVT_OP_ENABLE, &code, 4), TV_SUCCESS);
    QVERIFY(tv_Event(0, TV_EVT_OP_SIGNAL, &code, 8) != TV_SUCCESS);
    uint32_t unregistered = 10001;
    QVERIFY(tv_Event(0, TV_EVT_OP_SIGNAL, &unregistered, 4) != TV_SUCCESS);
    QCOMPARE(tv_Event(0, TV_EVT_OP_SIGNAL, &code, 4), TV_SUCCESS);
    EventWait wait {&code, 1, 0, 0xFFFFFFFFu, 0, 0};
    QVERIFY(tv_Event(0, TV_EVT_OP_WAIT, &wait, 24) != TV_SUCCESS);
    QCOMPARE(wait.signaled, 0u);
    QCOMPARE(tv_Event(0, TV_EVT_OP_WAIT, &wait, sizeof wait), TV_SUCCESS);
    QCOMPARE(wait.signaled, 10000u);
    QCOMPARE(tv_Event(0, TV_EVT_OP_RELEASE, &code, 4), TV_SUCCESS);
}

void tst_SimulatorEvents::exitEndsWaits()
{
    TestUtil::SimEnvironment environment;
    SimCamera camera(3);
    // A waiter left behind when the camera closes is let go with a failure.
    auto orphan = waitAsync(camera.handle, {camera.ownCode});
    QVERIFY(!finishes(orphan, 200));
    camera.close();
    QVERIFY(finishes(orphan));
    QVERIFY(orphan.get().first != TV_SUCCESS);
}

void tst_SimulatorEvents::cancelledWait_data()
{
    QTest::addColumn<uint32_t>("timeout");
    QTest::newRow("for ever") << 0xFFFFFFFFu;
    QTest::newRow("timed") << 60000u;
}

// A thread cancelled in a wait (as QThread::terminate does) leaves no waiter
// behind that could take a later event.
void tst_SimulatorEvents::cancelledWait()
{
    QFETCH(uint32_t, timeout);
    TestUtil::SimEnvironment environment;
    uint32_t code = 10100;
    QCOMPARE(registerEvents(0, {code}), TV_SUCCESS);
    EventWait wait {&code, 1, 0, timeout, 0, 0};
    pthread_t thread;
    QCOMPARE(pthread_create(&thread, nullptr, waitOnDeviceEvents, &wait), 0);
    // Acted on in the wait at the latest: nothing before it is a cancellation point.
    QCOMPARE(pthread_cancel(thread), 0);
    void *result = nullptr;
    QCOMPARE(pthread_join(thread, &result), 0);
    QCOMPARE(result, PTHREAD_CANCELED);

    QCOMPARE(tv_Event(0, TV_EVT_OP_SIGNAL, &code, 4), TV_SUCCESS);
    EventWait next {&code, 1, 0, 0, 0, 0};
    QCOMPARE(tv_Event(0, TV_EVT_OP_WAIT, &next, sizeof next), TV_SUCCESS);
    QCOMPARE(next.signaled, code);
    QCOMPARE(tv_Event(0, TV_EVT_OP_RELEASE, &code, 4), TV_SUCCESS);
}

QTEST_GUILESS_MAIN(tst_SimulatorEvents)
#include "tst_simulatorevents.moc"
