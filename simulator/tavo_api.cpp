// The C interface of the simulated camera library: each tv_ function checks
// for an injected fault and then hands its call to the Library or to the
// CameraSession of its handle.
#include "camera/tavo_api.h"
#include "simulator/camerasession.h"
#include "simulator/library.h"
#include "simulator/statustable.h"
#include "simulator/tavosim_control.h"

#include <algorithm>
#include <cstring>

using namespace TavoSim;

namespace {

Library &library()
{
    return Library::instance();
}

// Runs f on the open camera of handle. Calls on an unplugged camera fail,
// except those that take it down (stop, clear, free, exit).
template<typename F>
int32_t onCamera(cameraHandle handle, bool evenIfGone, F f)
{
    const std::shared_ptr<CameraSession> session = library().session(handle);
    if (!session)
        return InvalidHandle;
    if (!evenIfGone && !session->plugged())
        return CameraGone;
    return f(*session);
}

} // namespace

// Each tv_ function first returns the status of a fault injected under its
// own name.
#define TAVO_FAULT()                                                                               \
    if (const int32_t injected = library().fault(__func__))                                        \
    return injected

TAVO_API int32_t tv_GetNumberOfCameras(int32_t *count)
{
    TAVO_FAULT();
    return library().numberOfCameras(count);
}

TAVO_API int32_t tv_GetCameraList(CameraList *list)
{
    TAVO_FAULT();
    return library().cameraList(list);
}

TAVO_API int32_t tv_InitCamera(uint32_t *handle, void *)
{
    TAVO_FAULT();
    return library().initCamera(handle);
}

TAVO_API int32_t tv_GetDuration(cameraHandle handle, uint32_t mode, int32_t *milliseconds)
{
    TAVO_FAULT();
    return library().duration(handle, mode, milliseconds);
}

TAVO_API int32_t tv_ExitCamera(cameraHandle handle)
{
    TAVO_FAULT();
    return library().exitCamera(handle);
}

TAVO_API int32_t tv_GetSensorInfo(cameraHandle handle, SensorInfo *info)
{
    TAVO_FAULT();
    return onCamera(handle, false, [info](CameraSession &camera) {
        if (!info)
            return int32_t(InvalidArgument);
        SensorInfo result;
        std::memset(&result, 0, sizeof result);
        result.sensorType = camera.profile().sensorType;
        result.maxWidth = camera.profile().width;
        result.maxHeight = camera.profile().height;
        std::memcpy(info, &result, sizeof result);
        return int32_t(Success);
    });
}

TAVO_API int32_t tv_GetCameraInfo(cameraHandle handle, CameraInfo *info)
{
    TAVO_FAULT();
    return onCamera(handle, false, [info](CameraSession &camera) {
        if (!info)
            return int32_t(InvalidArgument);
        std::memset(info->serial, 0, sizeof info->serial);
        std::strncpy(info->serial, camera.profile().serial.c_str(), sizeof info->serial - 1);
        return int32_t(Success);
    });
}

TAVO_API int32_t tv_LoadParameters(cameraHandle handle, const char *path)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [path](CameraSession &camera) { return camera.loadParameters(path); });
}

TAVO_API int32_t tv_SetColorMode(cameraHandle handle, int32_t mode)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [mode](CameraSession &camera) { return camera.colorMode(mode); });
}

TAVO_API int32_t tv_AOI(cameraHandle handle, uint32_t command, void *parameter, uint32_t size)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [=](CameraSession &camera) { return camera.aoi(command, parameter, size); });
}

TAVO_API int32_t tv_AllocImageMem(cameraHandle handle, int32_t width, int32_t height,
                                  int32_t bitsPerPixel, char **memory, int32_t *memoryId)
{
    TAVO_FAULT();
    return onCamera(handle, false, [=](CameraSession &camera) {
        return camera.allocImageMem(width, height, bitsPerPixel, memory, memoryId);
    });
}

TAVO_API int32_t tv_FreeImageMem(cameraHandle handle, char *memory, int32_t memoryId)
{
    TAVO_FAULT();
    return onCamera(handle, true,
                    [=](CameraSession &camera) { return camera.freeImageMem(memory, memoryId); });
}

TAVO_API int32_t tv_AddToSequence(cameraHandle handle, char *memory, int32_t memoryId)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [=](CameraSession &camera) { return camera.addToSequence(memory, memoryId); });
}

