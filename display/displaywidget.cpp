#include "displaywidget.h"

#include "camera/truncation.h"
#include "hotpixel/badpixellistmodel.h"

#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLabel>
#include <QLine>
#include <QMouseEvent>
#include <QPainter>
#include <QPixmap>
#include <QScrollBar>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

QSize scaledSize(const QImage &work, double scale)
{
    return QSize(truncateToInt(work.width() * scale), truncateToInt(work.height() * scale));
}

// The image to write a picture of this size into: spare when it is of that
// size and nobody else holds it (a label lets go of a picture when it gets
// the next one), so its memory is reused; otherwise a new one. Fresh memory of
// a frame's size costs more to fault in than the writing itself.
QImage reusedOrNew(QImage &spare, const QSize &size)
{
    QImage target = std::move(spare);
    spare = QImage();
    if (target.size() != size || target.format() != QImage::Format_RGB32 || !target.isDetached())
        target = QImage(size, QImage::Format_RGB32);
    return target;
}

// Spreads grey bytes into opaque RGB32 pixels, the byte in each channel, 16
// at a time.
void spreadGrey(const uchar *source, int width, quint32 *line)
{
    int x = 0;
#ifdef __SSE2__
    const __m128i alpha = _mm_set1_epi32(int(0xff000000u));
    for (; x + 16 <= width; x += 16) {
        const __m128i grey = _mm_loadu_si128(reinterpret_cast<const __m128i *>(source + x));
        const __m128i low = _mm_unpacklo_epi8(grey, grey);
        const __m128i high = _mm_unpackhi_epi8(grey, grey);
        auto *target = reinterpret_cast<__m128i *>(line + x);
        _mm_storeu_si128(target, _mm_or_si128(_mm_unpacklo_epi16(low, low), alpha));
        _mm_storeu_si128(target + 1, _mm_or_si128(_mm_unpackhi_epi16(low, low), alpha));
        _mm_storeu_si128(target + 2, _mm_or_si128(_mm_unpacklo_epi16(high, high), alpha));
        _mm_storeu_si128(target + 3, _mm_or_si128(_mm_unpackhi_epi16(high, high), alpha));
    }
#endif
    for (; x < width; ++x)
        line[x] = 0xff000000u | 0x010101u * source[x];
}

// The frame as RGB32 in memory of the widget's own, pixel for pixel what
// convertToFormat gives. An 8-bit frame without a colour table, the camera's,
// is grey: each byte goes into the three channels.
QImage converted(const QImage &frame, QImage &spare)
{
    const bool grey = frame.format() == QImage::Format_Indexed8 && frame.colorCount() == 0;
    if (!grey && frame.format() != QImage::Format_RGB32)
        return frame.convertToFormat(QImage::Format_RGB32);
    QImage target = reusedOrNew(spare, frame.size());
    if (target.isNull())
        return target;
    const int width = frame.width();
    uchar *const bits = target.bits();
    const qsizetype pitch = target.bytesPerLine();
    for (int y = 0; y < frame.height(); ++y) {
        auto *line = reinterpret_cast<quint32 *>(bits + pitch * y);
        if (grey) {
            spreadGrey(frame.constScanLine(y), width, line);
        } else {
            std::memcpy(line, frame.constScanLine(y), size_t(width) * 4);
        }
    }
    return target;
}

#ifdef __SSE2__
// Writes the enlargement of one line by 2 or 4 into factor lines from
// first on, four source pixels at a time, past the caches: nothing of the
// picture is read back, and the next line's writes don't wait for its
// memory. Returns how many pixels of the line it did. Lines must start at
// multiples of 16 bytes.
int streamLine(const quint32 *source, int width, int factor, uchar *first, qsizetype pitch)
{
    int x = 0;
    for (; x + 4 <= width; x += 4) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i *>(source + x));
        __m128i blocks[4];
        if (factor == 4) {
            blocks[0] = _mm_shuffle_epi32(four, 0x00);
            blocks[1] = _mm_shuffle_epi32(four, 0x55);
            blocks[2] = _mm_shuffle_epi32(four, 0xaa);
            blocks[3] = _mm_shuffle_epi32(four, 0xff);
        } else {
            blocks[0] = _mm_unpacklo_epi32(four, four);
            blocks[1] = _mm_unpackhi_epi32(four, four);
        }
        for (int row = 0; row < factor; ++row) {
            auto *target = reinterpret_cast<__m128i *>(first + pitch * row) + x * factor / 4;
            for (int i = 0; i < factor; ++i)
                _mm_stream_si128(target + i, blocks[i]);
        }
    }
    return x;
}
#endif

