#include "camera/camera.h"

#include "camera/datafiles.h"
#include "camera/settingsfilecheck.h"
#include "camera/statustext.h"
#include "camera/truncation.h"

#include <QDomDocument>
#include <QDomElement>
#include <QFile>
#include <QScopedValueRollback>

#include <cstring>
#include <limits>
#include <stdexcept>

namespace {

// Re-entry guards of the frame path and the parameter slots, shared by all
// cameras and touched by the GUI thread only.
bool deliveringImage = false;
bool settingPixelclock = false;
bool settingFramerate = false;
bool settingExposure = false;
bool settingMastergain = false;

template<typename T>
T clamped(T value, const CameraParameter<T> &param)
{
    T result = value;
    if (value > param.max)
        result = param.max;
    if (value < param.min)
        result = param.min;
    return result;
}

// The stop protocol of an event thread: ask, give it half a second, then
// kill, and wait for the kill a limited time too. False if it still runs.
bool stopAndWait(EventThread &thread)
{
    if (thread.wait(500))
        return true;
    thread.terminate();
    return thread.wait(EventThread::terminateWaitMs);
}

// Reads the settings file into document, within the bounds of
// SettingsFileCheck. False if it can't be opened, is too large or too deep,
// or isn't well-formed; reason then says why when the file could be opened.
bool readSettingsFile(QFile &file, QDomDocument &document, QString *reason)
{
    QByteArray text;
    return file.open(QIODevice::ReadOnly) && SettingsFileCheck::read(file, &text, reason)
            && document.setContent(text);
}

bool isUnsupportedSensor(uint16_t sensorType)
{
    return sensorType == 0x4D || sensorType == 0x21D || sensorType == 0x20B;
}

} // namespace

Camera::Camera()
    : QObject(nullptr)
{
    connect(&m_deviceEvents, &EventThread::eventhappen, this, &Camera::eventReceived);
    connect(&m_cameraEvents, &EventThread::eventhappen, this, &Camera::eventReceived);
    m_cameraEvents.setCoalescedEvent(TV_EVT_FRAME_READY);
    m_deviceEvents.start(0, std::vector<unsigned int> {TV_EVT_DEVICE_ARRIVED, TV_EVT_DEVICE_GONE});
    m_sensor.maxWidth = 0;
    m_sensor.maxHeight = 0;
}

Camera::~Camera()
{
    m_deviceEvents.stop();
    m_cameraEvents.stop();
    stopAndWait(m_deviceEvents);
    stopAndWait(m_cameraEvents);
    // Names the camera as sender, so it removes none of the thread connections.
    QObject::disconnect(this, nullptr, this, SLOT(eventReceived(int)));
    m_sequence.clear();
    if (m_handle != 0) {
        tv_ExitCamera(m_handle);
        m_handle = 0;
    }
}

