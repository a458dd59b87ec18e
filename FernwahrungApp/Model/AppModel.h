// The one observable heart of the application: what the windows show, and the commands they call.
//
//   AppModel model(CoreCalls(), questions);
//   QObject::connect(&model, &AppModel::relocationsChanged, …);
//   model.mount(model.relocations().front());
//
// Lives on the main thread and is touched nowhere else. Apart from the settings, read once when it is made,
// nothing here waits for a disk or a process: a refresh and every operation run in background threads, and
// what they bring is published from the event loop. A result that arrives after the model's end is dropped.
#pragma once

#include "FernwahrungApp/Model/CoreCalls.h"
#include "FernwahrungApp/Model/Questions.h"
#include "FernwahrungApp/Model/Sheet.h"

#include <QObject>
#include <QTimer>
#include <chrono>
#include <memory>

namespace fernwahrung {

class AppModel : public QObject {
  Q_OBJECT

 public:
  /// Reads the settings, starts the first refresh and the timer that repeats it.
  explicit AppModel(CoreCalls core, Questions& questions,
                    std::chrono::milliseconds refreshInterval = std::chrono::seconds(15));
  /// Nobody waits any more for what is being measured. A running operation goes on to its end.
  ~AppModel() override;

  // What is published. Each has a signal that is emitted after it has changed, and only then.

  const std::vector<Relocation>& relocations() const { return relocations_; }
  const std::map<Uuid, RelocationStatus>& statuses() const { return statuses_; }
  const std::map<Uuid, std::string>& usage() const { return usage_; }
  const std::vector<Journal>& unfinished() const { return unfinished_; }
  const std::optional<Uuid>& selection() const { return selection_; }
  const std::optional<Sheet>& sheet() const { return sheet_; }
  /// Presets of the next new-relocation sheet.
  const std::optional<std::string>& pendingNewRelocationSource() const { return pendingNewRelocationSource_; }
  const std::vector<std::string>& pendingNewRelocationApps() const { return pendingNewRelocationApps_; }
  /// The first refresh has ended.
  bool loaded() const { return loaded_; }
  /// The title of the running operation; nothing while idle.
  const std::optional<std::string>& busyTitle() const { return busyTitle_; }
  const std::string& progressMessage() const { return progressMessage_; }
  /// 0 to 1; nothing while it can't be told.
  const std::optional<double>& progressFraction() const { return progressFraction_; }
  bool cancellable() const { return cancellable_; }
  /// What the alerts "Fehler" and "Erledigt" are to say, until the view dismisses them.
  const std::optional<std::string>& errorMessage() const { return errorMessage_; }
  const std::optional<std::string>& infoMessage() const { return infoMessage_; }
  const AppSettings& settings() const { return settings_; }
  const std::map<Uuid, ImageCapacity>& imageCapacity() const { return imageCapacity_; }
  const std::vector<VolumeCapacity>& volumes() const { return volumes_; }
  /// Kept copies that a relocation names and that are known to be gone.
  const std::set<std::string>& missingPaths() const { return missingPaths_; }
  /// Bytes of the data behind a link, as far as they were measured; see measureData().
  const std::map<Uuid, std::int64_t>& dataSizes() const { return dataSizes_; }
  /// A question stands, and the user answers nothing else meanwhile.
  bool asking() const { return standingQuestions_ > 0; }

  // What is not published.

  const std::optional<Date>& lastOperationEnd() const { return lastOperationEnd_; }
  const Relocation* selectedRelocation() const;
  /// The worst of the active relocations, the volumes and the interrupted operations.
  RelocationStatus::Health overallHealth() const;
  /// The status as of the last refresh; nothing before it.
  const RelocationStatus* status(const Relocation& relocation) const;
  /// The level of its image; ok for a link.
  CapacityLevel capacityLevel(const Relocation& relocation) const;

  // What the views set.

  void setSelection(std::optional<Uuid> selection);
  void setSheet(std::optional<Sheet> sheet);
  /// Opens the new-relocation sheet with presets.
  void newRelocation(std::optional<std::string> source = {}, std::vector<std::string> apps = {});
  void dismissError();
  void dismissInfo();

  // Commands. All return at once; one that changes something does nothing while another runs.

  /// Reads the world anew, unless an operation or another refresh is under way. While a question stands it
  /// waits for the answer, so that nothing changes under it. What an operation overtakes is never published:
  /// it would show a state in the midst of it.
  void refresh();
  /// The running operation stops at its next opportunity and takes back what it did; nothing when it is none
  /// that can be cancelled.
  void cancel();

