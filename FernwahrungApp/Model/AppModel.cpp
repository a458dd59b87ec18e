#include "FernwahrungApp/Model/AppModel.h"

#include "FernwahrungApp/Model/Background.h"

#include "Foundation/ByteFormat.h"
#include "Foundation/Clock.h"
#include "Foundation/Errors.h"
#include "Foundation/PathString.h"
#include "Foundation/Paths.h"
#include "Storage/DirectoryState.h"
#include "Storage/FileOps.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace fernwahrung {
namespace {

constexpr const char* fullDiskAccessPanel =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles";

std::string helperCopy() {
  return PathString::join(Paths::supportDirectory(), "bin/fernwahrung");
}

/// The path itself, or the nearest folder above it that exists.
std::string nearest(std::string path) {
  while (!FileOps::exists(path) && path != "/") path = PathString::parent(path);
  return path;
}

}  // namespace

/// Passes the questions on, and lets the model know while one stands: the event loop runs on meanwhile, where
/// a blocking question would have held up the timer and everything else.
class AppModel::CountedQuestions : public Questions {
 public:
  CountedQuestions(AppModel& model, Questions& questions) : model_(model), questions_(questions) {}

  std::size_t ask(const Question& question) override {
    const Standing standing(model_);
    return questions_.ask(question);
  }
  std::optional<std::string> chooseFolder(const std::string& title, const std::string& start) override {
    const Standing standing(model_);
    return questions_.chooseFolder(title, start);
  }
  std::optional<std::string> chooseApplication(const std::string& title, const std::string& start) override {
    const Standing standing(model_);
    return questions_.chooseApplication(title, start);
  }

 private:
  class Standing {
   public:
    explicit Standing(AppModel& model) : model_(model) {
      if (model_.standingQuestions_++ == 0) emit model_.askingChanged();
    }
    ~Standing() {
      if (--model_.standingQuestions_ > 0) return;
      emit model_.askingChanged();
      if (!std::exchange(model_.refreshAfterQuestions_, false)) return;
      // The answer comes first: it may start an operation.
      QMetaObject::invokeMethod(&model_, &AppModel::refresh, Qt::QueuedConnection);
    }
    Standing(const Standing&) = delete;
    Standing& operator=(const Standing&) = delete;

   private:
    AppModel& model_;
  };

  AppModel& model_;
  Questions& questions_;
};

AppModel::AppModel(CoreCalls core, Questions& questions, std::chrono::milliseconds refreshInterval)
    : core_(std::move(core)),
      questions_(std::make_unique<CountedQuestions>(*this, questions)),
      settings_(core_.loadSettings()) {
  refresh();
  connect(&timer_, &QTimer::timeout, this, &AppModel::refresh);
  timer_.start(refreshInterval);
}

AppModel::~AppModel() {
  measuring_->cancel();
}

Questions& AppModel::questions() const {
  return *questions_;
}

template <class Value>
void AppModel::publish(Value& field, Value value, void (AppModel::*changed)()) {
  if (field == value) return;
  field = std::move(value);
  emit(this->*changed)();
}

// --- What the views read and set
// ---------------------------------------------------------------------------------------

const Relocation* AppModel::selectedRelocation() const {
  auto found = std::find_if(relocations_.begin(), relocations_.end(),
                            [this](const Relocation& relocation) { return relocation.id == selection_; });
  return found == relocations_.end() ? nullptr : &*found;
}

const RelocationStatus* AppModel::status(const Relocation& relocation) const {
  auto found = statuses_.find(relocation.id);
  return found == statuses_.end() ? nullptr : &found->second;
}

CapacityLevel AppModel::capacityLevel(const Relocation& relocation) const {
  auto found = imageCapacity_.find(relocation.id);
  return found == imageCapacity_.end() ? CapacityLevel::ok : found->second.level;
}

RelocationStatus::Health AppModel::overallHealth() const {
  using Health = RelocationStatus::Health;
  Health worst = Health::ok;
  for (const Relocation& relocation : relocations_) {
    const RelocationStatus* found = status(relocation);
    if (found && relocation.state == RelocationState::active) worst = std::max(worst, found->health);
  }
  CapacityLevel level = CapacityLevel::ok;
  for (const auto& [id, capacity] : imageCapacity_) level = std::max(level, capacity.level);
  for (const VolumeCapacity& volume : volumes_) level = std::max(level, volume.level);
  if (worst == Health::error || level == CapacityLevel::critical) return Health::error;
  if (worst == Health::warning || level == CapacityLevel::warning || !unfinished_.empty()) {
    return Health::warning;
  }
  return Health::ok;
}

void AppModel::setSelection(std::optional<Uuid> selection) {
  publish(selection_, std::move(selection), &AppModel::selectionChanged);
}

void AppModel::setSheet(std::optional<Sheet> sheet) {
  publish(sheet_, std::move(sheet), &AppModel::sheetChanged);
}

