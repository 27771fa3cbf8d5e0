#include "simulator/fleet.h"

#include "simulator/listfile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <unordered_map>

namespace TavoSim {

double darkSignal(double strength, double exposureMs, int gain)
{
    const double gainFactor = (1.0 + gain / 50.0) / (1.0 + kReferenceGain / 50.0);
    return strength * (exposureMs / kReferenceExposure) * gainFactor;
}

uint32_t plantCapacity(uint32_t width, uint32_t height)
{
    if (width < 16 || height < 16)
        return 0;
    const uint64_t blocks = uint64_t(width - 12) / 12 * ((height - 12) / 12);
    return uint32_t(std::min<uint64_t>(blocks, kPlantLimit));
}

std::vector<Defect> plantDefects(uint32_t width, uint32_t height, uint32_t seed, uint32_t count,
                                 const std::vector<int> &strengths, uint32_t factoryEvery)
{
    std::vector<Defect> result;
    if (width < 16 || height < 16 || strengths.empty())
        return result;
    uint64_t state = seed * 0x9E3779B97F4A7C15ull + 1;
    auto next = [&state]() {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return state;
    };
    // Two defects closer than kSpacing in both directions never share a cell
    // of this size, and a crowding one lies in the 3 x 3 cells around.
    constexpr int kSpacing = 6;
    const uint32_t columns = width / kSpacing + 1;
    std::unordered_map<uint32_t, uint32_t> cells; // cell -> index in result
    cells.reserve(count);
    result.reserve(count);
    const uint64_t maxAttempts = uint64_t(count) * 100;
    for (uint64_t attempts = 0; result.size() < count && attempts < maxAttempts; ++attempts) {
        const uint16_t x = uint16_t(6 + next() % (width - 12));
        const uint16_t y = uint16_t(6 + next() % (height - 12));
        const int cx = x / kSpacing;
        const int cy = y / kSpacing;
        bool crowded = false;
        for (int ny = cy - 1; ny <= cy + 1 && !crowded; ++ny) {
            for (int nx = cx - 1; nx <= cx + 1 && !crowded; ++nx) {
                const auto it = cells.find(uint32_t(ny) * columns + uint32_t(nx));
                if (it == cells.end())
                    continue;
                const Defect &d = result[it->second];
                crowded = std::abs(int(d.x) - x) < kSpacing && std::abs(int(d.y) - y) < kSpacing;
            }
        }
        if (crowded)
            continue;
        const uint32_t index = uint32_t(result.size());
        cells.emplace(uint32_t(cy) * columns + uint32_t(cx), index);
        Defect defect;
        defect.x = x;
        defect.y = y;
        defect.strength = uint16_t(strengths[index % strengths.size()]);
        defect.factory = factoryEvery > 0 && index % factoryEvery == 0;
        result.push_back(defect);
    }
    return result;
}

namespace {

// Strengths at the reference settings. None lies between 32 and 48, so that
// a detection at threshold 40 finds or misses each defect for certain.
const std::vector<int> kStrengths = {12, 60, 25, 90, 18, 130, 30, 75, 200, 22, 55, 160, 28, 240};

CameraProfile builtInCamera(uint32_t id, const char *serial, const char *model, uint16_t sensorType,
                            uint32_t width, uint32_t height, ColorFilter filter, int clockMax,
                            bool cameraMemory)
{
    CameraProfile profile;
    profile.deviceId = id;
    profile.cameraId = id;
    profile.serial = serial;
    profile.model = model;
    profile.sensorType = sensorType;
    profile.width = width;
    profile.height = height;
    profile.filter = filter;
    profile.clockMin = 5;
    profile.clockMax = clockMax;
    profile.clockDefault = clockMax;
    profile.cameraMemory = cameraMemory;
    profile.userCapacity = 1000;
    profile.defects = plantDefects(width, height, id * 7919u, 28, kStrengths, 3);
    return profile;
}

bool fail(std::string *error, const std::string &text)
{
    if (error)
        *error = text;
    return false;
}

// Reads the whole number under key, min to max, or fallback when it is absent.
bool readNumber(const QJsonObject &object, const char *key, int64_t fallback, int64_t min,
                int64_t max, const std::string &where, int64_t *value, std::string *error)
{
    const QJsonValue item = object.value(QLatin1String(key));
    if (item.isUndefined()) {
        *value = fallback;
        return true;
    }
    const double number = item.toDouble(std::nan(""));
    if (!item.isDouble() || !std::isfinite(number) || std::floor(number) != number || number < min
        || number > max)
        return fail(error,
                    where + ": \"" + key + "\" must be a whole number from " + std::to_string(min)
                            + " to " + std::to_string(max));
    *value = int64_t(number);
    return true;
}

bool readBool(const QJsonObject &object, const char *key, bool fallback, const std::string &where,
              bool *value, std::string *error)
{
    const QJsonValue item = object.value(QLatin1String(key));
    if (item.isUndefined()) {
        *value = fallback;
        return true;
    }
    if (!item.isBool())
        return fail(error, where + ": \"" + key + "\" must be true or false");
    *value = item.toBool();
    return true;
}

bool readString(const QJsonObject &object, const char *key, const char *fallback,
                const std::string &where, std::string *value, std::string *error)
{
    const QJsonValue item = object.value(QLatin1String(key));
    if (!item.isUndefined() && !item.isString())
        return fail(error, where + ": \"" + key + "\" must be a string");
    *value = item.toString(QLatin1String(fallback)).toStdString();
    return true;
}

bool checkKeys(const QJsonObject &object, const std::set<QString> &known, const std::string &where,
               std::string *error)
{
    for (const QString &key : object.keys()) {
        if (!known.count(key))
            return fail(error, where + ": unknown key \"" + key.toStdString() + "\"");
    }
    return true;
}

// [[x, y, strength], ...] or, for the factory list, [[x, y], ...].
bool readDefects(const QJsonObject &object, const char *key, bool factory, std::vector<Defect> *out,
                 const CameraProfile &profile, const std::string &where, std::string *error)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isUndefined())
        return true;
    if (!value.isArray())
        return fail(error, where + ": \"" + key + "\" is not an array");
    const QJsonArray items = value.toArray();
    if (items.size() > int(kPlantLimit))
        return fail(error,
                    where + ": \"" + key + "\" holds more than " + std::to_string(kPlantLimit)
                            + " pixels");
    for (const QJsonValue &item : items) {
        const QJsonArray triple = item.toArray();
        if (!item.isArray() || triple.size() < 2 || triple.size() > 3)
            return fail(error,
                        where + ": an item of \"" + key
                                + "\" is not an array [x, y] or [x, y, strength]");
        const QJsonObject fields {{"x", triple.at(0)},
                                  {"y", triple.at(1)},
                                  {"strength", triple.size() == 3 ? triple.at(2) : QJsonValue(0)}};
        const std::string itemWhere = where + ", " + key;
        int64_t x = 0;
        int64_t y = 0;
        int64_t strength = 0;
        if (!readNumber(fields, "x", 0, 0, profile.width - 1, itemWhere, &x, error)
            || !readNumber(fields, "y", 0, 0, profile.height - 1, itemWhere, &y, error)
            || !readNumber(fields, "strength", 0, 0, 1000, itemWhere, &strength, error))
            return false;
        Defect defect;
        defect.x = uint16_t(x);
        defect.y = uint16_t(y);
        defect.strength = uint16_t(strength);
        defect.factory = factory;
        out->push_back(defect);
    }
    return true;
}

