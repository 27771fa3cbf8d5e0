#include "camera/camera.h"
#include "tests/camera/apispy.h"
#include "tests/testutil/testutil.h"

#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

// The last value of each parameter signal, their order, and the messages.
class ParameterLog : public QObject
{
public:
    explicit ParameterLog(Camera *camera)
    {
        watch(camera, &Camera::pixelclockChanged, &pixelclock, "pixelclock");
        watch(camera, &Camera::framerateChanged, &framerate, "framerate");
        watch(camera, &Camera::exposureChanged, &exposure, "exposure");
        watch(camera, &Camera::mastergainChanged, &mastergain, "mastergain");
        connect(camera, &Camera::displayError, this, [this](QString text) { messages << text; });
    }

    template<typename T>
    void watch(Camera *camera, void (Camera::*signal)(CameraParameter<T> &),
               CameraParameter<T> *last, const char *name)
    {
        connect(camera, signal, this, [=](CameraParameter<T> &param) {
            *last = param;
            names << QString::fromLatin1(name);
        });
    }

    CameraParameter<int> pixelclock;
    CameraParameter<double> framerate;
    CameraParameter<double> exposure;
    CameraParameter<int> mastergain;
    QStringList names;
    QStringList messages;
};

// The first argument of every call of a function since the last reset.
QVector<double> arguments(const char *function)
{
    QVector<double> result;
    for (const QString &call : ApiSpy::calls(function))
        result.append(call.section(QLatin1Char(' '), 0, 0).toDouble());
    return result;
}

} // namespace

class tst_CameraParameters : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void setters();
    void autoConfig_data();
    void autoConfig();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    QTemporaryDir m_dir;
};

void tst_CameraParameters::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
    QVERIFY(QDir::setCurrent(m_dir.path())); // where cameraparameter.xml is read
}

void tst_CameraParameters::setters()
{
    Camera camera;
    ParameterLog log(&camera);
    camera.open(1);
    QCOMPARE(log.names, (QStringList {"pixelclock", "framerate", "exposure", "mastergain"}));
    QCOMPARE((QVector<int> {log.pixelclock.min, log.pixelclock.max, log.pixelclock.value}),
             (QVector<int> {5, 43, 43}));
    double minTime = 0, maxTime = 0, interval = 0;
    tv_GetFrameTimeRange(camera.handle(), &minTime, &maxTime, &interval);
    QCOMPARE(log.framerate.min, 1.0 / maxTime);
    QCOMPARE(log.framerate.max, 1.0 / minTime);
    QCOMPARE(log.framerate.inc, (1.0 / minTime - 1.0 / maxTime) / ((maxTime - minTime) / interval));

    // The first argument of each call of function that set() makes.
    const auto sent = [](const char *function, const std::function<void()> &set) {
        ApiSpy::reset();
        set();
        return arguments(function);
    };

    // The relative setters take a count of steps from the minimum.
    const CameraParameter<double> exposure = log.exposure, rate = log.framerate;
    QCOMPARE(sent("tv_SetExposureTime", [&] { camera.setExposureRelative(1); }),
             QVector<double> {double(int((1 - exposure.min) / exposure.inc))});
    QCOMPARE(sent("tv_SetFrameRate", [&] { camera.setFramerateRelative(2); }).value(0),
             qMin(double(int((2 - rate.min) / rate.inc)), rate.max));

    // A new clock passes down the chain, each step to the library in turn.
    log.names.clear();
    QCOMPARE(sent("tv_SetPixelClock", [&] { camera.setPixelclockRelative(30); }),
             QVector<double> {25});
    QCOMPARE(log.names, (QStringList {"pixelclock", "framerate", "exposure"}));
    QCOMPARE(ApiSpy::sequence(),
             (QStringList {"tv_SetPixelClock", "tv_GetFrameTimeRange", "tv_SetFrameRate",
                           "tv_GetExposureRange", "tv_SetExposureTime", "tv_SetExposureTime"}));

    // Each signal sets its parameter again, as a widget does: no echo. Out of range clamps.
    connect(&camera, &Camera::pixelclockChanged, this, [&] { camera.setPixelclock(7); });
    connect(&camera, &Camera::pixelclockChanged, this, [&] { camera.setPixelclockRelative(9); });
    connect(&camera, &Camera::framerateChanged, this, [&] { camera.setFramerate(2); });
    connect(&camera, &Camera::exposureChanged, this, [&] { camera.setExposure(3); });
    connect(&camera, &Camera::exposureChanged, this, [&] { camera.setExposureRelative(0); });
    connect(&camera, &Camera::mastergainChanged, this, [&] { camera.setMastergain(3); });
    log.names.clear();
    QCOMPARE(sent("tv_SetPixelClock", [&] { camera.setPixelclock(-1000); }), QVector<double> {5});
    QCOMPARE(sent("tv_SetPixelClock", [&] { camera.setPixelclock(1000); }), QVector<double> {43});
    QCOMPARE(sent("tv_SetFrameRate", [&] { camera.setFramerate(1e6); }),
             QVector<double> {log.framerate.max});
    QCOMPARE(sent("tv_SetExposureTime", [&] { camera.setExposure(-1e6); }),
             QVector<double> {log.exposure.min});
    QCOMPARE(sent("tv_SetHardwareGain", [&] { camera.setMastergain(101); }), QVector<double> {100});
    log.names.removeDuplicates();
    QCOMPARE(log.names.size(), 4); // every echo was tried
}

