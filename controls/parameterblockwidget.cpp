#include "controls/parameterblockwidget.h"

#include "controls/doubleparameterwidget.h"
#include "controls/parameterwidget.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QSlider>
#include <QSpinBox>

ParameterBlockWidget::ParameterBlockWidget(QWidget *parent)
    : QWidget(parent)
    , framerate(nullptr)
    , exposure(nullptr)
    , mastergain(nullptr)
    , grid(new QGridLayout)
{
    framerate = new DoubleParameterWidget;
    exposure = new DoubleParameterWidget;
    mastergain = new ParameterWidget;
    // The rows go with the block; their controls go with it as its children.
    framerate->setParent(this);
    exposure->setParent(this);
    mastergain->setParent(this);

    framerate->setText(tr("Framerate"));
    exposure->setText(tr("Exposure"));
    mastergain->setText(tr("Mastergain"));

    addParameterRow(0, framerate->label, framerate->slider, framerate->spinBox);
    addParameterRow(1, exposure->label, exposure->slider, exposure->spinBox);
    addParameterRow(2, mastergain->label, mastergain->slider, mastergain->spinBox);
    setLayout(grid);
}

void ParameterBlockWidget::addParameterRow(int row, QLabel *label, QSlider *slider,
                                           QWidget *spinBox)
{
    grid->addWidget(label, row, 0);
    grid->addWidget(slider, row, 1);
    grid->addWidget(spinBox, row, 2);
}
