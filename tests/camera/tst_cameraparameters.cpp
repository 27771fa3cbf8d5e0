#include "camera/camera.h"
#include "tests/camera/apispy.h"
#include "tests/testutil/testutil.h"

#include <QtTest>

#include <cmath>
#include <functional>
#include <memory>
#include <stdexcept>

namespace {

// The last value of each parameter signal, and the order of the signals.
class ParameterLog : public QObject
{
public:
    explicit ParameterLog(Camera *camera)
    {
        connect(camera, &Camera::pixelclockChanged, this, [this](CameraParameter<int> &p) {
            pixelclock = p;
            names.append(QStringLiteral("pixelclock"));
        });
        connect(camera, &Camera::framerateChanged, this, [this](CameraParameter<double> &p) {
            framerate = p;
            names.append(QStringLiteral("framerate"));
        });
        connect(camera, &Camera::exposureChanged, this, [this](CameraParameter<double> &p) {
            exposure = p;
            names.append(QStringLiteral("exposure"));
        });
        connect(camera, &Camera::mastergainChanged, this, [this](CameraParameter<int> &p) {
            mastergain = p;
            names.append(QStringLiteral("mastergain"));
        });
    }

    CameraParameter<int> pixelclock;
    CameraParameter<double> framerate;
    CameraParameter<double> exposure;
    CameraParameter<int> mastergain;
    QStringList names;
};

QStringList functionsCalled()
{
    QStringList result;
    const QVector<ApiSpy::Call> calls = ApiSpy::calls();
    for (const ApiSpy::Call &call : calls)
        result.append(QString::fromLatin1(call.function));
    return result;
}

// The value argument of the last call of a function.
double lastArgument(const char *function, int index = 1)
{
    const QVector<ApiSpy::Call> calls = ApiSpy::calls(function);
    return calls.isEmpty() ? qQNaN() : calls.last().args.value(index, qQNaN());
}

double truncated(double value)
{
    return double(int32_t(value));
}

} // namespace

class tst_CameraParameters : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void chainOnOpening();
    void pixelclock();
    void framerate();
    void clamping_data();
    void clamping();
    void guards_data();
    void guards();
    void relative();
    void withoutCamera();
    void updates();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    std::unique_ptr<Camera> m_camera;
    std::unique_ptr<ParameterLog> m_log;
};

void tst_CameraParameters::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
}

void tst_CameraParameters::init()
{
    ApiSpy::reset();
    m_camera = std::make_unique<Camera>();
    m_log = std::make_unique<ParameterLog>(m_camera.get());
    m_camera->open(1);
}

void tst_CameraParameters::cleanup()
{
    m_log.reset();
    m_camera.reset();
}

void tst_CameraParameters::chainOnOpening()
{
    // From the pixel clock down to exposure, then the gain.
    QCOMPARE(m_log->names, (QStringList {"pixelclock", "framerate", "exposure", "mastergain"}));
    QCOMPARE(m_log->pixelclock.min, 5);
    QCOMPARE(m_log->pixelclock.max, 43);
    QCOMPARE(m_log->pixelclock.inc, 1);
    QCOMPARE(m_log->pixelclock.value, tv_SetPixelClock(m_camera->handle(), TV_CLOCK_QUERY_DEFAULT));
    QCOMPARE(m_log->mastergain.min, 0);
    QCOMPARE(m_log->mastergain.max, 100);

    double minTime = 0, maxTime = 0, interval = 0;
    tv_GetFrameTimeRange(m_camera->handle(), &minTime, &maxTime, &interval);
    QCOMPARE(m_log->framerate.min, 1.0 / maxTime);
    QCOMPARE(m_log->framerate.max, 1.0 / minTime);
    QCOMPARE(m_log->framerate.inc,
             (1.0 / minTime - 1.0 / maxTime) / ((maxTime - minTime) / interval));
    double exposure = 0;
    tv_SetExposureTime(m_camera->handle(), TV_EXPOSURE_QUERY_CURRENT, &exposure);
    QCOMPARE(m_log->exposure.value, exposure);
    QVERIFY(m_log->exposure.max >= m_log->exposure.min);
}

void tst_CameraParameters::pixelclock()
{
    const double rateBefore = m_log->framerate.min;
    m_log->names.clear();
    ApiSpy::reset();
    m_camera->setPixelclock(20);
    QCOMPARE(m_log->names, (QStringList {"pixelclock", "framerate", "exposure"}));
    QCOMPARE(m_log->pixelclock.value, 20);
    QCOMPARE(functionsCalled(),
             (QStringList {"tv_SetPixelClock", "tv_GetFrameTimeRange", "tv_SetFrameRate",
                           "tv_GetExposureRange", "tv_SetExposureTime", "tv_SetExposureTime"}));
    QCOMPARE(lastArgument("tv_SetPixelClock"), 20.0);
    QCOMPARE(ApiSpy::calls("tv_SetExposureTime").first().args.at(1), TV_EXPOSURE_QUERY_CURRENT);
    // A slower clock allows slower rates.
    QVERIFY(m_log->framerate.min < rateBefore);

    // The same value again: no signal of its own, but applied and passed down.
    m_log->names.clear();
    ApiSpy::reset();
    m_camera->setPixelclock(20);
    QCOMPARE(m_log->names, (QStringList {"framerate", "exposure"}));
    QCOMPARE(lastArgument("tv_SetPixelClock"), 20.0);
}

