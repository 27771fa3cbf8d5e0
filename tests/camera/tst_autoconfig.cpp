#include "camera/camera.h"
#include "tests/camera/apispy.h"
#include "tests/testutil/testutil.h"

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

// The settings a camera was given, read back from the calls that reached
// the library.
struct Applied
{
    QVector<double> clocks;
    QVector<double> rates;
    double exposure = qQNaN();
    QVector<double> gain;
};

Applied applied()
{
    Applied result;
    for (const ApiSpy::Call &call : ApiSpy::calls("tv_SetPixelClock")) {
        if (call.args.at(1) < TV_CLOCK_QUERY_CURRENT)
            result.clocks.append(call.args.at(1));
    }
    for (const ApiSpy::Call &call : ApiSpy::calls("tv_SetFrameRate"))
        result.rates.append(call.args.at(1));
    for (const ApiSpy::Call &call : ApiSpy::calls("tv_SetExposureTime")) {
        if (call.args.at(1) != TV_EXPOSURE_QUERY_CURRENT)
            result.exposure = call.args.at(1);
    }
    const QVector<ApiSpy::Call> gains = ApiSpy::calls("tv_SetHardwareGain");
    if (!gains.isEmpty())
        result.gain = gains.last().args.mid(1);
    return result;
}

const QVector<double> builtInGain {50, -1, -1, -1};

} // namespace

class tst_AutoConfig : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void block();
    void sensorIds_data();
    void sensorIds();
    void fallsBack_data();
    void fallsBack();
    void builtInRule_data();
    void builtInRule();
    void shippedFile();

private:
    void writeFile(const QString &text);

    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_startDir;
    std::unique_ptr<Camera> m_camera;
    QStringList m_messages;
    QVector<int> m_gainSignals;
};

void tst_AutoConfig::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
    m_startDir = QDir::currentPath();
}

void tst_AutoConfig::init()
{
    // Each case reads its own cameraparameter.xml from a fresh working folder.
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QVERIFY(QDir::setCurrent(m_dir->path()));
    m_camera = std::make_unique<Camera>();
    m_messages.clear();
    m_gainSignals.clear();
    connect(m_camera.get(), &Camera::displayError, this,
            [this](const QString &message) { m_messages.append(message); });
    connect(m_camera.get(), &Camera::mastergainChanged, this,
            [this](CameraParameter<int> &param) { m_gainSignals.append(param.value); });
}

void tst_AutoConfig::cleanup()
{
    m_camera.reset();
    QDir::setCurrent(m_startDir);
    m_dir.reset();
    ApiSpy::reset();
}

void tst_AutoConfig::writeFile(const QString &text)
{
    QFile file(m_dir->filePath(QStringLiteral("cameraparameter.xml")));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(text.toUtf8());
}

void tst_AutoConfig::block()
{
    // The sensor of camera 1 is 0x0120; attributes in any order, comments and
    // text between the blocks.
    writeFile(QStringLiteral(
            "<CameraSettings>\n"
            "  <!-- a comment -->\n  some text\n"
            "  <Other ID=\"120\"/>\n"
            "  <Sensor ID=\"0131\"><Timing pixelclock=\"9\" framerate=\"2\" exposure=\"5\"/>"
            "<Gain master=\"1\" red=\"1\" green=\"1\" blue=\"1\"/></Sensor>\n"
            "  <Sensor ID=\"0120\">\n"
            "    <Gain blue=\"3\" green=\"2\" red=\"1\" master=\"150\"/>\n"
            "    <Timing exposure=\"10\" framerate=\"4\" pixelclock=\"30\" unknown=\"x\"/>\n"
            "  </Sensor>\n"
            "  <Sensor ID=\"0120\"><Timing pixelclock=\"11\" framerate=\"3\" exposure=\"7\"/>"
            "<Gain master=\"9\" red=\"9\" green=\"9\" blue=\"9\"/></Sensor>\n"
            "</CameraSettings>\n"));
    m_camera->open(1);
    m_gainSignals.clear();
    ApiSpy::reset();
    m_camera->setAutoConfig();

    const Applied settings = applied();
    QVERIFY(m_messages.isEmpty());
    QCOMPARE(settings.clocks, QVector<double> {30});
    QCOMPARE(settings.rates.last(), 4.0);
    QVERIFY(!settings.rates.isEmpty());
    QVERIFY(settings.exposure <= 10.0 && settings.exposure > 0);
    // The gain signal carries the clamped master, the library gets the file's.
    QCOMPARE(m_gainSignals, QVector<int> {100});
    QCOMPARE(settings.gain, (QVector<double> {150, 1, 2, 3}));

    // Values that don't parse are 0, and go to the library as they stand.
    writeFile(QStringLiteral("<CameraSettings><Sensor ID=\"120\"><Timing pixelclock=\"fast\"/>"
                             "<Gain master=\"-\" red=\"r\"/></Sensor></CameraSettings>"));
    ApiSpy::reset();
    m_gainSignals.clear();
    m_camera->setAutoConfig();
    QCOMPARE(applied().clocks, QVector<double> {5}); // 0, clamped to the lowest clock
    QCOMPARE(applied().gain, (QVector<double> {0, 0, 0, 0}));
    QCOMPARE(m_gainSignals, QVector<int> {0});
    m_camera->close();
}

void tst_AutoConfig::sensorIds_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<bool>("matches");
    QTest::newRow("plain digits") << "120" << true;
    QTest::newRow("leading zero") << "0120" << true;
    QTest::newRow("prefix 0x") << "0x120" << true;
    QTest::newRow("prefix 0X, upper case") << "0X0120" << true;
    QTest::newRow("decimal reading") << "288" << false;
    QTest::newRow("not hexadecimal") << "12G" << false;
    QTest::newRow("empty") << "" << false;
}

