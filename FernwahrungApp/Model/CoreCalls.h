// What the model asks of the core and of the desktop. As it stands it is the real thing; a test replaces
// single calls.
#pragma once

#include "FernwahrungApp/Model/World.h"

#include "Engine/Preflight.h"
#include "Engine/RelocationPlan.h"
#include "Records/AppSettings.h"

#include <functional>

namespace fernwahrung {

struct CoreCalls {
  CoreCalls();

  // Read at once when the model is made: a small file.
  std::function<AppSettings()> loadSettings;

  // Called from background threads only: they wait for disks and processes.
  std::function<World(const CapacityThresholds&)> readWorld;
  std::function<PreflightResult(const RelocationPlan&)> preflight;  // measures
  std::function<Relocation(const RelocationPlan&, OperationContext&)> relocate;
  std::function<void(const Relocation&, OperationContext&)> restore;
  std::function<void(const Relocation&)> mount;
  std::function<void(const Relocation&)> unmount;
  std::function<std::vector<std::string>()> mountAll;  // the problems, a line each
  std::function<void(Journal&)> rollback;              // takes the lock, then a fresh look
  std::function<std::int64_t(const std::string& folder, const OperationContext&)> dataSize;  // bytes; throws
  std::function<bool(const ProcessDescription&)> requestTermination;
  std::function<void(const std::string& title, const std::string& body)> notify;

  // Called on the main thread; they hand over to the desktop and return.
  std::function<void(const std::string& path)> reveal;
  std::function<void(const std::string& pathOrUrl)> open;
};

}  // namespace fernwahrung