bool readPlanted(const QJsonObject &object, CameraProfile *profile, const std::string &where,
                 std::string *error)
{
    const QJsonValue value = object.value(QLatin1String("plantDefects"));
    if (value.isUndefined())
        return true;
    const std::string plantWhere = where + ", plantDefects";
    if (!value.isObject())
        return fail(error, plantWhere + ": not an object");
    const QJsonObject planted = value.toObject();
    if (!checkKeys(planted, {"count", "seed", "strengths", "factoryEvery"}, plantWhere, error))
        return false;
    const uint32_t capacity = plantCapacity(profile->width, profile->height);
    int64_t count = 0;
    int64_t seed = 0;
    int64_t factoryEvery = 0;
    if (!readNumber(planted, "count", std::min<int64_t>(28, capacity), 0, capacity, plantWhere,
                    &count, error)
        || !readNumber(planted, "seed", profile->deviceId, 0, UINT32_MAX, plantWhere, &seed, error)
        || !readNumber(planted, "factoryEvery", 3, 0, kPlantLimit, plantWhere, &factoryEvery,
                       error))
        return false;
    const QJsonValue strengthValue = planted.value(QLatin1String("strengths"));
    if (!strengthValue.isUndefined() && !strengthValue.isArray())
        return fail(error, plantWhere + ": \"strengths\" is not an array");
    std::vector<int> strengths;
    const QJsonArray strengthItems = strengthValue.toArray();
    if (strengthItems.size() > int(kPlantLimit))
        return fail(error, plantWhere + ": \"strengths\" holds too many values");
    for (const QJsonValue &item : strengthItems) {
        int64_t strength = 0;
        if (!readNumber(QJsonObject {{"strengths", item}}, "strengths", 0, 0, 1000, plantWhere,
                        &strength, error))
            return false;
        strengths.push_back(int(strength));
    }
    if (strengths.empty())
        strengths = kStrengths;
    const auto more = plantDefects(profile->width, profile->height, uint32_t(seed), uint32_t(count),
                                   strengths, uint32_t(factoryEvery));
    profile->defects.insert(profile->defects.end(), more.begin(), more.end());
    return true;
}

