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

void BaseParameterWidget::setRowEnabled(QWidget *spinBox, bool enabled)
{
    spinBox->setEnabled(enabled);
    setEnabled(enabled);
}

BaseParameterWidget::ChangeGuard::ChangeGuard(BaseParameterWidget *row, bool &busy)
    : m_row(row)
    , m_busy(busy)
    , m_entered(!busy)
{
    if (!m_entered)
        return;
    m_row->forwardValue = false;
    m_busy = true;
}

BaseParameterWidget::ChangeGuard::~ChangeGuard()
{
    if (!m_entered)
        return;
    m_row->forwardValue = true;
    m_busy = false;
}