void Camera::open(int deviceId)
{
    close();
    try {
        openDevice(uint32_t(deviceId) | TV_OPEN_BY_DEVICE_ID);

        int status = tv_GetSensorInfo(m_handle, &m_sensor);
        if (status != TV_SUCCESS)
            throwTavoStatus(status);
        if (isUnsupportedSensor(m_sensor.sensorType)) {
            tv_ExitCamera(m_handle);
            m_handle = 0;
            throw std::runtime_error(tr("Unsupported camera type").toStdString());
        }

        status = tv_SetColorMode(m_handle, TV_FORMAT_8BIT);
        if (status != TV_SUCCESS)
            throwTavoStatus(status);
        m_colorMode = tv_SetColorMode(m_handle, TV_FORMAT_QUERY);
        qint32 bitsPerPixel = 0;
        switch (m_colorMode) {
        case TV_FORMAT_32BIT:
            bitsPerPixel = 32;
            m_imageFormat = QImage::Format_RGB32;
            break;
        case TV_FORMAT_8BIT_ALT:
        case TV_FORMAT_8BIT:
            bitsPerPixel = 8;
            m_imageFormat = QImage::Format_Indexed8;
            break;
        default:
            m_imageFormat = QImage::Format_Invalid;
            throw std::runtime_error(tr("Color Mode not supported.").toStdString());
        }

        // The caller switches correction to the wanted state right after.
        tv_HotPixel(m_handle, TV_HP_CORRECTION_OFF, nullptr, 0);

        AoiSize size {};
        status = tv_AOI(m_handle, TV_AOI_QUERY_FULL_SIZE, &size, sizeof(size));
        if (status != TV_SUCCESS)
            throwTavoStatus(status);
        m_area = AoiRect {0, 0, size.width, size.height};
        status = tv_AOI(m_handle, TV_AOI_SET_RECT, &m_area, sizeof(m_area));
        if (status != TV_SUCCESS)
            throwTavoStatus(status);

        m_sequence.allocate(m_handle, 3, ImageInfo(size.width, size.height, bitsPerPixel));

        // Without its events the camera would stand open with no frames.
        status = m_cameraEvents.start(
                m_handle,
                std::vector<unsigned int> {TV_EVT_FRAME_READY, TV_EVT_CAMERA_BACK,
                                           TV_EVT_CAMERA_GONE, TV_EVT_FRAME_LOST});
        if (status == -1)
            throw std::runtime_error(tr("Can't register the camera's events.").toStdString());
        if (status != TV_SUCCESS)
            throwTavoStatus(status, tr("Can't enable the camera's events"));

        status = tv_CaptureVideo(m_handle, TV_CAPTURE_NO_WAIT);
        if (status != TV_SUCCESS)
            throwTavoStatus(status);

        m_deviceId = deviceId;
        emit cameraOpened(this);

        m_pixelclock.value = tv_SetPixelClock(m_handle, TV_CLOCK_QUERY_DEFAULT);
        status = tv_GetFramesPerSecond(m_handle, &m_framerate.value);
        if (status != TV_SUCCESS)
            throwTavoStatus(status);
        status = tv_SetExposureTime(m_handle, TV_EXPOSURE_QUERY_DEFAULT, &m_exposure.value);
        if (status != TV_SUCCESS)
            throwTavoStatus(status);
        updatePixelclock();

        m_mastergain.value = tv_SetHardwareGain(m_handle, TV_GAIN_QUERY_MASTER, TV_GAIN_KEEP,
                                                TV_GAIN_KEEP, TV_GAIN_KEEP);
        m_mastergain.min = 0;
        m_mastergain.max = 100;
        emit mastergainChanged(m_mastergain);

        m_frames = 0;
        m_failed = 0;
    } catch (const std::runtime_error &) {
        close();
        throw;
    }
}

void Camera::openDevice(uint32_t idWord)
{
    uint32_t word = idWord;
    int status = tv_InitCamera(&word, nullptr);
    if (status == TV_STATUS_FW_UPLOAD_NEEDED) {
        int32_t milliseconds = 25000; // stays when the library can't tell
        tv_GetDuration(word, TV_DURATION_FW_UPLOAD, &milliseconds);
        emit displayError(QStringLiteral("Upload of new firmware required. (approx. %1 seconds)")
                                  .arg(milliseconds / 1000),
                          2000);
        word = idWord | TV_OPEN_BY_DEVICE_ID | TV_OPEN_ALLOW_FW_UPLOAD;
        status = tv_InitCamera(&word, nullptr);
    }
    if (status != TV_SUCCESS)
        throw std::runtime_error(tr("Could not initialize camera.").toStdString());
    m_handle = word;
}

void Camera::close()
{
    if (m_handle == 0)
        return;
    tv_StopLiveVideo(m_handle, TV_CAPTURE_WAIT);
    m_cameraEvents.stop();
    if (!stopAndWait(m_cameraEvents))
        emit displayError(tr("The camera's event thread did not end."), 2000);
    m_sequence.clear();
    tv_ExitCamera(m_handle);
    m_deviceId = 0;
    m_handle = 0;
    m_image = QImage();
    emit newImage(m_image);
    emit cameraClosed();
}

double Camera::framesPerSecond() const
{
    if (m_handle == 0)
        return 0.0;
    double fps = 0.0;
    tv_GetFramesPerSecond(m_handle, &fps);
    return fps;
}

QString Camera::serialNumber() const
{
    CameraInfo info;
    std::memset(&info, 0, sizeof(info));
    tv_GetCameraInfo(m_handle, &info);
    const char *text = reinterpret_cast<const char *>(&info);
    return QString::fromLatin1(text, int(strnlen(text, sizeof(info))));
}

