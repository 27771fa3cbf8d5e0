// The one object through which the program talks to a camera: it opens and
// closes it, starts the live stream, owns the image memory and the two event
// threads, keeps the four adjustable parameters and reports everything as Qt
// signals. Lives on the GUI thread; the event threads reach it only through
// queued calls of eventReceived.
#pragma once

#include "camera/cameraparameter.h"
#include "camera/eventthread.h"
#include "camera/imageinfo.h"
#include "camera/imagesequence.h"
#include "camera/tavo_api.h"

#include <QImage>
#include <QObject>
#include <QString>

class Camera : public QObject
{
    Q_OBJECT

public:
    Camera();
    ~Camera() override;

    // Opens the camera with this device id and starts its live stream; a
    // camera that is open is closed first. Emits, in this order: the signals
    // of close() for the camera that was open; "Upload of new firmware
    // required. ..." through displayError when the camera asks for one;
    // cameraOpened once the stream runs; then pixelclockChanged,
    // framerateChanged, exposureChanged and mastergainChanged with the
    // camera's values. The frame and failure counters are reset last.
    // Throws std::runtime_error with a text for the user when the camera can't
    // be opened; the camera is then closed. A failure after cameraOpened
    // closes it with the signals of close(), so cameraClosed may follow
    // cameraOpened within one call.
    void open(int deviceId);
    // Stops the stream and frees the camera, then emits newImage with a null
    // image and cameraClosed. Does nothing when no camera is open.
    void close();
    bool isOpen() const { return m_handle != 0; }
    cameraHandle handle() const { return m_handle; }

    qint32 imageWidth() const { return qint32(m_sensor.maxWidth); }
    qint32 imageHeight() const { return qint32(m_sensor.maxHeight); }
    qint32 colorMode() const { return m_colorMode; }
    qint32 frameCount() const { return m_frames; }
    qint32 failedFrameCount() const { return m_failed; }
    double framesPerSecond() const;
    QString serialNumber() const;
    bool hasEepromCorrection() const;

    void captureFrame();
    void loadParameters();

    const char *errorText(int status) const;
    void reportError(int status);

signals:
    // The newest frame. image wraps the camera's own buffer without a copy
    // and is valid only during the emission: the library reuses the buffer
    // afterwards, so a receiver works on it or takes a deep copy before it
    // returns. Connect directly, never queued. Frames that arrive while the
    // receivers are still busy are counted and not shown: only the newest is
    // delivered. A null image follows close().
    void newImage(QImage &image);
    void bufferSizeChanged(ImageInfo info);
    void cameraOpened(Camera *camera);
    void cameraClosed();
    void cameraRemoved();
    void cameraReconnect();
    void cameraNewDevice();
    void cameraRemovedDevice();
    void displayError(QString msg, int msec = 2000);
    void pixelclockChanged(CameraParameter<int> &param);
    void framerateChanged(CameraParameter<double> &param);
    void exposureChanged(CameraParameter<double> &param);
    void mastergainChanged(CameraParameter<int> &param);

public slots:
    // The relative slots take a slider position, turn it into a count of
    // steps above the minimum and hand that on as if it were a value; the
    // setters then clamp it. The count is narrowed to 32 bits as the
    // processor does, with no saturation: a pixel clock count wraps, and a
    // rate or exposure count that is out of range or not a number gives the
    // integer minimum.
    void setPixelclock(int value);
    void setPixelclockRelative(int value);
    void setFramerate(double value);
    void setFramerateRelative(int value);
    void setExposure(double value);
    void setExposureRelative(int value);
    void setMastergain(int value);
    void setBadPixelCorrection(bool enable);
    void updatePixelclock();
    void updateFramerate();
    void updateExposure();
    void updateMastergain();
    void setAutoConfig();

protected slots:
    void eventReceived(int event);

private:
    void showNewestFrame(int frames);
    void openDevice(uint32_t idWord);
    void refreshExposure();
    void applyPixelclock(int value);
    void applyExposure(double value);
    void applyMastergain(int value);
    void applyBuiltInRule();

    EventThread m_deviceEvents;
    EventThread m_cameraEvents;
    qint32 m_deviceId = 0;
    cameraHandle m_handle = 0;
    qint32 m_reserved1 = 1; // set by the constructor and read nowhere
    qint32 m_reserved2 = 1; // likewise
    SensorInfo m_sensor {};
    AoiRect m_area {};
    qint32 m_frames = 0;
    qint32 m_failed = 0;
    ImageSequence m_sequence;
    qint32 m_colorMode = 11;
    QImage::Format m_imageFormat = QImage::Format_Invalid;
    QImage m_image;
    CameraParameter<int> m_pixelclock {0, 0, 1, 0};
    CameraParameter<double> m_framerate {0.0, 0.0, 1.0, 0.0};
    CameraParameter<double> m_exposure {0.0, 0.0, 1.0, 0.0};
    CameraParameter<int> m_mastergain {0, 0, 1, 0};
};