void tst_CameraParameters::framerate()
{
    const CameraParameter<double> range = m_log->framerate;
    const double wanted = range.min + (range.max - range.min) / 3;
    m_log->names.clear();
    ApiSpy::reset();
    m_camera->setFramerate(wanted);
    QCOMPARE(m_log->names, (QStringList {"framerate", "exposure"}));
    QCOMPARE(lastArgument("tv_SetFrameRate"), wanted);
    // The stored rate is the one in force.
    double actual = 0;
    tv_SetFrameRate(m_camera->handle(), m_log->framerate.value, &actual);
    QCOMPARE(m_log->framerate.value, actual);

    // An unchanged rate isn't set again, but exposure is refreshed.
    m_log->names.clear();
    ApiSpy::reset();
    m_camera->setFramerate(m_log->framerate.value);
    QCOMPARE(m_log->names, QStringList {"exposure"});
    QCOMPARE(ApiSpy::count("tv_SetFrameRate"), 0);
    QCOMPARE(ApiSpy::count("tv_GetExposureRange"), 1);
}

void tst_CameraParameters::clamping_data()
{
    QTest::addColumn<QString>("parameter");
    QTest::addColumn<bool>("above");
    for (const char *name : {"pixelclock", "framerate", "exposure", "mastergain"}) {
        QTest::newRow(qPrintable(QStringLiteral("%1 above").arg(QLatin1String(name))))
                << QString::fromLatin1(name) << true;
        QTest::newRow(qPrintable(QStringLiteral("%1 below").arg(QLatin1String(name))))
                << QString::fromLatin1(name) << false;
    }
}

void tst_CameraParameters::clamping()
{
    QFETCH(QString, parameter);
    QFETCH(bool, above);
    const double far = above ? 1e7 : -1e7;

    if (parameter == QLatin1String("pixelclock")) {
        const int expected = above ? m_log->pixelclock.max : m_log->pixelclock.min;
        ApiSpy::reset();
        m_camera->setPixelclock(int(far));
        QCOMPARE(m_log->pixelclock.value, expected);
        QCOMPARE(lastArgument("tv_SetPixelClock"), double(expected));
    } else if (parameter == QLatin1String("framerate")) {
        const double expected = above ? m_log->framerate.max : m_log->framerate.min;
        ApiSpy::reset();
        m_camera->setFramerate(far);
        QCOMPARE(lastArgument("tv_SetFrameRate"), expected);
    } else if (parameter == QLatin1String("exposure")) {
        const double expected = above ? m_log->exposure.max : m_log->exposure.min;
        ApiSpy::reset();
        m_camera->setExposure(far);
        QCOMPARE(lastArgument("tv_SetExposureTime"), expected);
    } else {
        const int expected = above ? 100 : 0;
        ApiSpy::reset();
        m_camera->setMastergain(int(far));
        QCOMPARE(m_log->mastergain.value, expected);
        QCOMPARE(ApiSpy::calls("tv_SetHardwareGain").last().args,
                 (QVector<double> {double(m_camera->handle()), double(expected), -1, -1, -1}));
    }
}

void tst_CameraParameters::guards_data()
{
    QTest::addColumn<QString>("parameter");
    QTest::newRow("pixel clock") << "pixelclock";
    QTest::newRow("frame rate") << "framerate";
    QTest::newRow("exposure") << "exposure";
    QTest::newRow("gain") << "mastergain";
}

void tst_CameraParameters::guards()
{
    QFETCH(QString, parameter);
    Camera *camera = m_camera.get();
    int echoes = 0;

    // A slot of the change signal sets the parameter again, as a widget that
    // takes over the new value does: the inner call returns at once.
    if (parameter == QLatin1String("pixelclock")) {
        connect(camera, &Camera::pixelclockChanged, this, [&] {
            ++echoes;
            camera->setPixelclock(7);
            camera->setPixelclockRelative(9);
        });
        ApiSpy::reset();
        camera->setPixelclock(12);
        QCOMPARE(ApiSpy::count("tv_SetPixelClock"), 1);
        QCOMPARE(lastArgument("tv_SetPixelClock"), 12.0);
    } else if (parameter == QLatin1String("framerate")) {
        const double other = m_log->framerate.min;
        connect(camera, &Camera::framerateChanged, this, [&] {
            ++echoes;
            camera->setFramerate(other);
        });
        ApiSpy::reset();
        camera->setFramerate(m_log->framerate.max);
        QCOMPARE(ApiSpy::count("tv_SetFrameRate"), 1);
        QCOMPARE(lastArgument("tv_SetFrameRate"), m_log->framerate.max);
        QCOMPARE(ApiSpy::count("tv_GetExposureRange"), 1);
    } else if (parameter == QLatin1String("exposure")) {
        const double other = m_log->exposure.min;
        connect(camera, &Camera::exposureChanged, this, [&] {
            ++echoes;
            camera->setExposure(other);
            camera->setExposureRelative(0);
        });
        ApiSpy::reset();
        camera->setExposure(m_log->exposure.max);
        QCOMPARE(ApiSpy::count("tv_SetExposureTime"), 1);
        QCOMPARE(lastArgument("tv_SetExposureTime"), m_log->exposure.max);
    } else {
        connect(camera, &Camera::mastergainChanged, this, [&] {
            ++echoes;
            camera->setMastergain(3);
        });
        ApiSpy::reset();
        camera->setMastergain(77);
        QCOMPARE(ApiSpy::count("tv_SetHardwareGain"), 1);
        QCOMPARE(lastArgument("tv_SetHardwareGain"), 77.0);
    }
    QCOMPARE(echoes, 1);
}

