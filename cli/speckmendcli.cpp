#include "cli/speckmendcli.h"

#include "camera/camera.h"
#include "camera/cameralistmodel.h"
#include "camera/statustext.h"
#include "camera/tavo_api.h"
#include "detection/detectionrun.h"
#include "detection/thresholdhistogram.h"
#include "hotpixel/badpixellistmodel.h"
#include "hotpixel/pixellistfile.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QPoint>
#include <QTextStream>
#include <QTimer>

#include <cmath>
#include <cstdio>
#include <exception>
#include <functional>

namespace {

constexpr int defaultThreshold = 40;
constexpr int settleFrames = 2; // frames let pass after opening, as a user watching would
constexpr int frameTimeoutMs = 30000;

// The options and the number of arguments of each command; -1: a serial
// number, or none with --all.
struct CommandRule
{
    const char *name;
    int arguments;
    QStringList options;
};

const QVector<CommandRule> &commandRules()
{
    static const QVector<CommandRule> rules = {
            {"list", 0, {"json"}},
            {"show", -1, {"json", "all"}},
            {"detect", -1, {"threshold", "clear", "write", "export", "json", "all"}},
            {"import", 2, {"write"}},
            {"export", 2, {}},
            {"save", 2, {}},
            {"load", 2, {"write"}},
            {"clear", -1, {"all"}},
            {"convert", 2, {"from", "to", "height"}},
            {"histogram", 1, {"json", "png"}},
    };
    return rules;
}

QJsonArray positions(const QList<BadpixelEntry> &entries, int pixelClass)
{
    QJsonArray result;
    for (const BadpixelEntry &entry : entries) {
        if (entry.pixelClass == pixelClass)
            result.append(QJsonArray {entry.x, entry.y});
    }
    return result;
}

// A one-line text: the window's texts may hold line breaks.
QString oneLine(QString text)
{
    return text.replace(QLatin1Char('\n'), QLatin1Char(' ')).trimmed();
}

void drawChart(const ThresholdHistogram &histogram, const QString &title, QImage *image)
{
    const int lo = ThresholdHistogram::lowestThreshold;
    const int hi = ThresholdHistogram::highestThreshold;
    const QRectF plot(70, 40, image->width() - 100, image->height() - 100);
    // Counts on a logarithmic axis: log10(count + 1).
    double top = 1.0;
    for (int t = lo; t <= hi; ++t)
        top = std::max(top, std::log10(histogram.total(t) + 1.0));
    top = std::ceil(top);
    auto point = [&](int threshold, int count) {
        return QPointF(plot.left() + plot.width() * (threshold - lo) / (hi - lo),
                       plot.bottom() - plot.height() * std::log10(count + 1.0) / top);
    };

    QPainter painter(image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(image->rect(), Qt::white);
    painter.setPen(Qt::black);
    painter.drawText(QRectF(0, 8, image->width(), 24), Qt::AlignCenter, title);
    painter.drawRect(plot);
    for (int t = 0; t <= hi; t += 25) {
        const int x = std::max(t, lo);
        const QPointF at = point(x, 0);
        painter.drawLine(at, at + QPointF(0, 5));
        painter.drawText(QRectF(at.x() - 20, at.y() + 6, 40, 16), Qt::AlignCenter,
                         QString::number(x));
    }
    painter.drawText(QRectF(plot.left(), plot.bottom() + 24, plot.width(), 18), Qt::AlignCenter,
                     QStringLiteral("threshold"));
    for (int decade = 0; decade <= int(top); ++decade) {
        const double y = plot.bottom() - plot.height() * decade / top;
        painter.drawLine(QPointF(plot.left() - 5, y), QPointF(plot.left(), y));
        painter.drawText(QRectF(0, y - 8, plot.left() - 8, 16), Qt::AlignRight | Qt::AlignVCenter,
                         QString::number(std::pow(10.0, decade) - (decade == 0 ? 1 : 0), 'g', 7));
    }

    const QColor colours[] = {Qt::red, Qt::darkGreen, Qt::blue, Qt::darkMagenta};
    const QStringList names = histogram.planeNames();
    for (int plane = -1; plane < names.size(); ++plane) {
        if (plane < 0 && names.size() == 1)
            continue; // one plane: the total is that plane
        QPolygonF line;
        for (int t = lo; t <= hi; ++t)
            line << point(t, plane < 0 ? histogram.total(t) : histogram.count(plane, t));
        const QColor colour = plane < 0 ? QColor(Qt::black) : colours[plane % 4];
        painter.setPen(QPen(colour, plane < 0 ? 2.0 : 1.2));
        painter.drawPolyline(line);
        const QString label = plane < 0 ? QStringLiteral("total") : names.at(plane);
        painter.drawText(QPointF(plot.right() - 90, plot.top() + 18 + 16 * (plane + 1)), label);
    }
}

} // namespace

struct SpeckmendCli::Session
{
    CameraRow row;
    std::unique_ptr<Camera> camera;
    BadpixelListModel list;
    std::unique_ptr<ThresholdHistogram> histogram;
    QVector<QImage> frames;
};

SpeckmendCli::SpeckmendCli()
    : m_parser(std::make_unique<QCommandLineParser>())
    , m_out(std::make_unique<QTextStream>(stdout))
    , m_err(std::make_unique<QTextStream>(stderr))
{ }

SpeckmendCli::~SpeckmendCli() = default;

bool SpeckmendCli::needsGui(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        if (argument == "--png" || argument.startsWith("--png="))
            return true;
    }
    return false;
}

