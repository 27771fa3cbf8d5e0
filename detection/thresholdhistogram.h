// ThresholdHistogram: for the frames of one detection run, how many pixels a
// detection would report at each threshold, per plane (the one monochrome
// plane, or each of the four Bayer phases). It builds the very averaged
// planes and means of the detector it derives from, so that its count at a
// threshold is exactly the number of pixels a detection at that threshold
// reports. Made for one set of frames, on the thread that owns them.
#pragma once

#include "detection/hotpixeldetector.h"

#include <QStringList>
#include <QVector>

#include <array>

class ThresholdHistogram : public HotpixelDetector
{
    Q_OBJECT

public:
    static constexpr int lowestThreshold = 5;
    static constexpr int highestThreshold = 255;

    ThresholdHistogram();

    // Builds the planes from the frames given by setInput. Throws as a
    // detection does, with the same texts.
    void compute();

    // Names of the planes, in the detector's order: "mono", or the phases by
    // the parity of their column and row: "x0y0" (even x, even y), "x0y1",
    // "x1y0", "x1y1".
    QStringList planeNames() const;
    // The mean of each plane.
    QVector<unsigned> means() const { return m_means; }
    // Pixels of a plane that a detection at threshold would report.
    int count(int plane, int threshold) const;
    // The same over all planes.
    int total(int threshold) const;

private:
    // Per plane, the number of elements that lie exactly d above the mean.
    QVector<std::array<int, 256>> m_above;
    QVector<unsigned> m_means;
};
