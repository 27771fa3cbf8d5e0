// A recording shim in front of the camera library for the camera tests. The
// test program defines the tv_ functions below itself; they note each call,
// can fail it on request without reaching the library (leaving its outputs
// untouched), and otherwise pass it on to the simulated library. Thread-safe:
// the event threads call tv_Event concurrently.
#pragma once

#include "camera/tavo_api.h"

#include <QByteArray>
#include <QVector>

namespace ApiSpy {

struct Call
{
    QByteArray function;
    QVector<double> args; // numeric arguments in order; tv_Event adds the codes it carries
};

// Forgets the calls, the faults and the overrides.
void reset();
// The calls noted since the last reset, optionally only those of one function.
QVector<Call> calls(const char *function = nullptr);
int count(const char *function);
// The calls of tv_Event with this operation.
QVector<Call> eventCalls(unsigned operation);

// Makes the next `times` calls of the function return status (times 0:
// always). With a selector, only calls whose first code argument (the
// operation of tv_Event, the command of tv_AOI and tv_HotPixel, the mode of
// tv_SetColorMode) equals it are failed. `skip` matching calls pass first.
void fail(const char *function, int status, int times = 1, long selector = -1, int skip = 0);

// tv_GetSensorInfo reports this sensor type (-1: the library's own).
void setSensorType(int type);
// tv_SetColorMode with the query answers this mode (-1: the library's own).
void setColorModeAnswer(int mode);

// tv_GetNumberOfCameras and tv_GetCameraList report these entries instead of
// the library's cameras, until the next reset.
void replaceCameraList(const QVector<CameraListEntry> &entries);
CameraListEntry entry(quint32 cameraId, quint32 deviceId, quint32 inUse, const char *serial,
                      const char *model, quint32 thirdWord = 0);

} // namespace ApiSpy
