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
    void initTestCase();
    void init();
    void pool();
    void registersCodes_data();
    void registersCodes();
    void stop();
    void reportsWaitedCodes();
    void startFailures();

private:
    QVector<double> codesOf(const ApiSpy::Call &call) const { return call.args.mid(2); }

    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
};

void tst_EventThread::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
}

void tst_EventThread::init()
{
    ApiSpy::reset();
}

void tst_EventThread::pool()
{
    QCOMPARE(EventCodePool::available(), std::size_t(200));

    // Taken from the back, given back to the back.
    QCOMPARE(EventCodePool::take(), 10199u);
    QCOMPARE(EventCodePool::take(), 10198u);
    EventCodePool::give(10198);
    QCOMPARE(EventCodePool::take(), 10198u);
    EventCodePool::give(10198);
    EventCodePool::give(10199);

    {
        EventThread first;
        EventThread second;
        QCOMPARE(first.ownEvent(), 10199u);
        QCOMPARE(second.ownEvent(), 10198u);
    }
    // The second was destroyed first, so its code went back first.
    QCOMPARE(EventCodePool::available(), std::size_t(200));

    QVector<unsigned int> taken;
    while (EventCodePool::available() > 0)
        taken.append(EventCodePool::take());
    QCOMPARE(taken.size(), 200);
    QCOMPARE(taken.last(), 10000u);
    QVERIFY_EXCEPTION_THROWN(EventCodePool::take(), std::runtime_error);
    try {
        EventThread tooMany;
        QFAIL("a thread was made with the pool empty");
    } catch (const std::runtime_error &error) {
        QCOMPARE(QString::fromUtf8(error.what()), QStringLiteral("Too many events :D"));
    }

    // A returned code goes out again at once.
    EventCodePool::give(10042);
    {
        EventThread reused;
        QCOMPARE(reused.ownEvent(), 10042u);
    }
    QCOMPARE(EventCodePool::take(), 10042u);
    // The code was one of those taken above: all go back now.
    for (unsigned int code : qAsConst(taken))
        EventCodePool::give(code);
    QCOMPARE(EventCodePool::available(), std::size_t(200));
}

void tst_EventThread::registersCodes_data()
{
    QTest::addColumn<bool>("camera");
    QTest::addColumn<QVector<double>>("codes");
    QTest::newRow("device events") << false << QVector<double> {130, 129};
    QTest::newRow("camera events") << true << QVector<double> {2, 9, 128, 8};
}

void tst_EventThread::registersCodes()
{
    QFETCH(bool, camera);
    QFETCH(QVector<double>, codes);

    cameraHandle handle = 0;
    if (camera) {
        uint32_t word = 1 | TV_OPEN_BY_DEVICE_ID;
        QCOMPARE(tv_InitCamera(&word, nullptr), TV_SUCCESS);
        handle = word;
        QVERIFY(handle != 0);
    }
    ApiSpy::reset();

    {
        EventThread thread;
        std::vector<unsigned int> events;
        for (double code : qAsConst(codes))
            events.push_back(unsigned(code));
        QCOMPARE(thread.start(handle, events), 0);
        QVERIFY(thread.isRunning());

        QVector<double> expected = codes;
        expected.append(thread.ownEvent());
        QCOMPARE(thread.events().back(), thread.ownEvent());

        const QVector<ApiSpy::Call> registered = ApiSpy::eventCalls(TV_EVT_OP_REGISTER);
        QCOMPARE(registered.size(), expected.size());
        for (int i = 0; i < registered.size(); ++i) {
            QCOMPARE(registered.at(i).args.at(0), double(handle));
            QCOMPARE(codesOf(registered.at(i)), QVector<double> {expected.at(i)});
        }
        const QVector<ApiSpy::Call> enabled = ApiSpy::eventCalls(TV_EVT_OP_ENABLE);
        QCOMPARE(enabled.size(), 1);
        QCOMPARE(codesOf(enabled.first()), expected);

        thread.stop();
        QVERIFY(thread.wait(10000));
        const QVector<ApiSpy::Call> released = ApiSpy::eventCalls(TV_EVT_OP_RELEASE);
        QCOMPARE(released.size(), 1);
        QCOMPARE(released.first().args.at(0), double(handle));
        QCOMPARE(codesOf(released.first()), expected);
    }
    if (handle != 0)
        tv_ExitCamera(handle);
}

