#include "simulator/fleet.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>

namespace TavoSim {

double darkSignal(double strength, double exposureMs, int gain)
{
    const double gainFactor = (1.0 + gain / 50.0) / (1.0 + kReferenceGain / 50.0);
    return strength * (exposureMs / kReferenceExposure) * gainFactor;
}

std::vector<Defect> plantDefects(uint32_t width, uint32_t height, uint32_t seed, int count,
                                 const std::vector<int> &strengths, int factoryEvery)
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
    int attempts = 0;
    while (int(result.size()) < count && attempts < count * 100) {
        ++attempts;
        const uint16_t x = uint16_t(6 + next() % (width - 12));
        const uint16_t y = uint16_t(6 + next() % (height - 12));
        const bool crowded = std::any_of(result.begin(), result.end(), [&](const Defect &d) {
            return std::abs(int(d.x) - x) < 6 && std::abs(int(d.y) - y) < 6;
        });
        if (crowded)
            continue;
        Defect defect;
        defect.x = x;
        defect.y = y;
        const int index = int(result.size());
        defect.strength = uint16_t(strengths[size_t(index) % strengths.size()]);
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

bool readDefects(const QJsonValue &value, bool factory, std::vector<Defect> *out,
                 const CameraProfile &profile, std::string *error)
{
    if (value.isUndefined())
        return true;
    if (!value.isArray())
        return fail(error,
                    "\"" + std::string(factory ? "factoryDefects" : "defects") + "\" of camera "
                            + profile.serial + " is not an array");
    for (const QJsonValue &item : value.toArray()) {
        const QJsonArray triple = item.toArray();
        if (triple.size() < 2 || triple.size() > 3)
            return fail(error,
                        "a defect of camera " + profile.serial
                                + " is not an array [x, y] or [x, y, strength]");
        const int x = triple.at(0).toInt(-1);
        const int y = triple.at(1).toInt(-1);
        const int strength = triple.size() == 3 ? triple.at(2).toInt(-1) : 0;
        if (x < 0 || y < 0 || uint32_t(x) >= profile.width || uint32_t(y) >= profile.height
            || strength < 0 || strength > 1000)
            return fail(error,
                        "a defect of camera " + profile.serial
                                + " lies outside the sensor or has a bad strength");
        Defect defect;
        defect.x = uint16_t(x);
        defect.y = uint16_t(y);
        defect.strength = uint16_t(strength);
        defect.factory = factory;
        out->push_back(defect);
    }
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
    for (const QString &key : object.keys()) {
        if (!known.count(key))
            return fail(error, where + ": unknown key \"" + key.toStdString() + "\"");
    }
    profile->deviceId = uint32_t(object.value("deviceId").toInt(index + 1));
    profile->cameraId = uint32_t(object.value("cameraId").toInt(int(profile->deviceId)));
    profile->thirdWord = uint32_t(object.value("thirdWord").toInt(0));
    profile->serial = object.value("serial").toString().toStdString();
    profile->model = object.value("model").toString("TV-SIM").toStdString();
    if (profile->deviceId < 1 || profile->deviceId > 0x7FFF)
        return fail(error, where + ": \"deviceId\" must lie between 1 and 32767");
    if (profile->serial.empty() || profile->serial.size() > 15)
        return fail(error, where + ": \"serial\" must have 1 to 15 characters");
    if (profile->model.size() > 79)
        return fail(error, where + ": \"model\" is longer than 79 characters");
    const QJsonValue sensorType = object.value("sensorType");
    bool ok = true;
    if (sensorType.isString())
        profile->sensorType = uint16_t(sensorType.toString().toUInt(&ok, 0));
    else
        profile->sensorType = uint16_t(sensorType.toInt(0x100));
    if (!ok)
        return fail(error, where + ": \"sensorType\" is not a number");
    profile->width = uint32_t(object.value("width").toInt(0));
    profile->height = uint32_t(object.value("height").toInt(0));
    if (profile->width < 16 || profile->height < 16 || profile->width > 8192
        || profile->height > 8192)
        return fail(error, where + ": \"width\" and \"height\" must lie between 16 and 8192");
    const QString color = object.value("color").toString("mono");
    if (color == "mono")
        profile->filter = ColorFilter::Mono;
    else if (color == "bayer")
        profile->filter = ColorFilter::Bayer;
    else
        return fail(error, where + ": \"color\" must be \"mono\" or \"bayer\"");
    profile->reportedColorMode = object.value("colorMode").toInt(-1);
    const QJsonObject clock = object.value("pixelClock").toObject();
    profile->clockMin = clock.value("min").toInt(5);
    profile->clockMax = clock.value("max").toInt(40);
    profile->clockDefault = clock.value("default").toInt(profile->clockMax);
    if (profile->clockMin < 1 || profile->clockMax < profile->clockMin
        || profile->clockMax >= 0x8000 || profile->clockDefault < profile->clockMin
        || profile->clockDefault > profile->clockMax)
        return fail(error, where + ": \"pixelClock\" needs 1 <= min <= default <= max < 32768");
    profile->cameraMemory = object.value("cameraMemory").toBool(true);
    profile->userCapacity = uint32_t(object.value("userCapacity").toInt(1000));
    profile->firmwareUploadMs = object.value("firmwareUploadMs").toInt(0);
    profile->frameLossRate = object.value("frameLossRate").toDouble(0.0);
    profile->covered = object.value("covered").toBool(false);
    if (profile->frameLossRate < 0.0 || profile->frameLossRate > 1.0)
        return fail(error, where + ": \"frameLossRate\" must lie between 0 and 1");
    if (profile->firmwareUploadMs < 0 || profile->firmwareUploadMs > 600000)
        return fail(error, where + ": \"firmwareUploadMs\" must lie between 0 and 600000");
    if (!readDefects(object.value("factoryDefects"), true, &profile->defects, *profile, error)
        || !readDefects(object.value("defects"), false, &profile->defects, *profile, error))
        return false;
    std::vector<Defect> plain;
    if (!readDefects(object.value("factoryList"), true, &plain, *profile, error))
        return false;
    profile->extraFactory = plain;
    const QJsonValue planted = object.value("plantDefects");
    if (!planted.isUndefined()) {
        const QJsonObject p = planted.toObject();
        std::vector<int> strengths;
        for (const QJsonValue &s : p.value("strengths").toArray())
            strengths.push_back(s.toInt());
        if (strengths.empty())
            strengths = kStrengths;
        const auto more = plantDefects(profile->width, profile->height,
                                       uint32_t(p.value("seed").toInt(int(profile->deviceId))),
                                       p.value("count").toInt(28), strengths,
                                       p.value("factoryEvery").toInt(3));
        profile->defects.insert(profile->defects.end(), more.begin(), more.end());
    }
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
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
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