void SpeckmendCli::error(const QString &text)
{
    *m_err << "speckmend-cli: " << oneLine(text) << Qt::endl;
}

void SpeckmendCli::warn(const QString &text)
{
    *m_err << "speckmend-cli: warning: " << oneLine(text) << Qt::endl;
}

int SpeckmendCli::run(const QStringList &arguments)
{
    QCommandLineParser &parser = *m_parser;
    parser.setApplicationDescription(QStringLiteral(
            "Reads, finds and writes the hot pixel lists of the attached cameras.\n\n"
            "Commands:\n"
            "  list                          the cameras and their states\n"
            "  show SERIAL|--all             the factory and user lists of a camera\n"
            "  detect SERIAL|--all           finds hot pixels in ten dark frames\n"
            "  import SERIAL FILE            replaces the user list by a text file\n"
            "  export SERIAL FILE            writes the user list into a text file\n"
            "  save SERIAL FILE              writes the user list into a binary file\n"
            "  load SERIAL FILE              replaces the user list by a binary file\n"
            "  clear SERIAL|--all            removes the user list from the camera\n"
            "  convert IN OUT                converts a list between text, dcraw, siril\n"
            "  histogram SERIAL              pixels found at each threshold\n\n"
            "Exit status: 0 done, 1 the camera library or a file failed, 2 wrong usage,\n"
            "3 no such camera or it is in use, 4 the lens is not covered."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addOptions({
            {QStringLiteral("json"), QStringLiteral("Prints one JSON document.")},
            {QStringLiteral("all"), QStringLiteral("Runs over every free camera, one by one.")},
            {QStringLiteral("threshold"),
             QStringLiteral("Threshold of the detection, 5 to 255 (default 40)."),
             QStringLiteral("N")},
            {QStringLiteral("clear"),
             QStringLiteral("Removes the user pixels of the list before a detection.")},
            {QStringLiteral("write"),
             QStringLiteral("Writes the user list into the camera's memory afterwards.")},
            {QStringLiteral("export"),
             QStringLiteral("Writes the user list into a text file afterwards."),
             QStringLiteral("FILE")},
            {QStringLiteral("from"), QStringLiteral("Format of IN: text, dcraw or siril."),
             QStringLiteral("FORMAT")},
            {QStringLiteral("to"), QStringLiteral("Format of OUT: text, dcraw or siril."),
             QStringLiteral("FORMAT")},
            {QStringLiteral("height"),
             QStringLiteral("The sensor's height in rows, for a Siril list, which counts the "
                            "rows from the bottom."),
             QStringLiteral("ROWS")},
            {QStringLiteral("png"), QStringLiteral("Draws the histogram as a chart into FILE."),
             QStringLiteral("FILE")},
    });
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("The command."));
    parser.addPositionalArgument(QStringLiteral("arguments"),
                                 QStringLiteral("The command's arguments."),
                                 QStringLiteral("[...]"));

    if (!parser.parse(arguments)) {
        error(parser.errorText());
        return Usage;
    }
    if (parser.isSet(help) || parser.isSet(QStringLiteral("help-all"))) {
        *m_out << parser.helpText();
        return Done;
    }
    if (parser.isSet(version)) {
        *m_out << "speckmend-cli " << QCoreApplication::applicationVersion() << Qt::endl;
        return Done;
    }

    QStringList positional = parser.positionalArguments();
    if (positional.isEmpty()) {
        error(QStringLiteral("no command given; see speckmend-cli --help"));
        return Usage;
    }
    const QString command = positional.takeFirst();
    m_arguments = positional;
    const CommandRule *rule = nullptr;
    for (const CommandRule &candidate : commandRules()) {
        if (command == QLatin1String(candidate.name))
            rule = &candidate;
    }
    if (!rule) {
        error(QStringLiteral("unknown command \"%1\"; see speckmend-cli --help").arg(command));
        return Usage;
    }
    for (const QString &name : parser.optionNames()) {
        if (!rule->options.contains(name)) {
            error(QStringLiteral("%1 takes no option --%2").arg(command, name));
            return Usage;
        }
    }
    const int wanted
            = rule->arguments < 0 ? (parser.isSet(QStringLiteral("all")) ? 0 : 1) : rule->arguments;
    if (m_arguments.size() != wanted) {
        error(rule->arguments < 0 ? QStringLiteral("%1 takes a serial number or --all").arg(command)
                                  : QStringLiteral("%1 takes %2 arguments, not %3")
                                            .arg(command)
                                            .arg(wanted)
                                            .arg(m_arguments.size()));
        return Usage;
    }
    m_json = parser.isSet(QStringLiteral("json"));
    if (parser.isSet(QStringLiteral("threshold"))) {
        bool ok = false;
        const int threshold = parser.value(QStringLiteral("threshold")).toInt(&ok);
        if (!ok || threshold < 5 || threshold > 255) {
            error(QStringLiteral("the threshold is a number from 5 to 255"));
            return Usage;
        }
    }

    if (command == QLatin1String("list"))
        return list();
    if (command == QLatin1String("convert"))
        return convert();
    return perCamera(command);
}

int SpeckmendCli::list()
{
    CameraListModel cameras(3600000);
    cameras.updateList();
    QJsonArray json;
    for (int i = 0; i < cameras.rowCount(); ++i) {
        const CameraRow row = cameras.cameraListEntry(i);
        // Whether it keeps a list in its memory is asked of an opened camera;
        // a camera in use can't be asked.
        QJsonValue memory = QJsonValue::Null;
        if (row.inUse == 0) {
            uint32_t handle = row.deviceId | TV_OPEN_BY_DEVICE_ID;
            if (tv_InitCamera(&handle, nullptr) == TV_SUCCESS) {
                uint32_t capabilities = 0;
                memory = tv_HotPixel(handle, TV_HP_CAPABILITIES, &capabilities,
                                     sizeof(capabilities))
                                == TV_SUCCESS
                        && (capabilities & TV_HP_CAP_CAMERA_MEMORY) != 0;
                tv_ExitCamera(handle);
            }
        }
        const QString state = row.statusText();
        if (m_json) {
            json.append(QJsonObject {{"serial", row.serial},
                                     {"model", row.model},
                                     {"deviceId", int(row.deviceId)},
                                     {"state", state},
                                     {"cameraMemory", memory}});
        } else {
            const QString memoryText = memory.isNull()
                    ? QStringLiteral("unknown")
                    : (memory.toBool() ? QStringLiteral("camera-memory")
                                       : QStringLiteral("software-only"));
            *m_out << row.serial << ' ' << row.model << ' ' << row.deviceId << ' '
                   << QString(state).replace(QLatin1Char(' '), QLatin1Char('-')) << ' '
                   << memoryText << '\n';
        }
    }
    if (m_json)
        *m_out << QJsonDocument(json).toJson(QJsonDocument::Compact) << '\n';
    m_out->flush();
    return Done;
}

int SpeckmendCli::convert()
{
    const QString in = m_arguments.at(0);
    const QString out = m_arguments.at(1);
    const QString fromName = m_parser->value(QStringLiteral("from"));
    const QString toName = m_parser->value(QStringLiteral("to"));
    const PixelListFile::Format from = fromName.isEmpty() ? PixelListFile::formatFromFileName(in)
                                                          : PixelListFile::formatFromName(fromName);
    const PixelListFile::Format to = toName.isEmpty() ? PixelListFile::formatFromFileName(out)
                                                      : PixelListFile::formatFromName(toName);
    for (const auto &[format, name, option] :
         {std::make_tuple(from, in, fromName), std::make_tuple(to, out, toName)}) {
        if (format == PixelListFile::Unknown) {
            error(option.isEmpty()
                          ? QStringLiteral("%1: can't tell the format from the name; give it "
                                           "with --from or --to (text, dcraw, siril)")
                                    .arg(name)
                          : QStringLiteral("unknown format \"%1\"; the formats are text, "
                                           "dcraw, siril")
                                    .arg(option));
            return Usage;
        }
    }
    int height = 0;
    if (m_parser->isSet(QStringLiteral("height"))) {
        bool ok = false;
        height = m_parser->value(QStringLiteral("height")).toInt(&ok);
        if (!ok || height < 1 || height > 65536) {
            error(QStringLiteral("the height is a number of rows from 1 to 65536"));
            return Usage;
        }
    } else if (from == PixelListFile::Siril || to == PixelListFile::Siril) {
        error(QStringLiteral("a Siril list counts the rows from the bottom; give the sensor's "
                             "height with --height"));
        return Usage;
    }
    try {
        PixelListFile::write(out, to, PixelListFile::read(in, from, height), height);
    } catch (const std::exception &e) {
        error(QString::fromUtf8(e.what()));
        return Failed;
    }
    return Done;
}

int SpeckmendCli::perCamera(const QString &command)
{
    CameraListModel cameras(3600000);
    cameras.updateList();
    const bool all = m_parser->isSet(QStringLiteral("all"));
    QVector<CameraRow> rows;
    for (int i = 0; i < cameras.rowCount(); ++i) {
        const CameraRow row = cameras.cameraListEntry(i);
        if (all ? row.inUse == 0 : row.serial == m_arguments.value(0))
            rows.append(row);
    }
    if (rows.isEmpty()) {
        error(all ? QStringLiteral("there is no free camera")
                  : QStringLiteral("%1: there is no such camera").arg(m_arguments.value(0)));
        return NoCamera;
    }

    int result = Done;
    QJsonArray json;
    for (const CameraRow &row : rows) {
        Session session;
        int status = open(row, session);
        QJsonValue value;
        if (status == Done) {
            if (command == QLatin1String("show"))
                status = show(session, &value);
            else if (command == QLatin1String("detect"))
                status = detect(session, &value);
            else if (command == QLatin1String("histogram"))
                status = histogram(session, &value);
            else if (command == QLatin1String("import"))
                status = importList(session);
            else if (command == QLatin1String("export"))
                status = exportList(session);
            else if (command == QLatin1String("save"))
                status = save(session);
            else if (command == QLatin1String("load"))
                status = load(session);
            else if (command == QLatin1String("clear"))
                status = clear(session);
            session.camera->close();
        }
        if (!value.isUndefined())
            json.append(value);
        result = std::max(result, status);
    }
    if (m_json && !json.isEmpty()) {
        *m_out << (all ? QJsonDocument(json) : QJsonDocument(json.at(0).toObject()))
                          .toJson(QJsonDocument::Compact)
               << '\n';
    }
    m_out->flush();
    return result;
}

int SpeckmendCli::open(const CameraRow &row, Session &session)
{
    session.row = row;
    if (row.inUse != 0) {
        error(QStringLiteral("%1: the camera is in use by another process").arg(row.serial));
        return NoCamera;
    }
    // The camera object reports a failed open in its own words; a first try
    // tells the library's status.
    uint32_t handle = row.deviceId | TV_OPEN_BY_DEVICE_ID;
    const int status = tv_InitCamera(&handle, nullptr);
    if (status == TV_SUCCESS) {
        tv_ExitCamera(handle);
    } else if (status != TV_STATUS_FW_UPLOAD_NEEDED) {
        error(QStringLiteral("%1: can't open the camera: %2")
                      .arg(row.serial, tavoStatusText(status)));
        return status == TV_STATUS_NO_SUCH_CAMERA || status == TV_STATUS_CAMERA_IN_USE ? NoCamera
                                                                                       : Failed;
    }

    session.camera = std::make_unique<Camera>();
    Camera *camera = session.camera.get();
    QObject::connect(camera, &Camera::cameraOpened, &session.list,
                     &BadpixelListModel::getBadpixelList);
    const QString serial = row.serial;
    QObject::connect(camera, &Camera::displayError, camera,
                     [this, serial](const QString &text) { warn(serial + ": " + text); });
    try {
        // As the window opens a camera: correction off, then the settings.
        camera->open(int(row.deviceId));
        camera->setBadPixelCorrection(false);
        camera->setAutoConfig();
    } catch (const std::exception &e) {
        error(QStringLiteral("%1: can't open the camera: %2")
                      .arg(row.serial, QString::fromUtf8(e.what())));
        return Failed;
    }
    return Done;
}

int SpeckmendCli::collectFrames(Session &session, unsigned threshold, bool clear, int *found)
{
    Camera *camera = session.camera.get();
    const QString serial = session.row.serial;
    const bool detecting = found != nullptr;
    DetectionRun run(detecting ? &session.list : nullptr);
    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    int status = Done;
    int settle = settleFrames;

    QObject::connect(camera, &Camera::newImage, &run, [&](QImage &image) {
        timeout.start(frameTimeoutMs);
        if (settle > 0) {
            if (--settle == 0)
                run.start(threshold, clear);
            return;
        }
        run.addFrame(image, camera->colorMode());
    });
    QObject::connect(&run, &DetectionRun::progress, &loop, [&](int value) {
        *m_err << serial << ": frame " << value / DetectionRun::progressStep << " of "
               << DetectionRun::framesPerRun << Qt::endl;
    });
    QObject::connect(&run, &DetectionRun::framesCollected, &loop,
                     [&](const QVector<QImage> &frames) {
                         session.histogram = std::make_unique<ThresholdHistogram>();
                         session.histogram->setInput(camera->colorMode(), &frames);
                         try {
                             session.histogram->compute();
                         } catch (const std::exception &) {
                             session.histogram.reset(); // the detection tells the failure
                         }
                     });
    QObject::connect(&run, &DetectionRun::tooBright, &loop, [&] {
        error(serial + ": " + DetectionRun::tooBrightText());
        status = NotCovered;
        loop.quit();
    });
    QObject::connect(&run, &DetectionRun::failed, &loop, [&](const QString &text) {
        error(serial + ": " + DetectionRun::failedText(text));
        status = Failed;
    });
    QObject::connect(&run, &DetectionRun::finished, &loop, &QEventLoop::quit);
    QObject::connect(&timeout, &QTimer::timeout, &loop, [&] {
        error(QStringLiteral("%1: no frame has come from the camera for %2 s")
                      .arg(serial)
                      .arg(frameTimeoutMs / 1000));
        status = Failed;
        loop.quit();
    });
    timeout.start(frameTimeoutMs);
    loop.exec();
    QObject::disconnect(camera, &Camera::newImage, &run, nullptr);

    if (status == Done && !session.histogram) {
        error(serial + QStringLiteral(": the frames could not be evaluated"));
        status = Failed;
    }
    if (status == Done && found)
        *found = session.histogram->total(int(threshold));
    return status;
}

int SpeckmendCli::writeList(Session &session)
{
    const QString serial = session.row.serial;
    // The window's limits and words.
    if (!session.camera->hasEepromCorrection()) {
        error(serial
              + ": Not supported! This camera only supports software correction and can't be "
                "saved inside the camera memory!");
        return Failed;
    }
    try {
        session.list.writeBadpixelList(session.camera.get());
    } catch (const std::exception &e) {
        error(serial + ": Write failed: " + QString::fromUtf8(e.what()));
        return Failed;
    }
    return Done;
}

int SpeckmendCli::show(Session &session, QJsonValue *json)
{
    const QList<BadpixelEntry> entries = session.list.pixels();
    const QJsonArray factory = positions(entries, 0);
    const QJsonArray user = positions(entries, 1);
    if (m_json) {
        *json = QJsonObject {{"serial", session.row.serial},
                             {"model", session.row.model},
                             {"factory", factory},
                             {"user", user}};
        return Done;
    }
    *m_out << session.row.serial << ' ' << session.row.model << ": factory " << factory.size()
           << ", user " << user.size() << '\n';
    if (!m_parser->isSet(QStringLiteral("all"))) {
        for (const BadpixelEntry &entry : entries) {
            if (entry.pixelClass <= 1)
                *m_out << (entry.pixelClass == 0 ? "factory " : "user ") << entry.x << ' '
                       << entry.y << '\n';
        }
    }
    return Done;
}

int SpeckmendCli::detect(Session &session, QJsonValue *json)
{
    const unsigned threshold = m_parser->isSet(QStringLiteral("threshold"))
            ? m_parser->value(QStringLiteral("threshold")).toUInt()
            : defaultThreshold;
    const bool clear = m_parser->isSet(QStringLiteral("clear"));
    // Each pixel new to the list is told by pixelAdded and appended.
    int addedCount = 0;
    QObject::connect(&session.list, &BadpixelListModel::pixelAdded, &session.list,
                     [&addedCount](int count) { addedCount += count; });
    int found = 0;
    int status = collectFrames(session, threshold, clear, &found);
    QObject::disconnect(&session.list, &BadpixelListModel::pixelAdded, nullptr, nullptr);
    if (status != Done)
        return status;

    const QList<BadpixelEntry> entries = session.list.pixels();
    QJsonArray added;
    for (int i = int(entries.size()) - addedCount; i < entries.size(); ++i)
        added.append(QJsonArray {entries.at(i).x, entries.at(i).y});

    bool written = false;
    if (m_parser->isSet(QStringLiteral("write"))) {
        status = writeList(session);
        written = status == Done;
    }
    if (status == Done && m_parser->isSet(QStringLiteral("export"))) {
        try {
            session.list.exportAsFile(m_parser->value(QStringLiteral("export")));
        } catch (const std::exception &e) {
            error(QStringLiteral("%1: %2: %3")
                          .arg(session.row.serial, m_parser->value(QStringLiteral("export")),
                               QString::fromUtf8(e.what())));
            status = Failed;
        }
    }

    if (m_json) {
        *json = QJsonObject {
                {"serial", session.row.serial}, {"threshold", int(threshold)}, {"found", found},
                {"added", added.size()},        {"written", written},          {"pixels", added}};
    } else {
        *m_out << session.row.serial << ": threshold " << threshold << ", found " << found
               << ", added " << added.size() << ", written " << (written ? "yes" : "no") << '\n';
        if (!m_parser->isSet(QStringLiteral("all"))) {
            for (const QJsonValue &pixel : qAsConst(added))
                *m_out << "added " << pixel.toArray().at(0).toInt() << ' '
                       << pixel.toArray().at(1).toInt() << '\n';
        }
    }
    return status;
}

int SpeckmendCli::histogram(Session &session, QJsonValue *json)
{
    const int status = collectFrames(session, defaultThreshold, false, nullptr);
    if (status != Done)
        return status;
    const ThresholdHistogram &histogram = *session.histogram;
    const QStringList planes = histogram.planeNames();
    const int lo = ThresholdHistogram::lowestThreshold;
    const int hi = ThresholdHistogram::highestThreshold;

    if (m_parser->isSet(QStringLiteral("png"))) {
        const QString file = m_parser->value(QStringLiteral("png"));
        QImage chart(900, 560, QImage::Format_RGB32);
        drawChart(histogram,
                  QStringLiteral("%1 %2: pixels a detection finds at each threshold")
                          .arg(session.row.serial, session.row.model),
                  &chart);
        if (!chart.save(file, "PNG")) {
            error(QStringLiteral("%1: can't write the chart").arg(file));
            return Failed;
        }
    }

    if (m_json) {
        QJsonArray counts;
        for (int t = lo; t <= hi; ++t) {
            QJsonArray perPlane;
            for (int plane = 0; plane < planes.size(); ++plane)
                perPlane.append(histogram.count(plane, t));
            counts.append(QJsonObject {
                    {"threshold", t}, {"total", histogram.total(t)}, {"planes", perPlane}});
        }
        QJsonArray means;
        for (unsigned mean : histogram.means())
            means.append(int(mean));
        *json = QJsonObject {{"serial", session.row.serial},
                             {"model", session.row.model},
                             {"planes", QJsonArray::fromStringList(planes)},
                             {"means", means},
                             {"counts", counts}};
        return Done;
    }
    *m_out << "threshold total";
    if (planes.size() > 1)
        *m_out << ' ' << planes.join(QLatin1Char(' '));
    *m_out << '\n';
    for (int t = lo; t <= hi; ++t) {
        *m_out << t << ' ' << histogram.total(t);
        for (int plane = 0; planes.size() > 1 && plane < planes.size(); ++plane)
            *m_out << ' ' << histogram.count(plane, t);
        *m_out << '\n';
    }
    return Done;
}

bool SpeckmendCli::runFileStep(const std::function<void(const QString &)> &step)
{
    // The file named on the command line; a failure is told with its name.
    const QString &file = m_arguments.at(1);
    try {
        step(file);
    } catch (const std::exception &e) {
        error(QStringLiteral("%1: %2").arg(file, QString::fromUtf8(e.what())));
        return false;
    }
    return true;
}

int SpeckmendCli::importList(Session &session)
{
    if (!runFileStep([&](const QString &file) { session.list.importFromFile(file); }))
        return Failed;
    return m_parser->isSet(QStringLiteral("write")) ? writeList(session) : int(Done);
}

int SpeckmendCli::exportList(Session &session)
{
    if (!runFileStep([&](const QString &file) { session.list.exportAsFile(file); }))
        return Failed;
    return Done;
}

int SpeckmendCli::save(Session &session)
{
    // The library writes the file; it gets the whole path.
    if (!runFileStep([&](const QString &file) {
            session.list.saveAsFile(session.camera.get(), QFileInfo(file).absoluteFilePath());
        }))
        return Failed;
    if (!QFileInfo::exists(m_arguments.at(1))) {
        error(QStringLiteral("%1: the camera library has not written the file")
                      .arg(m_arguments.at(1)));
        return Failed;
    }
    return Done;
}

int SpeckmendCli::load(Session &session)
{
    if (!runFileStep([&](const QString &file) {
            session.list.loadFromFile(session.camera.get(), QFileInfo(file).absoluteFilePath());
        }))
        return Failed;
    return m_parser->isSet(QStringLiteral("write")) ? writeList(session) : int(Done);
}

int SpeckmendCli::clear(Session &session)
{
    // An empty user list erases the one in the camera.
    session.list.clearUserBadpixelList();
    const int status = writeList(session);
    if (status == Done)
        *m_out << session.row.serial << ": user list cleared\n";
    return status;
}