// The whole picture enlarged by a whole factor: each pixel a block of factor x
// factor, as QImage::scaled with Qt::FastTransformation makes it, byte for
// byte, in a fraction of its time. Null when the memory can't be had.
QImage enlarged(const QImage &work, int factor, QImage &spare)
{
    QImage target = reusedOrNew(spare, work.size() * factor);
    if (target.isNull())
        return target;
    const int width = work.width();
    uchar *const bits = target.bits();
    const qsizetype pitch = target.bytesPerLine();
#ifdef __SSE2__
    const bool stream = (factor == 2 || factor == 4) && quintptr(bits) % 16 == 0 && pitch % 16 == 0;
#endif
    for (int y = 0; y < work.height(); ++y) {
        const auto *source = reinterpret_cast<const quint32 *>(work.constScanLine(y));
        uchar *const first = bits + pitch * y * factor;
        int done = 0;
#ifdef __SSE2__
        if (stream)
            done = streamLine(source, width, factor, first, pitch);
#endif
        // The rest of the line, then its copies below.
        auto *line = reinterpret_cast<quint32 *>(first);
        for (int x = done; x < width; ++x)
            std::fill_n(line + size_t(x) * size_t(factor), factor, source[x]);
        const size_t skipped = size_t(done) * size_t(factor) * 4;
        const size_t rest = size_t(width - done) * size_t(factor) * 4;
        for (int row = 1; row < factor; ++row)
            std::memcpy(first + pitch * row + skipped, first + skipped, rest);
    }
#ifdef __SSE2__
    _mm_sfence();
#endif
    return target;
}

// The whole factor of an enlargement to this size, or 0 when it is none.
int wholeFactor(const QImage &work, double scale, const QSize &size)
{
    const int factor = int(scale);
    if (factor < 2 || factor != scale || size != work.size() * factor)
        return 0;
    return factor;
}

QColor ringColor(quint8 pixelClass)
{
    switch (pixelClass) {
    case 0:
        return Qt::yellow; // "ignore": the camera's factory list
    case 1:
        return Qt::green; // "user"
    default:
        return Qt::red; // "factory": classes from a text import
    }
}

} // namespace

DisplayWidget::DisplayWidget(QWidget *parent)
    : QScrollArea(parent)
    , imageLabel(new QLabel)
{
    imageLabel->setBackgroundRole(QPalette::Base);
    imageLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    imageLabel->setScaledContents(true);
    setBackgroundRole(QPalette::Dark);
    setWidget(imageLabel);
}

DisplayWidget::~DisplayWidget()
{
    delete imageLabel;
}

void DisplayWidget::setBadpixelModel(BadpixelListModel *model)
{
    badpixelModel = model;
}

void DisplayWidget::setBufferSize(ImageInfo info)
{
    bufferInfo = info;
}

void DisplayWidget::setImage(QImage image)
{
    // A camera frame wraps the camera's own buffer, which is reused as soon as
    // the caller returns: the conversion to RGB32 is the widget's own copy,
    // kept for the redraws between frames.
    QImage frame = converted(image, spareFrame);
    spareFrame = std::move(this->image);
    this->image = std::move(frame);
    redrawImage();
}

void DisplayWidget::clear()
{
    imageLabel->clear();
    spareFrame = QImage();
    spareMarked = QImage();
    sparePicture = QImage();
    lastMarked = QImage();
    lastPicture = QImage();
}

bool DisplayWidget::hasMarks() const
{
    if (!highlight)
        return false;
    return hasCrossHair() || (badpixelModel && badpixelModel->rowCount() > 0);
}

bool DisplayWidget::hasCrossHair() const
{
    return scale >= 1.0 && magnifierPosition.x() != -1 && magnifierPosition.y() != -1;
}

void DisplayWidget::redrawImage()
{
    // The stored frame is RGB32 already; anything else is converted here.
    QImage work = image.format() == QImage::Format_RGB32
            ? image
            : image.convertToFormat(QImage::Format_RGB32);
    if (work.isNull())
        return;

    // Marks go into a copy; with nothing to draw the frame is scaled as it is.
    const bool marks = hasMarks();
    if (marks) {
        QImage marked = reusedOrNew(spareMarked, work.size());
        if (!marked.isNull()) {
            std::memcpy(marked.bits(), work.constBits(), size_t(work.sizeInBytes()));
            work = std::move(marked);
        }
        drawMarks(&work);
    }

    QImage scaled = scaledPicture(work);
    if (scaled.isNull()) {
        // Too big to be made: try once more at half the zoom and tell the
        // main window, which moves its zoom menu.
        scale *= 0.5;
        scaled = scaledPicture(work, scaledSize(work, scale));
        emit scaleChanged(scale);
    }

    // The label lets go of the picture it showed until now: its buffers are
    // written at the next redraw.
    spareMarked = std::move(lastMarked);
    lastMarked = marks ? work : QImage();
    sparePicture = std::move(lastPicture);
    lastPicture = scaled.constBits() != work.constBits() ? scaled : QImage();
    imageLabel->setPixmap(QPixmap::fromImage(std::move(scaled)));
    imageLabel->adjustSize();
    // Shown now: a repaint left to the event loop waits behind the next frame
    // reports and would skip frames that were drawn.
    imageLabel->repaint();
}

