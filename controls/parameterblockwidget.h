// The content of the "Camera properties" dock: the rows of frame rate,
// exposure and master gain in one grid. The main window connects the rows to
// the camera. GUI thread only.
#pragma once

#include <QWidget>

class DoubleParameterWidget;
class ParameterWidget;
class QGridLayout;
class QLabel;
class QSlider;

class ParameterBlockWidget : public QWidget
{
    Q_OBJECT

public:
    explicit ParameterBlockWidget(QWidget *parent = nullptr);

    DoubleParameterWidget *framerate;
    DoubleParameterWidget *exposure;
    ParameterWidget *mastergain;
    QGridLayout *grid;

private:
    void addParameterRow(int row, QLabel *label, QSlider *slider, QWidget *spinBox);
};
