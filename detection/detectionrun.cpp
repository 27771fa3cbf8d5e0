#include "detection/detectionrun.h"

#include "detection/hotpixeldetector.h"
#include "hotpixel/badpixellistmodel.h"

#include <QPoint>

#include <exception>
#include <memory>

DetectionRun::DetectionRun(BadpixelListModel *list, QObject *parent)
    : QObject(parent)
    , m_list(list)
{ }

DetectionRun::~DetectionRun() = default;

QString DetectionRun::tooBrightText()
{
    return tr("Too many hot pixel have been found.\nPlease make sure that the sensor is "
              "completely obscured and the threshold is not too low.");
}

QString DetectionRun::failedText(const QString &text)
{
    return text + QStringLiteral(" Please restart detection.");
}

void DetectionRun::start(unsigned threshold, bool clear)
{
    m_threshold = threshold;
    if (clear && m_list)
        m_list->clearUserBadpixelList();
    m_collecting = true; // collecting starts with the next frame
}

void DetectionRun::addFrame(const QImage &image, int colorMode)
{
    if (!m_collecting)
        return;

    if (m_images.size() > framesPerRun - 1) {
        // The frame after the tenth only hands the collected ones over.
        m_collecting = false;
        m_progress = 0;
        handOver(colorMode);
        return;
    }

    m_images.append(image.copy());
    m_progress += progressStep;
    emit progress(m_progress);

    // A frame with too many bright bytes is not dark: the sensor is not
    // covered or the threshold is too low. The bar has moved all the same.
    if (isTooBright(image)) {
        m_images.clear();
        m_collecting = false;
        m_progress = 0;
        emit tooBright();
    }
}

bool DetectionRun::isTooBright(const QImage &image)
{
    // Bytes, not pixels, are counted: padding and layout count as they are.
    const uchar *bytes = image.constBits();
    const qsizetype size = image.sizeInBytes();
    int bright = 0;
    for (qsizetype i = 0; i < size; ++i) {
        if (bytes[i] >= brightByteLimit && ++bright >= brightCountLimit)
            return true;
    }
    return false;
}

void DetectionRun::handOver(int colorMode)
{
    emit framesCollected(m_images);
    if (m_list) {
        std::unique_ptr<HotpixelDetector> detector;
        try {
            BadpixelListModel working(nullptr);
            detector = std::make_unique<HotpixelDetector>(m_threshold);
            connect(detector.get(), &BadpixelDetector::detectionFinished, this,
                    &DetectionRun::detectionFinished);
            detector->setInput(colorMode, &m_images);

            // The working list knows what is known already, all as user pixels.
            working.userLimit = m_list->userLimit;
            working.factoryLimit = m_list->factoryLimit;
            const QList<BadpixelEntry> known = m_list->pixels();
            for (const BadpixelEntry &entry : known)
                working.addPixel(QPoint(entry.x, entry.y));

            detector->detect(working);

            // Only positions new to the list land there, each told by pixelAdded.
            const QList<BadpixelEntry> found = working.pixels();
            for (const BadpixelEntry &entry : found)
                m_list->addPixel(QPoint(entry.x, entry.y));
            detector.reset();
        } catch (const std::exception &e) {
            detector.reset();
            emit failed(QString::fromUtf8(e.what()));
        }
    }
    m_images.clear();
    emit finished();
}
