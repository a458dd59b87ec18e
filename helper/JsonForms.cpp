#include "helper/JsonForms.h"

#include "Processes/ProcessDescriber.h"

namespace fernwahrung::JsonForms {

namespace {

template <typename Number>
Json::Value orNull(std::optional<Number> number) {
  return number ? Json::Value(*number) : Json::Value();
}

Json::Value plan(const PlanCheck& check) {
  const RelocationPlan& plan = check.plan;
  return {{"name", plan.name},
          {"kind", rawValue(plan.kind)},
          {"sourcePath", plan.sourcePath},
          {"storageDirectory", plan.storageDirectory},
          {"storagePath", plan.storagePath()},
          {"imageSizeBytes", orNull(check.imageSize)},
          {"guardedAppPaths", plan.guardedAppPaths},
          {"spotlight", plan.spotlight}};
}

Json::Value process(const ProcessDescription& process) {
  return {{"pid", process.pid},
          {"displayName", process.displayName},
          {"kindText", ProcessDescriber::kindText(process)},
          {"message", ProcessDescriber::message(process)},
          {"canTerminate", process.canTerminate()}};
}

}  // namespace

Json::Value check(const PlanCheck& check) {
  Json::Value processes = Json::Value::array();
  for (const ProcessDescription& description : check.result.processes)
    processes.push_back(process(description));
  const TreeSize& size = check.result.size;
  return {{"plan", plan(check)},
          {"blockers", check.result.blockers},
          {"warnings", check.result.warnings},
          {"processes", processes},
          {"size",
           {{"bytes", size.bytes},
            {"allocatedBytes", size.allocatedBytes},
            {"files", size.files},
            {"directories", size.directories},
            {"symlinks", size.symlinks}}},
          {"minimumImageBytes", orNull(check.minimumImageSize())},
          {"suggestedImageBytes", orNull(check.suggestedImageSize())}};
}

Json::Value relocation(const Relocation& relocation, const RelocationStatus& status) {
  Json::Value value = toJson(relocation);
  value["status"] = {{"health", rawValue(status.health)},
                     {"summary", status.summary},
                     {"details", status.details},
                     {"mounted", status.mounted},
                     {"storageAvailable", status.storageAvailable},
                     {"locked", status.locked},
                     {"accessDenied", status.accessDenied}};
  return value;
}

Json::Value journal(const Journal& journal) {
  Json::Value value = toJson(journal);
  const auto result = journal.result();
  value["result"] = result ? Json::Value(*result) : Json::Value();
  return value;
}

Json::Value volume(const VolumeCapacity& volume) {
  return {
      {"name", volume.name},           {"mountPoint", volume.mountPoint}, {"totalBytes", volume.totalBytes},
      {"freeBytes", volume.freeBytes}, {"isInternal", volume.isInternal}, {"level", rawValue(volume.level)},
      {"fraction", volume.fraction()}};
}

Json::Value image(const Relocation& relocation, const ImageCapacity& capacity) {
  return {{"id", relocation.id.text()},
          {"name", relocation.name},
          {"usedBytes", orNull(capacity.usedBytes)},
          {"capacityBytes", orNull(capacity.capacityBytes)},
          {"occupiedOnDrive", capacity.occupiedOnDrive},
          {"driveFreeBytes", orNull(capacity.driveFreeBytes)},
          {"fraction", orNull(capacity.fraction())},
          {"canStillGrow", orNull(capacity.canStillGrow())},
          {"level", rawValue(capacity.level)},
          {"messages", capacity.messages}};
}

}  // namespace fernwahrung::JsonForms
