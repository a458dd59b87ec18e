#include "helper/CommandTable.h"
#include "helper/Failure.h"
#include "helper/TextColumns.h"

#include "Foundation/Text.h"
#include "Records/AppSettings.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

constexpr std::int64_t greatestNumber = 1'000'000;

using Pointer = Json::Value::json_pointer;

/// "thresholds.imageWarnFraction" for "/thresholds/imageWarnFraction", and back.
std::string dotted(const std::string& pointer) {
  return Text::replacingAll(pointer.substr(1), "/", ".");
}
Pointer pointer(const std::string& key) {
  return Pointer(
      "/" + Text::replacingAll(Text::replacingAll(Text::replacingAll(key, "~", "~0"), "/", "~1"), ".", "/"));
}

std::string lines(const Json::Value& settings) {
  std::string text;
  const Json::Value flat = settings.flatten();
  for (const auto& [path, value] : flat.items()) text += fmt::format("{} = {}\n", dotted(path), value.dump());
  return text;
}

/// The text as a value of the kind that the setting has now.
Json::Value parsed(const std::string& key, const std::string& text, const Json::Value& present) {
  const Json::Value value = Json::Value::parse(text, nullptr, false);
  if (present.is_boolean()) {
    if (value.is_boolean()) return value;
    throw UsageError(fmt::format("„{}“ ist „true“ oder „false“.", key));
  }
  if (present.is_number_integer()) {
    if (value.is_number_integer() && value >= 0 && value <= greatestNumber) return value;
    throw UsageError(fmt::format("„{}“ ist eine ganze Zahl von 0 bis {}.", key, greatestNumber));
  }
  if (present.is_number()) {
    if (value.is_number() && value >= 0) return value;
    throw UsageError(fmt::format("„{}“ ist eine Zahl von 0 bis 1, z. B. 0.85.", key));
  }
  throw UsageError(fmt::format("„{}“ lässt sich nicht setzen.", key));
}

bool isValid(const CapacityThresholds& thresholds) {
  return thresholds.imageWarnFraction < thresholds.imageCriticalFraction &&
         thresholds.imageCriticalFraction <= 1 &&
         thresholds.externalCriticalFreeGB < thresholds.externalWarnFreeGB &&
         thresholds.internalCriticalFreeGB < thresholds.internalWarnFreeGB;
}

class SettingsCommand : public Command {
 public:
  void declare(Arguments& arguments) override {
    arguments.optionalPositional("KEY", "der Name einer Einstellung, z. B. thresholds.imageWarnFraction",
                                 key_);
    arguments.optionalPositional("VALUE", "ihr neuer Wert", value_);
  }

  ExitCode run(Session& session) override {
    Json::Value settings = toJson(AppSettings::load());
    if (!key_) {
      show(settings, session);
      return ExitCode::done;
    }
    settings.emplace("lastHealthCheck", nullptr);  // known by its name although there was none yet
    if (!settings.contains(pointer(*key_)))
      throw UsageError(fmt::format("Die Einstellung „{}“ ist unbekannt. Es gibt:\n{}", visible(*key_),
                                   Text::trimmed(lines(settings))));
    Json::Value& present = settings[pointer(*key_)];
    if (value_) {
      present = parsed(*key_, *value_, present);
      save(settings, /*checksThresholds=*/key_->starts_with("thresholds."));
    }
    show(present, session);
    return ExitCode::done;
  }

 private:
  /// Thresholds edited by hand are no hindrance to setting something else.
  static void save(const Json::Value& settings, bool checksThresholds) {
    const AppSettings changed = settingsFromJson(settings);
    if (checksThresholds && !isValid(changed.thresholds))
      throw UsageError("Die kritische Schwelle muss strenger sein als die Warnung.");
    changed.save();
  }

  static void show(const Json::Value& value, Session& session) {
    if (session.json()) {
      session.printJson(value);
    } else {
      session.print(value.is_object() ? lines(value) : value.dump() + "\n");
    }
  }

  std::optional<std::string> key_;
  std::optional<std::string> value_;
};

}  // namespace

const CommandEntry settingsCommand{.name = "settings",
                                   .summary = "zeigt die Einstellungen, liest eine oder setzt sie",
                                   .details = "",
                                   .make = makeCommand<SettingsCommand>};

}  // namespace fernwahrung
