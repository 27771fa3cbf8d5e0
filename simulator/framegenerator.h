// Renders the frames of one simulated sensor: black level with a fixed
// pattern, temporal noise from precomputed tables, a slowly moving test scene
// when the lens is open, the sensor's hot pixels and the correction of listed
// ones. Used by one capture thread at a time.
#pragma once

#include "camera/tavo_api.h"
#include "simulator/fleet.h"

#include <memory>
#include <vector>

namespace TavoSim {

struct FrameSettings
{
    double exposureMs = 0.0;
    int gain = 0;
    bool covered = false;
    std::shared_ptr<const std::vector<HotPixelPair>> corrected; // null: correction off
    AoiRect area {0, 0, 0, 0};
    int bitsPerPixel = 8;
    int bufferWidth = 0;
    int bufferHeight = 0;
    double seconds = 0.0; // moves the scene
};

class FrameGenerator
{
public:
    explicit FrameGenerator(const CameraProfile &profile);

    static int pitch(int width, int bitsPerPixel) { return ((width * bitsPerPixel / 8) + 3) & ~3; }
    void render(unsigned char *memory, const FrameSettings &settings);

private:
    uint64_t random();
    void renderRow(unsigned char *row, int sensorY, int x0, int width, const FrameSettings &s,
                   const unsigned char *luts);

    uint32_t m_width;
    uint32_t m_height;
    bool m_bayer;
    std::vector<Defect> m_defects;
    std::vector<uint8_t> m_fixedPattern; // black level and fixed pattern, 65536 + width
    std::vector<uint8_t> m_noise[3]; // amplitudes 2, 3 and 4, as two's complement bytes
    std::vector<uint8_t> m_patternX;
    std::vector<uint8_t> m_patternY;
    std::vector<uint8_t> m_scratch;
    uint64_t m_state = 0x2545F4914F6CDD1Dull;
};

} // namespace TavoSim
