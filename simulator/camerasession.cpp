#include "simulator/camerasession.h"

#include "simulator/eventhub.h"
#include "simulator/statustable.h"

#include <QFile>
#include <QString>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <unistd.h>

namespace TavoSim {

namespace {

constexpr double kDefaultExposure = 20.0; // milliseconds
constexpr double kDefaultFrameRate = 25.0;

} // namespace

CameraSession::CameraSession(const CameraProfile &profile, cameraHandle handle, int lockFd,
                             const ListFile::State &state, const std::string &statePath,
                             EventHub *hub, bool covered)
    : m_profile(profile)
    , m_handle(handle)
    , m_lockFd(lockFd)
    , m_statePath(statePath)
    , m_hub(hub)
    , m_start(std::chrono::steady_clock::now())
    , m_covered(covered)
    , m_area {0, 0, int32_t(profile.width), int32_t(profile.height)}
    , m_clock(profile.clockDefault)
    , m_state(state)
    , m_generator(profile)
    , m_lossState(0x853C49E6748FEA9Bull ^ handle)
{
    for (const Defect &defect : profile.defects) {
        if (defect.factory)
            m_factoryList.push_back(HotPixelPair {defect.x, defect.y});
    }
    for (const Defect &defect : profile.extraFactory)
        m_factoryList.push_back(HotPixelPair {defect.x, defect.y});
    m_frameTime = std::clamp(1.0 / kDefaultFrameRate, minFrameTime(), maxFrameTime());
    m_exposure = kDefaultExposure;
    clampExposure();
    m_thread = std::thread(&CameraSession::captureLoop, this);
}

CameraSession::~CameraSession()
{
    {
        Lock lock(m_mutex);
        m_quit = true;
        m_live = false;
        m_changed.notify_all();
    }
    m_thread.join();
    for (auto &buffer : m_buffers)
        std::free(buffer->memory);
    if (m_lockFd >= 0)
        ::close(m_lockFd);
}

bool CameraSession::plugged() const
{
    Lock lock(m_mutex);
    return m_plugged;
}

void CameraSession::setPlugged(bool plugged)
{
    Lock lock(m_mutex);
    m_plugged = plugged;
    m_timingChanged = true;
    m_changed.notify_all();
}

void CameraSession::setCovered(bool covered)
{
    Lock lock(m_mutex);
    m_covered = covered;
}

// ---------------------------------------------------------------- format

int32_t CameraSession::colorMode(int32_t mode)
{
    Lock lock(m_mutex);
    if (mode == TV_FORMAT_QUERY) {
        if (m_profile.reportedColorMode >= 0)
            return m_profile.reportedColorMode;
        if (m_colorMode == TV_FORMAT_8BIT && m_profile.filter == ColorFilter::Mono)
            return TV_FORMAT_8BIT_ALT;
        return m_colorMode;
    }
    if (mode != TV_FORMAT_32BIT && mode != TV_FORMAT_8BIT_ALT && mode != TV_FORMAT_8BIT)
        return NotSupported;
    m_colorMode = mode;
    return Success;
}

int32_t CameraSession::aoi(uint32_t command, void *parameter, uint32_t size)
{
    Lock lock(m_mutex);
    if (command == TV_AOI_QUERY_FULL_SIZE) {
        if (size != sizeof(AoiSize))
            return WrongSize;
        if (!parameter)
            return InvalidArgument;
        const AoiSize full {int32_t(m_profile.width), int32_t(m_profile.height)};
        std::memcpy(parameter, &full, sizeof full);
        return Success;
    }
    if (command == TV_AOI_SET_RECT) {
        if (size != sizeof(AoiRect))
            return WrongSize;
        if (!parameter)
            return InvalidArgument;
        AoiRect rect;
        std::memcpy(&rect, parameter, sizeof rect);
        if (rect.x < 0 || rect.y < 0 || rect.width < 16 || rect.height < 16
            || int64_t(rect.x) + rect.width > int64_t(m_profile.width)
            || int64_t(rect.y) + rect.height > int64_t(m_profile.height))
            return OutOfRange;
        m_area = rect;
        clampFrameTime();
        clampExposure();
        m_timingChanged = true;
        m_changed.notify_all();
        return Success;
    }
    return NotSupported;
}

// ---------------------------------------------------------------- memory

int32_t CameraSession::allocImageMem(int32_t width, int32_t height, int32_t bits, char **memory,
                                     int32_t *id)
{
    if (!memory || !id)
        return InvalidArgument;
    if (width <= 0 || height <= 0 || width > 16384 || height > 16384)
        return OutOfRange;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return InvalidArgument;
    const size_t size = size_t(FrameGenerator::pitch(width, bits)) * size_t(height);
    const size_t aligned = (size + 63) / 64 * 64;
    auto *data = static_cast<unsigned char *>(std::aligned_alloc(64, aligned));
    if (!data)
        return NoMemory;
    std::memset(data, 0, aligned);
    Lock lock(m_mutex);
    auto buffer = std::make_unique<Buffer>();
    buffer->id = m_nextMemoryId++;
    buffer->memory = data;
    buffer->width = width;
    buffer->height = height;
    buffer->bits = bits;
    *memory = reinterpret_cast<char *>(data);
    *id = buffer->id;
    m_buffers.push_back(std::move(buffer));
    return Success;
}

CameraSession::Buffer *CameraSession::findBuffer(char *memory)
{
    for (auto &buffer : m_buffers) {
        if (reinterpret_cast<char *>(buffer->memory) == memory)
            return buffer.get();
    }
    return nullptr;
}

void CameraSession::waitUntilIdle(Lock &lock)
{
    m_changed.wait(lock, [this] { return m_writing == nullptr; });
}

int32_t CameraSession::freeImageMem(char *memory, int32_t id)
{
    Lock lock(m_mutex);
    Buffer *buffer = findBuffer(memory);
    if (!buffer || buffer->id != id)
        return UnknownMemory;
    waitUntilIdle(lock);
    m_sequence.erase(std::remove(m_sequence.begin(), m_sequence.end(), buffer), m_sequence.end());
    if (m_newest == buffer)
        m_newest = nullptr;
    std::free(buffer->memory);
    m_buffers.erase(std::find_if(m_buffers.begin(), m_buffers.end(),
                                 [buffer](const auto &b) { return b.get() == buffer; }));
    return Success;
}

int32_t CameraSession::addToSequence(char *memory, int32_t id)
{
    Lock lock(m_mutex);
    Buffer *buffer = findBuffer(memory);
    if (!buffer || buffer->id != id)
        return UnknownMemory;
    if (std::find(m_sequence.begin(), m_sequence.end(), buffer) != m_sequence.end())
        return MemoryBusy;
    m_sequence.push_back(buffer);
    return Success;
}

int32_t CameraSession::clearSequence()
{
    Lock lock(m_mutex);
    waitUntilIdle(lock);
    for (Buffer *buffer : m_sequence)
        buffer->locked = false;
    m_sequence.clear();
    m_newest = nullptr;
    m_nextIndex = 0;
    return Success;
}

int32_t CameraSession::actSeqBuf(int32_t *number, char **memory, char **lastMemory)
{
    Lock lock(m_mutex);
    if (m_sequence.empty())
        return NoSequence;
    if (!m_newest)
        return NoFrame;
    const size_t next = m_nextIndex % m_sequence.size();
    if (number)
        *number = int32_t(next + 1);
    if (memory)
        *memory = reinterpret_cast<char *>(m_sequence[next]->memory);
    if (lastMemory)
        *lastMemory = reinterpret_cast<char *>(m_newest->memory);
    return Success;
}

int32_t CameraSession::lockSeqBuf(int32_t number, char *memory, bool lock)
{
    Lock guard(m_mutex);
    Buffer *buffer = nullptr;
    if (number == TV_SEQ_ID_ANY) {
        buffer = findBuffer(memory);
        if (buffer && std::find(m_sequence.begin(), m_sequence.end(), buffer) == m_sequence.end())
            buffer = nullptr;
    } else if (number >= 1 && size_t(number) <= m_sequence.size()) {
        buffer = m_sequence[size_t(number) - 1];
    }
    if (!buffer)
        return UnknownMemory;
    if (lock && buffer == m_writing)
        return MemoryBusy;
    buffer->locked = lock;
    return Success;
}

// ---------------------------------------------------------------- capture

bool CameraSession::captureOne(Lock &lock)
{
    Buffer *target = nullptr;
    for (size_t i = 0; i < m_sequence.size() && !target; ++i) {
        Buffer *candidate = m_sequence[(m_nextIndex + i) % m_sequence.size()];
        if (!candidate->locked) {
            target = candidate;
            m_nextIndex = (m_nextIndex + i + 1) % m_sequence.size();
        }
    }
    if (!target)
        return false;
    FrameSettings settings;
    settings.exposureMs = m_exposure;
    settings.gain = m_gain;
    settings.covered = m_covered;
    settings.corrected = m_correction ? m_corrected : nullptr;
    settings.area = m_area;
    settings.bitsPerPixel = target->bits;
    settings.bufferWidth = target->width;
    settings.bufferHeight = target->height;
    const auto now = std::chrono::steady_clock::now();
    settings.seconds = std::chrono::duration<double>(now - m_start).count();
    m_writing = target;
    lock.unlock();
    m_generator.render(target->memory, settings);
    lock.lock();
    m_writing = nullptr;
    m_newest = target;
    m_frameTimes.push_back(std::chrono::steady_clock::now());
    while (m_frameTimes.size() > 16)
        m_frameTimes.pop_front();
    m_changed.notify_all();
    return true;
}

void CameraSession::captureLoop()
{
    using Clock = std::chrono::steady_clock;
    Lock lock(m_mutex);
    Clock::time_point next = Clock::now();
    Clock::time_point last = next;
    bool running = false;
    while (!m_quit) {
        if (!m_live || !m_plugged || m_sequence.empty()) {
            running = false;
            m_changed.wait(lock);
            continue;
        }
        const auto frameTime = std::chrono::duration_cast<Clock::duration>(
                std::chrono::duration<double>(m_frameTime));
        if (!running) {
            running = true;
            last = Clock::now();
            next = last + frameTime;
        }
        if (m_timingChanged) {
            m_timingChanged = false;
            next = last + frameTime;
        }
        if (m_changed.wait_until(lock, next) != std::cv_status::timeout)
            continue; // woken: check the state again
        if (Clock::now() < next)
            continue;
        last = next;
        next += frameTime;
        const auto now = Clock::now();
        if (next < now)
            next = now; // behind by a frame or more: no backlog
        m_lossState ^= m_lossState << 13;
        m_lossState ^= m_lossState >> 7;
        m_lossState ^= m_lossState << 17;
        const bool lost = m_profile.frameLossRate > 0.0
                && double(m_lossState % 1000000) / 1e6 < m_profile.frameLossRate;
        if (lost || !captureOne(lock))
            m_hub->raise(m_handle, TV_EVT_FRAME_LOST);
        else if (m_plugged)
            m_hub->raise(m_handle, TV_EVT_FRAME_READY); // none from a camera pulled meanwhile
    }
}

int32_t CameraSession::captureVideo(int32_t)
{
    Lock lock(m_mutex);
    if (m_sequence.empty())
        return NoSequence;
    if (!m_live)
        m_frameTimes.clear();
    m_live = true;
    m_changed.notify_all();
    return Success;
}

int32_t CameraSession::stopLiveVideo(int32_t wait)
{
    Lock lock(m_mutex);
    m_live = false;
    m_changed.notify_all();
    if (wait == TV_CAPTURE_WAIT)
        waitUntilIdle(lock);
    return Success;
}

int32_t CameraSession::freezeVideo(int32_t)
{
    Lock lock(m_mutex);
    if (m_sequence.empty())
        return NoSequence;
    m_live = false;
    m_changed.notify_all();
    waitUntilIdle(lock);
    if (!captureOne(lock)) {
        m_hub->raise(m_handle, TV_EVT_FRAME_LOST);
        return MemoryBusy;
    }
    m_hub->raise(m_handle, TV_EVT_FRAME_READY);
    return Success;
}

// ---------------------------------------------------------------- timing

// The sensor reads its area at the pixel clock (MHz); the longest frame time
// is 40 / clock seconds, so a faster clock allows no slow rates.
double CameraSession::minFrameTime() const
{
    return std::max(1e-4, 1.05 * double(m_area.width) * double(m_area.height) / (m_clock * 1e6));
}

double CameraSession::maxFrameTime() const
{
    return std::max(40.0 / m_clock, 2.0 * minFrameTime());
}

double CameraSession::frameInterval() const
{
    return std::max(1e-6, double(m_area.width) / (m_clock * 1e6));
}

double CameraSession::exposureIncrement() const
{
    return frameInterval() * 1000.0;
}

double CameraSession::exposureMax() const
{
    const double increment = exposureIncrement();
    return std::floor(m_frameTime * 1000.0 / increment + 1e-9) * increment;
}

void CameraSession::clampFrameTime()
{
    const double low = minFrameTime();
    const double high = maxFrameTime();
    const double interval = frameInterval();
    double t = std::clamp(m_frameTime, low, high);
    t = low + std::round((t - low) / interval) * interval;
    m_frameTime = std::min(t, high);
}

void CameraSession::clampExposure()
{
    const double increment = exposureIncrement();
    double e = std::clamp(m_exposure, increment, exposureMax());
    e = std::round(e / increment) * increment;
    m_exposure = std::clamp(e, increment, exposureMax());
}

// The clock or the rate changed: the frame time and exposure are clamped into
// the new ranges, the measured rate starts afresh and the capture thread
// picks up the new timing. Called with m_mutex held.
void CameraSession::retime()
{
    clampFrameTime();
    clampExposure();
    m_frameTimes.clear();
    m_timingChanged = true;
    m_changed.notify_all();
}

int32_t CameraSession::pixelClockRange(int32_t *min, int32_t *max)
{
    if (!min || !max)
        return InvalidArgument;
    *min = m_profile.clockMin;
    *max = m_profile.clockMax;
    return Success;
}

int32_t CameraSession::pixelClock(int32_t clock)
{
    Lock lock(m_mutex);
    if (clock == TV_CLOCK_QUERY_CURRENT)
        return m_clock;
    if (clock == TV_CLOCK_QUERY_DEFAULT)
        return m_profile.clockDefault;
    if (clock < m_profile.clockMin || clock > m_profile.clockMax)
        return OutOfRange;
    m_clock = clock;
    retime();
    return Success;
}

int32_t CameraSession::frameTimeRange(double *min, double *max, double *interval)
{
    if (!min || !max || !interval)
        return InvalidArgument;
    Lock lock(m_mutex);
    *min = minFrameTime();
    *max = maxFrameTime();
    *interval = frameInterval();
    return Success;
}

int32_t CameraSession::framesPerSecond(double *fps)
{
    if (!fps)
        return InvalidArgument;
    Lock lock(m_mutex);
    if (!m_live || !m_plugged) {
        *fps = 0.0;
        return Success;
    }
    const auto now = std::chrono::steady_clock::now();
    const double sinceLast = m_frameTimes.empty()
            ? 1e9
            : std::chrono::duration<double>(now - m_frameTimes.back()).count();
    if (m_frameTimes.size() < 3 || sinceLast > 2.0 * m_frameTime + 0.5) {
        *fps = 1.0 / m_frameTime; // not enough frames yet: the rate in force
        return Success;
    }
    const double span
            = std::chrono::duration<double>(m_frameTimes.back() - m_frameTimes.front()).count();
    *fps = span > 0.0 ? double(m_frameTimes.size() - 1) / span : 1.0 / m_frameTime;
    return Success;
}

int32_t CameraSession::setFrameRate(double fps, double *actual)
{
    if (!actual || std::isnan(fps))
        return InvalidArgument;
    Lock lock(m_mutex);
    m_frameTime = fps > 0.0 ? 1.0 / fps : maxFrameTime();
    retime();
    *actual = 1.0 / m_frameTime;
    return Success;
}

int32_t CameraSession::exposureRange(double *min, double *max, double *increment)
{
    if (!min || !max || !increment)
        return InvalidArgument;
    Lock lock(m_mutex);
    *min = exposureIncrement();
    *max = exposureMax();
    *increment = exposureIncrement();
    return Success;
}

int32_t CameraSession::applyExposure(double value)
{
    if (std::isnan(value))
        return InvalidArgument;
    m_exposure = value;
    clampExposure();
    return Success;
}

int32_t CameraSession::exposure(double value, double *actual)
{
    if (!actual)
        return InvalidArgument;
    Lock lock(m_mutex);
    if (value == TV_EXPOSURE_QUERY_CURRENT) {
        *actual = m_exposure;
        return Success;
    }
    if (value == TV_EXPOSURE_QUERY_DEFAULT) {
        *actual = std::min(kDefaultExposure, exposureMax());
        return Success;
    }
    const int32_t status = applyExposure(value);
    if (status == Success)
        *actual = m_exposure;
    return status;
}

int32_t CameraSession::hardwareGain(int32_t master, int32_t red, int32_t green, int32_t blue)
{
    Lock lock(m_mutex);
    if (master == TV_GAIN_QUERY_MASTER)
        return m_gain;
    const int32_t values[4] = {master, red, green, blue};
    for (int32_t value : values) {
        if (value != TV_GAIN_KEEP && (value < 0 || value > 100))
            return OutOfRange;
    }
    if (master != TV_GAIN_KEEP)
        m_gain = master;
    for (int i = 0; i < 3; ++i) {
        if (values[i + 1] != TV_GAIN_KEEP)
            m_channelGain[i] = values[i + 1];
    }
    return Success;
}

// The ini format of tv_LoadParameters: "[Timing]" with PixelClock, FrameRate
// and Exposure, "[Gain]" with Master, "[HotPixel]" with Correction (0 or 1).
// Lines starting with # or ; are comments; other sections are ignored.
int32_t CameraSession::loadParameters(const char *path)
{
    if (!path)
        return IniNotOpened;
    std::ifstream in(path);
    if (!in)
        return IniNotOpened;
    std::string section;
    std::string line;
    int clock = -1;
    double rate = -1.0;
    double exposure = -1.0;
    int gain = -1;
    int correction = -1;
    auto trim = [](std::string s) {
        const auto begin = s.find_first_not_of(" \t\r");
        const auto end = s.find_last_not_of(" \t\r");
        return begin == std::string::npos ? std::string() : s.substr(begin, end - begin + 1);
    };
    while (std::getline(in, line)) {
        line = trim(line);
        if (line.empty() || line[0] == '#' || line[0] == ';')
            continue;
        if (line.front() == '[') {
            if (line.back() != ']')
                return IniInvalid;
            section = trim(line.substr(1, line.size() - 2));
            continue;
        }
        const auto equals = line.find('=');
        if (equals == std::string::npos)
            return IniInvalid;
        const std::string key = trim(line.substr(0, equals));
        const std::string value = trim(line.substr(equals + 1));
        char *end = nullptr;
        const double number = std::strtod(value.c_str(), &end);
        const bool numeric = !value.empty() && end && *end == '\0' && std::isfinite(number);
        const std::string name = section + "/" + key;
        if (name == "Timing/PixelClock" || name == "Gain/Master" || name == "HotPixel/Correction") {
            if (!numeric || number != std::floor(number))
                return IniInvalid;
            if (name == "Timing/PixelClock")
                clock = int(number);
            else if (name == "Gain/Master")
                gain = int(number);
            else
                correction = int(number);
        } else if (name == "Timing/FrameRate" || name == "Timing/Exposure") {
            if (!numeric || number <= 0.0)
                return IniInvalid;
            (name == "Timing/FrameRate" ? rate : exposure) = number;
        } else if (section == "Timing" || section == "Gain" || section == "HotPixel") {
            return IniInvalid; // a misspelt key in one of our sections
        }
    }
    Lock lock(m_mutex);
    if ((clock != -1 && (clock < m_profile.clockMin || clock > m_profile.clockMax))
        || (gain != -1 && (gain < 0 || gain > 100))
        || (correction != -1 && correction != 0 && correction != 1))
        return IniInvalid;
    if (clock != -1)
        m_clock = clock;
    if (rate > 0.0)
        m_frameTime = 1.0 / rate;
    clampFrameTime();
    if (exposure > 0.0)
        m_exposure = exposure;
    clampExposure();
    if (gain != -1)
        m_gain = gain;
    if (correction != -1) {
        m_correction = correction == 1;
        rebuildCorrection();
    }
    m_frameTimes.clear();
    m_timingChanged = true;
    m_changed.notify_all();
    return Success;
}

// ---------------------------------------------------------------- hot pixels

void CameraSession::rebuildCorrection()
{
    std::set<std::pair<uint16_t, uint16_t>> positions;
    for (const HotPixelPair &pair : m_factoryList)
        positions.insert({pair.y, pair.x});
    if (m_profile.cameraMemory) {
        for (const HotPixelPair &pair : m_state.userList)
            positions.insert({pair.y, pair.x});
    }
    if (m_softListExists) {
        for (const HotPixelPair &pair : m_softList)
            positions.insert({pair.y, pair.x});
    }
    auto list = std::make_shared<std::vector<HotPixelPair>>();
    list->reserve(positions.size());
    for (const auto &position : positions)
        list->push_back(HotPixelPair {position.second, position.first});
    m_corrected = list;
}

namespace {

int32_t putCount(void *parameter, uint32_t size, uint32_t count)
{
    if (size != 4)
        return WrongSize;
    if (!parameter)
        return InvalidArgument;
    std::memcpy(parameter, &count, 4);
    return Success;
}

int32_t putList(void *parameter, uint32_t size, const std::vector<HotPixelPair> &list)
{
    if (!parameter)
        return InvalidArgument;
    if (size < hotPixelListSize(uint32_t(list.size())))
        return ListBufferTooSmall;
    auto *bytes = static_cast<unsigned char *>(parameter);
    const uint16_t count = uint16_t(std::min<size_t>(list.size(), 0xFFFF));
    std::memcpy(bytes, &count, 2);
    if (!list.empty())
        std::memcpy(bytes + 2, list.data(), list.size() * sizeof(HotPixelPair));
    return Success;
}

int32_t takeList(const void *parameter, uint32_t size, uint32_t limit, uint32_t width,
                 uint32_t height, std::vector<HotPixelPair> *list)
{
    if (!parameter)
        return InvalidArgument;
    if (size < 2 || (size - 2) % 4 != 0)
        return WrongSize;
    const auto *bytes = static_cast<const unsigned char *>(parameter);
    uint16_t count = 0;
    std::memcpy(&count, bytes, 2);
    if (count != (size - 2) / 4)
        return WrongSize;
    if (count > limit)
        return ListTooLong;
    std::vector<HotPixelPair> result(count);
    if (count)
        std::memcpy(result.data(), bytes + 2, count * sizeof(HotPixelPair));
    for (const HotPixelPair &pair : result) {
        if (pair.x >= width || pair.y >= height)
            return PixelOutside;
    }
    *list = std::move(result);
    return Success;
}

// The path of the soft list file commands: NUL-terminated UCS-4.
bool takePath(const void *parameter, std::string *path)
{
    if (!parameter)
        return false;
    const auto *chars = static_cast<const uint32_t *>(parameter);
    int length = 0;
    while (chars[length] != 0) {
        if (++length > 4096)
            return false;
    }
    const QString name = QString::fromUcs4(reinterpret_cast<const char32_t *>(chars), length);
    *path = QFile::encodeName(name).toStdString();
    return !path->empty();
}

} // namespace

int32_t CameraSession::hotPixel(uint32_t command, void *parameter, uint32_t size)
{
    Lock lock(m_mutex);
    const bool userListCommand
            = command >= TV_HP_USER_LIST_COUNT && command <= TV_HP_USER_LIST_ERASE;
    if (userListCommand && !m_profile.cameraMemory)
        return NoCameraMemory;
    switch (command) {
    case TV_HP_CORRECTION_OFF:
    case TV_HP_CORRECTION_ON:
        if (size != 0)
            return WrongSize;
        m_correction = command == TV_HP_CORRECTION_ON;
        rebuildCorrection();
        return Success;
    case TV_HP_CAPABILITIES:
        return putCount(parameter, size,
                        1u | (m_profile.cameraMemory ? TV_HP_CAP_CAMERA_MEMORY : 0u));
    case TV_HP_SOFT_LIST_EXISTS:
        if (size != 0)
            return WrongSize;
        return m_softListExists ? Success : NoSoftList;
    case TV_HP_SOFT_LIST_COUNT:
        return putCount(parameter, size, m_softListExists ? uint32_t(m_softList.size()) : 0u);
    case TV_HP_SOFT_LIST_READ:
        return putList(parameter, size, m_softListExists ? m_softList : PixelList());
    case TV_HP_SOFT_LIST_WRITE: {
        PixelList list;
        const int32_t status = takeList(parameter, size, kSoftListLimit, m_profile.width,
                                        m_profile.height, &list);
        if (status != Success)
            return status;
        m_softListExists = !list.empty(); // an empty soft list is no soft list
        m_softList = std::move(list);
        rebuildCorrection();
        return Success;
    }
    case TV_HP_FACTORY_LIST_COUNT:
        return putCount(parameter, size, uint32_t(m_factoryList.size()));
    case TV_HP_FACTORY_LIST_READ:
        return putList(parameter, size, m_factoryList);
    case TV_HP_USER_LIST_COUNT:
        return putCount(parameter, size, uint32_t(m_state.userList.size()));
    case TV_HP_USER_LIST_READ:
        return putList(parameter, size, m_state.userList);
    case TV_HP_USER_LIST_CAPACITY:
        return putCount(parameter, size, m_profile.userCapacity);
    case TV_HP_USER_LIST_WRITE:
    case TV_HP_USER_LIST_ERASE: {
        ListFile::State state = m_state;
        if (command == TV_HP_USER_LIST_ERASE) {
            if (size != 0)
                return WrongSize;
            state.userList.clear();
        } else {
            const int32_t status = takeList(parameter, size, m_profile.userCapacity,
                                            m_profile.width, m_profile.height, &state.userList);
            if (status != Success)
                return status;
        }
        if (!ListFile::saveState(m_statePath, state))
            return MemoryWrite;
        m_state = state;
        rebuildCorrection();
        return Success;
    }
    case TV_HP_SOFT_LIST_SAVE:
    case TV_HP_SOFT_LIST_LOAD: {
        if (size != 0)
            return WrongSize;
        std::string path;
        if (!takePath(parameter, &path))
            return InvalidArgument;
        if (command == TV_HP_SOFT_LIST_SAVE)
            return ListFile::saveSoftList(path, m_softListExists ? m_softList : PixelList());
        PixelList list;
        const int32_t status
                = ListFile::loadSoftList(path, m_profile.width, m_profile.height, &list);
        if (status != Success)
            return status;
        m_softListExists = !list.empty();
        m_softList = std::move(list);
        rebuildCorrection();
        return Success;
    }
    default:
        return NotSupported;
    }
}

} // namespace TavoSim
