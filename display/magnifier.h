// The zoomed view of the magnifier dock: the surroundings of the focus pixel
// in square cells, the focus pixel always in the middle cell and boxed in
// green, with its colour filter letter and value reported. Keys and clicks only
// ask for a new focus pixel; the main window clamps it and sets it back.
// GUI thread only.
#pragma once

#include <QImage>
#include <QLabel>
#include <QPoint>

QT_BEGIN_NAMESPACE
class QKeyEvent;
class QMouseEvent;
QT_END_NAMESPACE

class Magnifier : public QLabel
{
    Q_OBJECT

public:
    explicit Magnifier(QWidget *parent = nullptr);
    ~Magnifier() override;

signals:
    void pixelInfoChanged(QString bayerColor, int value);
    void changePosition(QPoint position);

public slots:
    // Public so that the main window can hand on the keys it receives.
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *ev) override;
    void setPosition(QPoint position);
    void setZoom(int zoom);
    void setImage(QImage &image);
    void redrawImage();

private:
    QPoint position; // focus pixel in image coordinates
    // The last frame, a private copy in the frame's own format. Only the small
    // window around the focus pixel is converted to RGB32, at each redraw.
    QImage image;
    int zoom = 20; // screen pixels per image pixel
};