bool Camera::hasEepromCorrection() const
{
    uint32_t capabilities = 0;
    const int status
            = tv_HotPixel(m_handle, TV_HP_CAPABILITIES, &capabilities, sizeof(capabilities));
    return status == TV_SUCCESS && (capabilities & TV_HP_CAP_CAMERA_MEMORY) != 0;
}

void Camera::captureFrame()
{
    if (m_handle == 0)
        return;
    const int status = tv_FreezeVideo(m_handle, TV_CAPTURE_WAIT);
    if (status != TV_SUCCESS)
        throwTavoStatus(status);
    // The frozen frame counts once here and once more with its event report.
    showNewestFrame(1);
}

void Camera::loadParameters()
{
    const QByteArray path = QFile::encodeName(DataFiles::locate(QStringLiteral("./Speckmend.ini")));
    const int status = tv_LoadParameters(m_handle, path.constData());
    if (status == TV_STATUS_INI_NOT_OPENED)
        emit displayError(tr("Can't open ini file."), 2000);
    else
        reportError(status);
}

const char *Camera::errorText(int status) const
{
    int32_t code = status;
    char *text = nullptr;
    if (tv_GetError(m_handle, &code, &text) != TV_SUCCESS || text == nullptr)
        return "Unknown error.";
    return text;
}

void Camera::reportError(int status)
{
    if (status == TV_SUCCESS)
        return;
    emit displayError(tavoStatusText(status), 2000);
}

void Camera::setBadPixelCorrection(bool enable)
{
    // The correction changes while the stream stands, at the highest rate.
    tv_StopLiveVideo(m_handle, TV_CAPTURE_WAIT);
    const double rate = m_framerate.value;
    double minTime = 1.0;
    double maxTime = 1.0;
    double interval = 1.0;
    tv_GetFrameTimeRange(m_handle, &minTime, &maxTime, &interval);
    double actual = 0.0;
    tv_SetFrameRate(m_handle, 1.0 / minTime, &actual);
    tv_HotPixel(m_handle, enable ? TV_HP_CORRECTION_ON : TV_HP_CORRECTION_OFF, nullptr, 0);
    tv_SetFrameRate(m_handle, rate, &actual);
    tv_SetExposureTime(m_handle, m_exposure.value, &actual);
    tv_CaptureVideo(m_handle, TV_CAPTURE_WAIT);
}

// ---------------------------------------------------------------- frames

void Camera::eventReceived(int event)
{
    switch (event) {
    case int(TV_EVT_FRAME_READY): {
        if (m_handle == 0)
            return;
        // Frame reports are coalesced by the event thread: this one stands for
        // every frame since the last was taken. A report queued before the
        // camera's thread was last started finds none and changes nothing.
        const int count = m_cameraEvents.takeCoalescedCount();
        if (count > 0)
            showNewestFrame(count);
        return;
    }
    case int(TV_EVT_FRAME_LOST):
        ++m_failed;
        return;
    case int(TV_EVT_CAMERA_BACK):
        if (m_handle != 0)
            emit cameraReconnect();
        return;
    case int(TV_EVT_CAMERA_GONE):
        if (m_handle != 0)
            emit cameraRemoved();
        return;
    case int(TV_EVT_DEVICE_GONE):
        emit cameraRemovedDevice();
        return;
    case int(TV_EVT_DEVICE_ARRIVED):
        emit cameraNewDevice();
        return;
    default:
        return;
    }
}

void Camera::showNewestFrame(int frames)
{
    // Frames that can't be fetched still count as received; the frames in
    // between the shown ones are counted and not shown.
    m_frames += frames;
    try {
        char *memory = nullptr;
        const int status = tv_GetActSeqBuf(m_handle, nullptr, nullptr, &memory);
        if (status != TV_SUCCESS)
            throwTavoStatus(status);
        if (tv_LockSeqBuf(m_handle, TV_SEQ_ID_ANY, memory) != TV_SUCCESS)
            return;

        // Wraps the buffer without copying; lines are padded to 32 bits.
        QImage frame(reinterpret_cast<uchar *>(memory), m_area.width, m_area.height, m_imageFormat);
        m_image.swap(frame);

        // A frame arriving from a nested event loop inside a newImage slot
        // only replaces the image. The flag is cleared by hand, not on
        // unwinding: after an exception out of a slot it stays set, and the
        // buffer stays locked, so no further newImage follows.
        if (!deliveringImage) {
            deliveringImage = true;
            emit newImage(m_image);
            deliveringImage = false;
        }

        tv_UnlockSeqBuf(m_handle, TV_SEQ_ID_ANY, memory);
    } catch (const std::runtime_error &error) {
        emit displayError(QString::fromUtf8(error.what()), 2000);
    }
}

