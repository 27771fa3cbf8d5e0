#include "controls/parameterwidget.h"

#include <QLabel>
#include <QSlider>
#include <QSpinBox>

ParameterWidget::ParameterWidget()
    : spinBox(new QSpinBox)
{
    connectControls(this, spinBox, &ParameterWidget::changeValue, &ParameterWidget::changeValue,
                    &ParameterWidget::emitValueChanged);
}

void ParameterWidget::setEnabled(bool enabled)
{
    setRowEnabled(spinBox, enabled);
}

void ParameterWidget::changeValue(int value)
{
    // Shared by all rows: moving one control must not bounce back.
    static bool busy = false;
    const ChangeGuard guard(this, busy);
    if (!guard.entered())
        return;

    slider->blockSignals(true);
    spinBox->blockSignals(true);
    slider->setValue(value);
    spinBox->setValue(value);
    slider->blockSignals(false);
    spinBox->blockSignals(false);
}

void ParameterWidget::emitValueChanged()
{
    if (forwardValue)
        emit valueChanged(spinBox->value());
}

void ParameterWidget::setParam(CameraParameter<int> &param)
{
    // Not blocked: a value that the range or the camera changes goes out again
    // through valueChanged; the camera ignores a value it already has.
    spinBox->setMinimum(param.min);
    spinBox->setMaximum(param.max);
    spinBox->setSingleStep(param.inc);
    spinBox->setValue(param.value);
    // The slider keeps its single step of 1 whatever the parameter's step.
    slider->setMinimum(param.min);
    slider->setMaximum(param.max);
    slider->setValue(param.value);
}