void tst_CameraParameters::autoConfig_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<QByteArray>("text"); // null: no parameter file
    QTest::addColumn<QString>("message"); // how the message starts; empty: none
    QTest::addColumn<QStringList>("clocks");
    QTest::addColumn<QString>("applied"); // rate, exposure, the four gains

    // Cameras 1 and 2 reach 1 frame a second only at a halved clock.
    const QString builtIn = QStringLiteral("1 300 50 -1 -1 -1");
    const QString fromFile = QStringLiteral("4 10 150 1 2 3");
    const QStringList halved {"21"}, fileClock {"30"};
    const QString refused = QStringLiteral("Can't open camera parameter file");
    QTest::newRow("no file") << 1 << QByteArray() << refused + '.' << halved << builtIn;
    QTest::newRow("no file, two halvings")
            << 2 << QByteArray() << refused + '.' << QStringList {"43", "21"} << builtIn;
    QTest::newRow("no file, clock kept")
            << 3 << QByteArray() << refused + '.' << QStringList() << builtIn;

    // Camera 1 has sensor type 0x0120.
    const auto sensor = [](const char *id, bool gain = true) {
        return QByteArray("<Sensor ID=\"") + id
                + "\"><Timing pixelclock=\"30\" framerate=\"4\" exposure=\"10\"/>"
                + (gain ? "<Gain master=\"150\" red=\"1\" green=\"2\" blue=\"3\"/>" : "")
                + "</Sensor>";
    };
    const auto settings = [](const QByteArray &inside) {
        return "<CameraSettings>" + inside + "</CameraSettings>";
    };
    QTest::newRow("hex id") << 1 << settings(sensor("120")) << QString() << fileClock << fromFile;
    QTest::newRow("hex id with 0x")
            << 1 << settings(sensor("0x0120")) << QString() << fileClock << fromFile;
    QTest::newRow("decimal id") << 1 << settings(sensor("288")) << QString() << halved << builtIn;
    QTest::newRow("skipped blocks")
            << 1
            << settings("<Other ID=\"120\"/>" + sensor("12G") + sensor("0x131") + sensor("0120"))
            << QString() << fileClock << fromFile;
    QTest::newRow("no Gain ends the search") << 1 << settings(sensor("120", false) + sensor("120"))
                                             << QString() << halved << builtIn;

    // The root is the first level.
    const QByteArray block = sensor("120");
    const auto nested = [&](int depth) {
        return settings(block + QByteArray("<a>").repeated(depth)
                        + QByteArray("</a>").repeated(depth));
    };
    const QString tooDeep = refused + ": its elements are nested more than 32 deep.";
    QTest::newRow("32 deep") << 1 << nested(31) << QString() << fileClock << fromFile;
    QTest::newRow("33 deep") << 1 << nested(32) << tooDeep << halved << builtIn;
    QTest::newRow("30000 deep") << 1 << nested(30000) << tooDeep << halved << builtIn;
    const QByteArray filled = settings(block + "<!---->");
    const QByteArray largest
            = settings(block + "<!--" + QByteArray(1024 * 1024 - filled.size(), 'x') + "-->");
    QTest::newRow("1 MiB") << 1 << largest << QString() << fileClock << fromFile;
    QTest::newRow("1 MiB and a byte")
            << 1 << largest + ' ' << refused + ": it is larger than 1024 KiB." << halved << builtIn;
    QTest::newRow("document type") << 1 << "<!DOCTYPE CameraSettings>" + settings(block)
                                   << QString() << fileClock << fromFile;
    QTest::newRow("declarations") << 1
                                  << "<!DOCTYPE CameraSettings [<!ENTITY a \"aaaa\">]>"
                    + settings(block + "&a;")
                                  << refused + ": its document type declares markup of its own."
                                  << halved << builtIn;
    QTest::newRow("not well-formed")
            << 1 << settings(block + "<Sensor>")
            << refused + ": line 1 is not well-formed XML: " << halved << builtIn;
}

void tst_CameraParameters::autoConfig()
{
    QFETCH(int, deviceId);
    QFETCH(QByteArray, text);
    QFETCH(QString, message);
    QFETCH(QStringList, clocks);
    QFETCH(QString, applied);
    QFile file(QStringLiteral("cameraparameter.xml"));
    file.remove();
    if (!text.isNull()) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(text), text.size());
        file.close();
    }
    Camera camera;
    ParameterLog log(&camera);
    camera.open(deviceId);
    ApiSpy::reset();
    camera.setAutoConfig();
    QCOMPARE(log.messages.size(), message.isEmpty() ? 0 : 1);
    QVERIFY2(message.isEmpty() || log.messages.at(0).startsWith(message),
             qPrintable(log.messages.value(0)));
    QCOMPARE(ApiSpy::calls("tv_SetPixelClock"), clocks);
    const auto last = [](const char *function) {
        const QStringList calls = ApiSpy::calls(function);
        return calls.mid(calls.size() - 1);
    };
    QCOMPARE((last("tv_SetFrameRate") + last("tv_SetExposureTime") + last("tv_SetHardwareGain"))
                     .join(QLatin1Char(' ')),
             applied);
    // The gain signal carries the clamped master, the library the file's.
    QCOMPARE(log.mastergain.value, qMin(applied.section(QLatin1Char(' '), 2, 2).toInt(), 100));
}

QTEST_GUILESS_MAIN(tst_CameraParameters)
#include "tst_cameraparameters.moc"
