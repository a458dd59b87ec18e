// What the sheet "Ordner fernwahren" holds and decides, without the sheet: its fields, the check of what they
// say, and the start.
#pragma once

#include "FernwahrungApp/Model/AppModel.h"

#include <QObject>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

/// Main thread only. The model must outlive it.
class NewRelocationForm : public QObject {
  Q_OBJECT

 public:
  /// Takes over the source and the applications that the model holds for the next new relocation.
  explicit NewRelocationForm(AppModel& model);

  const std::string& source() const { return source_; }
  const std::string& name() const { return name_; }
  RelocationKind kind() const { return kind_; }
  const std::string& storage() const { return storage_; }
  /// Before, it is the folder in which the drives appear, and nothing belongs right into that.
  bool storageChosen() const;
  std::int64_t sizeGB() const { return sizeGB_; }  // decimal gigabytes; only for an image
  bool spotlight() const { return spotlight_; }    // only for an image
  const std::vector<std::string>& apps() const { return apps_; }

  /// The result that belongs to the fields as they are. While another check runs, that of the one before.
  const std::optional<PreflightResult>& check() const { return check_; }
  bool checking() const { return checking_; }
  bool appClosedConfirmed() const { return appClosedConfirmed_; }

  /// The source is set by chooseSource(), which also sets the kind when it belongs to a sandboxed
  /// application.
  void setName(const std::string& name);
  void setKind(RelocationKind kind);
  void setSizeGB(std::int64_t sizeGB);
  void setSpotlight(bool spotlight);
  void setApps(const std::vector<std::string>& apps);
  void setAppClosedConfirmed(bool confirmed);

  /// Ask the user; nothing changes when the question is cancelled.
  void chooseSource();
  void chooseStorage();

  RelocationPlan currentPlan() const;

  /// A folder, a target and a name are given, and nothing else runs.
  bool canCheck() const;
  /// Measures in the background. An image that would be too small for the folder is made larger, and sizeGB()
  /// follows. The result is dropped when a field has changed meanwhile, and the next check begins when that
  /// one has ended: no two walk at a time.
  void runCheck();
  /// Because something may have changed outside: a check that runs already is followed by another.
  void checkAgain();
  /// The check found nothing that forbids it, and the user has confirmed that the application is closed.
  bool canStart() const;
  /// False when it can't.
  bool start();

 signals:
  /// Anything of the above has changed.
  void changed();

 private:
  struct Checked {
    PreflightResult result;
    std::int64_t imageSizeBytes = 0;
  };

  template <class Value>
  void set(Value& field, const Value& value);
  void takeSource(const std::string& source);
  void measureInBackground();
  static Checked measure(const CoreCalls& core, RelocationPlan plan);
  void finish(const Checked& checked);

  AppModel& model_;

  std::string source_;
  std::string name_;
  RelocationKind kind_ = RelocationKind::image;
  std::string storage_;
  std::int64_t sizeGB_ = 20;
  bool spotlight_ = true;
  std::vector<std::string> apps_;

  std::optional<PreflightResult> check_;
  bool checking_ = false;
  bool measuring_ = false;  // for the fields as they are, or as they were
  bool again_ = false;
  bool appClosedConfirmed_ = false;
  int edition_ = 0;  // of the fields: tells a result that came too late
};

}  // namespace fernwahrung
