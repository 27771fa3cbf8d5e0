// One integer camera parameter as a row of label, slider and spin box that
// follow each other. Ranges come in through setParam, values go out through
// valueChanged: at once from the spin box, from the slider only when it is
// let go. GUI thread only.
#pragma once

#include "camera/cameraparameter.h"
#include "controls/baseparameterwidget.h"

class QSpinBox;

class ParameterWidget : public BaseParameterWidget
{
    Q_OBJECT

public:
    ParameterWidget();

    // Hides the base's: the spin box goes with the label and the slider.
    void setEnabled(bool enabled);

    QSpinBox *spinBox;
    CameraParameter<int> param {0, 0, 1, 0}; // not updated by setParam

signals:
    void valueChanged(int value);

public slots:
    void setParam(CameraParameter<int> &param);

protected slots:
    void changeValue(int value);
    void emitValueChanged();
};
