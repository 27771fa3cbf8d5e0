// tavo-sim: the control tool of the simulated cameras. Changes reach every
// process that uses the library with the same runtime folder.
#include "camera/tavo_api.h"
#include "simulator/tavosim_control.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char kUsage[]
        = "usage: tavo-sim COMMAND [ARGUMENTS]\n"
          "  list                           the cameras and their state\n"
          "  unplug SERIAL                  remove a camera\n"
          "  plug SERIAL                    attach it again\n"
          "  cover SERIAL                   cover its lens (dark frames)\n"
          "  uncover SERIAL                 open its lens\n"
          "  fail FUNCTION STATUS [COUNT]   make tv_FUNCTION return STATUS for its\n"
          "                                 next COUNT calls (none or 0: always)\n"
          "  reset                          clear faults, plug in and uncover all\n"
          "  hold SERIAL                    keep the camera open until killed\n"
          "  truth SERIAL [--json] [--exposure MS] [--gain GAIN]\n"
          "                                 the hot pixels the sensor really has: x, y,\n"
          "                                 dark signal at that exposure (300) and\n"
          "                                 gain (50), \"factory\" when in the factory list\n";

int usage(const char *problem = nullptr)
{
    if (problem)
        std::fprintf(stderr, "tavo-sim: %s\n", problem);
    std::fputs(kUsage, stderr);
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

bool parseInt(const char *text, int *value)
{
    char *end = nullptr;
    const long number = std::strtol(text, &end, 0);
    if (!*text || *end || number < -2147483647L - 1 || number > 2147483647L)
        return false;
    *value = int(number);
    return true;
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
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
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
    sigwait(&signals, &received);
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

int truthCommand(int arguments, char **argv)
{
    const char *serial = nullptr;
    bool json = false;
    int exposure = 300;
    int gain = 50;
    for (int i = 0; i < arguments; ++i) {
        const std::string argument = argv[i];
        if (argument == "--json") {
            json = true;
        } else if (argument == "--exposure" || argument == "--gain") {
            int *value = argument == "--exposure" ? &exposure : &gain;
            if (i + 1 >= arguments || !parseInt(argv[i + 1], value))
                return usage((argument + " needs a number").c_str());
            ++i;
        } else if (!serial && argument.compare(0, 1, "-") != 0) {
            serial = argv[i];
        } else {
            return usage(("truth does not take \"" + argument + "\"").c_str());
        }
    }
    if (!serial)
        return usage("truth needs one serial number");
    if (exposure <= 0 || gain < 0 || gain > 100)
        return usage("the exposure must be above 0 ms and the gain 0 to 100");
    return truth(serial, json, exposure, gain);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return usage();
    const std::string command = argv[1];
    const int arguments = argc - 2;
    if (command == "help" || command == "--help" || command == "-h") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (command == "list")
        return arguments == 0 ? list() : usage("list takes no arguments");
    if (command == "reset") {
        if (arguments != 0)
            return usage("reset takes no arguments");
        tvsim_reset();
        return 0;
    }
    if (command == "plug" || command == "unplug" || command == "cover" || command == "uncover"
        || command == "hold") {
        if (arguments != 1)
            return usage((command + " needs one serial number").c_str());
        const char *serial = argv[2];
        if (command == "hold")
            return hold(serial);
        const bool plugCommand = command == "plug" || command == "unplug";
        const int on = command == "plug" || command == "cover" ? 1 : 0;
        const int result = plugCommand ? tvsim_plug(serial, on) : tvsim_cover(serial, on);
        if (result == -1)
            return unknownCamera(serial);
        if (result != 0) {
            std::fprintf(stderr, "tavo-sim: can't write the shared state of the cameras\n");
            return 1;
        }
        return 0;
    }
    if (command == "truth")
        return truthCommand(arguments, argv + 2);
    if (command == "fail") {
        if (arguments != 2 && arguments != 3)
            return usage("fail needs a function, a status and maybe a count");
        int status = 0;
        int count = 0;
        if (!parseInt(argv[3], &status))
            return usage("the status is not a number");
        if (arguments == 3 && (!parseInt(argv[4], &count) || count < 0))
            return usage("the count is not a number of 0 or more");
        const int result = tvsim_fail(argv[2], status, count);
        if (result == -1) {
            std::fprintf(stderr, "tavo-sim: \"%s\" is not a function of the camera library\n",
                         argv[2]);
            return 1;
        }
        if (result != 0) {
            std::fprintf(stderr, "tavo-sim: can't write the shared state of the cameras\n");
            return 1;
        }
        return 0;
    }
    return usage(("unknown command \"" + command + "\"").c_str());
}
