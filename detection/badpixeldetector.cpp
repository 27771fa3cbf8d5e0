#include "detection/badpixeldetector.h"

BadpixelDetector::BadpixelDetector()
    : QObject(nullptr)
{ }

BadpixelDetector::~BadpixelDetector() = default;

void BadpixelDetector::setInput(int colorMode, const QVector<QImage> *images)
{
    m_colorMode = colorMode;
    m_images = images;
}

// Checks the input and builds the averaged matrices. Any failure on the way
// still tells detectionFinished before it goes on to the caller.
void BadpixelDetector::prepareMatrices()
{
    try {
        if (!m_images || m_images->isEmpty())
            throw std::runtime_error("No images acquired for hot pixel detection.");
        // Only the first frame is asked; the others must match its size.
        if (m_images->at(0).format() != QImage::Format_Indexed8)
            throw std::runtime_error("Image format for hot pixel detection not supported.");
        switch (m_colorMode) {
        case 11:
            buildBayer();
            break;
        case 6:
            buildMono();
            break;
        default:
            throw ErrColorMode();
        }
    } catch (...) {
        emit detectionFinished();
        throw;
    }
}

void BadpixelDetector::buildMono()
{
    const QImage &first = m_images->at(0);
    m_mono = std::make_unique<Matrix<unsigned>>(unsigned(std::abs(first.height())),
                                                unsigned(std::abs(first.width())));
    averageInto(*m_mono, m_gridMono);
}

void BadpixelDetector::buildBayer()
{
    const QImage &first = m_images->at(0);
    const unsigned rows = unsigned(first.height()) >> 1;
    const unsigned columns = unsigned(first.width()) >> 1;
    // All four matrices exist before the first pass.
    m_phase00 = std::make_unique<Matrix<unsigned>>(rows, columns);
    m_phase01 = std::make_unique<Matrix<unsigned>>(rows, columns);
    m_phase10 = std::make_unique<Matrix<unsigned>>(rows, columns);
    m_phase11 = std::make_unique<Matrix<unsigned>>(rows, columns);
    averageInto(*m_phase00, m_grid00);
    averageInto(*m_phase01, m_grid01);
    averageInto(*m_phase10, m_grid10);
    averageInto(*m_phase11, m_grid11);
}

// Leaves in each element the truncated mean of its position over all frames.
void BadpixelDetector::averageInto(Matrix<unsigned> &matrix, const PixelGrid &grid)
{
    const QVector<QImage> &images = *m_images;
    const QImage &first = images.at(0);

    CopyIterator copy;
    ImageValueIterator copyWalk(&first, &grid, &copy);
    matrix.forEach(copyWalk);

    SumIterator sum;
    for (int i = 1; i < images.size(); ++i) {
        const QImage &frame = images.at(i);
        if (frame.width() != first.width() || frame.height() != first.height())
            throw std::runtime_error("Aqcuired images are not the same size.");
        ImageValueIterator sumWalk(&frame, &grid, &sum);
        matrix.forEach(sumWalk);
    }

    DivIterator div(unsigned(images.size()));
    matrix.forEach(div);
}
