// speckmend-cli driven as a user drives it, through its command line, against
// the simulated cameras in private folders.
#include "tests/testutil/testutil.h"

#include <QtTest>

using namespace TestUtil;

namespace {

const QString mono = QStringLiteral("4103000101");
const QString bayer = QStringLiteral("4103000102");
const QString softwareOnly = QStringLiteral("4103000103");

struct Result
{
    int code = -1;
    QString out;
    QString err;
};

Result cli(const QStringList &arguments)
{
    Result result;
    QProcess process;
    process.setProcessEnvironment([] {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(QStringLiteral("DISPLAY")); // the tool needs no display
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
        return env;
    }());
    process.start(QStringLiteral(SPECKMEND_CLI), arguments);
    if (!process.waitForFinished(120000))
        return result;
    result.code = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

QJsonDocument json(const Result &result)
{
    return QJsonDocument::fromJson(result.out.toUtf8());
}

QVector<QPoint> pixels(const QJsonArray &array)
{
    QVector<QPoint> result;
    for (const QJsonValue &pair : array)
        result.append({pair.toArray().at(0).toInt(), pair.toArray().at(1).toInt()});
    return result;
}

QString writeFile(const QTemporaryDir &dir, const QString &name, const QByteArray &bytes)
{
    QFile file(dir.filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
    return file.fileName();
}

// The user list the camera holds, read by a process of its own.
QJsonArray userList(const QString &serial)
{
    return json(cli({QStringLiteral("show"), serial, QStringLiteral("--json")}))
            .object()
            .value(QStringLiteral("user"))
            .toArray();
}

} // namespace

class tst_SpeckmendCli : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_sim = std::make_unique<SimEnvironment>();
        QVERIFY(m_dir.isValid());
    }
    void cleanup() { m_sim.reset(); }

    void commands_data();
    void commands();
    void detectWriteShowAndScore_data();
    void detectWriteShowAndScore();
    void wholeFleet();
    void listFilesThroughTheCamera();

private:
    std::unique_ptr<SimEnvironment> m_sim;
    QTemporaryDir m_dir;
};

void tst_SpeckmendCli::commands_data()
{
    QTest::addColumn<QString>("held"); // a camera another process holds
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("output"); // a line of standard output, or a JSON key
    QTest::addColumn<QString>("errors"); // the start of standard error

    const QString none;
    QTest::newRow("version") << none << QStringList {"--version"} << 0
                             << "speckmend-cli " SPECKMEND_VERSION << none;
    QTest::newRow("list") << none << QStringList {"list"} << 0
                          << "4103000103 TV-C1920 3 free software-only" << none;
    QTest::newRow("list, one held")
            << bayer << QStringList {"list"} << 0 << "4103000102 TV-C3100 2 in-use unknown" << none;
    QTest::newRow("list --json") << none << QStringList {"list", "--json"} << 0
                                 << R"({"cameraMemory":true,"deviceId":1,"model":"TV-M1310",)"
                                    R"("serial":"4103000101","state":"free"})"
                                 << none;
    QTest::newRow("held camera") << bayer << QStringList {"show", bayer} << 3 << none
                                 << "speckmend-cli: 4103000102: the camera is in use by another "
                                    "process\n";
    QTest::newRow("no such camera") << none << QStringList {"detect", "999"} << 3 << none
                                    << "speckmend-cli: 999: there is no such camera\n";
    QTest::newRow("uncovered lens")
            << none << QStringList {"detect", mono, "--clear", "--write"} << 4 << none
            << "4103000101: frame 1 of 10\nspeckmend-cli: 4103000101: Too many hot pixel have "
               "been found. Please make sure that the sensor is completely obscured and the "
               "threshold is not too low.\n";
    QTest::newRow("no memory for a list")
            << none << QStringList {"clear", softwareOnly} << 1 << none
            << "speckmend-cli: 4103000103: Not supported! This camera only supports software "
               "correction and can't be saved inside the camera memory!\n";
    QTest::newRow("missing file")
            << none << QStringList {"import", mono, "/nonexistent/a.txt"} << 1 << none
            << "speckmend-cli: /nonexistent/a.txt: Can't open file for reading.\n";
    QTest::newRow("library refuses a file")
            << none << QStringList {"load", mono, "/nonexistent/a.bin"} << 1 << none
            << "speckmend-cli: /nonexistent/a.bin: load from file failed: The hot pixel file "
               "can't be opened. (status 23)\n";
    QTest::newRow("no command") << none << QStringList {} << 2 << none
                                << "speckmend-cli: no command given";
    QTest::newRow("unknown command") << none << QStringList {"frobnicate"} << 2 << none
                                     << "speckmend-cli: unknown command \"frobnicate\"";
    QTest::newRow("no serial") << none << QStringList {"detect"} << 2 << none
                               << "speckmend-cli: detect takes a serial number or --all\n";
    QTest::newRow("threshold 4") << none << QStringList {"detect", mono, "--threshold", "4"} << 2
                                 << none
                                 << "speckmend-cli: the threshold is a number from 5 to 255\n";
    QTest::newRow("threshold 256")
            << none << QStringList {"detect", mono, "--threshold=256"} << 2 << none
            << "speckmend-cli: the threshold is a number from 5 to 255\n";
    QTest::newRow("option of another command")
            << none << QStringList {"list", "--write"} << 2 << none
            << "speckmend-cli: list takes no option --write\n";
    QTest::newRow("siril without a height")
            << none << QStringList {"convert", "a.txt", "b.lst"} << 2 << none
            << "speckmend-cli: a Siril list counts the rows from the bottom; give the sensor's "
               "height with --height\n";
    QTest::newRow("unknown format") << none << QStringList {"convert", "a.txt", "b.xyz"} << 2
                                    << none << "speckmend-cli: b.xyz: can't tell the format";
}

