#include "Records/AppSettings.h"

#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Records/AtomicWrite.h"

namespace fernwahrung {

namespace {

std::string file() {
  return PathString::join(Paths::supportDirectory(), "settings.json");
}

Json::Value toJson(const CapacityThresholds& thresholds) {
  return {{"imageWarnFraction", thresholds.imageWarnFraction},
          {"imageCriticalFraction", thresholds.imageCriticalFraction},
          {"externalWarnFreeGB", thresholds.externalWarnFreeGB},
          {"externalCriticalFreeGB", thresholds.externalCriticalFreeGB},
          {"internalWarnFreeGB", thresholds.internalWarnFreeGB},
          {"internalCriticalFreeGB", thresholds.internalCriticalFreeGB}};
}

void readIfThere(const Json::Value& object, const char* key, std::int64_t& number) {
  if (Json::has(object, key)) number = Json::integer(object, key);
}

void readIfThere(const Json::Value& object, const char* key, double& number) {
  if (Json::has(object, key)) number = Json::number(object, key);
}

void readIfThere(const Json::Value& object, const char* key, bool& flag) {
  if (Json::has(object, key)) flag = Json::flag(object, key);
}

CapacityThresholds thresholdsFromJson(const Json::Value& value) {
  CapacityThresholds thresholds;
  readIfThere(value, "imageWarnFraction", thresholds.imageWarnFraction);
  readIfThere(value, "imageCriticalFraction", thresholds.imageCriticalFraction);
  readIfThere(value, "externalWarnFreeGB", thresholds.externalWarnFreeGB);
  readIfThere(value, "externalCriticalFreeGB", thresholds.externalCriticalFreeGB);
  readIfThere(value, "internalWarnFreeGB", thresholds.internalWarnFreeGB);
  readIfThere(value, "internalCriticalFreeGB", thresholds.internalCriticalFreeGB);
  return thresholds;
}

}  // namespace

AppSettings AppSettings::load() {
  try {
    return settingsFromJson(Json::parse(FileOps::readFile(file())));
  } catch (const std::exception&) {
    return {};
  }
}

void AppSettings::save() const {
  Paths::ensure(Paths::supportDirectory());
  FileOps::atomicWrite(Json::print(toJson(*this)), file(), false);
}

Json::Value toJson(const AppSettings& settings) {
  Json::Value value = {{"thresholds", toJson(settings.thresholds)},
                       {"healthIntervalDays", settings.healthIntervalDays},
                       {"unmountBeforeSleep", settings.unmountBeforeSleep},
                       {"safeEject", settings.safeEject},
                       {"verifyBeforeMount", settings.verifyBeforeMount},
                       {"mountOnGuardedAppLaunch", settings.mountOnGuardedAppLaunch}};
  if (settings.lastHealthCheck) value["lastHealthCheck"] = Dates::iso8601(*settings.lastHealthCheck);
  return value;
}

AppSettings settingsFromJson(const Json::Value& value) {
  AppSettings settings;
  if (!value.is_object()) throw JsonError("Die Einstellungen sind kein JSON-Objekt.");
  if (Json::has(value, "thresholds"))
    settings.thresholds = thresholdsFromJson(Json::object(value, "thresholds"));
  readIfThere(value, "healthIntervalDays", settings.healthIntervalDays);
  settings.lastHealthCheck = Json::optionalDate(value, "lastHealthCheck");
  readIfThere(value, "unmountBeforeSleep", settings.unmountBeforeSleep);
  readIfThere(value, "safeEject", settings.safeEject);
  readIfThere(value, "verifyBeforeMount", settings.verifyBeforeMount);
  readIfThere(value, "mountOnGuardedAppLaunch", settings.mountOnGuardedAppLaunch);
  return settings;
}

}  // namespace fernwahrung
