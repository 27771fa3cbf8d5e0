// The camera library's interface: the one place in the program that declares
// its operations, codes and records. Everything the program asks of a camera
// goes through these 31 functions of libtavo_api.so.1.
//
// The numbers and byte offsets below are a wire format with the library and
// must not change. Integers are little-endian, doubles are IEEE 754 binary64.
// Memory handed to the library belongs to the caller, except image memory
// (the library's from tv_AllocImageMem to tv_FreeImageMem) and the text of
// tv_GetError (the library's; copy it at once).
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(TAVO_API_BUILD)
#define TAVO_API extern "C" __attribute__((visibility("default")))
#else
#define TAVO_API extern "C"
#endif

// An opened camera; 0 is no camera, and the event operations use 0 for the
// library-wide device events.
typedef uint32_t cameraHandle;

// ---------------------------------------------------------------- statuses

inline constexpr int32_t TV_SUCCESS = 0;
// tv_LoadParameters: the ini file can't be opened.
inline constexpr int32_t TV_STATUS_INI_NOT_OPENED = 50;
// tv_InitCamera: no camera with this id is attached, or it is open elsewhere.
inline constexpr int32_t TV_STATUS_NO_SUCH_CAMERA = 6;
inline constexpr int32_t TV_STATUS_CAMERA_IN_USE = 7;
// tv_InitCamera: the camera needs new firmware and TV_OPEN_ALLOW_FW_UPLOAD was not given.
inline constexpr int32_t TV_STATUS_FW_UPLOAD_NEEDED = 184;
// TV_HP_SOFT_LIST_EXISTS: there is no soft list. Any other non-zero status of
// that query is a failure of the query itself.
inline constexpr int32_t TV_STATUS_NO_SOFT_LIST = 22;

// ---------------------------------------------------------------- records

// One entry of a CameraList.
struct CameraListEntry
{
    uint32_t cameraId; // the camera's id, shown in the list
    uint32_t deviceId; // the id used to open the camera
    uint32_t thirdWord; // copied into the list model and not used further
    uint32_t inUse; // 0: free; non-zero: opened by some program
    char serial[16]; // NUL-terminated ASCII
    char model[80]; // NUL-terminated ASCII
};
static_assert(sizeof(CameraListEntry) == 112, "CameraListEntry is 112 bytes");
static_assert(offsetof(CameraListEntry, cameraId) == 0, "CameraListEntry layout");
static_assert(offsetof(CameraListEntry, deviceId) == 4, "CameraListEntry layout");
static_assert(offsetof(CameraListEntry, thirdWord) == 8, "CameraListEntry layout");
static_assert(offsetof(CameraListEntry, inUse) == 12, "CameraListEntry layout");
static_assert(offsetof(CameraListEntry, serial) == 16, "CameraListEntry layout");
static_assert(offsetof(CameraListEntry, model) == 32, "CameraListEntry layout");

// The list of attached cameras: allocated by the caller as 4 + 112 x n bytes
// (cameraListSize), count set to n. The library sets count to the number filled.
struct CameraList
{
    uint32_t count;
    CameraListEntry entries[1]; // in truth count entries
};
static_assert(offsetof(CameraList, entries) == 4, "CameraList layout");

constexpr std::size_t cameraListSize(uint32_t entries)
{
    return 4 + sizeof(CameraListEntry) * entries;
}

// Zeroed by the caller before tv_GetCameraInfo.
struct CameraInfo
{
    char serial[16]; // NUL-terminated ASCII, equal to the CameraListEntry's serial
    char reserved[48];
};
static_assert(sizeof(CameraInfo) == 64, "CameraInfo is 64 bytes");

