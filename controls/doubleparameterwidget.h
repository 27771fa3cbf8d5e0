// One floating-point camera parameter as a row of label, slider and spin box.
// The slider counts steps of the parameter from its minimum; a number typed
// into the spin box snaps down to the slider's grid when the slider moves.
// Values go out through valueChanged as in ParameterWidget. GUI thread only.
#pragma once

#include "camera/cameraparameter.h"
#include "controls/baseparameterwidget.h"

class QDoubleSpinBox;

class DoubleParameterWidget : public BaseParameterWidget
{
    Q_OBJECT

public:
    DoubleParameterWidget();

    // Hides the base's: the spin box goes with the label and the slider.
    void setEnabled(bool enabled);

    QDoubleSpinBox *spinBox;
    CameraParameter<double> param {0.0, 0.0, 1.0, 0.0}; // not updated by setParam

signals:
    void valueChanged(double value);

public slots:
    void setParam(CameraParameter<double> &param);

protected slots:
    void changeValue(double value);
    void changeValueRelative(int value);
    void emitValueChanged();
};
