// What "check" and "relocate" share: the options that make a plan, and the check of that plan.
#pragma once

#include "helper/Arguments.h"

#include "Engine/Preflight.h"
#include "Engine/RelocationPlan.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

struct PlanCheck {
  RelocationPlan plan;
  PreflightResult result;
  /// As given, or as suggested; nothing while neither is there. Equals the plan's once it is known.
  std::optional<std::int64_t> imageSize;

  bool isBlocked() const { return !result.blockers.empty(); }
  /// What a blocker forbids is not.
  bool isMeasured() const { return result.isMeasured; }
  std::optional<std::int64_t> minimumImageSize() const;
  std::optional<std::int64_t> suggestedImageSize() const;

  /// For people, several lines.
  std::string text() const;
};

class PlanOptions {
 public:
  void declare(Arguments& arguments);
  /// Checks with measuring; an image size that was not given becomes the suggested one. Throws UsageError.
  PlanCheck check() const;

 private:
  RelocationPlan plan() const;
  std::optional<std::int64_t> givenImageSize() const;

  std::string source_;
  std::string storage_;
  std::optional<std::string> name_;
  std::optional<std::string> kind_;
  std::optional<std::string> sizeGigabytes_;
  std::vector<std::string> apps_;
  bool noSpotlight_ = false;
};

}  // namespace fernwahrung
