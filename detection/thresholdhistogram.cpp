#include "detection/thresholdhistogram.h"

#include <algorithm>

namespace {

// Counts the elements by how far they lie above the mean of their plane.
class MarginIterator final : public Matrix<unsigned>::Iterator
{
public:
    MarginIterator(unsigned mean, std::array<int, 256> *above)
        : mean(mean)
        , above(above)
    { }

    void visit(unsigned &element) override
    {
        if (element > mean)
            ++(*above)[std::min(element - mean, 255u)];
    }

    unsigned mean;
    std::array<int, 256> *above;
};

} // namespace

ThresholdHistogram::ThresholdHistogram()
    : HotpixelDetector(lowestThreshold)
{ }

void ThresholdHistogram::compute()
{
    prepareMatrices();
    QVector<Matrix<unsigned> *> planes;
    if (m_colorMode == 6)
        planes = {m_mono.get()};
    else
        planes = {m_phase00.get(), m_phase01.get(), m_phase10.get(), m_phase11.get()};

    m_above = QVector<std::array<int, 256>>(planes.size(), std::array<int, 256> {});
    m_means.clear();
    for (int i = 0; i < planes.size(); ++i) {
        // The mean and the comparison a detection makes, in its arithmetic.
        MeanIterator meanPass;
        planes[i]->forEach(meanPass);
        m_means.append(meanPass.sum / meanPass.count);
        MarginIterator margins(m_means.last(), &m_above[i]);
        planes[i]->forEach(margins);
    }
}

QStringList ThresholdHistogram::planeNames() const
{
    if (m_above.size() == 1)
        return {QStringLiteral("mono")};
    // The grids of the phases in the detector's order, by the parity of x and y.
    return {QStringLiteral("x0y0"), QStringLiteral("x0y1"), QStringLiteral("x1y0"),
            QStringLiteral("x1y1")};
}

int ThresholdHistogram::count(int plane, int threshold) const
{
    // A detection reports an element strictly above mean + threshold.
    const std::array<int, 256> &above = m_above.at(plane);
    int result = 0;
    for (int d = std::max(threshold + 1, 1); d < 256; ++d)
        result += above[std::size_t(d)];
    return result;
}

int ThresholdHistogram::total(int threshold) const
{
    int result = 0;
    for (int plane = 0; plane < m_above.size(); ++plane)
        result += count(plane, threshold);
    return result;
}
