#include "FernwahrungApp/Model/NewRelocationForm.h"

#include "FernwahrungApp/Model/Background.h"

#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Foundation/Text.h"
#include "Observation/GuardedAppPreset.h"

#include <QPointer>
#include <utility>

namespace fernwahrung {
namespace {

constexpr std::int64_t gigabyte = 1'000'000'000;
constexpr const char* allVolumes = "/Volumes";

bool belongsToSandboxedApp(const std::string& path) {
  return path.find("/Library/Containers/") != std::string::npos ||
         path.find("/Library/Group Containers/") != std::string::npos;
}

}  // namespace

NewRelocationForm::NewRelocationForm(AppModel& model) : model_(model), storage_(allVolumes) {
  apps_ = GuardedAppPreset::merged(apps_, model.pendingNewRelocationApps());
  if (model.pendingNewRelocationSource()) takeSource(*model.pendingNewRelocationSource());
  connect(&model, &AppModel::busyTitleChanged, this, &NewRelocationForm::changed);
}

template <class Value>
void NewRelocationForm::set(Value& field, const Value& value) {
  if (field == value) return;
  field = value;
  ++edition_;
  check_ = std::nullopt;
  checking_ = false;
  again_ = false;
  appClosedConfirmed_ = false;
  emit changed();
}

void NewRelocationForm::setName(const std::string& name) {
  set(name_, name);
}

void NewRelocationForm::setKind(RelocationKind kind) {
  set(kind_, kind);
}

void NewRelocationForm::setSizeGB(std::int64_t sizeGB) {
  set(sizeGB_, sizeGB);
}

void NewRelocationForm::setSpotlight(bool spotlight) {
  set(spotlight_, spotlight);
}

void NewRelocationForm::setApps(const std::vector<std::string>& apps) {
  set(apps_, apps);
}

void NewRelocationForm::setAppClosedConfirmed(bool confirmed) {
  if (appClosedConfirmed_ == confirmed) return;
  appClosedConfirmed_ = confirmed;
  emit changed();
}

void NewRelocationForm::takeSource(const std::string& source) {
  set(source_, source);
  if (name_.empty()) set(name_, PathString::lastComponent(source));
  if (belongsToSandboxedApp(source)) set(kind_, RelocationKind::image);
}

void NewRelocationForm::chooseSource() {
  QPointer<NewRelocationForm> self(this);
  std::optional<std::string> chosen = model_.questions().chooseFolder(
      "Fernzuwahrenden Ordner wählen", PathString::join(Paths::homeDirectory(), "Library"));
  if (self && chosen) takeSource(*chosen);
}

void NewRelocationForm::chooseStorage() {
  QPointer<NewRelocationForm> self(this);
  std::optional<std::string> chosen =
      model_.questions().chooseFolder("Zielordner auf dem externen Laufwerk", allVolumes);
  if (self && chosen) set(storage_, *chosen);
}

RelocationPlan NewRelocationForm::currentPlan() const {
  return {.name = name_,
          .kind = kind_,
          .sourcePath = source_,
          .storageDirectory = storage_,
          .imageSizeBytes = sizeGB_ * gigabyte,
          .guardedAppPaths = apps_,
          .spotlight = spotlight_};
}

bool NewRelocationForm::storageChosen() const {
  return storage_ != allVolumes;
}

bool NewRelocationForm::canCheck() const {
  return !checking_ && !model_.busyTitle() && !source_.empty() && storageChosen() &&
         !Text::trimmed(name_).empty();
}

void NewRelocationForm::runCheck() {
  if (!canCheck()) return;
  checking_ = true;
  emit changed();
  if (!measuring_) measureInBackground();
}

void NewRelocationForm::measureInBackground() {
  measuring_ = true;
  Background::start(
      this, [core = model_.core(), plan = currentPlan()] { return measure(core, plan); },
      [this, edition = edition_](const Checked& checked) {
        measuring_ = false;
        if (edition == edition_) {
          finish(checked);
        } else if (checking_) {
          measureInBackground();
        }
      });
}

void NewRelocationForm::checkAgain() {
  again_ = checking_;
  runCheck();
}

NewRelocationForm::Checked NewRelocationForm::measure(const CoreCalls& core, RelocationPlan plan) {
  PreflightResult result = core.preflight(plan);
  bool tooSmall = plan.kind == RelocationKind::image && result.size.allocatedBytes >= 1 &&
                  plan.imageSizeBytes < Relocator::minimumImageSize(result.size);
  if (tooSmall) {
    plan.imageSizeBytes = Relocator::suggestedImageSize(result.size);
    result = core.preflight(plan);
  }
  return {std::move(result), plan.imageSizeBytes};
}

void NewRelocationForm::finish(const Checked& checked) {
  checking_ = false;
  check_ = checked.result;
  sizeGB_ = checked.imageSizeBytes / gigabyte;
  // What is still open has to be closed first, and then be confirmed anew.
  if (!check_->blockers.empty()) appClosedConfirmed_ = false;
  emit changed();
  if (std::exchange(again_, false)) runCheck();
}

bool NewRelocationForm::canStart() const {
  return check_ && check_->blockers.empty() && appClosedConfirmed_ && !checking_ && !model_.busyTitle();
}

bool NewRelocationForm::start() {
  if (!canStart()) return false;
  model_.relocate(currentPlan());
  return true;
}

}  // namespace fernwahrung
