#include "camera/camera.h"
#include "camera/datafiles.h"
#include "tests/testutil/testutil.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

// Writes text into folder/name, or removes the file for a null text.
bool putFile(const QString &folder, const QString &name, const QString &text)
{
    QFile file(QDir(folder).filePath(QFileInfo(name).fileName()));
    file.remove();
    if (text.isNull())
        return true;
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) == text.toUtf8().size();
}

// Settings for camera 1 (sensor type 0x0120) at the given pixel clock.
QString settings(int pixelclock)
{
    return QStringLiteral("<CameraSettings><Sensor ID=\"0x0120\"><Timing pixelclock=\"%1\" "
                          "framerate=\"3\" exposure=\"20\"/><Gain master=\"10\" red=\"-1\" "
                          "green=\"-1\" blue=\"-1\"/></Sensor></CameraSettings>")
            .arg(pixelclock);
}

} // namespace

class tst_DataFiles : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void locate_data();
    void locate();
    void camera();

private:
    std::unique_ptr<TestUtil::SimEnvironment> m_sim;
    QTemporaryDir m_work; // the working directory
    QTemporaryDir m_first;
    QTemporaryDir m_second;
};

void tst_DataFiles::initTestCase()
{
    m_sim = std::make_unique<TestUtil::SimEnvironment>();
    QVERIFY(QDir::setCurrent(m_work.path()));
}

void tst_DataFiles::cleanup()
{
    DataFiles::setFolders({});
    for (const QString &folder : {m_work.path(), m_first.path(), m_second.path()}) {
        for (const char *name : {"cameraparameter.xml", "Speckmend.ini"})
            QVERIFY(putFile(folder, QString::fromLatin1(name), QString()));
    }
}

void tst_DataFiles::locate_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("holders"); // "work", "first", "second"
    QTest::addColumn<bool>("folders"); // the two folders are named
    QTest::addColumn<QString>("found"); // "name": the name as given

    const QString xml = QStringLiteral("cameraparameter.xml");
    const QString ini = QStringLiteral("./Speckmend.ini");
    QTest::newRow("nowhere") << xml << QStringList() << true << "name";
    QTest::newRow("working directory only") << xml << QStringList {"work"} << true << "name";
    QTest::newRow("working directory wins")
            << xml << QStringList {"work", "first", "second"} << true << "name";
    QTest::newRow("first folder") << xml << QStringList {"first", "second"} << true << "first";
    QTest::newRow("second folder") << xml << QStringList {"second"} << true << "second";
    QTest::newRow("no folders named") << xml << QStringList {"first"} << false << "name";
    QTest::newRow("dotted name, working directory")
            << ini << QStringList {"work", "first"} << true << "name";
    QTest::newRow("dotted name, folder") << ini << QStringList {"first"} << true << "first";
}

void tst_DataFiles::locate()
{
    QFETCH(QString, name);
    QFETCH(QStringList, holders);
    QFETCH(bool, folders);
    QFETCH(QString, found);

    const QMap<QString, QString> paths {
            {"work", m_work.path()}, {"first", m_first.path()}, {"second", m_second.path()}};
    for (const QString &holder : holders)
        QVERIFY(putFile(paths[holder], name, holder));
    if (folders)
        DataFiles::setFolders({m_first.path(), m_second.path()});

    const QString path = DataFiles::locate(name);
    if (found == QLatin1String("name")) {
        QCOMPARE(path, name);
    } else {
        QCOMPARE(path, QDir(paths[found]).filePath(QFileInfo(name).fileName()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), found);
    }
}

// The camera's settings and the library's parameter file are looked for as above.
void tst_DataFiles::camera()
{
    DataFiles::setFolders({m_first.path()});
    QVERIFY(putFile(m_first.path(), QStringLiteral("cameraparameter.xml"), settings(30)));
    Camera camera;
    QStringList seen;
    int clock = 0;
    connect(&camera, &Camera::displayError, this, [&](const QString &text) { seen << text; });
    connect(&camera, &Camera::pixelclockChanged, this,
            [&](CameraParameter<int> &param) { clock = param.value; });
    camera.open(1);
    camera.setAutoConfig();
    QCOMPARE(clock, 30);
    QCOMPARE(seen, QStringList());

    // A broken file in the working directory is taken before the sound one.
    QVERIFY(putFile(m_work.path(), QStringLiteral("cameraparameter.xml"),
                    QStringLiteral("<CameraSettings>")));
    camera.setAutoConfig();
    QCOMPARE(seen.size(), 1);
    QVERIFY2(seen.at(0).startsWith("Can't open camera parameter file"), qPrintable(seen.at(0)));

    seen.clear();
    camera.loadParameters();
    QCOMPARE(seen, QStringList {"Can't open ini file."});
    QVERIFY(putFile(m_first.path(), QStringLiteral("Speckmend.ini"),
                    QStringLiteral("[Timing]\nPixelClock=25\n")));
    seen.clear();
    camera.loadParameters();
    QCOMPARE(seen, QStringList());
    QCOMPARE(tv_SetPixelClock(camera.handle(), TV_CLOCK_QUERY_CURRENT), 25);
}

QTEST_GUILESS_MAIN(tst_DataFiles)
#include "tst_datafiles.moc"
