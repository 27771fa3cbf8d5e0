#include "detection/detectiondialogue.h"

#include "camera/cameraparameter.h"
#include "controls/parameterwidget.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

constexpr Qt::WindowFlags IdleFlags = Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint;
// While running, the title bar offers no way to close the window.
constexpr Qt::WindowFlags RunningFlags = IdleFlags | Qt::CustomizeWindowHint;

} // namespace

DetectionDialogue::DetectionDialogue(QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(tr("Hot pixel detection"));
    setWindowFlags(IdleFlags);
    setMinimumWidth(400);

    auto outer = new QVBoxLayout(this);
    outer->addWidget(new QLabel(tr("Cover the sensor completely during capturing!\n"), this));

    m_thresholdWidget = std::make_unique<ParameterWidget>();
    m_thresholdWidget->setText(tr("Threshold"));
    CameraParameter<int> threshold;
    threshold.min = 5;
    threshold.max = 255;
    threshold.inc = 1;
    threshold.value = 40;
    m_thresholdWidget->setParam(threshold);

    auto thresholdRow = new QHBoxLayout;
    thresholdRow->addWidget(m_thresholdWidget->label);
    thresholdRow->addWidget(m_thresholdWidget->slider);
    thresholdRow->addWidget(m_thresholdWidget->spinBox);

    m_clearCheck = new QCheckBox(tr("Clear old hot pixel list"), this);

    auto preferencesLayout = new QVBoxLayout;
    preferencesLayout->addLayout(thresholdRow);
    preferencesLayout->addWidget(m_clearCheck);
    auto preferences = new QGroupBox(tr("Preferences"), this);
    preferences->setLayout(preferencesLayout);
    outer->addWidget(preferences);

    m_statusLabel = new QLabel(this);
    m_progress = new QProgressBar(this);
    m_countLabel = new QLabel(tr("Hot pixel detected: 0"), this);
    m_messageLabel = new QLabel(this);
    auto detectionLayout = new QVBoxLayout;
    detectionLayout->addWidget(m_statusLabel);
    detectionLayout->addWidget(m_progress);
    detectionLayout->addWidget(m_countLabel);
    detectionLayout->addWidget(m_messageLabel);
    auto detection = new QGroupBox(tr("Detection"), this);
    detection->setLayout(detectionLayout);
    outer->addWidget(detection);

    m_buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Close, this);
    m_buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("Start"));
    connect(m_buttons, &QDialogButtonBox::accepted, this, &DetectionDialogue::detect);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QWidget::close);
    outer->addWidget(m_buttons);
}

DetectionDialogue::~DetectionDialogue() = default;

void DetectionDialogue::showError(QString text)
{
    m_messageLabel->setText(text);
    m_countLabel->setText(QStringLiteral("Hot pixel detected: -"));
}

void DetectionDialogue::updateProgress(int value)
{
    m_progress->setValue(value);
}

void DetectionDialogue::finishDetect()
{
    setWindowFlags(IdleFlags);
    show(); // changing the flags hides the window
    setControlsEnabled(true);
    m_statusLabel->clear();
}

void DetectionDialogue::abortDetect()
{
    finishDetect();
    m_progress->setValue(0);
}

void DetectionDialogue::addDetectedPixel(int count)
{
    m_detected += unsigned(count);
    m_countLabel->setText(QStringLiteral("Hot pixel detected: ") + QString::number(m_detected));
}

void DetectionDialogue::keyPressEvent(QKeyEvent *) { }

void DetectionDialogue::detect()
{
    setWindowFlags(RunningFlags);
    show();
    setControlsEnabled(false);
    m_statusLabel->setText(tr("Please Wait..."));
    m_countLabel->setText(tr("Hot pixel detected: 0"));
    m_messageLabel->clear();
    m_detected = 0;
    // The bar keeps the last run's value until the first frame of this one.
    emit startDetect(m_clearCheck->isChecked(), m_thresholdWidget->spinBox->value());
}

void DetectionDialogue::setControlsEnabled(bool enabled)
{
    m_buttons->setEnabled(enabled);
    m_clearCheck->setEnabled(enabled);
    m_thresholdWidget->setEnabled(enabled);
}
