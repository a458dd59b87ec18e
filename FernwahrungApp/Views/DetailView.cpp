#include "FernwahrungApp/Views/DetailView.h"

#include "FernwahrungApp/Model/AvailableCommands.h"
#include "FernwahrungApp/Model/Confirmations.h"
#include "FernwahrungApp/Views/FollowFocus.h"
#include "FernwahrungApp/Views/HealthIcon.h"
#include "FernwahrungApp/Views/Placeholder.h"
#include "FernwahrungApp/Views/Texts.h"

#include "Foundation/ByteFormat.h"

#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

namespace fernwahrung {
namespace {

constexpr int widest = 840;  // lines that are longer are hard to follow

QStringList shown(const std::vector<std::string>& texts) {
  QStringList result;
  for (const std::string& text : texts) result << Texts::shown(text);
  return result;
}

}  // namespace

DetailView::DetailView(AppModel& model, QWidget* parent)
    : QStackedWidget(parent),
      model_(model),
      nothing_(new Placeholder("sidebar.left", "Keine Auswahl", {}, this)),
      page_(new QScrollArea(this)),
      update_([this] { update(); }) {
  setObjectName("detailView");
  auto* ground = new QWidget(page_);
  auto* content = new QWidget(ground);
  content->setMaximumWidth(widest);
  name_ = new ElidedField(content);
  name_->setObjectName("detailName");
  name_->setAccessibleName("Name");
  QFont font = name_->font();
  font.setPointSizeF(font.pointSizeF() * 1.6);
  font.setWeight(QFont::DemiBold);
  name_->setFont(font);
  status_ = new StatusCard(content);
  connect(status_, &StatusCard::openFullDiskAccess, &model_, &AppModel::openFullDiskAccess);
  connect(status_, &StatusCard::revealHelper, &model_, &AppModel::revealHelperInFinder);

  auto* column = new QVBoxLayout(content);
  column->setContentsMargins(24, 20, 24, 24);
  column->setSpacing(16);
  column->addWidget(name_);
  column->addWidget(status_);
  column->addWidget(buildActions());
  auto* form = new QWidget(content);
  grid_ = new QGridLayout(form);
  buildRows(*grid_);
  column->addWidget(form);
  column->addStretch();
  auto* across = new QHBoxLayout(ground);
  across->setContentsMargins(0, 0, 0, 0);
  across->addWidget(content, 1);
  across->addStretch();

  page_->setObjectName("detailPage");
  page_->setAccessibleName("Einzelheiten der Fernwahrung");
  page_->setFrameShape(QFrame::NoFrame);
  page_->setWidgetResizable(true);
  page_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  page_->setFocusPolicy(Qt::NoFocus);
  page_->setWidget(ground);
  followFocus(*page_);
  addWidget(nothing_);
  addWidget(page_);

  update_.follow(&model_, &AppModel::relocationsChanged, &AppModel::statusesChanged,
                 &AppModel::selectionChanged, &AppModel::imageCapacityChanged, &AppModel::missingPathsChanged,
                 &AppModel::dataSizesChanged, &AppModel::busyTitleChanged);
  update();
}

QWidget* DetailView::buildActions() {
  auto* actions = new QWidget(this);
  mount_ = addAction(actions, "detailMount", "Einhängen",
                     [](AppModel& model, Relocation relocation) { model.mount(relocation); });
  unmount_ = addAction(actions, "detailUnmount", "Aushängen", Confirmations::unmount);
  restore_ = addAction(actions, "detailRestore", "Zurück auf den Mac holen …", Confirmations::restore);
  auto* row = new QHBoxLayout(actions);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(8);
  row->addWidget(mount_);
  row->addWidget(unmount_);
  row->addWidget(restore_);
  row->addStretch();
  return actions;
}

QPushButton* DetailView::addAction(QWidget* parent, const QString& id, const QString& text,
                                   void (*ask)(AppModel&, Relocation)) {
  auto* button = new QPushButton(text, parent);
  button->setObjectName(id);
  button->setAccessibleName(text);
  connect(button, &QPushButton::clicked, this, [this, ask] {
    if (const Relocation* selected = model_.selectedRelocation()) ask(model_, *selected);
  });
  return button;
}

void DetailView::buildRows(QGridLayout& grid) {
  using Value = DetailRow::Value;
  grid.setContentsMargins(0, 8, 0, 0);
  grid.setHorizontalSpacing(12);
  grid.setVerticalSpacing(8);
  grid.setColumnStretch(1, 1);
  int line = 0;
  auto add = [&](Value kind, const char* id, const char* name) {
    return new DetailRow(grid, line++, kind, id, name);
  };
  source_ = add(Value::path, "detailSource", "Ort auf dem Mac");
  storage_ = add(Value::path, "detailStorage", "Gespeichert auf");
  since_ = add(Value::text, "detailSince", "Ferngewahrt am");
  kind_ = add(Value::text, "detailKind", "Verfahren");
  size_ = add(Value::text, "detailSize", "Größe der Daten");
  growth_ = add(Value::text, "detailGrowth", "Spielraum");
  apps_ = add(Value::text, "detailApps", "Geschützte Apps");
  original_ = add(Value::path, "detailOriginal", "Original");
  originalGone_ = add(Value::text, "detailOriginalGone", "Original");
  firstKeptLine_ = line;

  source_->setRevealable(true);
  original_->setRevealable(true);
  connect(source_, &DetailRow::reveal, this, [this] { reveal(&Relocation::sourcePath); });
  connect(storage_, &DetailRow::reveal, this, [this] { reveal(&Relocation::storagePath); });
  connect(original_, &DetailRow::reveal, this, [this] {
    const Relocation* selected = model_.selectedRelocation();
    if (selected && selected->originalBackupPath) model_.revealInFinder(*selected->originalBackupPath);
  });
}

void DetailView::update() {
  const Relocation* relocation = model_.selectedRelocation();
  if (!relocation) {
    shown_.reset();
    setCurrentWidget(nothing_);
    return;
  }
  showRelocation(*relocation);
  setCurrentWidget(page_);
  if (shown_ != relocation->id) page_->verticalScrollBar()->setValue(0);
  shown_ = relocation->id;
}

void DetailView::showRelocation(const Relocation& relocation) {
  const RelocationStatus* status = model_.status(relocation);
  name_->setFullText(Texts::shown(relocation.name));
  showStatus(relocation);
  showActions(relocation);
  source_->setValue(Texts::shown(relocation.sourcePath));
  storage_->setValue(Texts::shown(relocation.storagePath));
  storage_->setRevealable(status && status->storageAvailable);
  since_->setValue(Texts::shown(Dates::german(relocation.createdAt)));
  kind_->setValue(Texts::shown(title(relocation.kind)));
  showSizes(relocation);
  apps_->setValue(relocation.guardedAppPaths.empty()
                      ? "keine – es kommt keine Warnung, wenn eine App ohne diese Daten startet"
                      : Texts::shown(Confirmations::appNames(relocation)));
  showOriginal(relocation);
  showKept(relocation);
}

void DetailView::showStatus(const Relocation& relocation) {
  StatusCard::Content content;
  if (const RelocationStatus* status = model_.status(relocation)) {
    content.health = status->health;
    content.summary = Texts::shown(status->summary);
    content.findings = shown(status->details);
    content.accessDenied = status->accessDenied;
  }
  if (relocation.state == RelocationState::restored) {
    content.findings << "Die Daten liegen wieder auf dem Mac. Die externe Kopie ist noch vorhanden.";
  }
  auto capacity = model_.imageCapacity().find(relocation.id);
  if (capacity != model_.imageCapacity().end()) {
    content.findings << shown(capacity->second.messages);
    if (content.health) content.health = HealthIcon::worst(*content.health, capacity->second.level);
  }
  status_->show(content);
}

void DetailView::showActions(const Relocation& relocation) {
  const RelocationStatus* status = model_.status(relocation);
  const bool idle = !model_.busyTitle();
  mount_->setVisible(AvailableCommands::mount(relocation, status));
  unmount_->setVisible(AvailableCommands::unmount(relocation, status));
  restore_->setVisible(AvailableCommands::restore(relocation));
  for (QPushButton* button : {mount_, unmount_, restore_}) button->setEnabled(idle);
  mount_->parentWidget()->setVisible(AvailableCommands::restore(relocation));
}

void DetailView::showSizes(const Relocation& relocation) {
  QString size;
  QString growth;
  if (relocation.kind == RelocationKind::image) {
    size = "nur bei eingehängter virtueller Festplatte messbar";
    auto capacity = model_.imageCapacity().find(relocation.id);
    if (capacity != model_.imageCapacity().end() && capacity->second.usedBytes) {
      size = Texts::shown(ByteFormat::string(*capacity->second.usedBytes));
      if (auto room = capacity->second.canStillGrow()) {
        growth = Texts::shown("kann noch um " + ByteFormat::string(*room) + " wachsen");
      }
    }
  } else {
    auto measured = model_.dataSizes().find(relocation.id);
    const RelocationStatus* status = model_.status(relocation);
    if (measured != model_.dataSizes().end()) size = Texts::shown(ByteFormat::string(measured->second));
    if (status && status->storageAvailable) model_.measureData(relocation);
  }
  size_->setValue(size);
  growth_->setValue(growth);
}

void DetailView::showOriginal(const Relocation& relocation) {
  const std::optional<std::string>& path = relocation.originalBackupPath;
  const bool there = path && !path->empty() && !model_.missingPaths().contains(*path);
  original_->setValue(there ? Texts::shown(*path) : QString());
  originalGone_->setValue(there ? QString() : "nicht mehr vorhanden (im Papierkorb oder übernommen)");
}

void DetailView::showKept(const Relocation& relocation) {
  std::vector<Kept> kept = keptOf(relocation);
  if (kept == kept_) return;
  kept_ = std::move(kept);
  qDeleteAll(keptRows_);
  keptRows_.clear();
  int line = firstKeptLine_;
  for (const Kept& entry : kept_) {
    auto* row = new DetailRow(*grid_, line++, DetailRow::Value::path, entry.id, entry.name);
    row->setValue(Texts::shown(entry.path));
    row->setRevealable(true);
    row->setMissing(entry.missing);
    connect(row, &DetailRow::reveal, this, [this, path = entry.path] { model_.revealInFinder(path); });
    keptRows_.push_back(row);
  }
}

std::vector<DetailView::Kept> DetailView::keptOf(const Relocation& relocation) const {
  std::vector<Kept> kept;
  auto append = [&](const std::optional<std::vector<std::string>>& paths, const char* id, const char* name) {
    if (!paths) return;
    for (const std::string& path : *paths) {
      kept.push_back({id, name, path, model_.missingPaths().contains(path)});
    }
  };
  append(relocation.safetyCopies, "detailSafetyCopy", "Sicherheitskopie");
  append(relocation.asideFolders, "detailAside", "Beiseite gelegter Inhalt");
  append(relocation.previousStoragePaths, "detailPreviousStorage", "Früherer Speicherort");
  return kept;
}

void DetailView::reveal(std::string Relocation::*path) {
  if (const Relocation* selected = model_.selectedRelocation()) model_.revealInFinder(selected->*path);
}

}  // namespace fernwahrung
