#include "camera/camerarow.h"

#include <QObject>

#include <cstring>

namespace {

QString textOf(const char *field, std::size_t size)
{
    return QString::fromLatin1(field, int(strnlen(field, size)));
}

} // namespace

CameraRow::CameraRow(const CameraListEntry &entry)
    : cameraId(entry.cameraId)
    , deviceId(entry.deviceId)
    , thirdWord(entry.thirdWord)
    , inUse(entry.inUse)
    , serial(textOf(entry.serial, sizeof(entry.serial)))
    , model(textOf(entry.model, sizeof(entry.model)))
{ }

QVariant CameraRow::value(int column) const
{
    switch (column) {
    case 0:
        return QVariant(qulonglong(cameraId));
    case 1:
        return QVariant(qulonglong(deviceId));
    case 2:
        return model;
    case 3:
        return serial;
    case 4:
        return statusText();
    default:
        return QVariant();
    }
}

QString CameraRow::statusText() const
{
    // A camera that the library reports as free is free, whatever we think.
    if (inUse == 0)
        return QObject::tr("free");
    if (open)
        return QObject::tr("opened");
    return QObject::tr("in use");
}

bool CameraRow::operator==(const CameraRow &other) const
{
    return open == other.open && cameraId == other.cameraId && deviceId == other.deviceId
            && thirdWord == other.thirdWord && inUse == other.inUse && serial == other.serial
            && model == other.model;
}
