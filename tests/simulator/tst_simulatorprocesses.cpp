// The simulated cameras shared between processes: in use elsewhere, hot plug
// and faults through the control tool tavo-sim.
#include "simulator/tavosim_control.h"
#include "tests/simulator/simcamera.h"
#include "tests/testutil/testutil.h"

#include <QJsonDocument>
#include <QProcess>
#include <QtTest>

namespace {

uint32_t inUse(size_t index)
{
    const auto cameras = listCameras();
    return cameras.size() > index ? cameras[index].inUse : 0xFFFFFFFFu;
}

} // namespace

class tst_SimulatorProcesses : public QObject
{
    Q_OBJECT

private slots:
    void inUseElsewhere();
    void toolHotPlug();
    void toolCommands();
    void toolTruth_data();
    void toolTruth();
    void manualPage();
};

// The list model's tests show a held camera "in use" and free again after
// the holder stops; here what the library and the tool say about it.
void tst_SimulatorProcesses::inUseElsewhere()
{
    TestUtil::SimEnvironment environment;
    TestUtil::SimHold hold(QStringLiteral("4103000101"));
    QVERIFY2(hold.isHolding(), qPrintable(hold.errors()));
    uint32_t word = 1 | TV_OPEN_BY_DEVICE_ID;
    int32_t code = tv_InitCamera(&word, nullptr);
    char *text = nullptr;
    tv_GetError(0, &code, &text);
    QCOMPARE(text, "The camera is in use by another program.");
    const QString listing = TestUtil::runSimTool({"list"}).output;
    QVERIFY(listing.contains("in use") && listing.contains("TV-C1920"));
    TestUtil::SimHold second(QStringLiteral("4103000101")); // two holders can't share one
    QVERIFY(!second.isHolding() && second.errors().contains("in use"));
    hold.stop();
    QCOMPARE(SimCamera(1, false).status, TV_SUCCESS);

    // A holder that dies with the camera open frees it.
    QProcess holder;
    holder.start(TestUtil::simToolPath(), {"hold", "4103000102"});
    QVERIFY(holder.waitForReadyRead(20000));
    QCOMPARE(inUse(1), 1u);
    holder.kill();
    QVERIFY(holder.waitForFinished(20000));
    QTRY_COMPARE_WITH_TIMEOUT(inUse(1), 0u, 10000);
}

void tst_SimulatorProcesses::toolHotPlug()
{
    TestUtil::SimEnvironment environment;
    std::vector<uint32_t> codes = {TV_EVT_DEVICE_ARRIVED, TV_EVT_DEVICE_GONE};
    QCOMPARE(registerEvents(0, codes), TV_SUCCESS);
    SimCamera camera(3);
    QVERIFY(!camera.grab().isEmpty());

    QCOMPARE(TestUtil::runSimTool({"unplug", "4103000103"}).exitCode, 0);
    EventWait wait {codes.data(), 2, 0, 20000, 0, 0};
    QCOMPARE(tv_Event(0, TV_EVT_OP_WAIT, &wait, sizeof wait), TV_SUCCESS);
    QCOMPARE(wait.signaled, uint32_t(TV_EVT_DEVICE_GONE));
    QCOMPARE(camera.waitFor({TV_EVT_CAMERA_GONE}), uint32_t(TV_EVT_CAMERA_GONE));
    int32_t count = 0;
    tv_GetNumberOfCameras(&count);
    QCOMPARE(count, 2);
    double fps = 0;
    QVERIFY(tv_GetFramesPerSecond(camera.handle, &fps) != TV_SUCCESS);
    camera.waitFor({TV_EVT_FRAME_READY}, 100); // one may have been under way
    QCOMPARE(camera.waitFor({TV_EVT_FRAME_READY}, 500), 0u);
    QVERIFY(TestUtil::runSimTool({"list"}).output.contains("unplugged"));

    QCOMPARE(TestUtil::runSimTool({"plug", "4103000103"}).exitCode, 0);
    QCOMPARE(tv_Event(0, TV_EVT_OP_WAIT, &wait, sizeof wait), TV_SUCCESS);
    QCOMPARE(wait.signaled, uint32_t(TV_EVT_DEVICE_ARRIVED));
    QCOMPARE(camera.waitFor({TV_EVT_CAMERA_BACK}), uint32_t(TV_EVT_CAMERA_BACK));
    QVERIFY(!camera.grab().isEmpty()); // frames resume by themselves
    tv_Event(0, TV_EVT_OP_RELEASE, codes.data(), 8);
}

