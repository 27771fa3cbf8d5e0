// The cameras that the simulated library offers: the built-in fleet or one
// read from the configuration file named by TAVO_SIM_CONFIG. Plain values,
// read once per (re)load under the library's lock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class QByteArray;

namespace TavoSim {

// A hot pixel of the simulated sensor. strength is its dark signal in grey
// values at the reference exposure and gain (see darkSignal).
struct Defect
{
    uint16_t x = 0;
    uint16_t y = 0;
    uint16_t strength = 0;
    bool factory = false; // also in the camera's factory list
};

enum class ColorFilter { Mono, Bayer };

struct CameraProfile
{
    uint32_t deviceId = 0;
    uint32_t cameraId = 0;
    uint32_t thirdWord = 0;
    std::string serial;
    std::string model;
    uint16_t sensorType = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    ColorFilter filter = ColorFilter::Mono;
    int reportedColorMode = -1; // -1: follows the filter and the mode asked for
    int clockMin = 5;
    int clockMax = 40;
    int clockDefault = 40;
    bool cameraMemory = true;
    uint32_t userCapacity = 1000;
    std::vector<Defect> defects; // factory ones and those only detection finds
    std::vector<Defect> extraFactory; // factory list entries with no defect behind them
    int firmwareUploadMs = 0; // > 0: needs an upload of this length until done once
    double frameLossRate = 0.0;
    bool covered = false; // lens covered at start
};

// Reference settings of the dark-frame model: a defect of strength s adds
// s x (exposure / kReferenceExposure) x (1 + gain / 50) / (1 + kReferenceGain / 50)
// grey values above the black level.
constexpr double kReferenceExposure = 300.0;
constexpr int kReferenceGain = 50;
constexpr int kBlackLevel = 16;

double darkSignal(double strength, double exposureMs, int gain);

class Fleet
{
public:
    static Fleet builtIn();
    // Reads a configuration file; false with a reason in error when it can't.
    static bool load(const std::string &path, Fleet *fleet, std::string *error);
    // The same for the text of a configuration.
    static bool parse(const QByteArray &text, Fleet *fleet, std::string *error);

    std::vector<CameraProfile> cameras;
};

// Places up to count defects on a sensor, at least 6 pixels from the edges and
// from each other, with strengths taken in turn from strengths, every
// factoryEvery-th (0: none) also in the factory list; deterministic. Time and
// memory grow with count; it gives up after 100 x count tries, and so may
// place fewer on a crowded sensor.
std::vector<Defect> plantDefects(uint32_t width, uint32_t height, uint32_t seed, uint32_t count,
                                 const std::vector<int> &strengths, uint32_t factoryEvery);

// The most defects a configuration may plant on a sensor: one per 12 x 12
// pixels, so that random placement always finds room, and at most kPlantLimit.
constexpr uint32_t kPlantLimit = 65535;
uint32_t plantCapacity(uint32_t width, uint32_t height);

} // namespace TavoSim