// ---------------------------------------------------------------- parameters

void Camera::setPixelclock(int value)
{
    if (settingPixelclock)
        return;
    const QScopedValueRollback<bool> guard(settingPixelclock, true);
    applyPixelclock(value);
}

void Camera::setPixelclockRelative(int value)
{
    const int steps = int((qint64(value) - m_pixelclock.min) / m_pixelclock.inc);
    setPixelclock(steps);
}

void Camera::applyPixelclock(int value)
{
    const int clock = clamped(value, m_pixelclock);
    if (clock != m_pixelclock.value) {
        m_pixelclock.value = clock;
        emit pixelclockChanged(m_pixelclock);
    }
    tv_SetPixelClock(m_handle, m_pixelclock.value);
    updateFramerate();
}

void Camera::setFramerate(double value)
{
    if (settingFramerate)
        return;
    const QScopedValueRollback<bool> guard(settingFramerate, true);
    const double rate = clamped(value, m_framerate);
    if (rate != m_framerate.value) {
        m_framerate.value = rate;
        tv_SetFrameRate(m_handle, m_framerate.value, &m_framerate.value);
        emit framerateChanged(m_framerate);
    }
    refreshExposure();
}

void Camera::setFramerateRelative(int value)
{
    // A step count handed on as if it were a rate.
    setFramerate(truncateAsProcessor((double(value) - m_framerate.min) / m_framerate.inc));
}

void Camera::setExposure(double value)
{
    if (settingExposure)
        return;
    const QScopedValueRollback<bool> guard(settingExposure, true);
    applyExposure(value);
}

void Camera::setExposureRelative(int value)
{
    if (settingExposure)
        return;
    const QScopedValueRollback<bool> guard(settingExposure, true);
    applyExposure(truncateAsProcessor((double(value) - m_exposure.min) / m_exposure.inc));
}

void Camera::applyExposure(double value)
{
    const double exposure = clamped(value, m_exposure);
    if (exposure != m_exposure.value) {
        m_exposure.value = exposure;
        emit exposureChanged(m_exposure);
    }
    // What the library makes of the value by rounding is not signalled here.
    tv_SetExposureTime(m_handle, m_exposure.value, &m_exposure.value);
}

void Camera::setMastergain(int value)
{
    if (settingMastergain)
        return;
    const QScopedValueRollback<bool> guard(settingMastergain, true);
    applyMastergain(value);
}

void Camera::applyMastergain(int value)
{
    const int gain = clamped(value, m_mastergain);
    if (gain != m_mastergain.value) {
        m_mastergain.value = gain;
        emit mastergainChanged(m_mastergain);
    }
    tv_SetHardwareGain(m_handle, m_mastergain.value, TV_GAIN_KEEP, TV_GAIN_KEEP, TV_GAIN_KEEP);
}

void Camera::updatePixelclock()
{
    const int status = tv_GetPixelClockRange(m_handle, &m_pixelclock.min, &m_pixelclock.max);
    m_pixelclock.inc = 1;
    if (status != TV_SUCCESS)
        throwTavoStatus(status);
    const int setStatus = tv_SetPixelClock(m_handle, m_pixelclock.value);
    if (setStatus != TV_SUCCESS)
        throwTavoStatus(setStatus);
    m_pixelclock.value = tv_SetPixelClock(m_handle, TV_CLOCK_QUERY_CURRENT);
    emit pixelclockChanged(m_pixelclock);
    updateFramerate();
}

void Camera::updateFramerate()
{
    double minTime = 1.0;
    double maxTime = 1.0;
    double interval = 1.0;
    tv_GetFrameTimeRange(m_handle, &minTime, &maxTime, &interval);
    m_framerate.min = 1.0 / maxTime;
    m_framerate.max = 1.0 / minTime;
    // The range of rates over the number of frame time steps; with a single
    // possible frame time this divides by zero, and the result stands.
    m_framerate.inc = (m_framerate.max - m_framerate.min) / ((maxTime - minTime) / interval);
    tv_SetFrameRate(m_handle, m_framerate.value, &m_framerate.value);
    emit framerateChanged(m_framerate);
    refreshExposure();
}