  void relocate(const RelocationPlan& plan);
  void restore(const Relocation& relocation);
  void mount(const Relocation& relocation);
  void unmount(const Relocation& relocation);
  void mountAll();
  void rollback(const Journal& journal);

  /// How long a measured size stays good, and a failed attempt is not repeated: it walks all of the user's
  /// data.
  static constexpr std::chrono::minutes dataSizeAge{10};
  /// Measures the data behind a link and publishes dataSizes, unless it was tried just now or is under way.
  void measureData(const Relocation& relocation);
  void revealInFinder(const std::string& path);
  /// The installed copy; as long as there is none, the folder that would hold it, or the nearest one above.
  void revealHelperInFinder();
  void openFullDiskAccess();

  const CoreCalls& core() const { return core_; }
  /// Every question to the user is asked here, see asking().
  Questions& questions() const;

 signals:
  void relocationsChanged();
  void statusesChanged();
  void usageChanged();
  void unfinishedChanged();
  void selectionChanged();
  void sheetChanged();
  void pendingNewRelocationSourceChanged();
  void pendingNewRelocationAppsChanged();
  void loadedChanged();
  void busyTitleChanged();
  void progressMessageChanged();
  void progressFractionChanged();
  void cancellableChanged();
  void errorMessageChanged();
  void infoMessageChanged();
  void settingsChanged();
  void imageCapacityChanged();
  void volumesChanged();
  void missingPathsChanged();
  void dataSizesChanged();
  void askingChanged();
  /// After everything that an operation's end brings was published.
  void operationEnded();

 private:
  /// Gives the relocation to select, if any. Throws.
  using Operation = std::function<std::optional<Uuid>(OperationContext&)>;
  struct Failure {
    std::string text;
    bool privacyDenied = false;  // macOS, not the permission bits, forbids to read the folder
  };
  /// True when the failure is dealt with.
  using FailureHandler = std::function<bool(const Failure&)>;
  struct Command {
    std::string title;
    bool cancellable = false;
    std::string success = {};  // empty: says nothing
    FailureHandler onError = {};
  };
  struct Outcome {
    std::optional<Failure> failure;
    std::optional<Uuid> selection;
  };

  class CountedQuestions;

  template <class Value>
  void publish(Value& field, Value value, void (AppModel::*changed)());
  void publishWorld(World world);
  void notifyCapacityChanges();
  void notifyIfRisen(const std::string& key, CapacityLevel level, const std::string& text);

  /// The single way an operation starts.
  void run(Command command, Operation operation);
  void showProgress(const std::string& text, std::optional<double> fraction);
  static Outcome attempt(const Operation& operation, OperationContext& context);
  void finish(const Command& command, const Outcome& outcome);
  void showAccessDenied(const std::string& text);

  const CoreCalls core_;
  const std::unique_ptr<Questions> questions_;
  int standingQuestions_ = 0;
  bool refreshAfterQuestions_ = false;

  std::vector<Relocation> relocations_;
  std::map<Uuid, RelocationStatus> statuses_;
  std::map<Uuid, std::string> usage_;
  std::vector<Journal> unfinished_;
  std::optional<Uuid> selection_;
  std::optional<Sheet> sheet_;
  std::optional<std::string> pendingNewRelocationSource_;
  std::vector<std::string> pendingNewRelocationApps_;
  bool loaded_ = false;
  std::optional<std::string> busyTitle_;
  std::optional<Date> lastOperationEnd_;
  std::string progressMessage_;
  std::optional<double> progressFraction_;
  bool cancellable_ = false;
  std::optional<std::string> errorMessage_;
  std::optional<std::string> infoMessage_;
  AppSettings settings_;
  std::map<Uuid, ImageCapacity> imageCapacity_;
  std::vector<VolumeCapacity> volumes_;
  std::set<std::string> missingPaths_;
  std::map<Uuid, std::int64_t> dataSizes_;
  std::map<Uuid, std::optional<Date>> measured_;  // the last attempt's end; nothing while it lasts
  const std::shared_ptr<OperationContext> measuring_ = std::make_shared<OperationContext>();
  std::map<std::string, CapacityLevel> notifiedLevels_;
  std::shared_ptr<OperationContext> context_;
  bool refreshing_ = false;
  int operationsBegun_ = 0;  // tells a refresh that an operation overtook
  QTimer timer_{this};
};

}  // namespace fernwahrung
