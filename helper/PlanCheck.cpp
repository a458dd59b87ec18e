#include "helper/PlanCheck.h"

#include "helper/Failure.h"
#include "helper/PathArgument.h"
#include "helper/SizeArgument.h"
#include "helper/Table.h"
#include "helper/TextColumns.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/PathString.h"
#include "Foundation/Text.h"
#include "Processes/ProcessDescriber.h"

#include <fmt/format.h>
#include <limits>

namespace fernwahrung {

namespace {

std::string bulletList(const std::string& title, const std::vector<std::string>& items) {
  if (items.empty()) return "";
  std::string text = "\n" + title + "\n";
  for (const std::string& item : items) text += "  • " + visible(item) + "\n";
  return text;
}

std::string processTable(const std::vector<ProcessDescription>& processes) {
  if (processes.empty()) return "";
  Table table({"  PID", "Programm", "Art", "Beenden"});
  for (const ProcessDescription& process : processes) {
    table.row({fmt::format("  {}", process.pid), process.displayName, ProcessDescriber::kindText(process),
               process.termination.forbiddenReason.value_or("möglich")});
    if (const auto note = process.terminationNote()) table.note(*note);
  }
  return "\nDiese Programme haben Dateien im Ordner offen:\n" + table.text();
}

std::string entries(const TreeSize& size) {
  return fmt::format("{} in {} Dateien, {} Ordnern und {} Symlinks; belegt {}",
                     ByteFormat::string(size.bytes), size.files, size.directories, size.symlinks,
                     ByteFormat::string(size.allocatedBytes));
}

RelocationKind parseKind(const std::string& text) {
  if (const auto kind = relocationKind(text)) return *kind;
  throw UsageError(fmt::format("Unbekannte Art „{}“; möglich sind „image“ und „symlink“.", visible(text)));
}

}  // namespace

std::optional<std::int64_t> PlanCheck::minimumImageSize() const {
  return isMeasured() ? std::optional(Relocator::minimumImageSize(result.size)) : std::nullopt;
}

std::optional<std::int64_t> PlanCheck::suggestedImageSize() const {
  return isMeasured() ? std::optional(Relocator::suggestedImageSize(result.size)) : std::nullopt;
}

std::string PlanCheck::text() const {
  std::string text =
      fmt::format("Name:      {}\nOrdner:    {}\nSpeicher:  {}\nArt:       {}\n", visible(plan.name),
                  visible(plan.sourcePath), visible(plan.storagePath()), title(plan.kind));
  if (isMeasured()) text += fmt::format("Inhalt:    {}\n", entries(result.size));
  if (const auto minimum = minimumImageSize())
    text += fmt::format("Benötigt:  mindestens {}", ByteFormat::string(*minimum)) +
            (plan.kind == RelocationKind::image
                 ? fmt::format(", vorgeschlagen {}\n", ByteFormat::string(*suggestedImageSize()))
                 : "\n");
  if (plan.kind == RelocationKind::image && imageSize)
    text += fmt::format("Größe:     {}\n", ByteFormat::string(*imageSize));
  text += processTable(result.processes);
  text += bulletList("Hinweise:", result.warnings);
  text += bulletList("Das steht im Weg:", result.blockers);
  return text + (isBlocked() ? "\nDer Ordner kann so nicht ferngewahrt werden.\n"
                             : "\nDer Ordner kann ferngewahrt werden.\n");
}

void PlanOptions::declare(Arguments& arguments) {
  arguments.required("--source", "DIR", "der Ordner, der ausgelagert werden soll", source_);
  arguments.required("--storage", "DIR", "der Ordner auf dem externen Laufwerk, der die Daten aufnimmt",
                     storage_);
  arguments.optional("--name", "N", "der Name; sonst der letzte Teil des Pfads", name_);
  arguments.optional("--kind", "image|symlink", "virtuelle Festplatte (sonst) oder Symlink", kind_);
  arguments.optional("--size-gb", "N",
                     "Höchstgröße der virtuellen Festplatte in GB; sonst die vorgeschlagene", sizeGigabytes_);
  arguments.repeated("--app", "PATH", "eine App, die den Ordner benutzt; mehrfach möglich", apps_);
  arguments.flag("--no-spotlight", "die virtuelle Festplatte nicht anzeigen und nicht durchsuchen",
                 noSpotlight_);
}

std::optional<std::int64_t> PlanOptions::givenImageSize() const {
  return sizeGigabytes_ ? std::optional(sizeInBytes(*sizeGigabytes_)) : std::nullopt;
}

RelocationPlan PlanOptions::plan() const {
  RelocationPlan plan;
  plan.sourcePath = absolutePath(source_);
  plan.storageDirectory = absolutePath(storage_);
  plan.name = name_.value_or(PathString::lastComponent(plan.sourcePath));
  plan.kind = kind_ ? parseKind(*kind_) : RelocationKind::image;
  for (const std::string& app : apps_) plan.guardedAppPaths.push_back(absolutePath(app));
  plan.spotlight = !noSpotlight_;
  return plan;
}

PlanCheck PlanOptions::check() const {
  const auto given = givenImageSize();
  PlanCheck check{.plan = plan(), .result = {}, .imageSize = given};
  // A size still to be suggested cannot be too small.
  check.plan.imageSizeBytes = given.value_or(std::numeric_limits<std::int64_t>::max());
  check.result = Relocator::preflight(check.plan, true);
  if (!given) check.imageSize = check.suggestedImageSize();
  check.plan.imageSizeBytes = check.imageSize.value_or(0);
  return check;
}

}  // namespace fernwahrung
