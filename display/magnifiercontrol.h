// The content of the magnifier dock: the magnifier, its zoom slider and the
// read-out of the focus pixel's colour letter and value. The wheel anywhere
// over it changes the zoom. GUI thread only.
#pragma once

#include <QWidget>

QT_BEGIN_NAMESPACE
class QLabel;
class QSlider;
class QWheelEvent;
QT_END_NAMESPACE

class Magnifier;

class MagnifierControl : public QWidget
{
    Q_OBJECT

public:
    explicit MagnifierControl(QWidget *parent = nullptr);
    ~MagnifierControl() override;

    // The zoomed view; the main window feeds it frames and positions.
    Magnifier *magnifier;

public slots:
    void setPixelInfo(QString bayerColor, int value);

protected:
    void wheelEvent(QWheelEvent *event) override;

private:
    QSlider *zoomSlider;
    QLabel *bayerColorLabel;
    QLabel *valueLabel;
};