void AppModel::newRelocation(std::optional<std::string> source, std::vector<std::string> apps) {
  publish(pendingNewRelocationSource_, std::move(source), &AppModel::pendingNewRelocationSourceChanged);
  publish(pendingNewRelocationApps_, std::move(apps), &AppModel::pendingNewRelocationAppsChanged);
  setSheet(Sheet{.kind = Sheet::Kind::newRelocation});
}

void AppModel::dismissError() {
  publish(errorMessage_, std::optional<std::string>(), &AppModel::errorMessageChanged);
}

void AppModel::dismissInfo() {
  publish(infoMessage_, std::optional<std::string>(), &AppModel::infoMessageChanged);
}

// --- Refresh
// -----------------------------------------------------------------------------------------------------------

void AppModel::refresh() {
  if (refreshing_ || busyTitle_) return;
  if (asking()) {
    refreshAfterQuestions_ = true;
    return;
  }
  refreshing_ = true;
  Background::start(
      this, [read = core_.readWorld, thresholds = settings_.thresholds] { return read(thresholds); },
      [this, begun = operationsBegun_](World world) {
        if (begun == operationsBegun_) return publishWorld(std::move(world));
        refreshing_ = false;
        refresh();
      });
}

void AppModel::publishWorld(World world) {
  if (!world.loadError.empty() && !errorMessage_) {
    publish(errorMessage_, std::optional(world.loadError), &AppModel::errorMessageChanged);
  }
  publish(relocations_, std::move(world.relocations), &AppModel::relocationsChanged);
  publish(statuses_, std::move(world.statuses), &AppModel::statusesChanged);
  publish(usage_, std::move(world.usage), &AppModel::usageChanged);
  publish(imageCapacity_, std::move(world.imageCapacity), &AppModel::imageCapacityChanged);
  publish(volumes_, std::move(world.volumes), &AppModel::volumesChanged);
  publish(missingPaths_, std::move(world.missingPaths), &AppModel::missingPathsChanged);
  notifyCapacityChanges();
  publish(unfinished_, std::move(world.unfinished), &AppModel::unfinishedChanged);
  if (!selection_ && !relocations_.empty()) setSelection(relocations_.front().id);
  refreshing_ = false;
  publish(loaded_, true, &AppModel::loadedChanged);
}

void AppModel::notifyCapacityChanges() {
  for (const Relocation& relocation : relocations_) {
    auto found = imageCapacity_.find(relocation.id);
    if (found == imageCapacity_.end()) continue;
    const ImageCapacity& capacity = found->second;
    notifyIfRisen("image-" + relocation.id.text(), capacity.level,
                  fmt::format("{}: {}", relocation.name, fmt::join(capacity.messages, " ")));
  }
  for (const VolumeCapacity& volume : volumes_) {
    notifyIfRisen("volume-" + volume.mountPoint, volume.level,
                  fmt::format("{}: nur noch {} frei.", volume.name, ByteFormat::string(volume.freeBytes)));
  }
}

void AppModel::notifyIfRisen(const std::string& key, CapacityLevel level, const std::string& text) {
  CapacityLevel before = std::exchange(notifiedLevels_[key], level);
  if (level <= before) return;
  std::string title = level == CapacityLevel::critical ? "Speicher kritisch" : "Speicher wird knapp";
  Background::start([notify = core_.notify, title, text] { notify(title, text); });
}

// --- Operations
// --------------------------------------------------------------------------------------------------------

void AppModel::run(Command command, Operation operation) {
  if (busyTitle_) return;
  ++operationsBegun_;
  publish(progressMessage_, std::string("Starte …"), &AppModel::progressMessageChanged);
  publish(progressFraction_, std::optional<double>(), &AppModel::progressFractionChanged);
  publish(cancellable_, command.cancellable, &AppModel::cancellableChanged);
  publish(busyTitle_, std::optional(command.title), &AppModel::busyTitleChanged);

  auto mailbox = std::make_shared<Background::Mailbox>(this);
  context_ = std::make_shared<OperationContext>(
      [this, mailbox](const std::string& text, std::optional<double> fraction) {
        mailbox->post([this, text, fraction] { showProgress(text, fraction); });
      });
  Background::start(
      this, [context = context_, operation = std::move(operation)] { return attempt(operation, *context); },
      [this, command = std::move(command)](const Outcome& outcome) { finish(command, outcome); },
      Background::Lane::operation);
}

void AppModel::showProgress(const std::string& text, std::optional<double> fraction) {
  // After a cancellation the text says so until the end.
  if (!context_ || context_->isCancelled()) return;
  publish(progressMessage_, text, &AppModel::progressMessageChanged);
  publish(progressFraction_, fraction, &AppModel::progressFractionChanged);
}

AppModel::Outcome AppModel::attempt(const Operation& operation, OperationContext& context) {
  Outcome outcome;
  try {
    outcome.selection = operation(context);
  } catch (const AccessDeniedError& error) {
    outcome.failure = {error.what(), !error.isUnixPermission()};
  } catch (const std::exception& error) {
    outcome.failure = {error.what()};
  }
  return outcome;
}

