// The program's frame path on the offscreen platform: a simulated camera at
// its highest frame rate, from Camera::eventReceived through
// MainWindow::newImage to the display and the magnifier, at 1:1 and 1:4, for
// sensors of 1.3, 5 and 12 megapixels; beside it the same cameras with a bare
// Camera that shows nothing. Reports frames shown a second (shown_fps), the
// camera's own rate (camera_fps) and the share of its frames that were shown.
#include "app/mainwindow.h"
#include "camera/camera.h"
#include "controls/doubleparameterwidget.h"
#include "controls/parameterblockwidget.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QDockWidget>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QStatusBar>
#include <QTableView>
#include <QTemporaryDir>
#include <QToolBar>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct Sensor
{
    int deviceId;
    const char *serial;
    int width;
    int height;
};

const Sensor sensors[] = {
        {1, "5100000013", 1280, 1024}, // 1.3 MP
        {2, "5100000050", 2592, 1944}, // 5 MP
        {3, "5100000120", 4000, 3000}, // 12 MP
};

// Runs the event loop for the given time.
void spin(int msec)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < msec)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

QAction *findAction(QWidget *window, const QString &text)
{
    for (QAction *act : window->findChildren<QAction *>()) {
        if (act->text() == text)
            return act;
    }
    return nullptr;
}

QLabel *statusField(QMainWindow *window, const QString &prefix)
{
    for (QLabel *label : window->statusBar()->findChildren<QLabel *>()) {
        if (label->text().startsWith(prefix))
            return label;
    }
    return nullptr;
}

// Frames received by the window's camera and its rate, as the status fields
// show them right after a refresh.
void readCounters(MainWindow *window, long *frames, double *rate)
{
    QMetaObject::invokeMethod(window, "updateStatus", Qt::DirectConnection);
    *frames = statusField(window, QStringLiteral("Frames: "))->text().mid(8).toLong();
    *rate = statusField(window, QStringLiteral("FPS: "))->text().mid(5).toDouble();
}

bool openInWindow(MainWindow *window, const Sensor &sensor, const QString &zoomStep)
{
    auto *table = window->findChild<QDockWidget *>(QStringLiteral("CameraListDock"))
                          ->findChild<QTableView *>();
    QAbstractItemModel *model = table->model();
    int row = -1;
    for (int i = 0; i < model->rowCount(); ++i) {
        if (model->index(i, 3).data().toString() == QLatin1String(sensor.serial))
            row = i;
    }
    if (row < 0)
        return false;
    table->selectRow(row);
    findAction(window, QStringLiteral("&Open camera"))->trigger();
    QAction *zoom = window->findChild<QToolBar *>()->actions().last();
    for (QAction *step : zoom->menu()->actions()) {
        if (step->text() == zoomStep)
            step->trigger();
    }
    // The highest rate the camera offers at its clock.
    QDoubleSpinBox *rate = window->findChild<ParameterBlockWidget *>()->framerate->spinBox;
    rate->setValue(rate->maximum());
    return true;
}

void BM_FramePath(benchmark::State &state)
{
    const Sensor &sensor = sensors[state.range(0)];
    const QString step = state.range(1) == 1 ? QStringLiteral("1:1") : QStringLiteral("1:4");
    MainWindow window;
    window.show();
    spin(300);
    if (!openInWindow(&window, sensor, step)) {
        state.SkipWithError("camera not listed");
        return;
    }
    spin(1000); // settle at the new rate

    double shown = 0;
    double offered = 0;
    double seconds = 0;
    for (auto _ : state) {
        long framesBefore = 0;
        long framesAfter = 0;
        double rate = 0;
        readCounters(&window, &framesBefore, &rate);
        QElapsedTimer clock;
        clock.start();
        spin(2000);
        const double elapsed = clock.elapsed() / 1000.0;
        readCounters(&window, &framesAfter, &rate);
        state.SetIterationTime(elapsed);
        shown += framesAfter - framesBefore;
        offered += rate * elapsed;
        seconds += elapsed;
    }
    state.counters["shown_fps"] = shown / seconds;
    state.counters["camera_fps"] = offered / seconds;
    state.counters["shown_share"] = offered > 0 ? shown / offered : 0.0;
    state.SetLabel(QStringLiteral("%1x%2 %3")
                           .arg(sensor.width)
                           .arg(sensor.height)
                           .arg(step)
                           .toStdString());
}