bool readCamera(const QJsonObject &object, int index, CameraProfile *profile, std::string *error)
{
    const std::string where = "camera " + std::to_string(index + 1);
    static const std::set<QString> known
            = {"deviceId",    "cameraId",     "thirdWord",        "serial",         "model",
               "sensorType",  "width",        "height",           "color",          "colorMode",
               "pixelClock",  "cameraMemory", "userCapacity",     "factoryDefects", "defects",
               "factoryList", "plantDefects", "firmwareUploadMs", "frameLossRate",  "covered"};
    if (!checkKeys(object, known, where, error))
        return false;
    int64_t deviceId = 0;
    int64_t cameraId = 0;
    int64_t thirdWord = 0;
    if (!readNumber(object, "deviceId", std::min(index + 1, 0x7FFF), 1, 0x7FFF, where, &deviceId,
                    error)
        || !readNumber(object, "cameraId", deviceId, 1, 0x7FFF, where, &cameraId, error)
        || !readNumber(object, "thirdWord", 0, 0, UINT32_MAX, where, &thirdWord, error))
        return false;
    profile->deviceId = uint32_t(deviceId);
    profile->cameraId = uint32_t(cameraId);
    profile->thirdWord = uint32_t(thirdWord);
    if (!readString(object, "serial", "", where, &profile->serial, error)
        || !readString(object, "model", "TV-SIM", where, &profile->model, error))
        return false;
    if (profile->serial.empty() || profile->serial.size() > 15)
        return fail(error, where + ": \"serial\" must have 1 to 15 characters");
    // The serial names the camera's files.
    const bool plainSerial
            = std::all_of(profile->serial.begin(), profile->serial.end(), [](char c) {
                  return static_cast<unsigned char>(c) > ' ' && c != '/' && c != 0x7F;
              });
    if (!plainSerial || profile->serial == "." || profile->serial == "..")
        return fail(error, where + ": \"serial\" must not hold a space, a control character or /");
    if (profile->model.size() > 79)
        return fail(error, where + ": \"model\" is longer than 79 characters");
    const QJsonValue sensorType = object.value(QLatin1String("sensorType"));
    int64_t type = 0;
    if (sensorType.isString()) {
        bool ok = false;
        type = sensorType.toString().toUInt(&ok, 0);
        if (!ok || type > 0xFFFF)
            return fail(error, where + ": \"sensorType\" must be a number from 0 to 65535");
    } else if (!readNumber(object, "sensorType", 0x100, 0, 0xFFFF, where, &type, error)) {
        return false;
    }
    profile->sensorType = uint16_t(type);
    int64_t width = 0;
    int64_t height = 0;
    if (!readNumber(object, "width", 0, 16, 8192, where, &width, error)
        || !readNumber(object, "height", 0, 16, 8192, where, &height, error))
        return false;
    if (!object.contains(QLatin1String("width")) || !object.contains(QLatin1String("height")))
        return fail(error, where + ": \"width\" and \"height\" are required");
    profile->width = uint32_t(width);
    profile->height = uint32_t(height);
    std::string color;
    if (!readString(object, "color", "mono", where, &color, error))
        return false;
    if (color == "mono")
        profile->filter = ColorFilter::Mono;
    else if (color == "bayer")
        profile->filter = ColorFilter::Bayer;
    else
        return fail(error, where + ": \"color\" must be \"mono\" or \"bayer\"");
    int64_t colorMode = 0;
    if (!readNumber(object, "colorMode", -1, 0, 0x7FFF, where, &colorMode, error))
        return false;
    profile->reportedColorMode = int(colorMode);
    const QJsonValue clockValue = object.value(QLatin1String("pixelClock"));
    if (!clockValue.isUndefined() && !clockValue.isObject())
        return fail(error, where + ": \"pixelClock\" is not an object");
    const QJsonObject clock = clockValue.toObject();
    const std::string clockWhere = where + ", pixelClock";
    int64_t clockMin = 0;
    int64_t clockMax = 0;
    int64_t clockDefault = 0;
    // An absent maximum is 40, or the minimum given if that is higher.
    if (!checkKeys(clock, {"min", "max", "default"}, clockWhere, error)
        || !readNumber(clock, "min", 5, 1, 0x7FFF, clockWhere, &clockMin, error)
        || !readNumber(clock, "max", std::max<int64_t>(40, clockMin), clockMin, 0x7FFF, clockWhere,
                       &clockMax, error)
        || !readNumber(clock, "default", clockMax, clockMin, clockMax, clockWhere, &clockDefault,
                       error))
        return false;
    profile->clockMin = int(clockMin);
    profile->clockMax = int(clockMax);
    profile->clockDefault = int(clockDefault);
    int64_t capacity = 0;
    int64_t uploadMs = 0;
    if (!readBool(object, "cameraMemory", true, where, &profile->cameraMemory, error)
        || !readBool(object, "covered", false, where, &profile->covered, error)
        || !readNumber(object, "userCapacity", 1000, 0, kUserListLimit, where, &capacity, error)
        || !readNumber(object, "firmwareUploadMs", 0, 0, 600000, where, &uploadMs, error))
        return false;
    profile->userCapacity = uint32_t(capacity);
    profile->firmwareUploadMs = int(uploadMs);
    const QJsonValue lossRate = object.value(QLatin1String("frameLossRate"));
    profile->frameLossRate = lossRate.toDouble(0.0);
    if (!lossRate.isUndefined()
        && (!lossRate.isDouble() || !(profile->frameLossRate >= 0.0)
            || profile->frameLossRate > 1.0))
        return fail(error, where + ": \"frameLossRate\" must be a number from 0 to 1");
    std::vector<Defect> plain;
    if (!readDefects(object, "factoryDefects", true, &profile->defects, *profile, where, error)
        || !readDefects(object, "defects", false, &profile->defects, *profile, where, error)
        || !readDefects(object, "factoryList", true, &plain, *profile, where, error)
        || !readPlanted(object, profile, where, error))
        return false;
    profile->extraFactory = plain;
    return true;
}

} // namespace

