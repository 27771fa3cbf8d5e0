#include "tests/camera/apispy.h"

#include "camera/tavo_api.h"

#include <QElapsedTimer>
#include <QHash>
#include <QThread>
#include <QVector>

#include <dlfcn.h>
#include <pthread.h>

#include <condition_variable>
#include <mutex>

namespace {

std::mutex mutex;
QVector<QPair<QByteArray, QString>> noted; // function, arguments
QVector<QPair<QByteArray, QPair<int, int>>> faults; // function, (calls to pass, status)
QHash<QPair<unsigned int, unsigned int>, int> waitsEnded; // (code, handle), count
std::condition_variable hangEnded;
unsigned int hangHandle = 0; // the handle whose next wait hangs; 0: none
bool hung = false;

// Notes the call; true with the status when it is to fail.
bool note(const char *function, const QVector<double> &args, int32_t *status)
{
    QStringList words;
    for (double arg : args)
        words.append(QString::number(arg, 'g', 17));
    std::lock_guard<std::mutex> locker(mutex);
    noted.append({QByteArray(function), words.join(QLatin1Char(' '))});
    for (int i = 0; i < faults.size(); ++i) {
        if (faults.at(i).first == function && faults[i].second.first-- == 0) {
            *status = faults.takeAt(i).second.second;
            return true;
        }
    }
    return false;
}

} // namespace

void ApiSpy::reset()
{
    std::lock_guard<std::mutex> locker(mutex);
    noted.clear();
    faults.clear();
    waitsEnded.clear();
    hangHandle = 0;
    hung = false;
    hangEnded.notify_all();
}

int ApiSpy::reported(unsigned int code, unsigned int handle)
{
    std::lock_guard<std::mutex> locker(mutex);
    return waitsEnded.value({code, handle});
}

bool ApiSpy::awaitReported(unsigned int code, unsigned int handle, int count)
{
    QElapsedTimer clock;
    clock.start();
    while (reported(code, handle) < count && clock.elapsed() < 20000)
        QThread::yieldCurrentThread();
    return reported(code, handle) >= count;
}

QStringList ApiSpy::calls(const char *function)
{
    std::lock_guard<std::mutex> locker(mutex);
    QStringList result;
    for (const auto &call : qAsConst(noted)) {
        if (call.first == function)
            result.append(call.second);
    }
    return result;
}

QStringList ApiSpy::sequence()
{
    std::lock_guard<std::mutex> locker(mutex);
    QStringList result;
    for (const auto &call : qAsConst(noted)) {
        // The operation: after the handle for tv_Event, first for the others.
        const int word = call.first == "tv_Event" ? 1 : 0;
        const bool operation = word == 1 || call.first == "tv_HotPixel" || call.first == "tv_AOI";
        result.append(
                QString::fromLatin1(call.first)
                + (operation ? QLatin1Char(' ') + call.second.section(QLatin1Char(' '), word, word)
                             : QString()));
    }
    return result;
}

void ApiSpy::fail(const char *function, int status, int skip)
{
    std::lock_guard<std::mutex> locker(mutex);
    faults.append({QByteArray(function), {skip, status}});
}

void ApiSpy::hangNextWait(unsigned int handle)
{
    std::lock_guard<std::mutex> locker(mutex);
    hangHandle = handle;
}

bool ApiSpy::hanging()
{
    std::lock_guard<std::mutex> locker(mutex);
    return hung;
}

#define SPY(name, params, args, ...)                                                               \
    TAVO_API int32_t name params                                                                   \
    {                                                                                              \
        static const auto real = reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, #name));     \
        int32_t status = 0;                                                                        \
        return note(#name, {__VA_ARGS__}, &status) ? status : real args;                           \
    }

SPY(tv_InitCamera, (uint32_t * h, void *w), (h, w), double(*h))
SPY(tv_ExitCamera, (cameraHandle h), (h))
SPY(tv_AllocImageMem, (cameraHandle h, int32_t w, int32_t ht, int32_t b, char **m, int32_t *id),
    (h, w, ht, b, m, id), double(b))
SPY(tv_FreeImageMem, (cameraHandle h, char *m, int32_t id), (h, m, id), double(id))
SPY(tv_AddToSequence, (cameraHandle h, char *m, int32_t id), (h, m, id), double(id))
SPY(tv_ClearSequence, (cameraHandle h), (h))
SPY(tv_StopLiveVideo, (cameraHandle h, int32_t w), (h, w), double(w))
SPY(tv_SetPixelClock, (cameraHandle h, int32_t c), (h, c), double(c))
SPY(tv_SetFrameRate, (cameraHandle h, double f, double *a), (h, f, a), f)
SPY(tv_SetExposureTime, (cameraHandle h, double e, double *a), (h, e, a), e)
SPY(tv_SetHardwareGain, (cameraHandle h, int32_t m, int32_t r, int32_t g, int32_t b),
    (h, m, r, g, b), double(m), double(r), double(g), double(b))
SPY(tv_GetDuration, (cameraHandle h, uint32_t m, int32_t *ms), (h, m, ms), double(m))
SPY(tv_GetSensorInfo, (cameraHandle h, SensorInfo *i), (h, i))
SPY(tv_SetColorMode, (cameraHandle h, int32_t m), (h, m), double(m))
SPY(tv_AOI, (cameraHandle h, uint32_t c, void *p, uint32_t s), (h, c, p, s), double(c))
SPY(tv_HotPixel, (cameraHandle h, uint32_t c, void *p, uint32_t s), (h, c, p, s), double(c))
SPY(tv_CaptureVideo, (cameraHandle h, int32_t w), (h, w), double(w))
SPY(tv_GetFramesPerSecond, (cameraHandle h, double *f), (h, f))
SPY(tv_GetPixelClockRange, (cameraHandle h, int32_t *a, int32_t *b), (h, a, b))
SPY(tv_GetFrameTimeRange, (cameraHandle h, double *a, double *b, double *c), (h, a, b, c))
SPY(tv_GetExposureRange, (cameraHandle h, double *a, double *b, double *c), (h, a, b, c))

// The waits are not noted; the code of a registration is the first word of its EventInit.
TAVO_API int32_t tv_Event(cameraHandle handle, uint32_t operation, void *parameter, uint32_t size)
{
    static const auto real = reinterpret_cast<decltype(&::tv_Event)>(dlsym(RTLD_NEXT, "tv_Event"));
    int32_t status = 0;
    if (operation != TV_EVT_OP_WAIT) {
        QVector<double> args {double(handle), double(operation)};
        const uint32_t codes = operation == TV_EVT_OP_REGISTER ? 1 : size / 4;
        for (uint32_t i = 0; parameter && i < codes; ++i)
            args.append(static_cast<const uint32_t *>(parameter)[i]);
        return note("tv_Event", args, &status) ? status : real(handle, operation, parameter, size);
    }
    std::unique_lock<std::mutex> locker(mutex);
    if (handle != 0 && handle == hangHandle) {
        hangHandle = 0;
        hung = true;
        // Deaf for the rest of the thread's life: a termination asked for now
        // would otherwise strike wherever it next could.
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        hangEnded.wait_for(locker, std::chrono::seconds(20), [] { return !hung; });
        hung = false;
        return -1;
    }
    locker.unlock();
    status = real(handle, operation, parameter, size);
    if (status == TV_SUCCESS) {
        locker.lock();
        ++waitsEnded[{static_cast<const EventWait *>(parameter)->signaled, handle}];
    }
    return status;
}