void Camera::updateExposure()
{
    refreshExposure();
}

void Camera::refreshExposure()
{
    tv_GetExposureRange(m_handle, &m_exposure.min, &m_exposure.max, &m_exposure.inc);
    double current = 0.0;
    tv_SetExposureTime(m_handle, TV_EXPOSURE_QUERY_CURRENT, &current);
    tv_SetExposureTime(m_handle, m_exposure.value, &m_exposure.value);
    emit exposureChanged(m_exposure);
}

void Camera::updateMastergain()
{
    m_mastergain.value = tv_SetHardwareGain(m_handle, TV_GAIN_QUERY_MASTER, TV_GAIN_KEEP,
                                            TV_GAIN_KEEP, TV_GAIN_KEEP);
    m_mastergain.max = 100;
    m_mastergain.min = 0;
    emit mastergainChanged(m_mastergain);
}

// ---------------------------------------------------------------- auto configuration

void Camera::setAutoConfig()
{
    QDomDocument document(QStringLiteral("CameraSettings"));
    QFile file(DataFiles::locate(QStringLiteral("cameraparameter.xml")));
    QString reason;
    if (!readSettingsFile(file, document, &reason)) {
        emit displayError(reason.isEmpty()
                                  ? tr("Can't open camera parameter file.")
                                  : tr("Can't open camera parameter file: %1.").arg(reason),
                          5000);
        applyBuiltInRule();
        return;
    }

    const QDomElement root = document.documentElement();
    if (root.tagName() != QLatin1String("CameraSettings")) {
        file.close();
        applyBuiltInRule();
        return;
    }

    // The first block whose id matches the sensor wins.
    QDomElement block;
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling()) {
        const QDomElement element = node.toElement();
        if (element.isNull() || element.tagName() != QLatin1String("Sensor"))
            continue;
        bool ok = false;
        const int id = element.attribute(QStringLiteral("ID"), QStringLiteral("0")).toInt(&ok, 16);
        if (ok && id == int(m_sensor.sensorType)) {
            block = element;
            break;
        }
    }
    if (block.isNull()) {
        file.close();
        applyBuiltInRule();
        return;
    }

    const QString zero = QStringLiteral("0");
    const QDomElement timing = block.firstChildElement(QStringLiteral("Timing"));
    if (timing.isNull()) {
        applyBuiltInRule();
        return;
    }
    const double exposure = timing.attribute(QStringLiteral("exposure"), zero).toDouble();
    const int pixelclock = timing.attribute(QStringLiteral("pixelclock"), zero).toInt();
    const double framerate = timing.attribute(QStringLiteral("framerate"), zero).toDouble();

    const QDomElement gain = block.firstChildElement(QStringLiteral("Gain"));
    if (gain.isNull()) {
        applyBuiltInRule();
        return;
    }
    const int master = gain.attribute(QStringLiteral("master"), zero).toInt();
    const int red = gain.attribute(QStringLiteral("red"), zero).toInt();
    const int green = gain.attribute(QStringLiteral("green"), zero).toInt();
    const int blue = gain.attribute(QStringLiteral("blue"), zero).toInt();
    file.close();

    setPixelclock(pixelclock);
    setFramerate(framerate);
    setExposure(exposure);

    const int clampedMaster = clamped(master, m_mastergain);
    if (clampedMaster != m_mastergain.value) {
        m_mastergain.value = clampedMaster;
        emit mastergainChanged(m_mastergain);
    }
    // The library gets the master gain as it stands in the file.
    tv_SetHardwareGain(m_handle, master, red, green, blue);
}

void Camera::applyBuiltInRule()
{
    // Halve the clock until one frame a second is possible or the clock
    // can't be halved within its range.
    while (m_framerate.min > 1.0 && m_pixelclock.min < m_pixelclock.value / 2) {
        const int before = m_pixelclock.value;
        setPixelclock(m_pixelclock.value / 2);
        if (m_pixelclock.value == before)
            break; // the clock is being set further up the stack
    }
    setFramerate(1.0);
    setExposure(300.0);
    setMastergain(50);
}
