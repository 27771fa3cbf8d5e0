#include "magnifiercontrol.h"

#include "magnifier.h"

#include <QBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QWheelEvent>

MagnifierControl::MagnifierControl(QWidget *parent)
    : QWidget(parent)
{
    auto *outerLayout = new QVBoxLayout;
    auto *innerLayout = new QVBoxLayout;

    magnifier = new Magnifier(this);
    magnifier->setMinimumSize(160, 120);
    innerLayout->addWidget(magnifier, 1);

    auto *readOutLayout = new QHBoxLayout;
    bayerColorLabel = new QLabel;
    bayerColorLabel->setObjectName(QStringLiteral("bayerColorLabel"));
    valueLabel = new QLabel;
    valueLabel->setObjectName(QStringLiteral("valueLabel"));
    readOutLayout->addWidget(new QLabel(tr("Bayer Color:")), 0);
    readOutLayout->addWidget(bayerColorLabel, 0);
    readOutLayout->addWidget(new QLabel(tr("Value: ")), 0);
    readOutLayout->addWidget(valueLabel, 0);

    zoomSlider = new QSlider(Qt::Horizontal);
    zoomSlider->setObjectName(QStringLiteral("zoomSlider"));
    zoomSlider->setRange(5, 100);
    zoomSlider->setValue(20); // the magnifier's start zoom
    innerLayout->addWidget(zoomSlider, 0);

    outerLayout->addLayout(innerLayout);
    outerLayout->addLayout(readOutLayout);
    setLayout(outerLayout);

    connect(zoomSlider, &QSlider::valueChanged, magnifier, &Magnifier::setZoom);
    connect(magnifier, &Magnifier::pixelInfoChanged, this, &MagnifierControl::setPixelInfo);

    setToolTip(tr("Click to center"));
}

MagnifierControl::~MagnifierControl() = default;

void MagnifierControl::setPixelInfo(QString bayerColor, int value)
{
    bayerColorLabel->setText(bayerColor);
    valueLabel->setText(QStringLiteral("%1").arg(value));
}

void MagnifierControl::wheelEvent(QWheelEvent *event)
{
    // The magnifier, a label, leaves the wheel to this widget as well.
    const double degrees = event->angleDelta().y() * 0.125;
    if (degrees == 0.0)
        return;
    const double steps = degrees / 15.0;
    // Truncated, not rounded: half a step up from 20 stays at 20, half a step
    // down gives 19. The slider clamps to its range and sets the zoom.
    zoomSlider->setValue(int(steps * zoomSlider->singleStep() + zoomSlider->value()));
    event->accept();
}
