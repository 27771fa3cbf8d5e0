#include "simulator/framegenerator.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace TavoSim {

namespace {

constexpr uint32_t kTableSize = 65536;
constexpr double kPi = 3.14159265358979323846;

uint32_t fixedOffset(int y)
{
    return (uint32_t(y) * 40503u) & (kTableSize - 1);
}

} // namespace

FrameGenerator::FrameGenerator(const CameraProfile &profile)
    : m_width(profile.width)
    , m_height(profile.height)
    , m_bayer(profile.filter == ColorFilter::Bayer)
    , m_defects(profile.defects)
{
    m_state ^= uint64_t(profile.deviceId) * 0x9E3779B97F4A7C15ull;
    m_fixedPattern.resize(kTableSize + m_width);
    for (uint8_t &value : m_fixedPattern)
        value = uint8_t(kBlackLevel - 2 + int(random() % 5)); // black level +-2
    for (int level = 0; level < 3; ++level) {
        const int amplitude = 2 + level;
        const int half = amplitude / 2;
        const int rest = amplitude - half;
        m_noise[level].resize(kTableSize + m_width);
        for (uint8_t &value : m_noise[level]) {
            const int a = int(random() % uint64_t(2 * half + 1)) - half;
            const int b = int(random() % uint64_t(2 * rest + 1)) - rest;
            value = uint8_t(int8_t(a + b));
        }
    }
    m_patternX.resize(m_width + 256);
    for (size_t x = 0; x < m_patternX.size(); ++x) {
        const double bars = (x / 96) % 2 ? 82.0 : 22.0;
        const double v = bars + 28.0 * std::sin(2.0 * kPi * double(x) / 256.0);
        m_patternX[x] = uint8_t(std::clamp(v, 0.0, 127.0));
    }
    m_patternY.resize(m_height + 256);
    for (size_t y = 0; y < m_patternY.size(); ++y) {
        const double v = 62.0 + 50.0 * std::sin(2.0 * kPi * double(y) / 300.0)
                + ((y / 128) % 3 == 0 ? 12.0 : 0.0);
        m_patternY[y] = uint8_t(std::clamp(v, 0.0, 127.0));
    }
}

uint64_t FrameGenerator::random()
{
    m_state ^= m_state << 13;
    m_state ^= m_state >> 7;
    m_state ^= m_state << 17;
    return m_state;
}

void FrameGenerator::renderRow(unsigned char *row, int sensorY, int x0, int width,
                               const FrameSettings &s, const unsigned char *luts)
{
    const int level = std::clamp(s.gain / 50, 0, 2);
    const uint8_t *noise = m_noise[level].data() + (random() & (kTableSize - 1));
    if (s.covered) {
        const uint8_t *fixed = m_fixedPattern.data() + fixedOffset(sensorY) + x0;
        for (int x = 0; x < width; ++x)
            row[x] = uint8_t(fixed[x] + noise[x]); // stays within 10..22: no clamping
        return;
    }
    const int shiftX = int(s.seconds * 24.0) & 255;
    const int shiftY = int(s.seconds * 9.0) & 255;
    const uint8_t *px = m_patternX.data() + shiftX + x0;
    const int py = m_patternY[size_t(sensorY + shiftY)];
    if (!m_bayer) {
        const unsigned char *lut = luts;
        for (int x = 0; x < width; ++x) {
            const int v = lut[px[x] + py] + int8_t(noise[x]);
            row[x] = uint8_t(std::clamp(v, 0, 255));
        }
        return;
    }
    // Bayer: even rows red/green, odd rows green/blue; red follows the
    // columns' pattern, blue the rows', green both.
    const bool oddRow = sensorY & 1;
    for (int x = 0; x < width; ++x) {
        const bool oddColumn = (x0 + x) & 1;
        int p;
        const unsigned char *lut;
        if (!oddRow && !oddColumn) {
            p = 2 * px[x];
            lut = luts;
        } else if (oddRow && oddColumn) {
            p = 2 * py;
            lut = luts + 3 * 256;
        } else {
            p = px[x] + py;
            lut = luts + 256;
        }
        const int v = lut[p] + int8_t(noise[x]);
        row[x] = uint8_t(std::clamp(v, 0, 255));
    }
}

void FrameGenerator::render(unsigned char *memory, const FrameSettings &s)
{
    const int width = std::min(s.area.width, s.bufferWidth);
    const int height = std::min(s.area.height, s.bufferHeight);
    if (width <= 0 || height <= 0)
        return;
    const int rowPitch = pitch(s.bufferWidth, s.bitsPerPixel);
    const double scale = darkSignal(1.0, s.exposureMs, s.gain);

    // Grey values of the scene per colour phase: red, green, (unused), blue.
    unsigned char luts[4 * 256];
    const double weights[4] = {0.85, 1.0, 1.0, 0.7};
    for (int phase = 0; phase < 4; ++phase) {
        const double w = m_bayer ? weights[phase] : 1.0;
        for (int p = 0; p < 256; ++p) {
            const double v = kBlackLevel + p * 0.8 * w * scale;
            luts[phase * 256 + p] = uint8_t(std::lround(std::clamp(v, 0.0, 255.0)));
        }
    }

    const bool direct = s.bitsPerPixel == 8;
    if (!direct)
        m_scratch.resize(size_t(width) * size_t(height));
    auto rowAt = [&](int y) -> unsigned char * {
        return direct ? memory + size_t(y) * size_t(rowPitch)
                      : m_scratch.data() + size_t(y) * size_t(width);
    };
    for (int y = 0; y < height; ++y)
        renderRow(rowAt(y), s.area.y + y, s.area.x, width, s, luts);

    // The sensor's hot pixels, on top of whatever the pixel sees.
    for (const Defect &defect : m_defects) {
        const int x = int(defect.x) - s.area.x;
        const int y = int(defect.y) - s.area.y;
        if (x < 0 || y < 0 || x >= width || y >= height)
            continue;
        unsigned char &pixel = rowAt(y)[x];
        const int signal = int(std::lround(darkSignal(defect.strength, s.exposureMs, s.gain)));
        pixel = uint8_t(std::min(255, pixel + signal));
    }

    // Correction: each listed pixel from its neighbours of the same colour.
    if (s.corrected) {
        const int step = m_bayer ? 2 : 1;
        for (const HotPixelPair &pair : *s.corrected) {
            const int x = int(pair.x) - s.area.x;
            const int y = int(pair.y) - s.area.y;
            if (x < 0 || y < 0 || x >= width || y >= height)
                continue;
            unsigned char *row = rowAt(y);
            const bool hasLeft = x - step >= 0;
            const bool hasRight = x + step < width;
            if (hasLeft && hasRight)
                row[x] = uint8_t((row[x - step] + row[x + step] + 1) / 2);
            else if (hasLeft)
                row[x] = row[x - step];
            else if (hasRight)
                row[x] = row[x + step];
        }
    }

    if (!direct) {
        const int bytes = s.bitsPerPixel / 8;
        for (int y = 0; y < height; ++y) {
            const unsigned char *in = rowAt(y);
            unsigned char *out = memory + size_t(y) * size_t(rowPitch);
            for (int x = 0; x < width; ++x) {
                unsigned char *p = out + x * bytes;
                for (int b = 0; b < bytes; ++b)
                    p[b] = b == 3 ? 0xFF : in[x];
            }
        }
    }
}

} // namespace TavoSim
