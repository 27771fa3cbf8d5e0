// HotpixelDetector: lists every position whose average over the frames lies
// more than a threshold above the mean of its plane (each Bayer phase being a
// plane of its own). Made for one run and deleted after it, on the GUI thread.
#pragma once

#include "detection/badpixeldetector.h"

#include <QPoint>

#include <algorithm>

#include "hotpixel/badpixellistmodel.h"

class HotpixelDetector : public BadpixelDetector
{
    Q_OBJECT

public:
    // Sums the elements (modulo 2^32) and counts them.
    class MeanIterator final : public Matrix<unsigned>::Iterator
    {
    public:
        void visit(unsigned &element) override
        {
            sum += element;
            ++count;
        }

        // The whole matrix at once.
        std::size_t visitRun(unsigned *elements, std::size_t n)
        {
            unsigned runSum = 0;
            for (std::size_t i = 0; i < n; ++i)
                runSum += elements[i];
            sum += runSum;
            count += unsigned(n);
            return n;
        }

        unsigned sum = 0;
        unsigned count = 0;
    };

    // Adds the position of each element above limit to the model; a position
    // the model already holds is refused there.
    class AddHotpixelIterator final : public PixelPosIterator
    {
    public:
        AddHotpixelIterator(BadpixelListModel *model, unsigned limit)
            : model(model)
            , limit(limit)
        { }

        void report(unsigned &element, unsigned posX, unsigned posY) override
        {
            if (element > limit)
                model->addPixel(QPoint(int(posX), int(posY)));
        }

        // Passes over stretches with no element above limit at a glance.
        void reportRun(unsigned *elements, std::size_t count, unsigned posX, unsigned stepX,
                       unsigned posY) override
        {
            constexpr std::size_t Stretch = 32;
            std::size_t i = 0;
            while (i < count) {
                const std::size_t end = std::min(count, i + Stretch);
                unsigned highest = 0;
                for (std::size_t k = i; k < end; ++k)
                    highest = std::max(highest, elements[k]);
                if (highest > limit) {
                    for (std::size_t k = i; k < end; ++k)
                        report(elements[k], posX + unsigned(k) * stepX, posY);
                }
                i = end;
            }
        }

        BadpixelListModel *model;
        unsigned limit;
    };

    explicit HotpixelDetector(unsigned threshold);

    void detect(BadpixelListModel &model) override;

    // Mean of the monochrome plane of the last run; throws "Not instanced."
    // before one.
    unsigned mean() const;

protected:
    void detectMono(BadpixelListModel &model, unsigned threshold);
    void detectBayer(BadpixelListModel &model, unsigned threshold);

    // The mean pass of each plane goes along with the averaging, piece by
    // piece while the piece is in the cache, instead of reading the whole
    // matrix once more.
    void pieceAveraged(int plane, Matrix<unsigned> &matrix, std::size_t begin,
                       std::size_t end) override;

    unsigned m_threshold;
    MeanIterator m_means[4]; // of the last averaging, by plane: mono, or the phases in order
};
