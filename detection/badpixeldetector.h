// BadpixelDetector: the abstract part of a hot pixel detector. It holds the
// frames of a run and builds from them the averaged matrices, one plane for a
// monochrome sensor and one per Bayer phase for a colour sensor. Every pass
// over a matrix is done by one of the small iterator classes nested here.
// One object serves one run, on the GUI thread.
#pragma once

#include "detection/matrix.h"
#include "detection/pixelgrid.h"

#include <QImage>
#include <QObject>
#include <QVector>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <stdexcept>

class BadpixelListModel;

class BadpixelDetector : public QObject
{
    Q_OBJECT

public:
    // Handles the byte of one image position for a matrix element.
    class PixelValIterator
    {
    public:
        virtual void process(unsigned &element, const uchar *source) = 0;

    protected:
        ~PixelValIterator() = default;
    };

    // The element takes the byte.
    class CopyIterator final : public PixelValIterator
    {
    public:
        void process(unsigned &element, const uchar *source) override { element = *source; }
    };

    // The byte is added to the element (modulo 2^32).
    class SumIterator final : public PixelValIterator
    {
    public:
        void process(unsigned &element, const uchar *source) override { element += *source; }
    };

    // Is told each matrix element together with its image position.
    class PixelPosIterator
    {
    public:
        virtual void report(unsigned &element, unsigned posX, unsigned posY) = 0;

    protected:
        ~PixelPosIterator() = default;
    };

    // A matrix pass that walks the image positions of a grid alongside the
    // elements. The line length of the walk is the image width, and a line
    // ends only once posX is greater than the width, so the position
    // posX == width belongs to the walk; the value read for an element and the
    // position reported for it follow the same walk.
    class ImageIterator : public Matrix<unsigned>::Iterator
    {
    public:
        ImageIterator(const QImage *image, const PixelGrid *grid)
            : posX(grid->startX)
            , posY(grid->startY)
            , image(image)
            , grid(grid)
            , bits(image->constBits())
            , width(image->width())
            , lineOffset(std::size_t(unsigned(width) * posY))
            , startX(grid->startX)
            , stepX(grid->stepX)
            , stepY(grid->stepY)
        { }

        unsigned posX;
        unsigned posY;
        const QImage *image;
        const PixelGrid *grid;

    protected:
        ~ImageIterator() = default;

        // The byte at width * posY + posX, the width being the line length.
        const uchar *source() const { return bits + lineOffset + posX; }

        void advance()
        {
            posX += stepX;
            if (int(posX) > width) {
                posX = startX;
                posY += stepY;
                lineOffset = std::size_t(unsigned(width) * posY);
            }
        }

    private:
        // What the walk needs of the image and the grid, read once for the
        // pass, and the offset of the line of posY.
        const uchar *bits;
        int width;
        std::size_t lineOffset;
        unsigned startX;
        unsigned stepX;
        unsigned stepY;
    };

    // Hands the byte at the walk's position to next, then moves on.
    class ImageValueIterator final : public ImageIterator
    {
    public:
        ImageValueIterator(const QImage *image, const PixelGrid *grid, PixelValIterator *next)
            : ImageIterator(image, grid)
            , next(next)
        { }

        Q_ALWAYS_INLINE void visit(unsigned &element) override
        {
            next->process(element, source());
            advance();
        }

        PixelValIterator *next;
    };

    // Reports the element with the walk's position to next, then moves on.
    class ImagePosIterator final : public ImageIterator
    {
    public:
        ImagePosIterator(const QImage *image, const PixelGrid *grid, PixelPosIterator *next)
            : ImageIterator(image, grid)
            , next(next)
        { }

        Q_ALWAYS_INLINE void visit(unsigned &element) override
        {
            next->report(element, posX, posY);
            advance();
        }

        PixelPosIterator *next;
    };

    // Divides each element by divisor, truncating.
    class DivIterator final : public Matrix<unsigned>::Iterator
    {
    public:
        explicit DivIterator(unsigned divisor)
            : divisor(divisor)
        { }

        void visit(unsigned &element) override { element /= divisor; }

        unsigned divisor;
    };

    class ErrColorMode : public std::runtime_error
    {
    public:
        ErrColorMode()
            : std::runtime_error("Color mode for hot pixel detection not supported.")
        { }
    };

    BadpixelDetector();
    ~BadpixelDetector() override;

    // colorMode 11 is a Bayer sensor read raw, 6 a monochrome one. The frames
    // are not copied and must outlive detect().
    void setInput(int colorMode, const QVector<QImage> *images);

    // The whole run: found pixels go to model through addPixel. Throws
    // std::runtime_error and its relatives with the ready text.
    virtual void detect(BadpixelListModel &model) = 0;

signals:
    void detectionFinished();

protected:
    void prepareMatrices();
    void buildMono();
    void buildBayer();
    void averageInto(Matrix<unsigned> &matrix, const PixelGrid &grid);

    int m_colorMode = 11;
    const QVector<QImage> *m_images = nullptr;
    std::unique_ptr<Matrix<unsigned>> m_mono;
    std::unique_ptr<Matrix<unsigned>> m_phase00;
    std::unique_ptr<Matrix<unsigned>> m_phase01;
    std::unique_ptr<Matrix<unsigned>> m_phase10;
    std::unique_ptr<Matrix<unsigned>> m_phase11;
    const PixelGrid m_gridMono = {0, 0, 1, 1}; // all positions
    const PixelGrid m_grid00 = {0, 0, 2, 2}; // even columns of even rows
    const PixelGrid m_grid01 = {0, 1, 2, 2}; // even columns of odd rows
    const PixelGrid m_grid10 = {1, 0, 2, 2}; // odd columns of even rows
    const PixelGrid m_grid11 = {1, 1, 2, 2}; // odd columns of odd rows
};
