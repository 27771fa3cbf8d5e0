#include "tests/camera/apispy.h"

#include "camera/tavo_api.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <mutex>

namespace {

struct Fault
{
    QByteArray function;
    int status;
    int times;
    long selector;
    int skip;
};

std::mutex mutex;
QVector<ApiSpy::Call> noted;
QVector<Fault> faults;
int sensorType = -1;
int colorModeAnswer = -1;
bool listReplaced = false;
QVector<CameraListEntry> replacementList;

void note(const char *function, QVector<double> args)
{
    std::lock_guard<std::mutex> locker(mutex);
    noted.append(ApiSpy::Call {QByteArray(function), std::move(args)});
}

// Whether this call is to fail, and with which status.
bool injected(const char *function, long selector, int32_t *status)
{
    std::lock_guard<std::mutex> locker(mutex);
    for (int i = 0; i < faults.size(); ++i) {
        Fault &fault = faults[i];
        if (fault.function != function || (fault.selector >= 0 && fault.selector != selector))
            continue;
        if (fault.skip > 0) {
            --fault.skip;
            return false;
        }
        *status = fault.status;
        if (fault.times > 0 && --fault.times == 0)
            faults.removeAt(i);
        return true;
    }
    return false;
}

void *realSymbol(const char *name)
{
    void *symbol = dlsym(RTLD_NEXT, name);
    if (!symbol)
        qFatal("The camera library has no %s", name);
    return symbol;
}

} // namespace