struct SensorInfo
{
    uint16_t sensorType; // selects the settings in cameraparameter.xml
    char reserved1[33];
    // one byte of alignment hole at 35
    uint32_t maxWidth; // sensor width in pixels
    uint32_t maxHeight; // sensor height in pixels
    char reserved2[36];
};
static_assert(sizeof(SensorInfo) == 80, "SensorInfo is 80 bytes");
static_assert(offsetof(SensorInfo, sensorType) == 0, "SensorInfo layout");
static_assert(offsetof(SensorInfo, reserved1) == 2, "SensorInfo layout");
static_assert(offsetof(SensorInfo, maxWidth) == 36, "SensorInfo layout");
static_assert(offsetof(SensorInfo, maxHeight) == 40, "SensorInfo layout");
static_assert(offsetof(SensorInfo, reserved2) == 44, "SensorInfo layout");

struct AoiSize
{
    int32_t width;
    int32_t height;
};
static_assert(sizeof(AoiSize) == 8, "AoiSize is 8 bytes");

struct AoiRect
{
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
};
static_assert(sizeof(AoiRect) == 16, "AoiRect is 16 bytes");
static_assert(offsetof(AoiRect, width) == 8, "AoiRect layout");

// Parameter of TV_EVT_OP_REGISTER.
struct EventInit
{
    uint32_t event; // the code to register
    uint32_t manualReset; // always 0
    uint32_t initialState; // always 0
};
static_assert(sizeof(EventInit) == 12, "EventInit is 12 bytes");

// Parameter of TV_EVT_OP_WAIT. With 4-byte pointers this is 24 bytes; on a
// 64-bit target it is the natural layout of the same fields, 32 bytes.
struct EventWait
{
    uint32_t *events; // the codes to wait for
    uint32_t count; // number of codes
    uint32_t waitAll; // always 0: any one event ends the wait
    uint32_t timeout; // always 0xFFFFFFFF: no time-out
    uint32_t signaled; // out: the code that ended the wait
    uint32_t setCount; // set to 0; not read
};
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(EventWait) == 24, "EventWait is 24 bytes with 32-bit pointers");
static_assert(offsetof(EventWait, count) == 4, "EventWait layout");
static_assert(offsetof(EventWait, signaled) == 16, "EventWait layout");
#else
static_assert(sizeof(EventWait) == 32, "EventWait is 32 bytes with 64-bit pointers");
static_assert(offsetof(EventWait, count) == 8, "EventWait layout");
static_assert(offsetof(EventWait, waitAll) == 12, "EventWait layout");
static_assert(offsetof(EventWait, timeout) == 16, "EventWait layout");
static_assert(offsetof(EventWait, signaled) == 20, "EventWait layout");
static_assert(offsetof(EventWait, setCount) == 24, "EventWait layout");
#endif

// One hot pixel of a HotPixelList, in sensor coordinates.
struct HotPixelPair
{
    uint16_t x;
    uint16_t y;
};
static_assert(sizeof(HotPixelPair) == 4, "HotPixelPair is 4 bytes");

// A list of hot pixels: 2 + 4 x n bytes (hotPixelListSize). On writing, count
// holds n; on reading, the caller takes n from the matching count command.
struct HotPixelList
{
    uint16_t count;
    HotPixelPair pairs[1]; // in truth n pairs
};
static_assert(offsetof(HotPixelList, pairs) == 2, "HotPixelList layout");

constexpr std::size_t hotPixelListSize(uint32_t pairs)
{
    return 2 + sizeof(HotPixelPair) * pairs;
}

// ---------------------------------------------------------------- codes

// tv_InitCamera: flags in the word that the handle pointer points to.
inline constexpr uint32_t TV_OPEN_BY_DEVICE_ID = 0x8000; // the low bits are a deviceId
inline constexpr uint32_t TV_OPEN_ALLOW_FW_UPLOAD = 0x10000; // may upload firmware

// tv_GetDuration modes.
inline constexpr uint32_t TV_DURATION_FW_UPLOAD = 1;

