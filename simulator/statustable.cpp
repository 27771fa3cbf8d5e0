#include "simulator/statustable.h"

namespace TavoSim {

namespace {

struct Entry
{
    int32_t status;
    const char *text;
};

// Keep in step with the status table of simulator/README.md.
constexpr Entry kTable[] = {
        {Success, "Success."},
        {GeneralFailure, "The operation failed."},
        {InvalidHandle, "The camera handle is not valid: no camera is open under it."},
        {InvalidArgument, "An argument is not valid."},
        {WrongSize, "The size argument does not match the command."},
        {NotSupported, "The command or mode is not supported by this camera."},
        {NoSuchCamera, "No camera with this id is attached."},
        {CameraInUse, "The camera is in use by another program."},
        {CameraGone, "The camera was removed."},
        {OutOfRange, "The value lies outside the allowed range."},
        {NoMemory, "Image memory could not be allocated."},
        {UnknownMemory, "The image memory is not known to this camera."},
        {MemoryBusy, "The image memory is in use: locked, in the sequence or being written."},
        {NoSequence, "There is no image memory in the sequence."},
        {NoFrame, "No frame has been captured yet."},
        {EventNotRegistered, "The event is not registered."},
        {InvalidEvent, "The event code is not valid."},
        {WaitAborted, "The wait ended without an event because the camera was closed."},
        {ListBufferTooSmall, "The buffer is too small for the hot pixel list."},
        {ListTooLong, "The list holds more pixels than the camera can store."},
        {PixelOutside, "A pixel position lies outside the sensor."},
        {NoCameraMemory, "This camera has no memory for a user list."},
        {NoSoftList, "There is no soft list."},
        {FileOpen, "The hot pixel file can't be opened."},
        {FileWrite, "The hot pixel file can't be written."},
        {FileTruncated, "The hot pixel file is truncated."},
        {FileNotList, "The file is not a hot pixel list."},
        {FileVersion, "The hot pixel file has a version that this library can't read."},
        {FileChecksum, "The hot pixel file is corrupt: its checksum does not match."},
        {FileTooLarge, "The hot pixel file holds more pixels than a soft list can take."},
        {MemoryWrite, "The camera's memory could not be written."},
        {WaitTimedOut, "The wait timed out before an event was set."},
        {IniNotOpened, "The ini file can't be opened."},
        {IniInvalid, "The ini file holds a line or a value that is not valid."},
        {FirmwareUploadNeeded,
         "The camera needs new firmware: open it with the firmware upload flag."},
};

} // namespace

const char *statusText(int32_t status)
{
    for (const Entry &entry : kTable) {
        if (entry.status == status)
            return entry.text;
    }
    return nullptr;
}

} // namespace TavoSim
