// The program's frame path on the offscreen platform: a simulated camera at
// its highest frame rate, from Camera::eventReceived through
// MainWindow::newImage to the display and the magnifier, at 1:4, 1:1, 2:1 and
// 4:1, for sensors of 1.3, 5 and 12 megapixels; beside it the same cameras
// with a bare Camera that shows nothing. Reports the frames shown a second
// (shown_fps: distinct pictures painted), the frames drawn a second
// (drawn_fps: handed to the display and the magnifier), the rate at which the camera
// delivered frames (camera_fps: frame events the library signalled), and the
// share of its frames that were shown (shown_share) and counted in the frame
// counter (counted_share). BM_ZoomLatency measures how late an event posted every
// 50 ms is handled while a 5 MP camera at 20 frames a second is shown at 4:1;
// BM_OpenToFirstFrame the time from opening that camera to its first picture;
// BM_DisplayStep the cost of each step of showing one frame.
#include "app/mainwindow.h"
#include "camera/camera.h"
#include "controls/doubleparameterwidget.h"
#include "controls/parameterblockwidget.h"

#include "display/displaywidget.h"
#include "display/magnifier.h"
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

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

// Frame-ready events that the camera library signalled: the frames the camera
// delivered, counted where the event thread's wait returns.
std::atomic<long> framesDelivered {0};

} // namespace

// Stands in front of the library's tv_Event, as the tests' call recorder does.
TAVO_API int32_t tv_Event(cameraHandle handle, uint32_t operation, void *parameter, uint32_t size)
{
    static const auto real = reinterpret_cast<decltype(&::tv_Event)>(dlsym(RTLD_NEXT, "tv_Event"));
    const int32_t status = real(handle, operation, parameter, size);
    if (operation == TV_EVT_OP_WAIT && status == TV_SUCCESS
        && static_cast<const EventWait *>(parameter)->signaled == TV_EVT_FRAME_READY)
        ++framesDelivered;
    return status;
}

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

// Counts the distinct pictures the display paints: what the user sees.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QLabel *label)
        : m_label(label)
    {
        label->installEventFilter(this);
    }

    long shown = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == m_label && event->type() == QEvent::Paint) {
            const qint64 key = m_label->pixmap(Qt::ReturnByValue).cacheKey();
            if (key != m_lastKey) {
                m_lastKey = key;
                ++shown;
            }
        }
        return false;
    }

private:
    QLabel *m_label;
    qint64 m_lastKey = 0;
};

QString zoomText(int64_t code)
{
    switch (code) {
    case 0:
        return QStringLiteral("1:4");
    case 2:
        return QStringLiteral("2:1");
    case 4:
        return QStringLiteral("4:1");
    default:
        return QStringLiteral("1:1");
    }
}

// Opens the camera in the window at the zoom step and the rate (0: the
// highest the camera offers at its clock).
bool openInWindow(MainWindow *window, const Sensor &sensor, const QString &zoomStep,
                  double frameRate = 0)
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
    QDoubleSpinBox *rate = window->findChild<ParameterBlockWidget *>()->framerate->spinBox;
    rate->setValue(frameRate > 0 ? frameRate : rate->maximum());
    return true;
}

QLabel *pictureOf(MainWindow *window)
{
    return window->findChild<DisplayWidget *>()->imageLabel;
}

// The window's counts at one moment: frames counted, frames the camera
// delivered, distinct pictures painted, frames drawn (handed to the
// magnifier) and the time.
struct Tally
{
    long counted = 0;
    long delivered = 0;
    long shown = 0;
    long drawn = 0;
    qint64 nsecs = 0;
};

// Tallies the window right after it took the frame reports and began to draw
// the newest frame: then no delivered frame waits uncounted.
class LiveProbe : public QObject
{
public:
    explicit LiveProbe(MainWindow *window)
        : m_window(window)
        , m_painted(pictureOf(window))
    {
        connect(window->findChild<Magnifier *>(), &Magnifier::pixelInfoChanged, this, [this] {
            ++m_drawn;
            if (m_wanted) {
                m_wanted = false;
                m_tally = now();
                m_taken = true;
            }
        });
        m_clock.start();
    }