void tst_SpeckmendCli::commands()
{
    QFETCH(QString, held);
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    QFETCH(QString, output);
    QFETCH(QString, errors);
    std::unique_ptr<SimHold> hold;
    if (!held.isEmpty()) {
        hold = std::make_unique<SimHold>(held);
        QVERIFY2(hold->isHolding(), qPrintable(hold->errors()));
    }
    // The camera holds a user pixel that a failed command must leave alone.
    QCOMPARE(cli({"import", mono, writeFile(m_dir, "one.txt", "7 7 1\n"), "--write"}).code, 0);
    const QJsonArray before = userList(mono);
    QCOMPARE(before.size(), 1);
    const Result result = cli(arguments);
    QCOMPARE(result.code, status);
    if (!output.isEmpty())
        QVERIFY2(result.out.contains(output), qPrintable(result.out));
    QVERIFY2(result.err.startsWith(errors), qPrintable(result.err));
    if (errors.isEmpty())
        QCOMPARE(result.err, QString());
    // A failed command leaves the camera's list as it was.
    QCOMPARE(userList(mono), before);
}

void tst_SpeckmendCli::detectWriteShowAndScore_data()
{
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("threshold");
    QTest::newRow("monochrome, default threshold") << mono << 40;
    QTest::newRow("bayer, threshold 20") << bayer << 20;
}

void tst_SpeckmendCli::detectWriteShowAndScore()
{
    QFETCH(QString, serial);
    QFETCH(int, threshold);
    QCOMPARE(runSimTool({"cover", serial}).exitCode, 0);
    QStringList arguments {"detect", serial, "--write", "--json"};
    if (threshold != 40)
        arguments << "--threshold" << QString::number(threshold);
    const Result result = cli(arguments);
    QCOMPARE(result.code, 0);
    QVERIFY(result.err.endsWith(serial + ": frame 10 of 10\n"));
    const QJsonObject detected = json(result).object();
    QCOMPARE(detected.keys(),
             QStringList({"added", "found", "pixels", "serial", "threshold", "written"}));
    QCOMPARE(detected.value("serial").toString(), serial);
    QCOMPARE(detected.value("threshold").toInt(), threshold);
    QCOMPARE(detected.value("written").toBool(), true);
    const QVector<QPoint> added = pixels(detected.value("pixels").toArray());
    QCOMPARE(detected.value("added").toInt(), added.size());

    // A new process reads the same user pixels back out of the camera.
    const QJsonObject shown = json(cli({"show", serial, "--json"})).object();
    QCOMPARE(shown.value("model").toString(), serial == mono ? "TV-M1310" : "TV-C3100");
    QCOMPARE(shown.value("user").toArray(), detected.value("pixels").toArray());
    const QVector<QPoint> factory = pixels(shown.value("factory").toArray());

    // Scored against the simulator's truth at the program's exposure and gain:
    // every pixel clearly above the threshold is new or in the factory list,
    // and every new one is real.
    const DetectionExpectation expected = expectedDetection(serial, threshold, 300.0, 50);
    QVERIFY(expected.mustFind.size() >= 5);
    for (const QPoint &p : expected.mustFind)
        QVERIFY2(added.contains(p) || factory.contains(p), "missed a hot pixel");
    QVector<QPoint> real; // and not too weak to be found
    for (const PlantedDefect &defect : plantedDefects(serial)) {
        if (!expected.mustMiss.contains(defect.position))
            real.append(defect.position);
    }
    for (const QPoint &p : added)
        QVERIFY2(real.contains(p), "a false find");
    QVERIFY(detected.value("found").toInt() >= added.size());
}

