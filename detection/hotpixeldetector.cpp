#include "detection/hotpixeldetector.h"

HotpixelDetector::HotpixelDetector(unsigned threshold)
    : m_threshold(threshold)
{ }

void HotpixelDetector::detect(BadpixelListModel &model)
{
    prepareMatrices();
    switch (m_colorMode) {
    case 11:
        detectBayer(model, m_threshold);
        break;
    case 6:
        detectMono(model, m_threshold);
        break;
    default:
        throw ErrColorMode();
    }
    emit detectionFinished();
}

unsigned HotpixelDetector::mean() const
{
    if (!m_mono)
        throw std::runtime_error("Not instanced.");
    MeanIterator meanPass;
    m_mono->forEach(meanPass);
    return meanPass.sum / meanPass.count;
}

void HotpixelDetector::pieceAveraged(int plane, Matrix<unsigned> &matrix, std::size_t begin,
                                     std::size_t end)
{
    MeanIterator &meanPass = m_means[plane];
    if (begin == 0)
        meanPass = MeanIterator();
    matrix.forEach(meanPass, begin, end);
}

// The mean includes the hot pixels themselves: there is no outlier rejection.
void HotpixelDetector::detectMono(BadpixelListModel &model, unsigned threshold)
{
    if (!m_mono)
        throw std::runtime_error("Not instanced.");
    const MeanIterator &meanPass = m_means[0];
    const unsigned limit = meanPass.sum / meanPass.count + threshold;

    AddHotpixelIterator add(&model, limit);
    ImagePosIterator walk(&m_images->at(0), &m_gridMono, &add);
    m_mono->forEach(walk);
}

// Each Bayer phase is judged against the mean of its own plane, so a phase
// that is bright as a whole yields no hot pixels.
void HotpixelDetector::detectBayer(BadpixelListModel &model, unsigned threshold)
{
    Matrix<unsigned> *const phases[]
            = {m_phase00.get(), m_phase01.get(), m_phase10.get(), m_phase11.get()};
    const PixelGrid *const grids[] = {&m_grid00, &m_grid01, &m_grid10, &m_grid11};
    for (Matrix<unsigned> *phase : phases) {
        if (!phase)
            throw std::runtime_error("Not instanced.");
    }

    unsigned limits[4];
    for (int i = 0; i < 4; ++i)
        limits[i] = m_means[i].sum / m_means[i].count + threshold;

    const QImage *first = &m_images->at(0);
    for (int i = 0; i < 4; ++i) {
        AddHotpixelIterator add(&model, limits[i]);
        ImagePosIterator walk(first, grids[i], &add);
        phases[i]->forEach(walk);
    }
}
