// One opened simulated camera: its parameters, image memory and sequence, its
// hot pixel lists and the capture thread that fills the sequence at the rate
// in force. Every public function may be called from any thread; its own
// mutex guards the state, and frames are rendered without holding it.
#pragma once

#include "camera/tavo_api.h"
#include "simulator/fleet.h"
#include "simulator/framegenerator.h"
#include "simulator/listfile.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace TavoSim {

class EventHub;

class CameraSession
{
public:
    CameraSession(const CameraProfile &profile, cameraHandle handle, int lockFd,
                  const ListFile::State &state, const std::string &statePath, EventHub *hub,
                  bool covered);
    ~CameraSession();
    CameraSession(const CameraSession &) = delete;
    CameraSession &operator=(const CameraSession &) = delete;

    const CameraProfile &profile() const { return m_profile; }
    cameraHandle handle() const { return m_handle; }
    bool plugged() const;
    void setPlugged(bool plugged);
    void setCovered(bool covered);

    int32_t colorMode(int32_t mode);
    int32_t aoi(uint32_t command, void *parameter, uint32_t size);

    int32_t allocImageMem(int32_t width, int32_t height, int32_t bits, char **memory, int32_t *id);
    int32_t freeImageMem(char *memory, int32_t id);
    int32_t addToSequence(char *memory, int32_t id);
    int32_t clearSequence();
    int32_t actSeqBuf(int32_t *number, char **memory, char **lastMemory);
    int32_t lockSeqBuf(int32_t number, char *memory, bool lock);

    int32_t captureVideo(int32_t wait);
    int32_t freezeVideo(int32_t wait);
    int32_t stopLiveVideo(int32_t wait);

    int32_t pixelClockRange(int32_t *min, int32_t *max);
    int32_t pixelClock(int32_t clock); // also the two query forms
    int32_t frameTimeRange(double *min, double *max, double *interval);
    int32_t framesPerSecond(double *fps);
    int32_t setFrameRate(double fps, double *actual);
    int32_t exposureRange(double *min, double *max, double *increment);
    int32_t exposure(double value, double *actual); // also the two query forms
    int32_t hardwareGain(int32_t master, int32_t red, int32_t green, int32_t blue);
    int32_t loadParameters(const char *path);

    int32_t hotPixel(uint32_t command, void *parameter, uint32_t size);

private:
    struct Buffer
    {
        int32_t id = 0;
        unsigned char *memory = nullptr;
        int width = 0;
        int height = 0;
        int bits = 8;
        bool locked = false;
    };
    using Lock = std::unique_lock<std::mutex>;

    void captureLoop();
    // Renders one frame into the next free buffer; called with the lock held,
    // which it gives up while rendering. False when no buffer was free.
    bool captureOne(Lock &lock);
    void waitUntilIdle(Lock &lock);
    Buffer *findBuffer(char *memory);
    void rebuildCorrection();

    double minFrameTime() const;
    double maxFrameTime() const;
    double frameInterval() const;
    double exposureIncrement() const;
    double exposureMax() const;
    void clampFrameTime();
    void clampExposure();
    void retime();
    int32_t applyExposure(double value);

    const CameraProfile m_profile;
    const cameraHandle m_handle;
    const int m_lockFd;
    const std::string m_statePath;
    EventHub *const m_hub;
    const std::chrono::steady_clock::time_point m_start;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_quit = false;
    bool m_plugged = true;
    bool m_covered = false;
    bool m_live = false;
    bool m_timingChanged = false;

    int32_t m_colorMode = TV_FORMAT_8BIT;
    AoiRect m_area;
    int m_clock;
    double m_frameTime = 0.0;
    double m_exposure = 0.0;
    int m_gain = 0;
    int m_channelGain[3] = {0, 0, 0};

    std::vector<std::unique_ptr<Buffer>> m_buffers;
    std::vector<Buffer *> m_sequence;
    Buffer *m_newest = nullptr;
    Buffer *m_writing = nullptr;
    size_t m_nextIndex = 0;
    int32_t m_nextMemoryId = 1;
    std::deque<std::chrono::steady_clock::time_point> m_frameTimes;

    std::vector<HotPixelPair> m_factoryList;
    ListFile::State m_state;
    bool m_softListExists = false;
    PixelList m_softList;
    bool m_correction = false;
    std::shared_ptr<const std::vector<HotPixelPair>> m_corrected;

    FrameGenerator m_generator;
    uint64_t m_lossState;
    std::thread m_thread;
};

} // namespace TavoSim