TAVO_API int32_t tv_ClearSequence(cameraHandle handle)
{
    TAVO_FAULT();
    return onCamera(handle, true, [](CameraSession &camera) { return camera.clearSequence(); });
}

TAVO_API int32_t tv_GetActSeqBuf(cameraHandle handle, int32_t *number, char **memory,
                                 char **lastMemory)
{
    TAVO_FAULT();
    return onCamera(handle, false, [=](CameraSession &camera) {
        return camera.actSeqBuf(number, memory, lastMemory);
    });
}

TAVO_API int32_t tv_LockSeqBuf(cameraHandle handle, int32_t number, char *memory)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [=](CameraSession &camera) { return camera.lockSeqBuf(number, memory, true); });
}

TAVO_API int32_t tv_UnlockSeqBuf(cameraHandle handle, int32_t number, char *memory)
{
    TAVO_FAULT();
    return onCamera(handle, true, [=](CameraSession &camera) {
        return camera.lockSeqBuf(number, memory, false);
    });
}

TAVO_API int32_t tv_CaptureVideo(cameraHandle handle, int32_t wait)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [=](CameraSession &camera) { return camera.captureVideo(wait); });
}

TAVO_API int32_t tv_FreezeVideo(cameraHandle handle, int32_t wait)
{
    TAVO_FAULT();
    return onCamera(handle, false, [=](CameraSession &camera) { return camera.freezeVideo(wait); });
}

TAVO_API int32_t tv_StopLiveVideo(cameraHandle handle, int32_t wait)
{
    TAVO_FAULT();
    return onCamera(handle, true,
                    [=](CameraSession &camera) { return camera.stopLiveVideo(wait); });
}

TAVO_API int32_t tv_GetPixelClockRange(cameraHandle handle, int32_t *min, int32_t *max)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [=](CameraSession &camera) { return camera.pixelClockRange(min, max); });
}

TAVO_API int32_t tv_SetPixelClock(cameraHandle handle, int32_t clock)
{
    TAVO_FAULT();
    return onCamera(handle, false, [=](CameraSession &camera) { return camera.pixelClock(clock); });
}

TAVO_API int32_t tv_GetFrameTimeRange(cameraHandle handle, double *minTime, double *maxTime,
                                      double *interval)
{
    TAVO_FAULT();
    return onCamera(handle, false, [=](CameraSession &camera) {
        return camera.frameTimeRange(minTime, maxTime, interval);
    });
}

TAVO_API int32_t tv_GetFramesPerSecond(cameraHandle handle, double *fps)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [=](CameraSession &camera) { return camera.framesPerSecond(fps); });
}

TAVO_API int32_t tv_SetFrameRate(cameraHandle handle, double fps, double *actual)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [=](CameraSession &camera) { return camera.setFrameRate(fps, actual); });
}

TAVO_API int32_t tv_GetExposureRange(cameraHandle handle, double *min, double *max,
                                     double *increment)
{
    TAVO_FAULT();
    return onCamera(handle, false, [=](CameraSession &camera) {
        return camera.exposureRange(min, max, increment);
    });
}

TAVO_API int32_t tv_SetExposureTime(cameraHandle handle, double exposure, double *actual)
{
    TAVO_FAULT();
    return onCamera(handle, false,
                    [=](CameraSession &camera) { return camera.exposure(exposure, actual); });
}

TAVO_API int32_t tv_SetHardwareGain(cameraHandle handle, int32_t master, int32_t red, int32_t green,
                                    int32_t blue)
{
    TAVO_FAULT();
    return onCamera(handle, false, [=](CameraSession &camera) {
        return camera.hardwareGain(master, red, green, blue);
    });
}