// tv_SetColorMode.
inline constexpr int32_t TV_FORMAT_32BIT = 0; // 32 bits a pixel
inline constexpr int32_t TV_FORMAT_8BIT_ALT = 6; // 8 bits a pixel
inline constexpr int32_t TV_FORMAT_8BIT = 11; // 8 bits a pixel, requested on opening
inline constexpr int32_t TV_FORMAT_QUERY = 0x8000; // returns the current mode

// tv_AOI commands.
inline constexpr uint32_t TV_AOI_SET_RECT = 1; // AoiRect in, 16 bytes
inline constexpr uint32_t TV_AOI_QUERY_FULL_SIZE = 16; // AoiSize out, 8 bytes

// tv_LockSeqBuf, tv_UnlockSeqBuf: the buffer is named by its memory.
inline constexpr int32_t TV_SEQ_ID_ANY = -1;

// tv_CaptureVideo, tv_FreezeVideo, tv_StopLiveVideo.
inline constexpr int32_t TV_CAPTURE_NO_WAIT = 0;
inline constexpr int32_t TV_CAPTURE_WAIT = 1;

// tv_SetPixelClock queries: the return value is a clock, not a status.
inline constexpr int32_t TV_CLOCK_QUERY_CURRENT = 0x8000;
inline constexpr int32_t TV_CLOCK_QUERY_DEFAULT = 0x8001;

// tv_SetExposureTime queries: the answer goes to the output.
inline constexpr double TV_EXPOSURE_QUERY_CURRENT = 32768.0;
inline constexpr double TV_EXPOSURE_QUERY_DEFAULT = 32769.0;

// tv_SetHardwareGain.
inline constexpr int32_t TV_GAIN_KEEP = -1; // leave this channel alone
inline constexpr int32_t TV_GAIN_QUERY_MASTER = 0x8000; // returns the master gain

// tv_Event operations.
inline constexpr uint32_t TV_EVT_OP_REGISTER = 1; // EventInit, 12 bytes
inline constexpr uint32_t TV_EVT_OP_RELEASE = 2; // u32 codes, 4 x n bytes
inline constexpr uint32_t TV_EVT_OP_ENABLE = 3; // u32 codes, 4 x n bytes
inline constexpr uint32_t TV_EVT_OP_SIGNAL = 5; // one u32 code, 4 bytes
inline constexpr uint32_t TV_EVT_OP_WAIT = 7; // EventWait, sizeof(EventWait) bytes

// Event codes.
inline constexpr uint32_t TV_EVT_FRAME_READY = 2; // camera: a frame is complete
inline constexpr uint32_t TV_EVT_FRAME_LOST = 8; // camera: a frame failed
inline constexpr uint32_t TV_EVT_CAMERA_BACK = 9; // camera: the opened camera is back
inline constexpr uint32_t TV_EVT_CAMERA_GONE = 128; // camera: the opened camera was removed
inline constexpr uint32_t TV_EVT_DEVICE_GONE = 129; // handle 0: some camera left
inline constexpr uint32_t TV_EVT_DEVICE_ARRIVED = 130; // handle 0: some camera joined
inline constexpr uint32_t TV_EVT_USER_FIRST = 10000; // private wake-up codes ...
inline constexpr uint32_t TV_EVT_USER_LAST = 10199; // ... up to this one

