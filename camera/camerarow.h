// One row of the camera list: a camera as the library reports it, and whether
// it is the one this process has opened. A plain value; a default row stands
// for no selection.
#pragma once

#include "camera/tavo_api.h"

#include <QString>
#include <QVariant>

struct CameraRow
{
    CameraRow() = default;
    explicit CameraRow(const CameraListEntry &entry);

    // The cell of a column: 0 camera id, 1 device id, 2 model, 3 serial
    // number, 4 status text; an invalid QVariant for any other column.
    QVariant value(int column) const;
    // "free", "opened" or "in use".
    QString statusText() const;

    bool operator==(const CameraRow &other) const;
    bool operator!=(const CameraRow &other) const { return !(*this == other); }

    bool open = false;
    quint32 cameraId = 0;
    quint32 deviceId = 0;
    quint32 thirdWord = 0;
    quint32 inUse = 0;
    QString serial;
    QString model;
};