void tst_SpeckmendCli::wholeFleet()
{
    for (const QString &serial : {mono, bayer, softwareOnly})
        QCOMPARE(runSimTool({"cover", serial}).exitCode, 0);
    SimHold hold(bayer);
    QVERIFY(hold.isHolding());

    // The free cameras, one after the other; the held one is left out.
    Result result = cli({"detect", "--all"});
    QCOMPARE(result.code, 0);
    const QStringList lines = result.out.split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines.at(0).startsWith(mono + ": threshold 40, found "));
    QVERIFY(lines.at(1).startsWith(softwareOnly + ": threshold 40, found "));
    QVERIFY(lines.at(1).endsWith(", written no"));

    hold.stop();
    result = cli({"show", "--all", "--json"});
    QCOMPARE(result.code, 0);
    const QJsonArray shown = json(result).array();
    QCOMPARE(shown.size(), 3);
    QCOMPARE(shown.at(2).toObject().value("serial").toString(), softwareOnly);

    // The camera without memory for a list fails; the others are cleared.
    QCOMPARE(cli({"import", mono, writeFile(m_dir, "one.txt", "7 7 1\n"), "--write"}).code, 0);
    QVERIFY(!userList(mono).isEmpty());
    result = cli({"clear", "--all"});
    QCOMPARE(result.code, 1);
    QCOMPARE(result.out, mono + ": user list cleared\n" + bayer + ": user list cleared\n");
    QVERIFY(userList(mono).isEmpty());
}

void tst_SpeckmendCli::listFilesThroughTheCamera()
{
    // A list of three user pixels in the camera.
    const QString text = writeFile(m_dir, "list.txt", "12 345 1\n1279 0 1\n0 1023 1\n");
    QCOMPARE(cli({"import", mono, text, "--write"}).code, 0);
    const QJsonArray written = userList(mono);
    QCOMPARE(written,
             QJsonArray({QJsonArray {12, 345}, QJsonArray {1279, 0}, QJsonArray {0, 1023}}));

    // Out and back in through each file, the camera cleared between.
    const QString binary = m_dir.filePath("list.bin");
    const QString exported = m_dir.filePath("exported.txt");
    QCOMPARE(cli({"save", mono, binary}).code, 0);
    QCOMPARE(cli({"export", mono, exported}).code, 0);
    QCOMPARE(cli({"clear", mono}).code, 0);
    QVERIFY(userList(mono).isEmpty());
    QCOMPARE(cli({"load", mono, binary, "--write"}).code, 0);
    QCOMPARE(userList(mono), written);
    QCOMPARE(cli({"clear", mono}).code, 0);
    QCOMPARE(cli({"import", mono, exported, "--write"}).code, 0);
    QCOMPARE(userList(mono), written);

    // Through another program's format and back, the formats told by name or by option.
    const QString siril = m_dir.filePath("cosmetic.lst");
    const QString back = m_dir.filePath("back.txt");
    QCOMPARE(cli({"convert", exported, siril, "--height", "1024"}).code, 0);
    QCOMPARE(cli({"convert", siril, back, "--from", "siril", "--to", "text", "--height=1024"}).code,
             0);
    QFile in(exported), out(back);
    QVERIFY(in.open(QIODevice::ReadOnly) && out.open(QIODevice::ReadOnly));
    QCOMPARE(out.readAll(), in.readAll());
}

QTEST_GUILESS_MAIN(tst_SpeckmendCli)
#include "tst_speckmendcli.moc"