// tv_HotPixel commands. The soft list is applied by the library in software;
// the factory and user lists live in the camera's non-volatile memory.
inline constexpr uint32_t TV_HP_CORRECTION_OFF = 0;
inline constexpr uint32_t TV_HP_CORRECTION_ON = 2;
inline constexpr uint32_t TV_HP_CAPABILITIES = 0x8001; // u32 out
inline constexpr uint32_t TV_HP_CAP_CAMERA_MEMORY = 2; // capability bit 1
inline constexpr uint32_t TV_HP_SOFT_LIST_EXISTS = 0x8100; // status 0: there is one
inline constexpr uint32_t TV_HP_SOFT_LIST_COUNT = 0x8101; // u32 out
inline constexpr uint32_t TV_HP_SOFT_LIST_READ = 0x8102; // HotPixelList out
inline constexpr uint32_t TV_HP_SOFT_LIST_WRITE = 0x8103; // HotPixelList in
inline constexpr uint32_t TV_HP_FACTORY_LIST_COUNT = 0x8107; // u32 out
inline constexpr uint32_t TV_HP_FACTORY_LIST_READ = 0x8108; // HotPixelList out
inline constexpr uint32_t TV_HP_USER_LIST_COUNT = 0x810A; // u32 out
inline constexpr uint32_t TV_HP_USER_LIST_READ = 0x810B; // HotPixelList out
inline constexpr uint32_t TV_HP_USER_LIST_WRITE = 0x810C; // HotPixelList in
inline constexpr uint32_t TV_HP_USER_LIST_CAPACITY = 0x810D; // u32 out
inline constexpr uint32_t TV_HP_USER_LIST_ERASE = 0x810E;
inline constexpr uint32_t TV_HP_SOFT_LIST_SAVE = 0x8111; // NUL-terminated UCS-4 path, size 0
inline constexpr uint32_t TV_HP_SOFT_LIST_LOAD = 0x8112; // NUL-terminated UCS-4 path, size 0

// ---------------------------------------------------------------- operations
// Every operation returns a status, 0 for success, except where a query
// argument makes the return value the answer. Outputs are written only on
// success.
//
// Threads: every function may be called from any thread, and from several at
// once, with or without a Qt event loop; the library runs threads of its own
// (the capture of each open camera, the watch for cameras coming and going).
// A thread blocked in a call holds nothing that another call needs, so the
// thread that waits for events never stops the one that fetches frames.
// A thread cancelled while blocked in TV_EVT_OP_WAIT (pthread_cancel,
// QThread::terminate) leaves nothing behind in the library.
//
// Blocking: most calls return at once. These may block:
// - tv_InitCamera with TV_OPEN_ALLOW_FW_UPLOAD, on a camera that needs new
//   firmware: for the whole upload, tv_GetDuration's milliseconds (seconds,
//   up to minutes); never call it on the GUI thread;
// - tv_Event with TV_EVT_OP_WAIT: until one of the events is set, the
//   timeout runs out (0xFFFFFFFF: never) or the camera of the handle is
//   closed by tv_ExitCamera, which ends the wait with a non-zero status;
// - tv_CaptureVideo and tv_FreezeVideo with TV_CAPTURE_WAIT: until capture
//   runs or the one frame is complete; tv_StopLiveVideo with TV_CAPTURE_WAIT:
//   until no frame is being written;
// - tv_LoadParameters and the tv_HotPixel commands that write the camera's
//   memory (TV_HP_USER_LIST_WRITE, TV_HP_USER_LIST_ERASE) or a file
//   (TV_HP_SOFT_LIST_SAVE, TV_HP_SOFT_LIST_LOAD): for their file access.
//
// Lifetime: a handle is valid from a successful tv_InitCamera until its
// tv_ExitCamera; any later call with it fails. A camera open in one process
// is reported inUse to every other and can't be opened there; it is freed by
// tv_ExitCamera or the end of the process. Device events (handle 0) need no
// open camera.

// Finding and opening
TAVO_API int32_t tv_GetNumberOfCameras(int32_t *count);
TAVO_API int32_t tv_GetCameraList(CameraList *list);
// Opens a camera; *handle is in: the id word with its flags, out: the
// cameraHandle. On TV_STATUS_FW_UPLOAD_NEEDED the word is left as it was, for
// tv_GetDuration. With TV_OPEN_ALLOW_FW_UPLOAD it may block for the upload.
TAVO_API int32_t tv_InitCamera(uint32_t *handle, void *window);
TAVO_API int32_t tv_GetDuration(cameraHandle handle, uint32_t mode, int32_t *milliseconds);
// Closes the camera: stops capture, ends every wait on its handle, frees its
// image memory and makes the handle invalid. Call it once no other thread
// still uses the image memory.
TAVO_API int32_t tv_ExitCamera(cameraHandle handle);
TAVO_API int32_t tv_GetSensorInfo(cameraHandle handle, SensorInfo *info);
TAVO_API int32_t tv_GetCameraInfo(cameraHandle handle, CameraInfo *info);
TAVO_API int32_t tv_LoadParameters(cameraHandle handle, const char *path);

