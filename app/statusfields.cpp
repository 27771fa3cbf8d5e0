#include "app/statusfields.h"

#include <QLabel>
#include <QStatusBar>

StatusFields::StatusFields(QStatusBar *bar)
    : m_labelX(new QLabel(bar))
    , m_labelY(new QLabel(bar))
    , m_labelUser(new QLabel(bar))
    , m_labelFactory(new QLabel(bar))
    , m_labelFrames(new QLabel(bar))
    , m_labelFailed(new QLabel(bar))
    , m_labelFps(new QLabel(bar))
{
    // Left to right, each with the width of its usual text.
    const std::pair<QLabel *, int> fields[] = {
            {m_labelUser, 40},   {m_labelFactory, 40}, {m_labelX, 44},   {m_labelY, 44},
            {m_labelFrames, 64}, {m_labelFailed, 64},  {m_labelFps, 72},
    };
    for (const auto &field : fields) {
        field.first->setMinimumWidth(field.second);
        bar->addPermanentWidget(field.first, 0);
    }
}

// The texts are plain, not translated.

void StatusFields::showPosition(QPoint position)
{
    m_labelX->setText(QStringLiteral("x: %1").arg(position.x()));
    m_labelY->setText(QStringLiteral("y: %1").arg(position.y()));
}

void StatusFields::showListCounts(const QList<BadpixelEntry> &entries)
{
    int user = 0;
    for (const BadpixelEntry &entry : entries)
        user += entry.pixelClass == 1 ? 1 : 0;
    m_labelFactory->setText(QStringLiteral("F: %1").arg(entries.size() - user));
    m_labelUser->setText(QStringLiteral("U: %1").arg(user));
}

void StatusFields::showCounters(int frames, int failed, double framesPerSecond)
{
    m_labelFrames->setText(QStringLiteral("Frames: %1").arg(frames));
    m_labelFailed->setText(QStringLiteral("Failed: %1").arg(failed));
    m_labelFps->setText(QStringLiteral("FPS: ") + QString::number(framesPerSecond, 'f', 2));
}

void StatusFields::clearCounters()
{
    m_labelFrames->setText(QStringLiteral("Frames: 0"));
    m_labelFailed->setText(QStringLiteral("Failed: 0"));
    m_labelFps->setText(QStringLiteral("FPS: 0"));
}
