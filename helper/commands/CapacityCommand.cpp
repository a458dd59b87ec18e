#include "Integration/Capacity.h"
#include "helper/CommandTable.h"
#include "helper/JsonForms.h"
#include "helper/Table.h"
#include "helper/TextColumns.h"

#include "Foundation/ByteFormat.h"
#include "Records/RegistryStore.h"

#include <fmt/format.h>
#include <utility>

namespace fernwahrung {

namespace {

struct MeasuredImage {
  Relocation relocation;
  ImageCapacity capacity;
};

std::string size(std::optional<std::int64_t> bytes) {
  return bytes ? ByteFormat::string(*bytes) : "unbekannt";
}

std::string percent(std::optional<double> fraction) {
  return fraction ? fmt::format("{} %", Capacity::percent(*fraction)) : "–";
}

std::string table(const std::vector<VolumeCapacity>& volumes) {
  Table table({" ", "Laufwerk", "Belegt", "Frei", "Größe", "Ort"});
  for (const VolumeCapacity& volume : volumes)
    table.row({levelSymbol(volume.level), volume.name, percent(volume.fraction()),
               ByteFormat::string(volume.freeBytes), ByteFormat::string(volume.totalBytes),
               volume.mountPoint});
  return table.text();
}

std::string table(const std::vector<MeasuredImage>& images) {
  if (images.empty()) return "";
  Table table(
      {" ", "Virtuelle Festplatte", "Belegt", "Benutzt", "Größe", "Kann wachsen um", "Auf dem Laufwerk"});
  for (const auto& [relocation, capacity] : images) {
    const bool isMounted = capacity.usedBytes.has_value();
    table.row({levelSymbol(capacity.level), relocation.name, percent(capacity.fraction()),
               isMounted ? size(capacity.usedBytes) : "nicht eingehängt", size(capacity.capacityBytes),
               isMounted ? size(capacity.canStillGrow()) : "–",
               ByteFormat::string(capacity.occupiedOnDrive)});
    for (const std::string& message : capacity.messages) table.note(message);
  }
  return "\n" + table.text();
}

class CapacityCommand : public Command {
 public:
  void declare(Arguments&) override {}

  ExitCode run(Session& session) override {
    const Registry registry = RegistryStore::load();
    const CapacityThresholds thresholds = AppSettings::load().thresholds;
    const std::vector<VolumeCapacity> volumes = Capacity::volumes(registry.relocations, thresholds);
    std::vector<MeasuredImage> images;
    for (const Relocation& relocation : registry.relocations)
      if (relocation.kind == RelocationKind::image && relocation.state == RelocationState::active)
        images.push_back({relocation, Capacity::image(relocation, thresholds)});

    if (session.json()) {
      Json::Value volumeElements = Json::Value::array();
      for (const VolumeCapacity& volume : volumes) volumeElements.push_back(JsonForms::volume(volume));
      Json::Value imageElements = Json::Value::array();
      for (const auto& [relocation, capacity] : images)
        imageElements.push_back(JsonForms::image(relocation, capacity));
      session.printJson({{"volumes", volumeElements}, {"images", imageElements}});
    } else {
      session.print(table(volumes) + table(images));
    }
    return ExitCode::done;
  }
};

}  // namespace

const CommandEntry capacityCommand{
    .name = "capacity",
    .summary = "zeigt, wie voll die Laufwerke und virtuellen Festplatten sind",
    .details = "Die Schwellen stehen in den Einstellungen (fernwahrung settings thresholds).",
    .make = makeCommand<CapacityCommand>};

}  // namespace fernwahrung