void tst_AutoConfig::sensorIds()
{
    QFETCH(QString, id);
    QFETCH(bool, matches);
    // A block that doesn't parse is skipped and the walk goes on: the second
    // block, for another sensor, never applies to camera 1.
    writeFile(QStringLiteral(
                      "<CameraSettings><Sensor ID=\"%1\"><Timing pixelclock=\"25\" "
                      "framerate=\"4\" exposure=\"10\"/><Gain master=\"33\" red=\"4\" green=\"5\" "
                      "blue=\"6\"/></Sensor><Sensor ID=\"0x131\"><Timing pixelclock=\"26\"/>"
                      "<Gain master=\"34\"/></Sensor></CameraSettings>")
                      .arg(id));
    m_camera->open(1);
    ApiSpy::reset();
    m_camera->setAutoConfig();
    const QVector<double> fromBlock {33, 4, 5, 6};
    QCOMPARE(applied().gain, matches ? fromBlock : builtInGain);
    QVERIFY(m_messages.isEmpty());
    m_camera->close();
}

void tst_AutoConfig::fallsBack_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("message");

    QTest::newRow("no file") << QString() << true;
    QTest::newRow("not XML") << "<CameraSettings><Sensor ID=\"125\">" << true;
    QTest::newRow("other root") << "<Settings><Sensor ID=\"125\"><Timing/><Gain master=\"9\"/>"
                                   "</Sensor></Settings>"
                                << false;
    QTest::newRow("root of other case")
            << "<camerasettings><Sensor ID=\"125\"><Timing/><Gain master=\"9\"/></Sensor>"
               "</camerasettings>"
            << false;
    QTest::newRow("no block") << "<CameraSettings><Sensor ID=\"120\"><Timing/><Gain master=\"9\"/>"
                                 "</Sensor></CameraSettings>"
                              << false;
    QTest::newRow("nested block") << "<CameraSettings><Group><Sensor ID=\"125\"><Timing/>"
                                     "<Gain master=\"9\"/></Sensor></Group></CameraSettings>"
                                  << false;
    QTest::newRow("no timing") << "<CameraSettings><Sensor ID=\"125\"><Gain master=\"9\"/>"
                                  "</Sensor></CameraSettings>"
                               << false;
    // The first matching block ends the search, even without its gain.
    QTest::newRow("no gain") << "<CameraSettings><Sensor ID=\"125\"><Timing pixelclock=\"30\"/>"
                                "</Sensor><Sensor ID=\"125\"><Timing/><Gain master=\"9\"/>"
                                "</Sensor></CameraSettings>"
                             << false;
}

void tst_AutoConfig::fallsBack()
{
    QFETCH(QString, text);
    QFETCH(bool, message);
    if (!text.isNull())
        writeFile(text);
    m_camera->open(3); // its lowest rate at the default clock is below 1
    ApiSpy::reset();
    m_camera->setAutoConfig();

    QCOMPARE(m_messages,
             message ? QStringList {"Can't open camera parameter file."} : QStringList());
    const Applied settings = applied();
    QVERIFY(settings.clocks.isEmpty());
    QCOMPARE(settings.rates.last(), 1.0);
    QCOMPARE(settings.gain, builtInGain);
    m_camera->close();
}

void tst_AutoConfig::builtInRule_data()
{
    QTest::addColumn<int>("deviceId");
    QTest::addColumn<QVector<double>>("clocks");
    // Clocks 43 (camera 1) and 86 (camera 2) allow no rate of 1 frame a
    // second; halving until they do.
    QTest::newRow("one halving") << 1 << QVector<double> {21};
    QTest::newRow("two halvings") << 2 << QVector<double> {43, 21};
    QTest::newRow("clock untouched") << 3 << QVector<double> {};
}

void tst_AutoConfig::builtInRule()
{
    QFETCH(int, deviceId);
    QFETCH(QVector<double>, clocks);
    m_camera->open(deviceId);
    CameraParameter<double> rate;
    CameraParameter<double> exposure;
    connect(m_camera.get(), &Camera::framerateChanged, this,
            [&](CameraParameter<double> &p) { rate = p; });
    connect(m_camera.get(), &Camera::exposureChanged, this,
            [&](CameraParameter<double> &p) { exposure = p; });
    ApiSpy::reset();
    m_camera->setAutoConfig();

    const Applied settings = applied();
    QCOMPARE(settings.clocks, clocks);
    QVERIFY(rate.min <= 1.0);
    QCOMPARE(settings.rates.last(), 1.0);
    QCOMPARE(settings.gain, builtInGain);
    // Exposure 300, clamped into the range that the rate of 1 left.
    QCOMPARE(ApiSpy::calls("tv_SetExposureTime").last().args.at(1),
             qBound(exposure.min, 300.0, exposure.max));
    m_camera->close();
}

void tst_AutoConfig::shippedFile()
{
    // The example file that ships beside the program has a block for each
    // simulated sensor.
    const QString shipped = QStringLiteral(SHIPPED_PARAMETER_FILE);
    QVERIFY(QFile::copy(shipped, m_dir->filePath(QStringLiteral("cameraparameter.xml"))));
    for (int deviceId = 1; deviceId <= 3; ++deviceId) {
        m_camera->open(deviceId);
        ApiSpy::reset();
        m_camera->setAutoConfig();
        QVERIFY(m_messages.isEmpty());
        QVERIFY2(applied().gain != builtInGain, qPrintable(QString::number(deviceId)));
        m_camera->close();
    }
}

QTEST_GUILESS_MAIN(tst_AutoConfig)
#include "tst_autoconfig.moc"
