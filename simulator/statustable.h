// The statuses of the simulated camera library and their texts, as given out
// by tv_GetError. Shared by all threads; the table is constant.
#pragma once

#include <cstdint>

namespace TavoSim {

enum Status : int32_t {
    Success = 0,
    GeneralFailure = 1,
    InvalidHandle = 2,
    InvalidArgument = 3,
    WrongSize = 4,
    NotSupported = 5,
    NoSuchCamera = 6,
    CameraInUse = 7,
    CameraGone = 8,
    OutOfRange = 9,
    NoMemory = 10,
    UnknownMemory = 11,
    MemoryBusy = 12,
    NoSequence = 13,
    NoFrame = 14,
    EventNotRegistered = 15,
    InvalidEvent = 16,
    WaitAborted = 17,
    ListBufferTooSmall = 18,
    ListTooLong = 19,
    PixelOutside = 20,
    NoCameraMemory = 21,
    NoSoftList = 22,
    FileOpen = 23,
    FileWrite = 24,
    FileTruncated = 25,
    FileNotList = 26,
    FileVersion = 27,
    FileChecksum = 28,
    FileTooLarge = 29,
    MemoryWrite = 30,
    WaitTimedOut = 31,
    IniNotOpened = 50,
    IniInvalid = 51,
    FirmwareUploadNeeded = 184,
};

// The text of a status, or nullptr when the library has no such status.
const char *statusText(int32_t status);

} // namespace TavoSim
