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
#include <QtEndian>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>

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

        // The elements from elements on, count of them, at the positions
        // (posX + i * stepX, posY): the same as report() for each in turn,
        // which is what it does unless a class knows a quicker way.
        virtual void reportRun(unsigned *elements, std::size_t count, unsigned posX, unsigned stepX,
                               unsigned posY)
        {
            for (std::size_t i = 0; i < count; ++i)
                report(elements[i], posX + unsigned(i) * stepX, posY);
        }

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

        // Walks the positions from the current one to the last of its line,
        // at most count of them, as advance() would one by one: calls
        // handle(source, n, step) once, source being the byte of the current
        // position and the bytes of the n positions lying step apart, and
        // leaves the walk after them. The common steps come as constants so
        // that handle's loop is compiled for each. Returns n.
        template<typename Handle>
        Q_ALWAYS_INLINE std::size_t walkRun(std::size_t count, Handle &&handle)
        {
            if (stepX == 1)
                return walkRunBy(count, std::integral_constant<unsigned, 1>(), handle);
            if (stepX == 2)
                return walkRunBy(count, std::integral_constant<unsigned, 2>(), handle);
            return walkRunBy(count, stepX, handle);
        }

        void advance()
        {
            posX += stepX;
            wrapLine();
        }

    private:
        template<typename Step, typename Handle>
        Q_ALWAYS_INLINE std::size_t walkRunBy(std::size_t count, Step step, Handle &handle)
        {
            std::size_t n = count;
            if (int(posX) > width) {
                n = 1; // a grid starting past the line end still visits its start
            } else if (step != 0) {
                const std::size_t lineLeft = (unsigned(width) - posX) / step + 1;
                if (lineLeft < count)
                    n = lineLeft;
            }
            handle(source(), n, step);
            posX += unsigned(n) * step;
            wrapLine();
            return n;
        }

        // A line ends once posX is past the width.
        void wrapLine()
        {
            if (int(posX) > width) {
                posX = startX;
                posY += stepY;
                lineOffset = std::size_t(unsigned(width) * posY);
            }
        }

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

        // The rest of the line at once. The detector's own two value
        // iterators are called as what they are, so that the loop is
        // compiled for each; any other goes through process().
        Q_ALWAYS_INLINE std::size_t visitRun(unsigned *elements, std::size_t count)
        {
            const std::type_info &type = typeid(*next);
            if (type == typeid(SumIterator))
                return runWith(static_cast<SumIterator *>(next), elements, count);
            if (type == typeid(CopyIterator))
                return runWith(static_cast<CopyIterator *>(next), elements, count);
            return runWith(next, elements, count);
        }

        // The same walk over the rest of the current line, at most count
        // positions, with the bytes going into 16-bit sums from to on instead
        // of elements: the first frame's walk copies them (Copy), each further
        // frame's adds them. Ten frames of bytes and far more fit into such a
        // sum, which halves the work of every addition. Returns how many
        // positions it took.
        template<bool Copy>
        Q_ALWAYS_INLINE std::size_t sumLineRun(std::uint16_t *to, std::size_t count)
        {
            return walkRun(count, [to](const uchar *bytes, std::size_t n, auto step) {
                using Step = decltype(step);
                if constexpr (std::is_same<Step, std::integral_constant<unsigned, 2>>::value) {
                    // Every second byte: the low byte of each 16-bit word,
                    // the last one read alone so as not to read past it.
                    const std::size_t words = n - 1;
                    for (std::size_t i = 0; i < words; ++i) {
                        const unsigned byte = qFromLittleEndian<quint16>(bytes + 2 * i) & 0xFFu;
                        to[i] = std::uint16_t(Copy ? byte : to[i] + byte);
                    }
                    to[words]
                            = std::uint16_t(Copy ? bytes[2 * words] : to[words] + bytes[2 * words]);
                } else {
                    for (std::size_t i = 0; i < n; ++i)
                        to[i] = std::uint16_t(Copy ? bytes[i * step] : to[i] + bytes[i * step]);
                }
            });
        }

        PixelValIterator *next;

    private:
        template<typename Next>
        Q_ALWAYS_INLINE std::size_t runWith(Next *to, unsigned *elements, std::size_t count)
        {
            return walkRun(count, [to, elements](const uchar *bytes, std::size_t n, auto step) {
                for (std::size_t i = 0; i < n; ++i)
                    to->process(elements[i], bytes + i * step);
            });
        }
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

        // The rest of the line at once.
        Q_ALWAYS_INLINE std::size_t visitRun(unsigned *elements, std::size_t count)
        {
            return walkRun(count, [this, elements](const uchar *, std::size_t n, auto step) {
                next->reportRun(elements, n, posX, unsigned(step), posY);
            });
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

        // The whole matrix at once, by multiplying with the divisor's
        // reciprocal, which gives the quotient of the division exactly.
        std::size_t visitRun(unsigned *elements, std::size_t count)
        {
            if (divisor == 0) {
                visit(*elements);
                return 1;
            }
            const Reciprocal reciprocal(divisor);
            for (std::size_t i = 0; i < count; ++i)
                elements[i] = reciprocal.divide(elements[i]);
            return count;
        }

        unsigned divisor;

    private:
        // Division of any 32-bit number by a fixed divisor d >= 1 as a
        // multiplication: with 2^(l-1) < d <= 2^l and the 32-bit factor
        // m = 2^32 (2^l - d) / d + 1, t = m n / 2^32 and
        // n / d = (t + (n - t) / 2) / 2^(l-1), every division truncating.
        struct Reciprocal
        {
            explicit Reciprocal(unsigned d)
            {
                unsigned l = 0;
                while ((std::uint64_t(1) << l) < d)
                    ++l;
                factor = unsigned((((std::uint64_t(1) << l) - d) << 32) / d + 1);
                shift1 = l > 0 ? 1 : 0;
                shift2 = l > 0 ? l - 1 : 0;
            }

            unsigned divide(unsigned n) const
            {
                const unsigned t = unsigned((std::uint64_t(factor) * n) >> 32);
                return (t + ((n - t) >> shift1)) >> shift2;
            }

            unsigned factor;
            unsigned shift1;
            unsigned shift2;
        };
    };

    // Each element becomes the truncated quotient of a 16-bit sum by divisor,
    // the sums taken in order from sums. The division is a multiplication
    // with a 16-bit reciprocal, which exists and is exact only for sums up to
    // some limit; exact() says whether it is for every sum up to maxSum.
    class SumDivIterator final : public Matrix<unsigned>::Iterator
    {
    public:
        SumDivIterator(unsigned divisor, unsigned maxSum)
            : divisor(divisor)
        {
            // The smallest shift whose factor fits into 16 bits and gives
            // every quotient up to maxSum.
            for (unsigned extra = 0; divisor > 1 && maxSum <= 0xFFFF && extra < 16; ++extra) {
                const std::uint64_t candidate = (std::uint64_t(1) << (16 + extra)) / divisor + 1;
                if (candidate > 0xFFFF)
                    break;
                factor = unsigned(candidate);
                shift = extra;
                if (exactUpTo(maxSum))
                    return;
            }
            factor = 0;
        }

        bool exact() const { return factor != 0; }

        void visit(unsigned &element) override { element = quotient(*sums++); }

        std::size_t visitRun(unsigned *elements, std::size_t count)
        {
            const std::uint16_t *const from = sums;
            for (std::size_t i = 0; i < count; ++i)
                elements[i] = quotient(from[i]);
            sums += count;
            return count;
        }

        const std::uint16_t *sums = nullptr;
        unsigned divisor;

    private:
        bool exactUpTo(unsigned max) const
        {
            for (unsigned s = 0; s <= max; ++s) {
                if (quotient(std::uint16_t(s)) != s / divisor)
                    return false;
            }
            return true;
        }

        unsigned quotient(std::uint16_t sum) const
        {
            return unsigned(std::uint16_t((unsigned(sum) * factor) >> 16)) >> shift;
        }

        unsigned factor = 0;
        unsigned shift = 0;
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
    void averageInto(Matrix<unsigned> *const matrices[], const PixelGrid *const grids[],
                     int planes);

    // Told of each piece of a plane, the elements from begin to end, as soon
    // as it holds its averages, while it is still in the cache. The pieces of
    // a plane come in order, the first one starting at 0.
    virtual void pieceAveraged(int plane, Matrix<unsigned> &matrix, std::size_t begin,
                               std::size_t end);

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