void tst_SimulatorProcesses::toolCommands()
{
    TestUtil::SimEnvironment environment;
    TestUtil::SimToolResult result = TestUtil::runSimTool({"unplug", "0000"});
    QCOMPARE(result.exitCode, 1);
    QVERIFY(result.errors.contains("no camera with the serial number \"0000\""));
    result = TestUtil::runSimTool({"explode"});
    QCOMPARE(result.exitCode, 2);
    QVERIFY(result.errors.contains("unknown command"));
    QCOMPARE(TestUtil::runSimTool({"fail", "tv_GetCameraList", "x"}).exitCode, 2);
    QCOMPARE(TestUtil::runSimTool({"list", "--json"}).exitCode, 2);
    result = TestUtil::runSimTool({"--version"});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.output.startsWith("tavo-sim "));
    // A fault set by the tool reaches this process.
    QCOMPARE(TestUtil::runSimTool({"fail", "tv_GetNumberOfCameras", "5"}).exitCode, 0);
    int32_t count = 0;
    QTRY_COMPARE_WITH_TIMEOUT(tv_GetNumberOfCameras(&count), 5, 10000);
    QCOMPARE(TestUtil::runSimTool({"reset"}).exitCode, 0);
    QTRY_COMPARE_WITH_TIMEOUT(tv_GetNumberOfCameras(&count), TV_SUCCESS, 10000);

    QCOMPARE(TestUtil::runSimTool({"cover", "4103000101"}).exitCode, 0);
    QVERIFY(TestUtil::runSimTool({"list"}).output.contains("covered"));
}

void tst_SimulatorProcesses::toolTruth_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("output");

    // A factory list entry with no defect behind it is no hot pixel.
    QTest::newRow("plain") << QStringList {"truth", "T\\1"} << 0 << "30 5 60\n10 20 100 factory\n";
    QTest::newRow("json") << QStringList {"truth", "--json", "T\\1"} << 0
                          << "{\"serial\": \"T\\\\1\", \"pixels\": [\n"
                             "  {\"x\": 30, \"y\": 5, \"strength\": 60, \"factory\": false},\n"
                             "  {\"x\": 10, \"y\": 20, \"strength\": 100, \"factory\": true}\n]}\n";
    QTest::newRow("json, none") << QStringList {"truth", "Clean", "--json"} << 0
                                << "{\"serial\": \"Clean\", \"pixels\": []}\n";
    // Half the exposure and no gain: a quarter of the signal.
    QTest::newRow("scaled") << QStringList {"truth", "T\\1", "--exposure", "150", "--gain", "0"}
                            << 0 << "30 5 15\n10 20 25 factory\n";
    QTest::newRow("unknown") << QStringList {"truth", "T2"} << 1 << QString();
    QTest::newRow("no serial") << QStringList {"truth", "--json"} << 2 << QString();
    QTest::newRow("two serials") << QStringList {"truth", "T\\1", "Clean"} << 2 << QString();
    QTest::newRow("bad gain") << QStringList {"truth", "T\\1", "--gain", "101"} << 2 << QString();
}

void tst_SimulatorProcesses::toolTruth()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, output);
    TestUtil::SimEnvironment environment(R"({"cameras": [
        {"serial": "T\\1", "width": 64, "height": 64,
         "factoryDefects": [[10, 20, 100]], "defects": [[30, 5, 60]], "factoryList": [[1, 1]]},
        {"serial": "Clean", "width": 64, "height": 64}]})");
    const TestUtil::SimToolResult result = TestUtil::runSimTool(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.output, output);
    if (arguments.contains("--json") && exitCode == 0)
        QVERIFY(QJsonDocument::fromJson(result.output.toUtf8()).isObject());
}

// The manual page describes the commands and options that --help lists, no
// more and no fewer.
void tst_SimulatorProcesses::manualPage()
{
    const TestUtil::SimToolResult help = TestUtil::runSimTool({"--help"});
    QCOMPARE(help.exitCode, 0);
    QFile file(QStringLiteral(SPECKMEND_SOURCE_DIR "/docs/man/tavo-sim.1"));
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    const QString manual = QString::fromUtf8(file.readAll());
    const auto matches = [](const QString &text, const QString &pattern) {
        QSet<QString> found;
        QRegularExpressionMatchIterator it
                = QRegularExpression(pattern, QRegularExpression::MultilineOption)
                          .globalMatch(text);
        while (it.hasNext())
            found.insert(it.next().captured(1));
        return found;
    };
    const auto section = [](const QString &text, const QString &from, const QString &to) {
        return text.section(from, 1).section(to, 0, 0);
    };
    const QSet<QString> commands
            = matches(section(help.output, "Commands:", "\n\n"), "^  ([a-z]+) ");
    QVERIFY(commands.contains("truth") && commands.contains("list"));
    QCOMPARE(matches(section(manual, ".SH COMMANDS", ".SH"), "^\\.TP\\n\\.BI? \"?([a-z]+)"),
             commands);
    QSet<QString> options
            = matches(section(help.output, "Options:", "Arguments:"), "--([a-z][a-z-]*)");
    options.remove("help-all"); // Qt's own, none for this tool
    QCOMPARE(options, QSet<QString>({"help", "version", "json", "exposure", "gain"}));
    QCOMPARE(matches(section(manual, ".SH OPTIONS", ".SH"),
                     "^\\.TP\\n\\.B[IR]? [^\\n]*?\\\\-\\\\-([a-z][a-z-]*)"),
             options);
}

QTEST_GUILESS_MAIN(tst_SimulatorProcesses)
#include "tst_simulatorprocesses.moc"