    // Runs the event loop until the next frame is drawn; its tally.
    Tally next()
    {
        m_taken = false;
        m_wanted = true;
        QElapsedTimer clock;
        clock.start();
        while (!m_taken && clock.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        return m_tally;
    }

    long shown() const { return m_painted.shown; }

private:
    Tally now()
    {
        long frames = 0;
        double rate = 0;
        readCounters(m_window, &frames, &rate);
        return {frames, framesDelivered, m_painted.shown, m_drawn, m_clock.nsecsElapsed()};
    }

    MainWindow *m_window;
    PaintCounter m_painted;
    QElapsedTimer m_clock;
    Tally m_tally;
    long m_drawn = 0;
    bool m_wanted = false;
    bool m_taken = false;
};

// Sums of tallies over the runs of a benchmark, and its counters.
struct Totals
{
    double seconds = 0;
    double counted = 0;
    double delivered = 0;
    double shown = 0;
    double drawn = 0;

    void add(const Tally &a, const Tally &b)
    {
        seconds += (b.nsecs - a.nsecs) / 1e9;
        counted += b.counted - a.counted;
        delivered += b.delivered - a.delivered;
        shown += b.shown - a.shown;
        drawn += b.drawn - a.drawn;
    }

    void report(benchmark::State &state) const
    {
        state.counters["shown_fps"] = shown / seconds;
        state.counters["drawn_fps"] = drawn / seconds;
        state.counters["camera_fps"] = delivered / seconds;
        state.counters["shown_share"] = delivered > 0 ? shown / delivered : 0.0;
        state.counters["counted_share"] = delivered > 0 ? counted / delivered : 0.0;
    }
};

void BM_FramePath(benchmark::State &state)
{
    const Sensor &sensor = sensors[state.range(0)];
    const QString step = zoomText(state.range(1));
    MainWindow window;
    window.show();
    spin(300);
    LiveProbe probe(&window);
    if (!openInWindow(&window, sensor, step)) {
        state.SkipWithError("camera not listed");
        return;
    }
    spin(1000); // settle at the new rate

    Totals totals;
    for (auto _ : state) {
        const Tally first = probe.next();
        spin(2000);
        const Tally last = probe.next();
        state.SetIterationTime((last.nsecs - first.nsecs) / 1e9);
        totals.add(first, last);
    }
    totals.report(state);
    state.SetLabel(QStringLiteral("%1x%2 %3")
                           .arg(sensor.width)
                           .arg(sensor.height)
                           .arg(step)
                           .toStdString());
}

// An event that carries the moment it was posted.
class StampedEvent : public QEvent
{
public:
    static QEvent::Type kind()
    {
        static const auto type = QEvent::Type(QEvent::registerEventType());
        return type;
    }

    explicit StampedEvent(std::chrono::steady_clock::time_point posted)
        : QEvent(kind())
        , posted(posted)
    { }

    const std::chrono::steady_clock::time_point posted;
};

// Notes how late each stamped event is handled, in milliseconds.
class LatencyProbe : public QObject
{
public:
    std::vector<double> latencies;

protected:
    bool event(QEvent *event) override
    {
        if (event->type() != StampedEvent::kind())
            return QObject::event(event);
        const auto late
                = std::chrono::steady_clock::now() - static_cast<StampedEvent *>(event)->posted;
        latencies.push_back(std::chrono::duration<double, std::milli>(late).count());
        return true;
    }
};

double percentile(std::vector<double> values, double share)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t index = std::min(values.size() - 1, size_t(share * double(values.size())));
    return values[index];
}

// The 5 MP camera at 20 frames a second shown at 4:1 for 5 s, while a timer
// thread posts an event every 50 ms to the main thread, as input would come.
void BM_ZoomLatency(benchmark::State &state)
{
    const Sensor &sensor = sensors[1];
    MainWindow window;
    window.show();
    spin(300);
    LiveProbe probe(&window);
    if (!openInWindow(&window, sensor, QStringLiteral("4:1"), 20.0)) {
        state.SkipWithError("camera not listed");
        return;
    }
    spin(1000);

    LatencyProbe latency;
    Totals totals;
    for (auto _ : state) {
        std::atomic<bool> posting {true};
        std::thread timer([&latency, &posting] {
            auto next = std::chrono::steady_clock::now();
            while (posting) {
                next += std::chrono::milliseconds(50);
                std::this_thread::sleep_until(next);
                QCoreApplication::postEvent(&latency,
                                            new StampedEvent(std::chrono::steady_clock::now()));
            }
        });
        const Tally first = probe.next();
        spin(5000);
        const Tally last = probe.next();
        posting = false;
        timer.join();
        QCoreApplication::sendPostedEvents(&latency); // the last one, late as it is
        state.SetIterationTime((last.nsecs - first.nsecs) / 1e9);
        totals.add(first, last);
    }
    totals.report(state);
    state.counters["latency_p50_ms"] = percentile(latency.latencies, 0.50);
    state.counters["latency_p99_ms"] = percentile(latency.latencies, 0.99);
    state.SetLabel(QStringLiteral("%1x%2 4:1").arg(sensor.width).arg(sensor.height).toStdString());
}