#define REAL(name)                                                                                 \
    ([] {                                                                                          \
        static const auto function = reinterpret_cast<decltype(&::name)>(realSymbol(#name));       \
        return function;                                                                           \
    }())
#define FAULT(name, selector)                                                                      \
    do {                                                                                           \
        int32_t status = 0;                                                                        \
        if (injected(#name, long(selector), &status))                                              \
            return status;                                                                         \
    } while (false)

namespace ApiSpy {

void reset()
{
    std::lock_guard<std::mutex> locker(mutex);
    noted.clear();
    faults.clear();
    sensorType = -1;
    colorModeAnswer = -1;
    listReplaced = false;
    replacementList.clear();
}

QVector<Call> calls(const char *function)
{
    std::lock_guard<std::mutex> locker(mutex);
    if (!function)
        return noted;
    QVector<Call> result;
    for (const Call &call : qAsConst(noted)) {
        if (call.function == function)
            result.append(call);
    }
    return result;
}

int count(const char *function)
{
    return calls(function).size();
}

QVector<Call> eventCalls(unsigned operation)
{
    QVector<Call> result;
    const QVector<Call> all = calls("tv_Event");
    for (const Call &call : all) {
        if (call.args.value(1) == operation)
            result.append(call);
    }
    return result;
}

void fail(const char *function, int status, int times, long selector, int skip)
{
    std::lock_guard<std::mutex> locker(mutex);
    faults.append(Fault {QByteArray(function), status, times, selector, skip});
}

void setSensorType(int type)
{
    std::lock_guard<std::mutex> locker(mutex);
    sensorType = type;
}

void setColorModeAnswer(int mode)
{
    std::lock_guard<std::mutex> locker(mutex);
    colorModeAnswer = mode;
}

void replaceCameraList(const QVector<CameraListEntry> &entries)
{
    std::lock_guard<std::mutex> locker(mutex);
    listReplaced = true;
    replacementList = entries;
}

CameraListEntry entry(quint32 cameraId, quint32 deviceId, quint32 inUse, const char *serial,
                      const char *model, quint32 thirdWord)
{
    CameraListEntry e;
    std::memset(&e, 0, sizeof(e));
    e.cameraId = cameraId;
    e.deviceId = deviceId;
    e.thirdWord = thirdWord;
    e.inUse = inUse;
    std::strncpy(e.serial, serial, sizeof(e.serial) - 1);
    std::strncpy(e.model, model, sizeof(e.model) - 1);
    return e;
}

} // namespace ApiSpy

TAVO_API int32_t tv_GetNumberOfCameras(int32_t *count)
{
    note("tv_GetNumberOfCameras", {});
    FAULT(tv_GetNumberOfCameras, -1);
    {
        std::lock_guard<std::mutex> locker(mutex);
        if (listReplaced) {
            *count = replacementList.size();
            return TV_SUCCESS;
        }
    }
    return REAL(tv_GetNumberOfCameras)(count);
}

TAVO_API int32_t tv_GetCameraList(CameraList *list)
{
    note("tv_GetCameraList", {double(list->count)});
    FAULT(tv_GetCameraList, -1);
    {
        std::lock_guard<std::mutex> locker(mutex);
        if (listReplaced) {
            const uint32_t n = std::min(list->count, uint32_t(replacementList.size()));
            for (uint32_t i = 0; i < n; ++i)
                list->entries[i] = replacementList.at(int(i));
            list->count = n;
            return TV_SUCCESS;
        }
    }
    return REAL(tv_GetCameraList)(list);
}

TAVO_API int32_t tv_InitCamera(uint32_t *handle, void *window)
{
    note("tv_InitCamera", {double(*handle)});
    FAULT(tv_InitCamera, -1);
    return REAL(tv_InitCamera)(handle, window);
}

TAVO_API int32_t tv_GetDuration(cameraHandle handle, uint32_t mode, int32_t *milliseconds)
{
    note("tv_GetDuration", {double(handle), double(mode)});
    FAULT(tv_GetDuration, -1);
    return REAL(tv_GetDuration)(handle, mode, milliseconds);
}

TAVO_API int32_t tv_ExitCamera(cameraHandle handle)
{
    note("tv_ExitCamera", {double(handle)});
    FAULT(tv_ExitCamera, -1);
    return REAL(tv_ExitCamera)(handle);
}

TAVO_API int32_t tv_GetSensorInfo(cameraHandle handle, SensorInfo *info)
{
    note("tv_GetSensorInfo", {double(handle)});
    FAULT(tv_GetSensorInfo, -1);
    const int32_t status = REAL(tv_GetSensorInfo)(handle, info);
    std::lock_guard<std::mutex> locker(mutex);
    if (status == TV_SUCCESS && sensorType >= 0)
        info->sensorType = uint16_t(sensorType);
    return status;
}

TAVO_API int32_t tv_SetColorMode(cameraHandle handle, int32_t mode)
{
    note("tv_SetColorMode", {double(handle), double(mode)});
    FAULT(tv_SetColorMode, mode);
    const int32_t result = REAL(tv_SetColorMode)(handle, mode);
    std::lock_guard<std::mutex> locker(mutex);
    if (mode == TV_FORMAT_QUERY && colorModeAnswer >= 0)
        return colorModeAnswer;
    return result;
}

TAVO_API int32_t tv_AOI(cameraHandle handle, uint32_t command, void *parameter, uint32_t size)
{
    note("tv_AOI", {double(handle), double(command), double(size)});
    FAULT(tv_AOI, command);
    return REAL(tv_AOI)(handle, command, parameter, size);
}

TAVO_API int32_t tv_AllocImageMem(cameraHandle handle, int32_t width, int32_t height,
                                  int32_t bitsPerPixel, char **memory, int32_t *memoryId)
{
    note("tv_AllocImageMem", {double(handle), double(width), double(height), double(bitsPerPixel)});
    FAULT(tv_AllocImageMem, -1);
    return REAL(tv_AllocImageMem)(handle, width, height, bitsPerPixel, memory, memoryId);
}

TAVO_API int32_t tv_FreeImageMem(cameraHandle handle, char *memory, int32_t memoryId)
{
    note("tv_FreeImageMem", {double(handle), double(memoryId)});
    FAULT(tv_FreeImageMem, -1);
    return REAL(tv_FreeImageMem)(handle, memory, memoryId);
}

TAVO_API int32_t tv_AddToSequence(cameraHandle handle, char *memory, int32_t memoryId)
{
    note("tv_AddToSequence", {double(handle), double(memoryId)});
    FAULT(tv_AddToSequence, -1);
    return REAL(tv_AddToSequence)(handle, memory, memoryId);
}

TAVO_API int32_t tv_ClearSequence(cameraHandle handle)
{
    note("tv_ClearSequence", {double(handle)});
    FAULT(tv_ClearSequence, -1);
    return REAL(tv_ClearSequence)(handle);
}

TAVO_API int32_t tv_GetActSeqBuf(cameraHandle handle, int32_t *number, char **memory,
                                 char **lastMemory)
{
    note("tv_GetActSeqBuf", {double(handle)});
    FAULT(tv_GetActSeqBuf, -1);
    return REAL(tv_GetActSeqBuf)(handle, number, memory, lastMemory);
}

TAVO_API int32_t tv_LockSeqBuf(cameraHandle handle, int32_t number, char *memory)
{
    note("tv_LockSeqBuf", {double(handle), double(number)});
    FAULT(tv_LockSeqBuf, -1);
    return REAL(tv_LockSeqBuf)(handle, number, memory);
}

TAVO_API int32_t tv_UnlockSeqBuf(cameraHandle handle, int32_t number, char *memory)
{
    note("tv_UnlockSeqBuf", {double(handle), double(number)});
    FAULT(tv_UnlockSeqBuf, -1);
    return REAL(tv_UnlockSeqBuf)(handle, number, memory);
}

TAVO_API int32_t tv_CaptureVideo(cameraHandle handle, int32_t wait)
{
    note("tv_CaptureVideo", {double(handle), double(wait)});
    FAULT(tv_CaptureVideo, -1);
    return REAL(tv_CaptureVideo)(handle, wait);
}

TAVO_API int32_t tv_StopLiveVideo(cameraHandle handle, int32_t wait)
{
    note("tv_StopLiveVideo", {double(handle), double(wait)});
    FAULT(tv_StopLiveVideo, -1);
    return REAL(tv_StopLiveVideo)(handle, wait);
}

TAVO_API int32_t tv_GetPixelClockRange(cameraHandle handle, int32_t *min, int32_t *max)
{
    note("tv_GetPixelClockRange", {double(handle)});
    FAULT(tv_GetPixelClockRange, -1);
    return REAL(tv_GetPixelClockRange)(handle, min, max);
}

TAVO_API int32_t tv_SetPixelClock(cameraHandle handle, int32_t clock)
{
    note("tv_SetPixelClock", {double(handle), double(clock)});
    FAULT(tv_SetPixelClock, clock);
    return REAL(tv_SetPixelClock)(handle, clock);
}

TAVO_API int32_t tv_GetFrameTimeRange(cameraHandle handle, double *minTime, double *maxTime,
                                      double *interval)
{
    note("tv_GetFrameTimeRange", {double(handle)});
    FAULT(tv_GetFrameTimeRange, -1);
    return REAL(tv_GetFrameTimeRange)(handle, minTime, maxTime, interval);
}

TAVO_API int32_t tv_GetFramesPerSecond(cameraHandle handle, double *fps)
{
    note("tv_GetFramesPerSecond", {double(handle)});
    FAULT(tv_GetFramesPerSecond, -1);
    return REAL(tv_GetFramesPerSecond)(handle, fps);
}

TAVO_API int32_t tv_SetFrameRate(cameraHandle handle, double fps, double *actual)
{
    note("tv_SetFrameRate", {double(handle), fps});
    FAULT(tv_SetFrameRate, -1);
    return REAL(tv_SetFrameRate)(handle, fps, actual);
}

TAVO_API int32_t tv_GetExposureRange(cameraHandle handle, double *min, double *max,
                                     double *increment)
{
    note("tv_GetExposureRange", {double(handle)});
    FAULT(tv_GetExposureRange, -1);
    return REAL(tv_GetExposureRange)(handle, min, max, increment);
}

TAVO_API int32_t tv_SetExposureTime(cameraHandle handle, double exposure, double *actual)
{
    note("tv_SetExposureTime", {double(handle), exposure});
    FAULT(tv_SetExposureTime, long(exposure));
    return REAL(tv_SetExposureTime)(handle, exposure, actual);
}

TAVO_API int32_t tv_SetHardwareGain(cameraHandle handle, int32_t master, int32_t red, int32_t green,
                                    int32_t blue)
{
    note("tv_SetHardwareGain",
         {double(handle), double(master), double(red), double(green), double(blue)});
    FAULT(tv_SetHardwareGain, -1);
    return REAL(tv_SetHardwareGain)(handle, master, red, green, blue);
}

TAVO_API int32_t tv_Event(cameraHandle handle, uint32_t operation, void *parameter, uint32_t size)
{
    QVector<double> args {double(handle), double(operation)};
    if (operation == TV_EVT_OP_REGISTER && parameter)
        args.append(static_cast<const EventInit *>(parameter)->event);
    else if ((operation == TV_EVT_OP_ENABLE || operation == TV_EVT_OP_RELEASE
              || operation == TV_EVT_OP_SIGNAL)
             && parameter) {
        const auto *codes = static_cast<const uint32_t *>(parameter);
        for (uint32_t i = 0; i < size / 4; ++i)
            args.append(codes[i]);
    }
    if (operation != TV_EVT_OP_WAIT)
        note("tv_Event", args);
    FAULT(tv_Event, operation);
    return REAL(tv_Event)(handle, operation, parameter, size);
}

TAVO_API int32_t tv_GetError(cameraHandle handle, int32_t *code, char **text)
{
    note("tv_GetError", {double(handle), double(*code)});
    FAULT(tv_GetError, -1);
    return REAL(tv_GetError)(handle, code, text);
}

TAVO_API int32_t tv_HotPixel(cameraHandle handle, uint32_t command, void *parameter, uint32_t size)
{
    note("tv_HotPixel", {double(handle), double(command), double(size)});
    FAULT(tv_HotPixel, command);
    return REAL(tv_HotPixel)(handle, command, parameter, size);
}

TAVO_API int32_t tv_GetCameraInfo(cameraHandle handle, CameraInfo *info)
{
    note("tv_GetCameraInfo", {double(handle)});
    FAULT(tv_GetCameraInfo, -1);
    return REAL(tv_GetCameraInfo)(handle, info);
}

TAVO_API int32_t tv_LoadParameters(cameraHandle handle, const char *path)
{
    note("tv_LoadParameters", {double(handle)});
    FAULT(tv_LoadParameters, -1);
    return REAL(tv_LoadParameters)(handle, path);
}

TAVO_API int32_t tv_FreezeVideo(cameraHandle handle, int32_t wait)
{
    note("tv_FreezeVideo", {double(handle), double(wait)});
    FAULT(tv_FreezeVideo, -1);
    return REAL(tv_FreezeVideo)(handle, wait);
}
