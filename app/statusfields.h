// The seven permanent fields at the right-hand end of the main window's status
// bar, from left to right: user and other pixels of the hot pixel list, the
// focus pixel's column and row, good and failed frames, and the frame rate.
// The left part of the bar stays free for messages. The window decides when
// each field changes; this class only knows how each one reads. The labels
// belong to the status bar; the object must not outlive it. GUI thread only.
#pragma once

#include "hotpixel/badpixellistmodel.h"

#include <QList>
#include <QPoint>

QT_BEGIN_NAMESPACE
class QLabel;
class QStatusBar;
QT_END_NAMESPACE

class StatusFields
{
public:
    // Adds the fields, empty, to bar.
    explicit StatusFields(QStatusBar *bar);

    // "x: %1", "y: %1".
    void showPosition(QPoint position);
    // "U: %1" counts the user pixels, "F: %1" every other row.
    void showListCounts(const QList<BadpixelEntry> &entries);
    // "Frames: %1", "Failed: %1", "FPS: " with two decimals.
    void showCounters(int frames, int failed, double framesPerSecond);
    // "Frames: 0", "Failed: 0", "FPS: 0": no camera is delivering.
    void clearCounters();

private:
    QLabel *m_labelX;
    QLabel *m_labelY;
    QLabel *m_labelUser;
    QLabel *m_labelFactory;
    QLabel *m_labelFrames;
    QLabel *m_labelFailed;
    QLabel *m_labelFps;
};
