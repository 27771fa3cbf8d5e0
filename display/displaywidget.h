// The central view of the main window: a scroll area showing the latest frame
// at the chosen zoom, with rings around the listed hot pixels, a ring around
// the selected one and a cross hair on the magnifier's focus pixel. The right
// button drags the image; a left click selects a listed pixel or reports an
// image position. GUI thread only.
#pragma once

#include "camera/imageinfo.h"

#include <QImage>
#include <QPoint>
#include <QScrollArea>

QT_BEGIN_NAMESPACE
class QItemSelectionModel;
class QKeyEvent;
class QLabel;
class QMouseEvent;
QT_END_NAMESPACE

class BadpixelListModel;

class DisplayWidget : public QScrollArea
{
    Q_OBJECT

public:
    explicit DisplayWidget(QWidget *parent = nullptr);
    ~DisplayWidget() override;

    // The list whose pixels are ringed and looked up by a click; not owned.
    void setBadpixelModel(BadpixelListModel *model);

    // The scroll area's widget, showing the marked and scaled frame. The main
    // window hides it while no camera is open.
    QLabel *imageLabel;

signals:
    void positionClicked(QPoint position);
    void scaleChanged(double scale);

public slots:
    void setBufferSize(ImageInfo info);
    void setImage(QImage image);
    void clear();
    void redrawImage();
    void setHighlight(bool enabled);
    void setSelectionModel(QItemSelectionModel *selectionModel);
    void setScale(double scale);
    void updateMagnifierPosition(QPoint pos);

protected:
    void mousePressEvent(QMouseEvent *ev) override;
    void mouseMoveEvent(QMouseEvent *ev) override;
    void keyPressEvent(QKeyEvent *ev) override;

private:
    bool hasMarks() const;
    // The focus pixel's cross hair is drawn from 1:1 upwards.
    bool hasCrossHair() const;
    void drawMarks(QImage *work) const;
    QImage scaledPicture(const QImage &work);
    QImage scaledPicture(const QImage &work, const QSize &size);

    QImage image; // the last frame as RGB32, unmarked and unscaled; the widget's own copy
    ImageInfo bufferInfo;
    BadpixelListModel *badpixelModel = nullptr;
    bool highlight = false;
    QItemSelectionModel *selectionModel = nullptr;
    QPoint dragStart;
    QPoint magnifierPosition {-1, -1};
    double scale = 1.0; // display pixels per image pixel; 0.0 fits the widget
    // Buffers of frame size, written again instead of made anew: faulting in
    // fresh memory of that size costs more than the writing. The last* ones
    // are shown by the label; the spare* ones held what it showed before and
    // are free once it has the next picture.
    QImage spareFrame;
    QImage lastMarked;
    QImage spareMarked;
    QImage lastPicture;
    QImage sparePicture;
};
