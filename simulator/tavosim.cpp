// tavo-sim: the control tool of the simulated cameras. Changes reach every
// process that uses the library with the same runtime folder.
#include "camera/tavo_api.h"
#include "simulator/tavosim_control.h"

#include "speckmend_version.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char kCommands[]
        = "Controls the simulated cameras of every program that uses the simulated\n"
          "camera library with the same runtime folder (TAVO_SIM_RUNTIME_DIR).\n"
          "\n"
          "Commands:\n"
          "  list                           the cameras and their state\n"
          "  unplug SERIAL                  remove a camera\n"
          "  plug SERIAL                    attach it again\n"
          "  cover SERIAL                   cover its lens (dark frames)\n"
          "  uncover SERIAL                 open its lens\n"
          "  fail FUNCTION STATUS [COUNT]   make tv_FUNCTION return STATUS for its\n"
          "                                 next COUNT calls (none or 0: always)\n"
          "  reset                          clear faults, plug in all cameras and give\n"
          "                                 each its lens state of the configuration\n"
          "  hold SERIAL                    keep the camera open until killed\n"
          "  truth SERIAL                   the hot pixels the sensor really has:\n"
          "                                 X Y STRENGTH, \"factory\" when in the\n"
          "                                 factory list\n"
          "\n"
          "Exit status: 0 on success, 1 for an unknown camera or function or a\n"
          "failure, 2 for a usage error.";

QString helpText;

int usage(const QString &problem = QString())
{
    if (!problem.isEmpty())
        std::fprintf(stderr, "tavo-sim: %s\n", qPrintable(problem));
    std::fputs(qPrintable(helpText), stderr);
    return 2;
}

std::vector<TvsimCamera> cameras()
{
    std::vector<TvsimCamera> list(size_t(std::max(0, tvsim_cameras(nullptr, 0))));
    const int n = tvsim_cameras(list.data(), int(list.size()));
    list.resize(size_t(std::max(0, std::min(n, int(list.size())))));
    return list;
}

const TvsimCamera *findCamera(const std::vector<TvsimCamera> &list, const char *serial)
{
    for (const TvsimCamera &camera : list) {
        if (std::strcmp(camera.serial, serial) == 0)
            return &camera;
    }
    return nullptr;
}

int unknownCamera(const char *serial)
{
    std::fprintf(stderr, "tavo-sim: there is no camera with the serial number \"%s\"\n", serial);
    return 1;
}

int list()
{
    const std::vector<TvsimCamera> all = cameras();
    if (!tvsim_config_valid())
        return 1; // the library has said why on standard error
    std::printf("%-15s %6s %6s  %-12s %11s  %-9s %-9s %s\n", "SERIAL", "DEVICE", "CAMERA", "MODEL",
                "SIZE", "PLUG", "LENS", "USE");
    for (const TvsimCamera &camera : all) {
        const std::string size = std::to_string(camera.width) + "x" + std::to_string(camera.height);
        std::printf("%-15s %6u %6u  %-12s %11s  %-9s %-9s %s\n", camera.serial, camera.deviceId,
                    camera.cameraId, camera.model, size.c_str(),
                    camera.plugged ? "plugged" : "unplugged", camera.covered ? "covered" : "open",
                    camera.inUse ? "in use" : "free");
    }
    return 0;
}

int hold(const char *serial)
{
    const std::vector<TvsimCamera> all = cameras();
    const TvsimCamera *camera = findCamera(all, serial);
    if (!camera)
        return unknownCamera(serial);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    uint32_t handle = camera->deviceId | TV_OPEN_BY_DEVICE_ID | TV_OPEN_ALLOW_FW_UPLOAD;
    const int32_t status = tv_InitCamera(&handle, nullptr);
    if (status != TV_SUCCESS) {
        int32_t code = status;
        char *text = nullptr;
        const bool known = tv_GetError(0, &code, &text) == TV_SUCCESS;
        std::fprintf(stderr, "tavo-sim: can't open camera %s: %s\n", serial,
                     known ? text : "unknown error");
        return 1;
    }
    std::printf("holding %s\n", serial);
    std::fflush(stdout);
    int received = 0;
    sigwait(&blocked, &received);
    tv_ExitCamera(handle);
    return 0;
}

// A string as a JSON string literal.
std::string jsonString(const char *text)
{
    std::string quoted = "\"";
    for (const char *c = text; *c; ++c) {
        if (*c == '"' || *c == '\\') {
            quoted += '\\';
            quoted += *c;
        } else if (static_cast<unsigned char>(*c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x",
                          unsigned(static_cast<unsigned char>(*c)));
            quoted += escape;
        } else {
            quoted += *c;
        }
    }
    return quoted + '"';
}