// Image format and memory
TAVO_API int32_t tv_SetColorMode(cameraHandle handle, int32_t mode);
TAVO_API int32_t tv_AOI(cameraHandle handle, uint32_t command, void *parameter, uint32_t size);
// Image memory is the library's from tv_AllocImageMem until tv_FreeImageMem
// or tv_ExitCamera. While a buffer is in the sequence the library's capture
// thread writes frames into it, except while it is locked (tv_LockSeqBuf to
// tv_UnlockSeqBuf); read a frame only under that lock.
TAVO_API int32_t tv_AllocImageMem(cameraHandle handle, int32_t width, int32_t height,
                                  int32_t bitsPerPixel, char **memory, int32_t *memoryId);
TAVO_API int32_t tv_FreeImageMem(cameraHandle handle, char *memory, int32_t memoryId);
TAVO_API int32_t tv_AddToSequence(cameraHandle handle, char *memory, int32_t memoryId);
TAVO_API int32_t tv_ClearSequence(cameraHandle handle);
TAVO_API int32_t tv_GetActSeqBuf(cameraHandle handle, int32_t *number, char **memory,
                                 char **lastMemory);
TAVO_API int32_t tv_LockSeqBuf(cameraHandle handle, int32_t number, char *memory);
TAVO_API int32_t tv_UnlockSeqBuf(cameraHandle handle, int32_t number, char *memory);

// Capture
TAVO_API int32_t tv_CaptureVideo(cameraHandle handle, int32_t wait);
TAVO_API int32_t tv_FreezeVideo(cameraHandle handle, int32_t wait);
TAVO_API int32_t tv_StopLiveVideo(cameraHandle handle, int32_t wait);

// Parameters
TAVO_API int32_t tv_GetPixelClockRange(cameraHandle handle, int32_t *min, int32_t *max);
TAVO_API int32_t tv_SetPixelClock(cameraHandle handle, int32_t clock);
TAVO_API int32_t tv_GetFrameTimeRange(cameraHandle handle, double *minTime, double *maxTime,
                                      double *interval);
TAVO_API int32_t tv_GetFramesPerSecond(cameraHandle handle, double *fps);
TAVO_API int32_t tv_SetFrameRate(cameraHandle handle, double fps, double *actual);
TAVO_API int32_t tv_GetExposureRange(cameraHandle handle, double *min, double *max,
                                     double *increment);
TAVO_API int32_t tv_SetExposureTime(cameraHandle handle, double exposure, double *actual);
TAVO_API int32_t tv_SetHardwareGain(cameraHandle handle, int32_t master, int32_t red, int32_t green,
                                    int32_t blue);

// Events, errors and hot pixels
// TV_EVT_OP_WAIT blocks (see above); the codes array of the EventWait must
// stay valid until the call returns. The other operations return at once.
TAVO_API int32_t tv_Event(cameraHandle handle, uint32_t operation, void *parameter, uint32_t size);
// *text gets a NUL-terminated message for the status in *code. The text is
// the library's: never free or change it, and copy it at once (it lives as
// long as the library is loaded). For a status without a text the call fails
// and leaves *text alone. Any thread; no open camera needed.
TAVO_API int32_t tv_GetError(cameraHandle handle, int32_t *code, char **text);
TAVO_API int32_t tv_HotPixel(cameraHandle handle, uint32_t command, void *parameter, uint32_t size);
