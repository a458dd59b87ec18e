// Who is in the way: turns a process id and its open files into something a user can decide about.
#pragma once

#include "Storage/FileOps.h"

#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace fernwahrung {

struct ProcessDescription {
  struct Kind {
    enum class Case { service, app, program };
    Case value = Case::program;
    std::optional<std::string> owner;  // of a service

    static Kind service(std::optional<std::string> owner) { return {Case::service, std::move(owner)}; }
    static Kind app() { return {Case::app, {}}; }
    static Kind program() { return {Case::program, {}}; }
    bool operator==(const Kind&) const = default;
  };
  enum class Origin { macOS, installedApp, installedProgram, userProgram };
  struct Termination {
    std::optional<std::string> forbiddenReason;  // nothing: allowed

    static Termination allowed() { return {}; }
    static Termination forbidden(std::string reason) { return {std::move(reason)}; }
    bool operator==(const Termination&) const = default;
  };

  std::int32_t pid = 0;
  std::int32_t ppid = 0;
  std::uint32_t uid = 0;
  std::string startedAt;  // the text of ps, kept as identity, never parsed
  std::string executablePath;
  std::string displayName;
  std::string technicalName;  // bundle identifier, or the file name
  Kind kind;
  Origin origin = Origin::userProgram;
  bool isBackgroundService = false;
  std::optional<std::string> parentAppName;
  std::int64_t openFileCount = 0;         // distinct paths in the folder in question
  std::vector<std::string> exampleFiles;  // up to three, shortened
  Termination termination;

  bool canTerminate() const { return !termination.forbiddenReason; }
  std::optional<std::string> terminationNote() const;
  bool operator==(const ProcessDescription&) const = default;
};

/// Blocking and stateless; nothing throws, every failure is a smaller answer.
namespace ProcessDescriber {

struct PSInfo {
  std::int32_t ppid = 0;
  std::uint32_t uid = 0;
  std::string startedAt;
  std::string path;
  bool operator==(const PSInfo&) const = default;
};

struct BundleLayout {
  ProcessDescription::Kind kind;
  std::optional<std::string> bundlePath;
  bool operator==(const BundleLayout&) const = default;
};

/// Nothing when the process is gone.
std::optional<PSInfo> ps(std::int32_t pid);
std::optional<PSInfo> parsePS(const std::string& output);
BundleLayout layout(const std::string& executable);
/// The nearest application around an executable, without extension.
std::optional<std::string> enclosingApp(const std::string& executable);
/// `info` and `localized` are dictionaries, or null for none.
std::string displayName(const nlohmann::json& info, const nlohmann::json& localized,
                        const std::string& fallback);
std::string technicalName(const nlohmann::json& info, const std::string& fallback);
ProcessDescription::Origin origin(const std::string& path, const std::string& home);
std::string shortPath(const std::string& path, const std::string& folder);
ProcessDescription::Termination termination(std::int32_t pid, std::uint32_t uid, std::uint32_t myUID,
                                            std::int32_t myPID);
std::optional<ProcessDescription> describe(std::int32_t pid, const std::vector<OpenFile>& files,
                                           const std::string& folder, std::int32_t myPID,
                                           std::uint32_t myUID);
/// The processes that hold files open at or under the folder, by ascending process id; one lsof in all.
std::vector<ProcessDescription> blockingProcesses(const std::string& folder);
std::string kindText(const ProcessDescription& description);
/// One finished German sentence.
std::string message(const ProcessDescription& description);
/// Asks the process to end, `gentle` first, then SIGTERM, after checking that it is still the one described
/// and belongs to this user. True when a request was delivered. SIGKILL is never sent.
bool requestTermination(const ProcessDescription& description,
                        const std::function<bool(std::int32_t)>& gentle, std::int32_t myPID,
                        std::uint32_t myUID);

}  // namespace ProcessDescriber
}  // namespace fernwahrung
