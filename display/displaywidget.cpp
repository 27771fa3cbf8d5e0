#include "displaywidget.h"

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

namespace {

// Truncates toward zero and saturates, so that a division by a zero scale
// gives the far edge (or 0 for 0 / 0) on every processor, never an undefined
// conversion.
int truncateToInt(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= double(INT_MAX))
        return INT_MAX;
    if (value <= double(INT_MIN))
        return INT_MIN;
    return int(value);
}

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
            const uchar *source = frame.constScanLine(y);
            for (int x = 0; x < width; ++x)
                line[x] = 0xff000000u | 0x010101u * source[x];
        } else {
            std::memcpy(line, frame.constScanLine(y), size_t(width) * 4);
        }
    }
    return target;
}

// The whole picture enlarged by a whole factor: each pixel a block of factor x
// factor, as QImage::scaled with Qt::FastTransformation makes it, byte for
// byte, in a fraction of its time. Null when the memory can't be had.
QImage enlarged(const QImage &work, int factor, QImage &spare)
{
    QImage target = reusedOrNew(spare, work.size() * factor);
    if (target.isNull())
        return target;
    const int width = work.width();
    const size_t lineBytes = size_t(width) * size_t(factor) * 4;
    uchar *const bits = target.bits();
    const qsizetype pitch = target.bytesPerLine();
    for (int y = 0; y < work.height(); ++y) {
        const auto *source = reinterpret_cast<const quint32 *>(work.constScanLine(y));
        uchar *const first = bits + pitch * y * factor;
        auto *line = reinterpret_cast<quint32 *>(first);
        if (factor == 2) {
            for (int x = 0; x < width; ++x)
                line[2 * x] = line[2 * x + 1] = source[x];
        } else if (factor == 4) {
            for (int x = 0; x < width; ++x)
                line[4 * x] = line[4 * x + 1] = line[4 * x + 2] = line[4 * x + 3] = source[x];
        } else {
            for (int x = 0; x < width; ++x)
                std::fill_n(line + size_t(x) * size_t(factor), factor, source[x]);
        }
        for (int row = 1; row < factor; ++row)
            std::memcpy(first + pitch * row, first, lineBytes);
    }
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
    const bool crossHair
            = scale >= 1.0 && magnifierPosition.x() != -1 && magnifierPosition.y() != -1;
    return crossHair || (badpixelModel && badpixelModel->rowCount() > 0);
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

    if (scale >= 1.0 && magnifierPosition.x() != -1 && magnifierPosition.y() != -1) {
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
