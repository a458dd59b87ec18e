#include "Records/MountPause.h"

#include "Foundation/Clock.h"
#include "Foundation/Log.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Platform/FileInfo.h"
#include "Records/AtomicWrite.h"

#include <algorithm>
#include <fmt/format.h>

namespace fernwahrung {

namespace {

/// For so long a volume that is still there means that its eject has not happened yet.
constexpr std::chrono::seconds ejectTime(60);

std::string file() {
  return PathString::join(Paths::supportDirectory(), "pause.json");
}

MountPause::Entry entryFromJson(const Json::Value& value) {
  return {Json::optionalText(value, "volume"), Json::date(value, "since"), Json::date(value, "until"),
          Json::text(value, "reason")};
}

std::string target(const std::optional<std::string>& volume) {
  return volume.value_or("alle Laufwerke");
}

void erase(MountPause& pause, const std::optional<std::string>& volume) {
  std::erase_if(pause.entries, [&](const auto& entry) { return entry.volume == volume; });
}

bool isBack(const MountPause::Entry& entry) {
  return Clock::now() - entry.since > ejectTime && Platform::fileInfo(*entry.volume);
}

}  // namespace

Json::Value toJson(const MountPause::Entry& entry) {
  Json::Value value = {{"since", Dates::iso8601(entry.since)},
                       {"until", Dates::iso8601(entry.until)},
                       {"reason", entry.reason}};
  if (entry.volume) value["volume"] = *entry.volume;
  return value;
}

MountPause MountPause::load() {
  MountPause pause;
  try {
    const auto value = Json::parse(FileOps::readFile(file()));
    for (const auto& entry : Json::array(value, "entries")) pause.entries.push_back(entryFromJson(entry));
  } catch (const std::exception&) {
    return {};
  }
  std::erase_if(pause.entries, [now = Clock::now()](const Entry& entry) { return entry.until < now; });
  return pause;
}

void MountPause::save() const {
  try {
    Json::Value value;
    auto& list = value["entries"] = Json::Value::array();
    for (const auto& entry : entries) list.push_back(toJson(entry));
    Paths::ensure(Paths::supportDirectory());
    FileOps::atomicWrite(Json::print(value), file(), false);
  } catch (const std::exception&) {
    // Lost, and the program behaves as if there were no pause.
  }
}

void MountPause::set(const std::optional<std::string>& volume, double seconds, const std::string& reason) {
  auto pause = load();
  erase(pause, volume);
  const auto now = Clock::now();
  pause.entries.push_back({volume, now, Dates::fromUnixSeconds(Dates::unixSeconds(now) + seconds), reason});
  pause.save();
  Log::write(fmt::format("Einhängen pausiert ({}): {}", target(volume), reason));
}

void MountPause::clear(const std::optional<std::string>& volume) {
  auto pause = load();
  erase(pause, volume);
  pause.save();
  Log::write(fmt::format("Pause aufgehoben ({})", target(volume)));
}

std::optional<MountPause::Entry> MountPause::isPaused(const Relocation& relocation) const {
  for (const auto& entry : entries) {
    if (!entry.volume) return entry;
    if (!relocation.storagePath.starts_with(*entry.volume + "/")) continue;
    if (!isBack(entry)) return entry;
    // Asked for each relocation of the volume, but to be lifted, and logged, once; and another pause of the
    // volume may have been set since this one was read.
    const auto stored = load().entries;
    if (std::find(stored.begin(), stored.end(), entry) != stored.end()) clear(entry.volume);
  }
  return std::nullopt;
}

}  // namespace fernwahrung