// From the Open command to the first picture of the 5 MP camera at 1:1.
void BM_OpenToFirstFrame(benchmark::State &state)
{
    const Sensor &sensor = sensors[1];
    MainWindow window;
    window.show();
    spin(300);
    QAction *close = findAction(&window, QStringLiteral("&Close camera"));
    PaintCounter painted(pictureOf(&window));
    for (auto _ : state) {
        const long before = painted.shown;
        QElapsedTimer clock;
        clock.start();
        if (!openInWindow(&window, sensor, QStringLiteral("1:1"))) {
            state.SkipWithError("camera not listed");
            return;
        }
        while (painted.shown == before && clock.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
        if (close)
            close->trigger();
        spin(200);
    }
    state.SetLabel(QStringLiteral("%1x%2").arg(sensor.width).arg(sensor.height).toStdString());
}

// One frame through each step of showing it, at 5 and 12 MP, beside what the
// same step cost with Qt's general routines.
void BM_DisplayStep(benchmark::State &state)
{
    const Sensor &sensor = sensors[state.range(0)];
    QImage frame(sensor.width, sensor.height, QImage::Format_Indexed8);
    for (int y = 0; y < frame.height(); ++y) {
        uchar *line = frame.scanLine(y);
        for (int x = 0; x < frame.width(); ++x)
            line[x] = uchar(x * 7 + y * 3);
    }
    const QImage rgb = frame.convertToFormat(QImage::Format_RGB32);
    DisplayWidget display;
    display.resize(800, 600);
    Magnifier magnifier;
    magnifier.resize(300, 300);
    magnifier.setPosition(QPoint(100, 100));
    const int step = int(state.range(1));
    const double zooms[] = {0.25, 1.0, 2.0, 4.0};
    if (step >= 4)
        display.setScale(zooms[step - 4]);
    static const char *const names[]
            = {"Qt copy (frame)",       "Qt convertToFormat RGB32", "Qt scaled 2:1 (RGB32)",
               "Qt scaled 4:1 (RGB32)", "display setImage 1:4",     "display setImage 1:1",
               "display setImage 2:1",  "display setImage 4:1",     "magnifier setImage"};
    // The display writes into the memory of its pictures before: measure it
    // once that memory is there, as it is from the third frame of a zoom on.
    for (int warm = 0; warm < 2; ++warm) {
        if (step >= 4 && step < 8)
            display.setImage(frame);
    }
    for (auto _ : state) {
        switch (step) {
        case 0:
            benchmark::DoNotOptimize(frame.copy());
            break;
        case 1:
            benchmark::DoNotOptimize(frame.convertToFormat(QImage::Format_RGB32));
            break;
        case 2:
        case 3:
            benchmark::DoNotOptimize(rgb.scaled(rgb.size() * (step == 2 ? 2 : 4),
                                                Qt::KeepAspectRatio, Qt::FastTransformation));
            break;
        case 8:
            magnifier.setImage(frame);
            break;
        default:
            display.setImage(frame);
            break;
        }
    }
    state.SetLabel(QStringLiteral("%1x%2 %3")
                           .arg(sensor.width)
                           .arg(sensor.height)
                           .arg(QLatin1String(names[step]))
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
        const long deliveredBefore = framesDelivered;
        QElapsedTimer clock;
        clock.start();
        spin(2000);
        const double elapsed = clock.elapsed() / 1000.0;
        state.SetIterationTime(elapsed);
        shown += published - before;
        offered += framesDelivered - deliveredBefore;
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
        ->ArgsProduct({{0, 1, 2}, {0, 1, 2, 4}})
        ->UseManualTime()
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ZoomLatency)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenToFirstFrame)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DisplayStep)
        ->ArgsProduct({{1, 2}, {0, 1, 2, 3, 4, 5, 6, 7, 8}})
        ->MinTime(0.5)
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
