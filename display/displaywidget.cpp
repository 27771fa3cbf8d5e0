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

#include <climits>
#include <cmath>

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
    // the caller returns; keep a private copy for the redraws between frames.
    this->image = image.copy();
    redrawImage();
}

void DisplayWidget::clear()
{
    imageLabel->clear();
    lastPicture = QImage();
}

void DisplayWidget::redrawImage()
{
    QImage work = image.convertToFormat(QImage::Format_RGB32);
    if (work.isNull())
        return;

    if (highlight) {
        QPainter painter(&work);

        if (scale >= 1.0 && magnifierPosition.x() != -1 && magnifierPosition.y() != -1) {
            painter.setPen(QColor(Qt::red));
            painter.setOpacity(0.3);
            const int x = magnifierPosition.x();
            const int y = magnifierPosition.y();
            const QLine vertical(x, 0, x, work.height());
            painter.drawLines(&vertical, 1);
            const QLine horizontal(0, y, work.width(), y);
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
                    painter.drawEllipse(QRect(QPoint(entry.x - 6, entry.y - 6),
                                              QPoint(entry.x + 6, entry.y + 6)));
                }
            }
        }
        painter.end();
    }

    QImage scaled;
    if (scale == 0.0)
        scaled = work.scaled(QSize(width() - 2, height() - 2), Qt::KeepAspectRatio,
                             Qt::FastTransformation);
    else
        scaled = work.scaled(scaledSize(work, scale), Qt::KeepAspectRatio, Qt::FastTransformation);

    if (scaled.isNull()) {
        // Too big to be made: try once more at half the zoom and tell the
        // main window, which moves its zoom menu.
        scale *= 0.5;
        scaled = work.scaled(scaledSize(work, scale), Qt::KeepAspectRatio, Qt::FastTransformation);
        emit scaleChanged(scale);
    }

    lastPicture = work;
    imageLabel->setPixmap(QPixmap::fromImage(std::move(scaled)));
    imageLabel->adjustSize();
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