QImage DisplayWidget::scaledPicture(const QImage &work)
{
    if (scale == 0.0)
        return work.scaled(QSize(width() - 2, height() - 2), Qt::KeepAspectRatio,
                           Qt::FastTransformation);
    return scaledPicture(work, scaledSize(work, scale));
}

QImage DisplayWidget::scaledPicture(const QImage &work, const QSize &size)
{
    const int factor = wholeFactor(work, scale, size);
    if (factor > 0)
        return enlarged(work, factor, sparePicture);
    return work.scaled(size, Qt::KeepAspectRatio, Qt::FastTransformation);
}

void DisplayWidget::drawMarks(QImage *work) const
{
    QPainter painter(work);

    if (hasCrossHair()) {
        painter.setPen(QColor(Qt::red));
        painter.setOpacity(0.3);
        const int x = magnifierPosition.x();
        const int y = magnifierPosition.y();
        const QLine vertical(x, 0, x, work->height());
        painter.drawLines(&vertical, 1);
        const QLine horizontal(0, y, work->width(), y);
        painter.drawLines(&horizontal, 1);
    }

    painter.setOpacity(1.0);
    painter.setRenderHint(QPainter::Antialiasing);

    if (badpixelModel) {
        for (int row = 0; row < badpixelModel->rowCount(); ++row) {
            const BadpixelEntry entry = badpixelModel->pixelAt(row);
            painter.setPen(ringColor(entry.pixelClass));
            painter.drawEllipse(
                    QRect(QPoint(entry.x - 4, entry.y - 4), QPoint(entry.x + 4, entry.y + 4)));
        }

        // Only the first selected row is ringed, however many are selected.
        if (selectionModel && selectionModel->hasSelection()) {
            const QModelIndex index = selectionModel->selectedIndexes().constFirst();
            if (index.isValid() && index.row() < badpixelModel->rowCount()) {
                const BadpixelEntry entry = badpixelModel->pixelAt(index.row());
                painter.setPen(QPen(QColor(Qt::blue), 3));
                painter.drawEllipse(
                        QRect(QPoint(entry.x - 6, entry.y - 6), QPoint(entry.x + 6, entry.y + 6)));
            }
        }
    }
}

void DisplayWidget::setHighlight(bool enabled)
{
    highlight = enabled;
}

void DisplayWidget::setSelectionModel(QItemSelectionModel *selectionModel)
{
    this->selectionModel = selectionModel;
}

void DisplayWidget::setScale(double scale)
{
    this->scale = scale;
}

void DisplayWidget::updateMagnifierPosition(QPoint pos)
{
    magnifierPosition = pos;
}

void DisplayWidget::mousePressEvent(QMouseEvent *ev)
{
    // The buttons held now decide, not the one that caused the event, and the
    // right button wins.
    if (ev->buttons() & Qt::RightButton) {
        dragStart = ev->pos();
        return;
    }
    if (!(ev->buttons() & Qt::LeftButton))
        return;

    // Event positions are in the viewport, the label's parent; mapping them
    // takes the scroll position into account.
    const QPoint p = imageLabel->mapFromParent(ev->pos());
    const QPoint position(truncateToInt(p.x() / scale), truncateToInt(p.y() / scale));

    const QModelIndex index = badpixelModel
            ? badpixelModel->indexOfPixel(position.x(), position.y(), 7)
            : QModelIndex();
    if (index.isValid()) {
        // The selection model's change moves the focus to the listed pixel.
        if (selectionModel)
            selectionModel->select(index,
                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        return;
    }
    if (selectionModel)
        selectionModel->select(QModelIndex(), QItemSelectionModel::Clear);
    emit positionClicked(position);
}

void DisplayWidget::mouseMoveEvent(QMouseEvent *ev)
{
    if (!(ev->buttons() & Qt::RightButton))
        return;
    // The image follows the hand; the scroll bars clamp the movement.
    const QPoint p = ev->pos();
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() + dragStart.x() - p.x());
    verticalScrollBar()->setValue(verticalScrollBar()->value() + dragStart.y() - p.y());
    dragStart = p;
}

void DisplayWidget::keyPressEvent(QKeyEvent *ev)
{
    // Keys travel on to the main window, which hands them to the magnifier.
    ev->ignore();
}
