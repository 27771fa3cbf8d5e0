#include "controls/baseparameterwidget.h"

#include <QLabel>
#include <QSlider>

BaseParameterWidget::BaseParameterWidget()
    : label(new QLabel)
    , slider(new QSlider(Qt::Horizontal))
{
    slider->setSingleStep(1);
    slider->setPageStep(4);
    adoptControl(label);
    adoptControl(slider);
}

BaseParameterWidget::~BaseParameterWidget()
{
    for (const QPointer<QWidget> &control : qAsConst(m_controls)) {
        if (control && !control->parent())
            delete control.data();
    }
}

void BaseParameterWidget::setText(QString text)
{
    label->setText(text);
}

void BaseParameterWidget::setEnabled(bool enabled)
{
    label->setEnabled(enabled);
    slider->setEnabled(enabled);
}

void BaseParameterWidget::adoptControl(QWidget *control)
{
    m_controls.append(control);
}