// The camera's real hot pixels, ordered by row and column, with their dark
// signal: the grey values they read above the black level of a covered frame
// at this exposure and gain, the scale of a detection threshold.
int truth(const char *serial, bool json, double exposure, int gain)
{
    const int count = tvsim_defects(serial, nullptr, 0);
    if (count < 0)
        return tvsim_config_valid() ? unknownCamera(serial) : 1;
    std::vector<TvsimDefect> defects(size_t(count) + 1);
    defects.resize(
            size_t(std::max(0, std::min(count, tvsim_defects(serial, defects.data(), count)))));
    std::sort(defects.begin(), defects.end(), [](const TvsimDefect &a, const TvsimDefect &b) {
        return a.y != b.y ? a.y < b.y : a.x < b.x;
    });
    if (json)
        std::printf("{\"serial\": %s, \"pixels\": [", jsonString(serial).c_str());
    bool first = true;
    for (const TvsimDefect &defect : defects) {
        const long strength = std::lround(tvsim_dark_signal(defect.strength, exposure, gain));
        if (json) {
            std::printf("%s\n  {\"x\": %u, \"y\": %u, \"strength\": %ld, \"factory\": %s}",
                        first ? "" : ",", defect.x, defect.y, strength,
                        defect.factory ? "true" : "false");
        } else {
            std::printf("%u %u %ld%s\n", defect.x, defect.y, strength,
                        defect.factory ? " factory" : "");
        }
        first = false;
    }
    if (json)
        std::printf("%s]}\n", first ? "" : "\n");
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tavo-sim"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SPECKMEND_VERSION));
    QCommandLineParser parser;
    parser.setApplicationDescription(QLatin1String(kCommands));
    parser.addPositionalArgument(QStringLiteral("command"),
                                 QStringLiteral("One of the commands above."),
                                 QStringLiteral("COMMAND [ARGUMENTS]"));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption json(QStringLiteral("json"),
                                  QStringLiteral("truth: print JSON instead of lines."));
    const QCommandLineOption exposure(QStringLiteral("exposure"),
                                      QStringLiteral("truth: the exposure in ms at which the "
                                                     "strengths are given (300)."),
                                      QStringLiteral("MS"), QStringLiteral("300"));
    const QCommandLineOption gain(QStringLiteral("gain"),
                                  QStringLiteral("truth: the gain, 0 to 100, at which the "
                                                 "strengths are given (50)."),
                                  QStringLiteral("GAIN"), QStringLiteral("50"));
    parser.addOptions({json, exposure, gain});
    helpText = parser.helpText();
    if (!parser.parse(QCoreApplication::arguments()))
        return usage(parser.errorText());
    if (parser.isSet(help) || parser.isSet(QStringLiteral("help-all"))) {
        std::fputs(qPrintable(helpText), stdout);
        return 0;
    }
    if (parser.isSet(version)) {
        std::printf("tavo-sim %s\n", SPECKMEND_VERSION);
        return 0;
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty())
        return usage();
    const QString command = positional.first();
    const QStringList arguments = positional.mid(1);
    if (command == QLatin1String("help")) {
        std::fputs(qPrintable(helpText), stdout);
        return 0;
    }
    const bool truthOptions = parser.isSet(json) || parser.isSet(exposure) || parser.isSet(gain);
    if (truthOptions && command != QLatin1String("truth"))
        return usage(QStringLiteral("--json, --exposure and --gain go with truth only"));
    if (command == QLatin1String("list"))
        return arguments.isEmpty() ? list() : usage(QStringLiteral("list takes no arguments"));
    if (command == QLatin1String("reset")) {
        if (!arguments.isEmpty())
            return usage(QStringLiteral("reset takes no arguments"));
        tvsim_reset();
        return 0;
    }
    static const QStringList serialCommands
            = {"plug", "unplug", "cover", "uncover", "hold", "truth"};
    if (serialCommands.contains(command)) {
        if (arguments.size() != 1)
            return usage(command + QStringLiteral(" needs one serial number"));
        const QByteArray serial = arguments.first().toLocal8Bit();
        if (command == QLatin1String("hold"))
            return hold(serial.constData());
        if (command == QLatin1String("truth")) {
            bool exposureOk = false;
            bool gainOk = false;
            const int exposureMs = parser.value(exposure).toInt(&exposureOk);
            const int gainValue = parser.value(gain).toInt(&gainOk);
            if (!exposureOk || !gainOk || exposureMs <= 0 || gainValue < 0 || gainValue > 100)
                return usage(QStringLiteral("the exposure must be a number of ms above 0 and the "
                                            "gain a number from 0 to 100"));
            return truth(serial.constData(), parser.isSet(json), exposureMs, gainValue);
        }
        const bool plugCommand
                = command == QLatin1String("plug") || command == QLatin1String("unplug");
        const int on
                = command == QLatin1String("plug") || command == QLatin1String("cover") ? 1 : 0;
        const int result = plugCommand ? tvsim_plug(serial.constData(), on)
                                       : tvsim_cover(serial.constData(), on);
        if (result == -1)
            return unknownCamera(serial.constData());
        if (result != 0) {
            std::fprintf(stderr, "tavo-sim: can't write the shared state of the cameras\n");
            return 1;
        }
        return 0;
    }
    if (command == QLatin1String("fail")) {
        if (arguments.size() != 2 && arguments.size() != 3)
            return usage(QStringLiteral("fail needs a function, a status and maybe a count"));
        bool ok = false;
        const int status = arguments.at(1).toInt(&ok, 0);
        if (!ok)
            return usage(QStringLiteral("the status is not a number"));
        const int count = arguments.size() == 3 ? arguments.at(2).toInt(&ok, 0) : 0;
        if (!ok || count < 0)
            return usage(QStringLiteral("the count is not a number of 0 or more"));
        const QByteArray function = arguments.first().toLocal8Bit();
        const int result = tvsim_fail(function.constData(), status, count);
        if (result == -1) {
            std::fprintf(stderr, "tavo-sim: \"%s\" is not a function of the camera library\n",
                         function.constData());
            return 1;
        }
        if (result != 0) {
            std::fprintf(stderr, "tavo-sim: can't write the shared state of the cameras\n");
            return 1;
        }
        return 0;
    }
    return usage(QStringLiteral("unknown command \"%1\"").arg(command));
}
