#include "detection/badpixeldetector.h"

#include <algorithm>
#include <vector>

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
    Matrix<unsigned> *const matrices[] = {m_mono.get()};
    const PixelGrid *const grids[] = {&m_gridMono};
    averageInto(matrices, grids, 1);
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
    Matrix<unsigned> *const matrices[]
            = {m_phase00.get(), m_phase01.get(), m_phase10.get(), m_phase11.get()};
    const PixelGrid *const grids[] = {&m_grid00, &m_grid01, &m_grid10, &m_grid11};
    averageInto(matrices, grids, 4);
}

// Leaves in each element the truncated mean of its position over all frames:
// the first frame gives each element its first value, each further frame
// adds its own, and the sum is divided by the number of frames. The matrices,
// all of one size, are walked piece by piece, each piece of each matrix taking
// all frames and the division while it is still in the cache, and the phases
// of one frame one after the other while that frame's lines are. Every
// element still takes its bytes in frame order, from the position its own
// walk gives it. While the sums of a piece fit into 16 bits and the 16-bit
// division is exact for them, the frames are summed apart from the matrix,
// in lanes of 16 bits, and the matrix is written once, with the quotients.
void BadpixelDetector::averageInto(Matrix<unsigned> *const matrices[],
                                   const PixelGrid *const grids[], int planes)
{
    const QVector<QImage> &images = *m_images;
    const QImage &first = images.at(0);
    for (const QImage &frame : images) {
        if (frame.width() != first.width() || frame.height() != first.height())
            throw std::runtime_error("Aqcuired images are not the same size.");
    }

    CopyIterator copy;
    SumIterator sum;
    std::vector<ImageValueIterator> walks; // frame by frame, the planes in turn
    walks.reserve(std::size_t(images.size()) * std::size_t(planes));
    for (const QImage &frame : images) {
        for (int p = 0; p < planes; ++p)
            walks.emplace_back(&frame, grids[p],
                               walks.size() < std::size_t(planes)
                                       ? static_cast<PixelValIterator *>(&copy)
                                       : &sum);
    }
    const unsigned frames = unsigned(images.size());
    const std::size_t size = std::size_t(matrices[0]->sizeX) * matrices[0]->sizeY;

    SumDivIterator laneDiv(frames, frames <= 0xFFFF / 255 ? frames * 255 : 0x10000);
    if (laneDiv.exact()) {
        // The 16-bit sums of all planes together are 64 Ki, 128 KiB, so that
        // they stay in the second-level cache, and the lines a plane takes in
        // one go are long.
        const std::size_t piece = std::size_t(64 * 1024) / std::size_t(planes);
        std::vector<std::uint16_t> lanes(piece * std::size_t(planes));
        for (std::size_t begin = 0; begin < size; begin += piece) {
            const std::size_t end = std::min(size, begin + piece);
            // The planes of a frame take a line of their walks in turn, so
            // that the frame is read nearly in order of its lines.
            const std::size_t count = end - begin;
            for (std::size_t frame = 0; frame < walks.size(); frame += std::size_t(planes)) {
                std::size_t done[4] = {0, 0, 0, 0};
                for (bool more = true; more;) {
                    more = false;
                    for (int p = 0; p < planes; ++p) {
                        std::size_t &d = done[p];
                        if (d == count)
                            continue;
                        std::uint16_t *const sums = lanes.data() + std::size_t(p) * piece + d;
                        ImageValueIterator &walk = walks[frame + std::size_t(p)];
                        d += frame == 0 ? walk.sumLineRun<true>(sums, count - d)
                                        : walk.sumLineRun<false>(sums, count - d);
                        more = more || d < count;
                    }
                }
            }
            for (int p = 0; p < planes; ++p) {
                laneDiv.sums = lanes.data() + std::size_t(p) * piece;
                matrices[p]->forEach(laneDiv, begin, end);
                pieceAveraged(p, *matrices[p], begin, end);
            }
        }
        return;
    }

    DivIterator div(frames);
    // The pieces of all matrices together are 32 Ki elements, 128 KiB, so
    // that they stay in the cache beside the lines of the frames.
    const std::size_t piece = std::size_t(32 * 1024) / std::size_t(planes);
    for (std::size_t begin = 0; begin < size; begin += piece) {
        const std::size_t end = std::min(size, begin + piece);
        for (std::size_t w = 0; w < walks.size(); ++w)
            matrices[w % std::size_t(planes)]->forEach(walks[w], begin, end);
        for (int p = 0; p < planes; ++p) {
            matrices[p]->forEach(div, begin, end);
            pieceAveraged(p, *matrices[p], begin, end);
        }
    }
}

void BadpixelDetector::pieceAveraged(int, Matrix<unsigned> &, std::size_t, std::size_t) { }
