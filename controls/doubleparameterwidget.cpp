#include "controls/doubleparameterwidget.h"

#include "camera/truncation.h"

#include <QDoubleSpinBox>
#include <QLabel>
#include <QSlider>

#include <cmath>
#include <limits>

DoubleParameterWidget::DoubleParameterWidget()
    : spinBox(new QDoubleSpinBox)
{
    connectControls(this, spinBox, &DoubleParameterWidget::changeValueRelative,
                    &DoubleParameterWidget::changeValue, &DoubleParameterWidget::emitValueChanged);
}

void DoubleParameterWidget::setEnabled(bool enabled)
{
    setRowEnabled(spinBox, enabled);
}

// Slider to spin box: the slider's range stands for the spin box's range.
void DoubleParameterWidget::changeValueRelative(int value)
{
    static bool busy = false;
    const ChangeGuard guard(this, busy);
    if (!guard.entered())
        return;

    const double maximum = spinBox->maximum();
    const double minimum = spinBox->minimum();
    const int sliderMaximum = slider->maximum();

    spinBox->blockSignals(true);
    if (sliderMaximum != 0)
        spinBox->setValue((maximum - minimum) * (double(value) / sliderMaximum) + minimum);
    spinBox->blockSignals(false);
}

// Spin box to slider. The slider's signals stay on: when the slider really
// moves, changeValueRelative puts the slider's grid value into the spin box,
// so that a typed number snaps down to the grid before it goes out.
void DoubleParameterWidget::changeValue(double value)
{
    static bool busy = false;
    const ChangeGuard guard(this, busy);
    if (!guard.entered())
        return;

    const double ratio = (value - spinBox->minimum()) / (spinBox->maximum() - spinBox->minimum());
    slider->setValue(truncateToInt(ratio * slider->maximum()));
}

void DoubleParameterWidget::emitValueChanged()
{
    if (forwardValue)
        emit valueChanged(spinBox->value());
}

void DoubleParameterWidget::setParam(CameraParameter<double> &param)
{
    // Not blocked, as in ParameterWidget::setParam.
    spinBox->setMinimum(param.min);
    spinBox->setMaximum(param.max);
    // (min - max) is negative for every real range, and the spin box refuses
    // a negative step: its arrows keep their step of 1.0. Left so on purpose.
    spinBox->setSingleStep((param.min - param.max) / 100.0);
    spinBox->setValue(param.value);

    slider->setMinimum(0);
    slider->setMaximum(truncateToInt((param.max - param.min) / param.inc));
    slider->setValue(truncateToInt((param.value - param.min) / param.inc));
}
