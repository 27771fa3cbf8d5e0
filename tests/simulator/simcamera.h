// A camera opened through the C interface alone, in the order the program
// uses: init, sensor info, colour mode, three buffers in the sequence, camera
// events, live capture.
#pragma once

#include "camera/tavo_api.h"

#include <QtTest>

#include <vector>

// Registers and enables codes on a handle (0: the device events).
inline int32_t registerEvents(cameraHandle handle, std::vector<uint32_t> codes)
{
    for (uint32_t code : codes) {
        EventInit init {code, 0, 0};
        if (const int32_t status = tv_Event(handle, TV_EVT_OP_REGISTER, &init, sizeof init))
            return status;
    }
    return tv_Event(handle, TV_EVT_OP_ENABLE, codes.data(), uint32_t(4 * codes.size()));
}

inline std::vector<CameraListEntry> listCameras()
{
    int32_t count = 0;
    if (tv_GetNumberOfCameras(&count) != TV_SUCCESS || count < 1)
        return {};
    std::vector<char> buffer(cameraListSize(uint32_t(count)));
    auto *list = reinterpret_cast<CameraList *>(buffer.data());
    list->count = uint32_t(count);
    if (tv_GetCameraList(list) != TV_SUCCESS)
        return {};
    return std::vector<CameraListEntry>(list->entries, list->entries + list->count);
}

class SimCamera
{
public:
    explicit SimCamera(uint32_t deviceId, bool live = true)
    {
        uint32_t word = deviceId | TV_OPEN_BY_DEVICE_ID;
        status = tv_InitCamera(&word, nullptr);
        if (status != TV_SUCCESS)
            return;
        handle = word;
        SensorInfo info;
        tv_GetSensorInfo(handle, &info);
        width = int(info.maxWidth);
        height = int(info.maxHeight);
        tv_SetColorMode(handle, TV_FORMAT_8BIT);
        for (int i = 0; i < 3; ++i) {
            char *memory = nullptr;
            int32_t id = 0;
            if (tv_AllocImageMem(handle, width, height, 8, &memory, &id) == TV_SUCCESS
                && tv_AddToSequence(handle, memory, id) == TV_SUCCESS) {
                memories.push_back(memory);
                ids.push_back(id);
            }
        }
        registerEvents(handle,
                       {TV_EVT_FRAME_READY, TV_EVT_CAMERA_BACK, TV_EVT_CAMERA_GONE,
                        TV_EVT_FRAME_LOST, ownCode});
        if (live)
            status = tv_CaptureVideo(handle, TV_CAPTURE_NO_WAIT);
    }
    ~SimCamera() { close(); }

    void close()
    {
        if (!handle)
            return;
        tv_StopLiveVideo(handle, TV_CAPTURE_WAIT);
        tv_ClearSequence(handle);
        for (size_t i = 0; i < memories.size(); ++i)
            tv_FreeImageMem(handle, memories[i], ids[i]);
        tv_ExitCamera(handle);
        handle = 0;
    }

    // The first event of codes within timeoutMs, or 0.
    uint32_t waitFor(std::vector<uint32_t> codes, uint32_t timeoutMs = 20000)
    {
        EventWait wait {codes.data(), uint32_t(codes.size()), 0, timeoutMs, 0, 0};
        return tv_Event(handle, TV_EVT_OP_WAIT, &wait, sizeof wait) == TV_SUCCESS ? wait.signaled
                                                                                  : 0;
    }

    // Waits for a frame and copies the newest buffer, as the program does.
    QByteArray grab()
    {
        if (waitFor({TV_EVT_FRAME_READY}) != TV_EVT_FRAME_READY)
            return QByteArray();
        char *last = nullptr;
        if (tv_GetActSeqBuf(handle, nullptr, nullptr, &last) != TV_SUCCESS
            || tv_LockSeqBuf(handle, TV_SEQ_ID_ANY, last) != TV_SUCCESS)
            return QByteArray();
        const QByteArray copy(last, pitch() * height);
        tv_UnlockSeqBuf(handle, TV_SEQ_ID_ANY, last);
        return copy;
    }

    int pitch() const { return (width + 3) & ~3; }

    int32_t status = -1;
    cameraHandle handle = 0;
    int width = 0, height = 0;
    std::vector<char *> memories;
    std::vector<int32_t> ids;
    uint32_t ownCode = 10150;
};