void tst_CameraParameters::relative()
{
    // A value becomes a step count, handed on as if it were a value.
    ApiSpy::reset();
    m_camera->setPixelclockRelative(30);
    QCOMPARE(lastArgument("tv_SetPixelClock"), double(30 - m_log->pixelclock.min));

    m_camera->setExposure(m_log->exposure.max);
    const CameraParameter<double> exposure = m_log->exposure;
    const int exposureInput = int(exposure.min + 3.7 * exposure.inc);
    const double exposureSteps = truncated((exposureInput - exposure.min) / exposure.inc);
    ApiSpy::reset();
    m_camera->setExposureRelative(exposureInput);
    QCOMPARE(lastArgument("tv_SetExposureTime"), qBound(exposure.min, exposureSteps, exposure.max));

    const CameraParameter<double> rate = m_log->framerate;
    QVERIFY(rate.inc > 0);
    const int rateInput = 3;
    const double rateSteps = truncated((rateInput - rate.min) / rate.inc);
    const double expectedRate = qBound(rate.min, rateSteps, rate.max);
    ApiSpy::reset();
    m_camera->setFramerateRelative(rateInput);
    if (expectedRate != rate.value)
        QCOMPARE(lastArgument("tv_SetFrameRate"), expectedRate);
    else
        QCOMPARE(ApiSpy::count("tv_SetFrameRate"), 0);
    QCOMPARE(ApiSpy::count("tv_GetExposureRange"), 1);
}

void tst_CameraParameters::withoutCamera()
{
    Camera closed;
    ParameterLog log(&closed);
    ApiSpy::reset();
    // Ranges of 0 to 0 clamp every value to 0, and the calls go out with
    // handle 0.
    closed.setMastergain(70);
    QCOMPARE(ApiSpy::calls("tv_SetHardwareGain").last().args, (QVector<double> {0, 0, -1, -1, -1}));
    QVERIFY(log.names.isEmpty());
    closed.setPixelclockRelative(12);
    QCOMPARE(lastArgument("tv_SetPixelClock", 0), 0.0);
    QCOMPARE(lastArgument("tv_SetPixelClock"), 0.0);
    QCOMPARE(log.names, (QStringList {"framerate", "exposure"}));
    // With no frame times from the library the rate range is 1 to 1.
    QCOMPARE(log.framerate.min, 1.0);
    QCOMPARE(log.framerate.max, 1.0);
}

void tst_CameraParameters::updates()
{
    m_log->names.clear();
    ApiSpy::reset();
    m_camera->updateMastergain();
    QCOMPARE(m_log->names, QStringList {"mastergain"});
    QCOMPARE(ApiSpy::calls("tv_SetHardwareGain").last().args,
             (QVector<double> {double(m_camera->handle()), double(TV_GAIN_QUERY_MASTER), -1, -1,
                               -1}));

    m_log->names.clear();
    m_camera->updateExposure();
    QCOMPARE(m_log->names, QStringList {"exposure"});

    m_log->names.clear();
    m_camera->updatePixelclock();
    QCOMPARE(m_log->names, (QStringList {"pixelclock", "framerate", "exposure"}));

    // Only the pixel clock update reports failures.
    int32_t code = 3;
    char *text = nullptr;
    const QString expected = tv_GetError(m_camera->handle(), &code, &text) == TV_SUCCESS && text
            ? QString::fromUtf8(text)
            : QStringLiteral("Unknown error.");
    ApiSpy::fail("tv_GetPixelClockRange", 3, 1);
    try {
        m_camera->updatePixelclock();
        QFAIL("no exception");
    } catch (const std::runtime_error &error) {
        QCOMPARE(QString::fromUtf8(error.what()), expected);
    }
    ApiSpy::fail("tv_SetPixelClock", 3, 1, m_log->pixelclock.value);
    QVERIFY_EXCEPTION_THROWN(m_camera->updatePixelclock(), std::runtime_error);
    ApiSpy::fail("tv_GetFrameTimeRange", 3, 1);
    m_camera->updateFramerate();
    QCOMPARE(m_log->framerate.min, 1.0);
    QCOMPARE(m_log->framerate.max, 1.0);
}

QTEST_GUILESS_MAIN(tst_CameraParameters)
#include "tst_cameraparameters.moc"
