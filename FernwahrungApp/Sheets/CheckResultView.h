#pragma once

#include "FernwahrungApp/Model/AppModel.h"
#include "FernwahrungApp/Model/BlockerRecheck.h"
#include "FernwahrungApp/Model/BlockerTermination.h"

#include <QScrollArea>
#include <chrono>

class QVBoxLayout;

namespace fernwahrung {

/// What a check has found: what forbids the operation, what is to be known, how it goes on, how large the
/// folder is.
class CheckResultView : public QScrollArea {
  Q_OBJECT

 public:
  struct Timing {
    std::chrono::milliseconds recheckInterval = std::chrono::seconds(5);
    std::chrono::milliseconds terminationGrace = BlockerTermination::grace;
  };

  /// `procedure`: the line "Ablauf: …" of the operation.
  CheckResultView(AppModel& model, const QString& procedure, Timing timing, QWidget* parent);

  /// Nothing: what was shown belongs to something else, and the automatic re-check begins anew. A result
  /// equal to the one on show leaves everything as it is, the user's selection included: false.
  bool setResult(const std::optional<PreflightResult>& result);
  /// A check or another operation runs.
  void setBusy(bool busy);

  QSize minimumSizeHint() const override;
  QSize sizeHint() const override;
  /// So high it has to be to show all findings at this width.
  int heightOfAll(int width) const;

 signals:
  /// By the user or by itself.
  void recheck();

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void rebuild();
  void addFindings(QVBoxLayout& layout);
  void addProcess(QVBoxLayout& layout, const ProcessDescription& process);
  void watch(bool visible);
  QString recheckLine() const;
  void updateRecheckLine();

  AppModel& model_;
  const QString procedure_;
  const Timing timing_;
  std::optional<PreflightResult> result_;
  BlockerRecheck recheck_;
};

}  // namespace fernwahrung
