// Frames a second that the simulated camera library sustains at 1.3, 5 and
// 12 megapixels, and the CPU time of the process for each frame.
#include "camera/tavo_api.h"
#include "simulator/tavosim_control.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <ctime>
#include <fstream>
#include <vector>

namespace {

double processSeconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + now.tv_nsec * 1e-9;
}

void streamFrames(benchmark::State &state)
{
    const uint32_t deviceId = uint32_t(state.range(0));
    const double rate = double(state.range(1)); // 0: as fast as it goes
    uint32_t handle = deviceId | TV_OPEN_BY_DEVICE_ID;
    if (tv_InitCamera(&handle, nullptr) != TV_SUCCESS) {
        state.SkipWithError("can't open the camera");
        return;
    }
    SensorInfo info;
    tv_GetSensorInfo(handle, &info);
    tv_SetColorMode(handle, TV_FORMAT_8BIT);
    std::vector<char *> memories(3);
    std::vector<int32_t> ids(3);
    for (int i = 0; i < 3; ++i) {
        tv_AllocImageMem(handle, int(info.maxWidth), int(info.maxHeight), 8, &memories[size_t(i)],
                         &ids[size_t(i)]);
        tv_AddToSequence(handle, memories[size_t(i)], ids[size_t(i)]);
    }
    std::vector<uint32_t> codes = {TV_EVT_FRAME_READY, TV_EVT_FRAME_LOST};
    for (uint32_t code : codes) {
        EventInit init {code, 0, 0};
        tv_Event(handle, TV_EVT_OP_REGISTER, &init, sizeof init);
    }
    tv_Event(handle, TV_EVT_OP_ENABLE, codes.data(), 8);
    double actual = 0;
    if (rate > 0)
        tv_SetPixelClock(handle, 1000); // slow enough to allow the rate asked for
    tv_SetFrameRate(handle, rate > 0 ? rate : 1e6, &actual);
    tv_SetExposureTime(handle, 1.0, &actual);
    tv_CaptureVideo(handle, TV_CAPTURE_NO_WAIT);

    EventWait wait {codes.data(), 2, 0, 20000, 0, 0};
    tv_Event(handle, TV_EVT_OP_WAIT, &wait, sizeof wait);
    int64_t frames = 0;
    const double cpuStart = processSeconds();
    for (auto _ : state) {
        if (tv_Event(handle, TV_EVT_OP_WAIT, &wait, sizeof wait) != TV_SUCCESS) {
            state.SkipWithError("no frame");
            break;
        }
        if (wait.signaled == TV_EVT_FRAME_READY) {
            ++frames;
            char *last = nullptr;
            tv_GetActSeqBuf(handle, nullptr, nullptr, &last);
            tv_LockSeqBuf(handle, TV_SEQ_ID_ANY, last);
            benchmark::DoNotOptimize(last[0]);
            tv_UnlockSeqBuf(handle, TV_SEQ_ID_ANY, last);
        }
    }
    const double cpu = processSeconds() - cpuStart;
    state.counters["fps"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
    state.counters["cpu_ms_per_frame"] = frames ? 1000.0 * cpu / double(frames) : 0.0;
    state.counters["megapixels"] = double(info.maxWidth) * info.maxHeight / 1e6;
    tv_StopLiveVideo(handle, TV_CAPTURE_WAIT);
    tv_ClearSequence(handle);
    for (int i = 0; i < 3; ++i)
        tv_FreeImageMem(handle, memories[size_t(i)], ids[size_t(i)]);
    tv_ExitCamera(handle);
}

} // namespace

// Device 1: 1280 x 1024, 2: 2592 x 1944, 3: 4000 x 3000; the second argument
// is the rate asked for (0: the highest).
BENCHMARK(streamFrames)
        ->Args({1, 0})
        ->Args({2, 0})
        ->Args({3, 0})
        ->Args({2, 30})
        ->Iterations(60)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    QTemporaryDir dir;
    const std::string root = dir.path().toStdString();
    std::ofstream(root + "/fleet.json") << R"({"cameras": [
  {"deviceId": 1, "serial": "B13", "width": 1280, "height": 1024, "pixelClock": {"min": 5, "max": 30000}},
  {"deviceId": 2, "serial": "B50", "width": 2592, "height": 1944, "color": "bayer", "pixelClock": {"min": 5, "max": 30000}},
  {"deviceId": 3, "serial": "B120", "width": 4000, "height": 3000, "color": "bayer", "pixelClock": {"min": 5, "max": 30000}}]})";
    setenv("TAVO_SIM_CONFIG", (root + "/fleet.json").c_str(), 1);
    setenv("TAVO_SIM_STATE_DIR", root.c_str(), 1);
    setenv("TAVO_SIM_RUNTIME_DIR", root.c_str(), 1);
    tvsim_reload();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