void AppModel::finish(const Command& command, const Outcome& outcome) {
  context_ = nullptr;
  lastOperationEnd_ = Clock::now();
  publish(busyTitle_, std::optional<std::string>(), &AppModel::busyTitleChanged);
  if (!outcome.failure) {
    if (outcome.selection) setSelection(outcome.selection);
    if (!command.success.empty()) {
      publish(infoMessage_, std::optional(command.success), &AppModel::infoMessageChanged);
    }
  } else if (!command.onError || !command.onError(*outcome.failure)) {
    publish(errorMessage_, std::optional(outcome.failure->text), &AppModel::errorMessageChanged);
  }
  refresh();
  emit operationEnded();
}

void AppModel::cancel() {
  if (!context_ || !cancellable_) return;
  context_->cancel();
  publish(progressMessage_, std::string("Breche ab und stelle den Ausgangszustand wieder her …"),
          &AppModel::progressMessageChanged);
  // How far the taking back is, nobody tells.
  publish(progressFraction_, std::optional<double>(), &AppModel::progressFractionChanged);
}

// --- Commands
// ----------------------------------------------------------------------------------------------------------

void AppModel::relocate(const RelocationPlan& plan) {
  run({.title = "Fernwahren",
       .cancellable = true,
       .success =
           "Ferngewahrt. "
           "Das Original bleibt umbenannt erhalten, bis du es in den Papierkorb legst – teste vorher die App."},
      [relocate = core_.relocate, plan](OperationContext& context) -> std::optional<Uuid> {
        return relocate(plan, context).id;
      });
}

void AppModel::restore(const Relocation& relocation) {
  run({.title = "Zurückholen",
       .cancellable = true,
       .success = "Die Daten liegen wieder auf dem Mac. "
                  "Die externe Kopie ist noch vorhanden – du kannst sie später in den Papierkorb legen."},
      [restore = core_.restore, relocation](OperationContext& context) -> std::optional<Uuid> {
        restore(relocation, context);
        return std::nullopt;
      });
}

void AppModel::mount(const Relocation& relocation) {
  run({.title = "Einhängen",
       .onError =
           [this](const Failure& failure) {
             if (failure.privacyDenied) showAccessDenied(failure.text);
             return failure.privacyDenied;
           }},
      [mount = core_.mount, relocation](OperationContext&) -> std::optional<Uuid> {
        mount(relocation);
        return std::nullopt;
      });
}

void AppModel::unmount(const Relocation& relocation) {
  run({.title = "Aushängen"},
      [unmount = core_.unmount, relocation](OperationContext&) -> std::optional<Uuid> {
        unmount(relocation);
        return std::nullopt;
      });
}

void AppModel::mountAll() {
  run({.title = "Alle einhängen"}, [mountAll = core_.mountAll](OperationContext&) -> std::optional<Uuid> {
    std::vector<std::string> problems = mountAll();
    if (!problems.empty()) {
      throw FernwahrungError::message(fmt::format("{}", fmt::join(problems, "\n")));
    }
    return std::nullopt;
  });
}

void AppModel::rollback(const Journal& journal) {
  run({.title = "Zurückrollen", .success = "Der unterbrochene Vorgang wurde zurückgerollt."},
      [rollback = core_.rollback, journal](OperationContext&) -> std::optional<Uuid> {
        Journal own = journal;
        rollback(own);
        return std::nullopt;
      });
}

void AppModel::showAccessDenied(const std::string& text) {
  switch (questions_->ask({"Zugriff verweigert",
                           text,
                           {"Festplattenvollzugriff öffnen", "Hilfsprogramm im Finder zeigen", "OK"}})) {
    case 0:
      return openFullDiskAccess();
    case 1:
      return revealHelperInFinder();
    default:
      return;
  }
}

void AppModel::measureData(const Relocation& relocation) {
  if (relocation.kind != RelocationKind::symlink) return;
  const auto last = measured_.find(relocation.id);
  if (last != measured_.end() && (!last->second || Clock::now() - *last->second < dataSizeAge)) return;
  measured_[relocation.id] = std::nullopt;
  Background::start(
      this,
      [measure = core_.dataSize, folder = relocation.storagePath,
       context = measuring_]() -> std::optional<std::int64_t> {
        try {
          return measure(folder, *context);
        } catch (const std::exception&) {
          return std::nullopt;
        }
      },
      [this, id = relocation.id](std::optional<std::int64_t> size) {
        measured_[id] = Clock::now();
        auto sizes = dataSizes_;
        sizes.erase(id);
        if (size) sizes[id] = *size;
        publish(dataSizes_, std::move(sizes), &AppModel::dataSizesChanged);
      });
}

void AppModel::revealInFinder(const std::string& path) {
  core_.reveal(path);
}

void AppModel::revealHelperInFinder() {
  Background::start(
      this, [] { return nearest(helperCopy()); },
      [this](const std::string& found) {
        if (found == helperCopy()) {
          core_.reveal(found);
        } else {
          core_.open(found);
        }
      });
}

void AppModel::openFullDiskAccess() {
  core_.open(fullDiskAccessPanel);
}

}  // namespace fernwahrung