Fleet Fleet::builtIn()
{
    Fleet fleet;
    fleet.cameras.push_back(builtInCamera(1, "4103000101", "TV-M1310", 0x0120, 1280, 1024,
                                          ColorFilter::Mono, 43, true));
    fleet.cameras.push_back(builtInCamera(2, "4103000102", "TV-C3100", 0x0131, 2048, 1536,
                                          ColorFilter::Bayer, 86, true));
    CameraProfile third = builtInCamera(3, "4103000103", "TV-C1920", 0x0125, 1600, 1200,
                                        ColorFilter::Bayer, 40, false);
    third.clockDefault = 30;
    fleet.cameras.push_back(third);
    return fleet;
}

bool Fleet::load(const std::string &path, Fleet *fleet, std::string *error)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly))
        return fail(error, file.errorString().toStdString());
    constexpr qint64 kLimit = 16 << 20;
    const QByteArray text = file.read(kLimit + 1);
    if (text.size() > kLimit)
        return fail(error, "the file is larger than 16 MiB");
    return parse(text, fleet, error);
}

bool Fleet::parse(const QByteArray &text, Fleet *fleet, std::string *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(text, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return fail(error,
                    parseError.errorString().toStdString() + " at byte "
                            + std::to_string(parseError.offset));
    const QJsonValue cameras = document.object().value("cameras");
    if (!document.isObject() || !cameras.isArray())
        return fail(error, "the file holds no object with a \"cameras\" array");
    Fleet result;
    std::set<uint32_t> deviceIds;
    std::set<std::string> serials;
    int index = 0;
    for (const QJsonValue &value : cameras.toArray()) {
        if (!value.isObject())
            return fail(error, "camera " + std::to_string(index + 1) + " is not an object");
        CameraProfile profile;
        if (!readCamera(value.toObject(), index, &profile, error))
            return false;
        if (!deviceIds.insert(profile.deviceId).second)
            return fail(error,
                        "camera " + std::to_string(index + 1) + ": deviceId "
                                + std::to_string(profile.deviceId) + " is used twice");
        if (!serials.insert(profile.serial).second)
            return fail(error,
                        "camera " + std::to_string(index + 1) + ": serial " + profile.serial
                                + " is used twice");
        result.cameras.push_back(profile);
        ++index;
    }
    *fleet = result;
    return true;
}

} // namespace TavoSim
