// Control of the simulated camera library for tests and for the tavo-sim
// tool: fault injection, hot plug, the lens cover, reloading the environment
// and the planted hot pixels of each camera. Exported from libtavo_api.so.1
// beside the tv_ functions. Every function may be called from any thread.
#pragma once

#include <cstdint>

#if defined(TAVO_API_BUILD)
#define TAVOSIM_API extern "C" __attribute__((visibility("default")))
#else
#define TAVOSIM_API extern "C"
#endif

// Makes the named tv_ function return status for its next count calls in this
// process (count 0: always; status 0 removes the fault). Returns 0, or -1 for
// an unknown function name or a negative count.
TAVOSIM_API int tvsim_inject(const char *function, int status, int count);
// The same for every process that uses the library with this runtime folder,
// this one included (what `tavo-sim fail` does); each process counts its own
// calls. Returns 0, -1 for a bad argument, -2 when the shared state can't be
// written.
TAVOSIM_API int tvsim_fail(const char *function, int status, int count);
// Clears every fault, plugs in every camera and gives each its lens state of
// the configuration, in this process and in every other one.
TAVOSIM_API void tvsim_reset(void);
// Plugs in (on 1) or unplugs (on 0) the camera with this serial, for every
// process; this process sees the change before the call returns, the others
// within half a second. Returns 0, -1 for an unknown serial, -2 when the
// shared state can't be written (the change then holds in this process only).
TAVOSIM_API int tvsim_plug(const char *serial, int on);
// Covers (on 1) or uncovers (on 0) the lens; returns as tvsim_plug.
TAVOSIM_API int tvsim_cover(const char *serial, int on);
// Reads the environment again (TAVO_SIM_CONFIG, TAVO_SIM_STATE_DIR,
// TAVO_SIM_RUNTIME_DIR, TAVO_SIM_FAULTS): another fleet, other folders, the
// faults of the environment only. Only while no camera is open in this
// process: returns 0, or -1 when one is. Device event registrations stay.
TAVOSIM_API int tvsim_reload(void);
// 1 when the configuration in force could be read (or none was named), 0 when
// it could not and no camera is listed.
TAVOSIM_API int tvsim_config_valid(void);

// One hot pixel that the simulated sensor really has.
struct TvsimDefect
{
    uint16_t x;
    uint16_t y;
    uint16_t strength; // grey values above the black level at exposure 300 and gain 50
    uint8_t factory; // 1: also in the camera's factory list
    uint8_t reserved;
};

// Fills up to capacity defects of the camera with this serial, in a fixed
// order, and returns how many it has, or -1 for an unknown serial.
TAVOSIM_API int tvsim_defects(const char *serial, TvsimDefect *defects, int capacity);

// The dark-frame model. A pixel without a defect reads the black level
// (TVSIM_BLACK_LEVEL) plus a fixed pattern of -2 to +2 and temporal noise of
// at most +-2 (gain below 50), +-3 (gain 50 to 99) or +-4 (gain 100). A defect
// adds tvsim_dark_signal(strength, exposure, gain) on top, rounded, the sum
// clamped to 255: strength x (exposure / 300) x (1 + gain / 50) / 2.
#define TVSIM_BLACK_LEVEL 16
TAVOSIM_API double tvsim_dark_signal(double strength, double exposure, int gain);

// One camera of the fleet in force, plugged in or not.
struct TvsimCamera
{
    char serial[16];
    char model[80];
    uint32_t deviceId;
    uint32_t cameraId;
    uint32_t width;
    uint32_t height;
    int32_t plugged;
    int32_t covered;
    int32_t inUse; // opened by some process
};

// Fills up to capacity cameras and returns how many the fleet has.
TAVOSIM_API int tvsim_cameras(TvsimCamera *cameras, int capacity);
