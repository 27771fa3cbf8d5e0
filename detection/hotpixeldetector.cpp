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

// The mean includes the hot pixels themselves: there is no outlier rejection.
void HotpixelDetector::detectMono(BadpixelListModel &model, unsigned threshold)
{
    if (!m_mono)
        throw std::runtime_error("Not instanced.");
    MeanIterator meanPass;
    m_mono->forEach(meanPass);
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
    for (int i = 0; i < 4; ++i) {
        MeanIterator meanPass;
        phases[i]->forEach(meanPass);
        limits[i] = meanPass.sum / meanPass.count + threshold;
    }

    const QImage *first = &m_images->at(0);
    for (int i = 0; i < 4; ++i) {
        AddHotpixelIterator add(&model, limits[i]);
        ImagePosIterator walk(first, grids[i], &add);
        phases[i]->forEach(walk);
    }
}
