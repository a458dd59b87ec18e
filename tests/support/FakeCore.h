// A world that a test describes, instead of the one on the disk; what the model asks for is noted.
//
//   FakeCore core;
//   core.world.relocations = {FakeCore::relocation("Bilder")};
//   AppModel model(core.calls(), questions);
#pragma once

#include "FernwahrungApp/Model/CoreCalls.h"

#include "Foundation/Clock.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace fernwahrung {

class FakeCore {
 public:
  World world;  // change it under lock() while a model reads it
  PreflightResult check;
  AppSettings settings;
  CapacityThresholds judgedBy;  // what the last refresh was to judge by; read it under lock()
  /// What an operation does, on its thread: report progress, wait at a gate, throw.
  std::function<void(OperationContext&)> operation = [](OperationContext&) {};
  /// How large the data behind a link is.
  std::function<std::int64_t(const OperationContext&)> measure = [](const OperationContext&) {
    return std::int64_t{1'230'000'000};
  };

  /// Must not outlive this object.
  CoreCalls calls() {
    CoreCalls calls;
    calls.loadSettings = [this] { return settings; };
    calls.readWorld = [this](const CapacityThresholds& thresholds) {
      note("readWorld");
      reading.pass();
      std::lock_guard guard(mutex_);
      judgedBy = thresholds;
      return world;
    };
    calls.preflight = [this](const RelocationPlan& plan) {
      note("preflight " + plan.sourcePath);
      std::lock_guard guard(mutex_);
      return check;
    };
    calls.relocate = [this](const RelocationPlan& plan, OperationContext& context) {
      note("relocate " + plan.sourcePath);
      operation(context);
      Relocation made = relocation(plan.name);
      std::lock_guard guard(mutex_);
      world.relocations.push_back(made);
      return made;
    };
    calls.restore = [this](const Relocation& which, OperationContext& context) {
      note("restore " + which.name);
      operation(context);
    };
    calls.mount = [this](const Relocation& which) { plain("mount " + which.name); };
    calls.unmount = [this](const Relocation& which) { plain("unmount " + which.name); };
    calls.mountAll = [this] {
      plain("mountAll");
      return std::vector<std::string>();
    };
    calls.rollback = [this](Journal& journal) { plain("rollback " + journal.relocation.name); };
    calls.dataSize = [this](const std::string& folder, const OperationContext& context) {
      note("dataSize " + folder);
      return measure(context);
    };
    calls.requestTermination = [this](const ProcessDescription& process) {
      note("requestTermination " + std::to_string(process.pid));
      return true;
    };
    calls.notify = [this](const std::string& title, const std::string& body) {
      note("notify " + title + " | " + body);
    };
    calls.reveal = [this](const std::string& path) { note("reveal " + path); };
    calls.open = [this](const std::string& path) { note("open " + path); };
    return calls;
  }

  std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }
  /// Every call so far, with its main argument: "mount Bilder".
  std::vector<std::string> noted() {
    std::lock_guard guard(mutex_);
    return notes_;
  }

  /// Holds up whoever passes while it is closed.
  class Gate {
   public:
    void close() { set(false); }
    void open() { set(true); }
    void pass() {
      std::unique_lock guard(mutex_);
      changed_.wait(guard, [this] { return open_; });
    }

   private:
    void set(bool open) {
      std::lock_guard guard(mutex_);
      open_ = open;
      changed_.notify_all();
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = true;
  };
  Gate reading;  // every refresh passes here

  static Relocation relocation(const std::string& name, RelocationKind kind = RelocationKind::image) {
    Relocation relocation;
    relocation.id = Uuid::random();
    relocation.name = name;
    relocation.kind = kind;
    relocation.sourcePath = "/Users/anna/Library/" + name;
    relocation.storagePath =
        "/Volumes/Extern/Fernwahrung/" + name + (kind == RelocationKind::image ? ".sparsebundle" : "");
    relocation.createdAt = Clock::now();
    return relocation;
  }

 private:
  void note(const std::string& call) {
    std::lock_guard guard(mutex_);
    notes_.push_back(call);
  }
  void plain(const std::string& call) {
    note(call);
    OperationContext context;
    operation(context);
  }

  std::mutex mutex_;
  std::vector<std::string> notes_;
};

}  // namespace fernwahrung