void BM_CameraAlone(benchmark::State &state)
{
    const Sensor &sensor = sensors[state.range(0)];
    Camera camera;
    long published = 0;
    double maximum = 0;
    QObject::connect(&camera, &Camera::newImage, [&published](QImage &) { ++published; });
    QObject::connect(&camera, &Camera::framerateChanged,
                     [&maximum](CameraParameter<double> &param) { maximum = param.max; });
    try {
        camera.open(sensor.deviceId);
    } catch (const std::exception &e) {
        state.SkipWithError(e.what());
        return;
    }
    camera.setFramerate(maximum);
    spin(1000);

    double shown = 0;
    double offered = 0;
    double seconds = 0;
    for (auto _ : state) {
        const long before = published;
        QElapsedTimer clock;
        clock.start();
        spin(2000);
        const double elapsed = clock.elapsed() / 1000.0;
        state.SetIterationTime(elapsed);
        shown += published - before;
        offered += camera.framesPerSecond() * elapsed;
        seconds += elapsed;
    }
    camera.close();
    state.counters["shown_fps"] = shown / seconds;
    state.counters["camera_fps"] = offered / seconds;
    state.counters["shown_share"] = offered > 0 ? shown / offered : 0.0;
    state.SetLabel(QStringLiteral("%1x%2").arg(sensor.width).arg(sensor.height).toStdString());
}

BENCHMARK(BM_CameraAlone)
        ->DenseRange(0, 2)
        ->UseManualTime()
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FramePath)
        ->ArgsProduct({{0, 1, 2}, {1, 4}})
        ->UseManualTime()
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);

// A fleet of three monochrome cameras of the sizes above, with a pixel clock
// fast enough for 30 frames a second at 12 MP, in folders of its own.
QString writeFleet(const QTemporaryDir &dir)
{
    QString cameras;
    for (const Sensor &sensor : sensors) {
        if (!cameras.isEmpty())
            cameras += QLatin1Char(',');
        cameras += QStringLiteral("{\"deviceId\": %1, \"serial\": \"%2\", \"model\": \"TV-BENCH\", "
                                  "\"sensorType\": 2457, \"width\": %3, \"height\": %4, "
                                  "\"color\": \"mono\", "
                                  "\"pixelClock\": {\"min\": 5, \"max\": 480, \"default\": 480}}")
                           .arg(sensor.deviceId)
                           .arg(QLatin1String(sensor.serial))
                           .arg(sensor.width)
                           .arg(sensor.height);
    }
    const QString path = dir.filePath(QStringLiteral("fleet.json"));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(QStringLiteral("{\"cameras\": [%1]}").arg(cameras).toUtf8());
    return path;
}

// The settings a freshly opened camera gets: the fastest clock and a short
// exposure, so that the frame rate can go to its highest.
void writeCameraSettings(const QTemporaryDir &dir)
{
    QFile file(dir.filePath(QStringLiteral("cameraparameter.xml")));
    if (file.open(QIODevice::WriteOnly))
        file.write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                   "<CameraSettings>\n"
                   "    <Sensor ID=\"0x0999\">\n"
                   "        <Timing pixelclock=\"480\" framerate=\"200\" exposure=\"2\"/>\n"
                   "        <Gain master=\"50\" red=\"-1\" green=\"-1\" blue=\"-1\"/>\n"
                   "    </Sensor>\n"
                   "</CameraSettings>\n");
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir dir;
    QDir(dir.path()).mkpath(QStringLiteral("state"));
    QDir(dir.path()).mkpath(QStringLiteral("runtime"));
    QDir(dir.path()).mkpath(QStringLiteral("config"));
    qputenv("TAVO_SIM_CONFIG", writeFleet(dir).toLocal8Bit());
    qputenv("TAVO_SIM_STATE_DIR", dir.filePath(QStringLiteral("state")).toLocal8Bit());
    qputenv("TAVO_SIM_RUNTIME_DIR", dir.filePath(QStringLiteral("runtime")).toLocal8Bit());
    // The window stores its layout on exit: keep it out of the user's settings.
    qputenv("XDG_CONFIG_HOME", dir.filePath(QStringLiteral("config")).toLocal8Bit());
    // cameraparameter.xml is read from the working directory.
    writeCameraSettings(dir);
    QDir::setCurrent(dir.path());

    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