TAVO_API int32_t tv_Event(cameraHandle handle, uint32_t operation, void *parameter, uint32_t size)
{
    TAVO_FAULT();
    EventHub &events = library().events();
    if (!parameter)
        return InvalidArgument;
    switch (operation) {
    case TV_EVT_OP_REGISTER: {
        if (size != sizeof(EventInit))
            return WrongSize;
        EventInit init;
        std::memcpy(&init, parameter, sizeof init);
        if (init.manualReset != 0)
            return NotSupported; // only auto-reset events
        return events.registerEvent(handle, init.event);
    }
    case TV_EVT_OP_RELEASE:
    case TV_EVT_OP_ENABLE: {
        if (size == 0 || size % 4 != 0)
            return WrongSize;
        const auto *codes = static_cast<const uint32_t *>(parameter);
        return operation == TV_EVT_OP_RELEASE ? events.release(handle, codes, size / 4)
                                              : events.enable(handle, codes, size / 4);
    }
    case TV_EVT_OP_SIGNAL: {
        if (size != 4)
            return WrongSize;
        uint32_t code;
        std::memcpy(&code, parameter, 4);
        return events.signal(handle, code);
    }
    case TV_EVT_OP_WAIT: {
        if (size != sizeof(EventWait))
            return WrongSize;
        auto *wait = static_cast<EventWait *>(parameter);
        if (!wait->events || wait->count == 0 || wait->count > 256)
            return InvalidArgument;
        if (wait->waitAll != 0)
            return NotSupported; // any one event ends a wait
        uint32_t signaled = 0;
        const int32_t status
                = events.wait(handle, wait->events, wait->count, wait->timeout, &signaled);
        if (status == Success)
            wait->signaled = signaled;
        return status;
    }
    default:
        return NotSupported;
    }
}

TAVO_API int32_t tv_GetError(cameraHandle, int32_t *code, char **text)
{
    TAVO_FAULT();
    if (!code || !text)
        return InvalidArgument;
    const char *message = statusText(*code);
    if (!message)
        return InvalidArgument;
    *text = const_cast<char *>(message);
    return Success;
}

TAVO_API int32_t tv_HotPixel(cameraHandle handle, uint32_t command, void *parameter, uint32_t size)
{
    TAVO_FAULT();
    return onCamera(handle, false, [=](CameraSession &camera) {
        return camera.hotPixel(command, parameter, size);
    });
}

// ---------------------------------------------------------------- control

TAVOSIM_API int tvsim_inject(const char *function, int status, int count)
{
    return library().inject(function, status, count);
}

TAVOSIM_API int tvsim_fail(const char *function, int status, int count)
{
    return library().injectShared(function, status, count);
}

TAVOSIM_API void tvsim_reset(void)
{
    library().reset();
}

TAVOSIM_API int tvsim_plug(const char *serial, int on)
{
    return library().setPlugged(serial, on != 0);
}

TAVOSIM_API int tvsim_cover(const char *serial, int on)
{
    return library().setCovered(serial, on != 0);
}

TAVOSIM_API int tvsim_reload(void)
{
    return library().reload();
}

TAVOSIM_API int tvsim_config_valid(void)
{
    return library().configValid() ? 1 : 0;
}

TAVOSIM_API int tvsim_defects(const char *serial, TvsimDefect *defects, int capacity)
{
    if (!serial)
        return -1;
    for (const CameraStatus &camera : library().cameras()) {
        if (camera.profile.serial != serial)
            continue;
        const auto &list = camera.profile.defects;
        for (int i = 0; defects && i < capacity && size_t(i) < list.size(); ++i) {
            defects[i].x = list[size_t(i)].x;
            defects[i].y = list[size_t(i)].y;
            defects[i].strength = list[size_t(i)].strength;
            defects[i].factory = list[size_t(i)].factory ? 1 : 0;
            defects[i].reserved = 0;
        }
        return int(list.size());
    }
    return -1;
}

TAVOSIM_API double tvsim_dark_signal(double strength, double exposure, int gain)
{
    return darkSignal(strength, exposure, gain);
}

TAVOSIM_API int tvsim_cameras(TvsimCamera *cameras, int capacity)
{
    const std::vector<CameraStatus> all = library().cameras();
    for (int i = 0; cameras && i < capacity && size_t(i) < all.size(); ++i) {
        const CameraStatus &status = all[size_t(i)];
        TvsimCamera &out = cameras[i];
        std::memset(&out, 0, sizeof out);
        std::strncpy(out.serial, status.profile.serial.c_str(), sizeof out.serial - 1);
        std::strncpy(out.model, status.profile.model.c_str(), sizeof out.model - 1);
        out.deviceId = status.profile.deviceId;
        out.cameraId = status.profile.cameraId;
        out.width = status.profile.width;
        out.height = status.profile.height;
        out.plugged = status.plugged;
        out.covered = status.covered;
        out.inUse = status.inUse;
    }
    return int(all.size());
}
