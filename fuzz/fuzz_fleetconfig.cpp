// Feeds arbitrary text to the reader of the simulated library's fleet
// configuration. It must end quickly, and a fleet that reads must keep every
// value within its limits.
#include "simulator/fleet.h"

#include <QByteArray>

#include <cstdlib>
#include <set>

// Qt's JSON parser loses a few bytes on objects with a key given twice; that
// is no finding of ours. Qt is built without frame pointers, so the stack of
// such a leak ends in Qt and can only be matched by its library.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libQt5Core.so\n";
}

extern "C" const char *__lsan_default_options()
{
    return "print_suppressions=0";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    TavoSim::Fleet fleet;
    std::string error;
    const QByteArray text(reinterpret_cast<const char *>(data), int(size));
    if (!TavoSim::Fleet::parse(text, &fleet, &error)) {
        if (error.empty())
            std::abort(); // every refusal says why
        return 0;
    }
    std::set<uint32_t> deviceIds;
    for (const TavoSim::CameraProfile &camera : fleet.cameras) {
        const bool sane = camera.deviceId >= 1 && camera.deviceId <= 0x7FFF
                && deviceIds.insert(camera.deviceId).second && camera.width >= 16
                && camera.width <= 8192 && camera.height >= 16 && camera.height <= 8192
                && camera.clockMin >= 1 && camera.clockMin <= camera.clockDefault
                && camera.clockDefault <= camera.clockMax && camera.clockMax <= 0x7FFF
                && camera.frameLossRate >= 0.0 && camera.frameLossRate <= 1.0
                && !camera.serial.empty() && camera.serial.size() <= 15;
        if (!sane)
            std::abort();
        for (const TavoSim::Defect &defect : camera.defects) {
            if (defect.x >= camera.width || defect.y >= camera.height || defect.strength > 1000)
                std::abort();
        }
    }
    return 0;
}
