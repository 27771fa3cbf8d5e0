#include "tests/camera/apispy.h"

#include "camera/tavo_api.h"

#include <QVector>

#include <dlfcn.h>

#include <mutex>

namespace {

std::mutex mutex;
QVector<QPair<QByteArray, QString>> noted;
QVector<QPair<QByteArray, QPair<int, int>>> faults; // function, (calls to pass, status)

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
}

QStringList ApiSpy::calls(const char *function)
{
    std::lock_guard<std::mutex> locker(mutex);
    QStringList result;
    for (const auto &call : qAsConst(noted)) {
        if (!function)
            result.append(QString::fromLatin1(call.first));
        else if (call.first == function)
            result.append(call.second);
    }
    return result;
}

void ApiSpy::fail(const char *function, int status, int skip)
{
    std::lock_guard<std::mutex> locker(mutex);
    faults.append({QByteArray(function), {skip, status}});
}

#define REAL(name) reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, #name))
#define SPY(name, params, args, ...)                                                               \
    TAVO_API int32_t name params                                                                   \
    {                                                                                              \
        static const auto real = REAL(name);                                                       \
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

TAVO_API int32_t tv_Event(cameraHandle handle, uint32_t operation, void *parameter, uint32_t size)
{
    static const auto real = REAL(tv_Event);
    QVector<double> args {double(handle), double(operation)};
    // The code of a registration is the first word of its EventInit.
    const uint32_t codes = operation == TV_EVT_OP_REGISTER ? 1 : size / 4;
    for (uint32_t i = 0; operation != TV_EVT_OP_WAIT && parameter && i < codes; ++i)
        args.append(static_cast<const uint32_t *>(parameter)[i]);
    int32_t status = 0;
    if (operation != TV_EVT_OP_WAIT && note("tv_Event", args, &status))
        return status;
    return real(handle, operation, parameter, size);
}
