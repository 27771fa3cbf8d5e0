#include "camera/imagememory.h"
#include "camera/imagesequence.h"
#include "tests/camera/apispy.h"
#include "tests/testutil/testutil.h"

#include <QtTest>

#include <memory>
#include <stdexcept>

class tst_ImageSequence : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void allocateAndClear();
    void allocateFreesFirst();
    void failures_data();
    void failures();
    void destructorClears();

private:
    QVector<double> freedIds() const;

    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    cameraHandle m_handle = 0;
    const ImageInfo m_info {1280, 1024, 8};
};

void tst_ImageSequence::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
    uint32_t word = 1 | TV_OPEN_BY_DEVICE_ID;
    QCOMPARE(tv_InitCamera(&word, nullptr), TV_SUCCESS);
    m_handle = word;
}

void tst_ImageSequence::cleanupTestCase()
{
    tv_ExitCamera(m_handle);
}

void tst_ImageSequence::init()
{
    ApiSpy::reset();
}

QVector<double> tst_ImageSequence::freedIds() const
{
    QVector<double> ids;
    const QVector<ApiSpy::Call> calls = ApiSpy::calls("tv_FreeImageMem");
    for (const ApiSpy::Call &call : calls)
        ids.append(call.args.at(1));
    return ids;
}

void tst_ImageSequence::allocateAndClear()
{
    ImageSequence sequence;
    sequence.clear();
    QCOMPARE(ApiSpy::count("tv_ClearSequence"), 0);

    sequence.allocate(m_handle, 3, m_info);
    QCOMPARE(sequence.size(), 3);
    const QVector<ApiSpy::Call> allocations = ApiSpy::calls("tv_AllocImageMem");
    QCOMPARE(allocations.size(), 3);
    for (const ApiSpy::Call &call : allocations)
        QCOMPARE(call.args, (QVector<double> {double(m_handle), 1280, 1024, 8}));
    const QVector<ApiSpy::Call> added = ApiSpy::calls("tv_AddToSequence");
    QCOMPARE(added.size(), 3);
    QVector<double> ids;
    for (int i = 0; i < 3; ++i) {
        const ImageMemory *buffer = sequence.buffer(i);
        QVERIFY(buffer->memory() != nullptr);
        QCOMPARE(added.at(i).args.at(1), double(buffer->id()));
        QVERIFY(!ids.contains(buffer->id()));
        ids.append(buffer->id());
    }

    // Cleared once, then freed in order of allocation.
    sequence.clear();
    QCOMPARE(sequence.size(), 0);
    QCOMPARE(ApiSpy::count("tv_ClearSequence"), 1);
    QCOMPARE(freedIds(), ids);
    sequence.clear();
    QCOMPARE(ApiSpy::count("tv_ClearSequence"), 1);
    QCOMPARE(ApiSpy::count("tv_FreeImageMem"), 3);
}

void tst_ImageSequence::allocateFreesFirst()
{
    ImageSequence sequence;
    sequence.allocate(m_handle, 3, m_info);
    ApiSpy::reset();
    sequence.allocate(m_handle, 2, ImageInfo(640, 480, 32));
    QCOMPARE(sequence.size(), 2);
    QCOMPARE(sequence.info().bitsPerPixel, 32);

    const QVector<ApiSpy::Call> calls = ApiSpy::calls();
    QStringList order;
    for (const ApiSpy::Call &call : calls)
        order.append(QString::fromLatin1(call.function));
    QCOMPARE(order,
             (QStringList {"tv_ClearSequence", "tv_FreeImageMem", "tv_FreeImageMem",
                           "tv_FreeImageMem", "tv_AllocImageMem", "tv_AddToSequence",
                           "tv_AllocImageMem", "tv_AddToSequence"}));
}

void tst_ImageSequence::failures_data()
{
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("buffersLeft");
    QTest::addColumn<int>("freedAtOnce");

    QTest::newRow("second registration")
            << QByteArray("tv_AddToSequence") << "Can't add buffer to sequence." << 1 << 1;
    QTest::newRow("third allocation")
            << QByteArray("tv_AllocImageMem") << "Can't allocate image memory." << 2 << 0;
}

void tst_ImageSequence::failures()
{
    QFETCH(QByteArray, function);
    QFETCH(QString, message);
    QFETCH(int, buffersLeft);
    QFETCH(int, freedAtOnce);

    ImageSequence sequence;
    ApiSpy::fail(function.constData(), 9, 1, -1, buffersLeft);
    try {
        sequence.allocate(m_handle, 3, m_info);
        QFAIL("allocate did not throw");
    } catch (const std::runtime_error &error) {
        QCOMPARE(QString::fromUtf8(error.what()), message);
    }
    // A buffer that could not be registered is freed at once, unregistered.
    QCOMPARE(sequence.size(), buffersLeft);
    QCOMPARE(ApiSpy::count("tv_FreeImageMem"), freedAtOnce);
    QCOMPARE(ApiSpy::count("tv_ClearSequence"), 0);

    sequence.clear();
    QCOMPARE(ApiSpy::count("tv_ClearSequence"), 1);
    QCOMPARE(ApiSpy::count("tv_FreeImageMem"), freedAtOnce + buffersLeft);
    // Every buffer that the library handed out went back.
    const int handedOut
            = ApiSpy::count("tv_AllocImageMem") - (function == "tv_AllocImageMem" ? 1 : 0);
    QCOMPARE(ApiSpy::count("tv_FreeImageMem"), handedOut);
}

void tst_ImageSequence::destructorClears()
{
    {
        ImageSequence sequence;
        sequence.allocate(m_handle, 3, m_info);
    }
    QCOMPARE(ApiSpy::count("tv_ClearSequence"), 1);
    QCOMPARE(ApiSpy::count("tv_FreeImageMem"), 3);
}

QTEST_GUILESS_MAIN(tst_ImageSequence)
#include "tst_imagesequence.moc"
