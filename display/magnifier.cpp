#include "magnifier.h"

#include <QKeyEvent>
#include <QLine>
#include <QMouseEvent>
#include <QPainter>
#include <QPixmap>
#include <QRect>

#include <cstring>

namespace {

// The cell count of one direction, made odd and larger than the widget holds,
// so that the focus pixel sits in the middle cell and the picture overfills.
int oddCellCount(int count)
{
    return count % 2 == 0 ? count + 3 : count + 2;
}

// Cells to step for a distance d from the widget's middle. The two loops make
// an odd zoom reach one pixel further to the right than to the left.
int cellStep(int d, int zoom)
{
    const int half = zoom / 2;
    int s = 0;
    if (d >= 1) {
        while (d > half) {
            d -= zoom;
            ++s;
        }
    } else {
        int e = half - d;
        while (e > zoom) {
            e -= zoom;
            --s;
        }
    }
    return s;
}

// The colour filter letter of a sensor position: red at the origin, only the
// low bit of each coordinate counts.
QString bayerColor(const QPoint &position)
{
    static const char *const letters[2][2] = {{"R", "G"}, {"G", "B"}};
    return QString::fromLatin1(letters[position.y() & 1][position.x() & 1]);
}

} // namespace

Magnifier::Magnifier(QWidget *parent)
    : QLabel(parent)
{
    setBackgroundRole(QPalette::Base);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    setScaledContents(false);
    setFocusPolicy(Qt::StrongFocus);
    setAlignment(Qt::AlignCenter);
}

Magnifier::~Magnifier() = default;

void Magnifier::keyPressEvent(QKeyEvent *event)
{
    QPoint requested = position;
    switch (event->key()) {
    case Qt::Key_Left:
        requested.rx() -= 1;
        break;
    case Qt::Key_Up:
        requested.ry() -= 1;
        break;
    case Qt::Key_Right:
        requested.rx() += 1;
        break;
    case Qt::Key_Down:
        requested.ry() += 1;
        break;
    default:
        QLabel::keyPressEvent(event);
        return;
    }
    emit changePosition(requested);
}

void Magnifier::mousePressEvent(QMouseEvent *ev)
{
    if (ev->button() != Qt::LeftButton || zoom < 1)
        return;
    const int dx = ev->pos().x() - width() / 2;
    const int dy = ev->pos().y() - height() / 2;
    emit changePosition(
            QPoint(position.x() + cellStep(dx, zoom), position.y() + cellStep(dy, zoom)));
}

void Magnifier::setPosition(QPoint position)
{
    this->position = position;
    redrawImage();
}

void Magnifier::setZoom(int zoom)
{
    this->zoom = zoom;
    redrawImage();
}

void Magnifier::setImage(QImage &image)
{
    // A camera frame wraps the camera's own buffer, which is reused as soon as
    // the caller returns. Frames of one camera are alike: the pixels go into
    // the memory of the last copy, which costs less than fresh memory.
    if (this->image.size() == image.size() && this->image.format() == image.format()
        && this->image.bytesPerLine() == image.bytesPerLine() && !image.isNull()) {
        std::memcpy(this->image.bits(), image.constBits(), size_t(image.sizeInBytes()));
        if (this->image.colorTable() != image.colorTable())
            this->image.setColorTable(image.colorTable());
    } else {
        this->image = image.copy();
    }
    redrawImage();
}

void Magnifier::redrawImage()
{
    // A zoom below 1 can't come from the slider; show nothing rather than
    // divide by it.
    if (image.isNull() || zoom < 1) {
        QLabel::clear();
        return;
    }

    const int rows = oddCellCount(height() / zoom);
    const int cols = oddCellCount(width() / zoom);

    // Only the window is converted, not the frame. Parts of the window beyond
    // the frame stay zero, that is black.
    const QRect window(position.x() - cols / 2, position.y() - rows / 2, cols, rows);
    QImage cells(cols, rows, QImage::Format_RGB32);
    cells.fill(0);
    const QRect inside = window & image.rect();
    if (!inside.isEmpty()) {
        const QImage part = image.copy(inside).convertToFormat(QImage::Format_RGB32);
        const int dx = inside.left() - window.left();
        const int dy = inside.top() - window.top();
        for (int y = 0; y < part.height(); ++y)
            std::memcpy(cells.scanLine(dy + y) + dx * 4, part.constScanLine(y),
                        size_t(part.width()) * 4);
    }
    QImage scaled
            = cells.scaled(zoom * cols, zoom * rows, Qt::KeepAspectRatio, Qt::FastTransformation);

    if (scaled.width() >= 21 && scaled.height() >= 21) {
        const int cx = scaled.width() / 2;
        const int cy = scaled.height() / 2;
        const int half = zoom / 2;
        const int left = cx - half - 1;
        const int top = cy - half - 1;
        const int right = left + zoom;
        const int bottom = top + zoom;

        QPainter painter(&scaled);
        QPen pen(Qt::green);
        pen.setWidth(1);
        painter.setPen(pen);
        painter.setRenderHint(QPainter::Antialiasing, false);
        const QLine ticks[]
                = {QLine(cx, top - 16, cx, top), QLine(cx, bottom + 1, cx, bottom + 17),
                   QLine(left - 16, cy, left, cy), QLine(right + 1, cy, right + 17, cy)};
        for (const QLine &tick : ticks)
            painter.drawLines(&tick, 1);
        const QRect box(QPoint(left, top), QPoint(right, bottom));
        painter.drawRects(&box, 1);
        painter.end();

        // The value is the blue channel of the RGB32 pixel: the grey value of
        // a monochrome or raw frame.
        const int value = int(cells.pixel(cols / 2, rows / 2) & 0xff);
        emit pixelInfoChanged(bayerColor(position), value);
    }

    setPixmap(QPixmap::fromImage(std::move(scaled)));
}