void tst_EventThread::stop()
{
    EventThread thread;
    QVector<uint> reported;
    connect(&thread, &EventThread::eventhappen, this, [&](uint code) { reported.append(code); });

    // Idle: nothing goes to the library.
    thread.stop();
    QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_SIGNAL).size(), 0);

    QCOMPARE(thread.start(0, TV_EVT_DEVICE_ARRIVED), 0);
    QCOMPARE(thread.events(), (std::vector<unsigned int> {130, thread.ownEvent()}));
    thread.stop();
    const QVector<ApiSpy::Call> signalled = ApiSpy::eventCalls(TV_EVT_OP_SIGNAL);
    QCOMPARE(signalled.size(), 1);
    QCOMPARE(codesOf(signalled.first()), QVector<double> {double(thread.ownEvent())});
    QVERIFY(thread.wait(10000));
    QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_RELEASE).size(), 1);

    // The wake-up is not reported, and a second stop sends nothing.
    QCoreApplication::processEvents();
    QCOMPARE(reported.size(), 0);
    thread.stop();
    QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_SIGNAL).size(), 1);

    // The same object starts again with the same code.
    const unsigned int own = thread.ownEvent();
    QCOMPARE(thread.start(0, std::vector<unsigned int> {129}), 0);
    QCOMPARE(thread.ownEvent(), own);
    thread.stop();
    QVERIFY(thread.wait(10000));
}

void tst_EventThread::reportsWaitedCodes()
{
    EventThread thread;
    // Received queued on this thread, as Camera receives them.
    QVector<uint> reported;
    connect(&thread, &EventThread::eventhappen, this, [&](uint code) { reported.append(code); });
    // Failed waits are retried at once.
    ApiSpy::fail("tv_Event", 1, 3, TV_EVT_OP_WAIT);
    QCOMPARE(thread.start(0, std::vector<unsigned int> {130, 129}), 0);

    // While running, a code in the list set from outside is reported, even
    // the thread's own one.
    unsigned int code = thread.ownEvent();
    QCOMPARE(tv_Event(0, TV_EVT_OP_SIGNAL, &code, sizeof(code)), TV_SUCCESS);
    QTRY_COMPARE_WITH_TIMEOUT(reported.size(), 1, 10000);
    QCOMPARE(reported.first(), thread.ownEvent());

    thread.stop();
    QVERIFY(thread.wait(10000));
    QCoreApplication::processEvents();
    QCOMPARE(reported.size(), 1);
}

void tst_EventThread::startFailures()
{
    {
        EventThread thread;
        // The second registration fails.
        ApiSpy::fail("tv_Event", 7, 1, TV_EVT_OP_REGISTER, 1);
        QCOMPARE(thread.start(0, std::vector<unsigned int> {130, 129}), -1);
        QVERIFY(!thread.isRunning());
        QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_REGISTER).size(), 2);
        QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_ENABLE).size(), 0);
        thread.stop();
        QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_SIGNAL).size(), 0);
    }
    ApiSpy::reset();
    {
        EventThread thread;
        ApiSpy::fail("tv_Event", 33, 1, TV_EVT_OP_ENABLE);
        QCOMPARE(thread.start(0, std::vector<unsigned int> {130, 129}), 33);
        QVERIFY(!thread.isRunning());
        QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_REGISTER).size(), 3);
    }
    // The destructor of an idle thread doesn't touch the library.
    QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_SIGNAL).size(), 0);
    QCOMPARE(ApiSpy::eventCalls(TV_EVT_OP_RELEASE).size(), 0);
}

QTEST_GUILESS_MAIN(tst_EventThread)
#include "tst_eventthread.moc"
