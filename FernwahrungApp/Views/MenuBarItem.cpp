#include "FernwahrungApp/Views/MenuBarItem.h"

#include "FernwahrungApp/Views/HealthIcon.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "FernwahrungApp/Views/Texts.h"

#include "Foundation/ByteFormat.h"

#include <QEvent>
#include <QGuiApplication>

namespace fernwahrung {
namespace {

QString symbolFor(RelocationStatus::Health health) {
  switch (health) {
    case RelocationStatus::Health::ok:
      return "externaldrive.badge.checkmark";
    case RelocationStatus::Health::warning:
      return "externaldrive.badge.exclamationmark";
    case RelocationStatus::Health::error:
      return "externaldrive.badge.xmark";
  }
  return {};
}

}  // namespace

MenuBarItem::MenuBarItem(AppModel& model) : model_(model), update_([this] { update(); }) {
  menu_.setObjectName("menuBarItem");
  menu_.setAccessibleName("Fernwahrung");
  menu_.installEventFilter(this);
  icon_.setToolTip("Fernwahrung");
  icon_.setContextMenu(&menu_);
  update_.follow(&menu_, &QMenu::aboutToHide);
  update_.follow(&model_, &AppModel::relocationsChanged, &AppModel::statusesChanged,
                 &AppModel::imageCapacityChanged, &AppModel::volumesChanged, &AppModel::unfinishedChanged,
                 &AppModel::busyTitleChanged, &AppModel::askingChanged);
  update();
  icon_.show();
}

bool MenuBarItem::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::ApplicationPaletteChange) {
    entries_.clear();  // their symbols have the old colours
    update_.schedule();
  }
  return QObject::eventFilter(watched, event);
}

void MenuBarItem::update() {
  QString symbol = symbolFor(model_.overallHealth());
  if (symbol != symbol_) {
    symbol_ = symbol;
    QIcon icon = Symbols::icon(symbol_);
    icon.setIsMask(true);  // the menu bar has its own light and dark
    icon_.setIcon(icon);
  }
  // Under the pointer no entry may go or become another; what has changed shows once the menu is closed.
  if (menu_.isVisible()) return;
  std::vector<Entry> entries = wantedEntries();
  if (entries == entries_) return;
  entries_ = std::move(entries);
  rebuild();
}

std::vector<MenuBarItem::Entry> MenuBarItem::wantedEntries() const {
  std::vector<Entry> entries;
  appendRelocations(entries);
  entries.push_back({});
  const std::size_t before = entries.size();
  appendWarnings(entries);
  if (entries.size() > before) entries.push_back({});
  const bool idle = !model_.busyTitle() && !model_.asking();
  entries.push_back(
      {.id = "trayMountAll", .text = "Alle einhängen", .enabled = idle && !model_.relocations().empty()});
  entries.push_back({.id = "trayOpenWindow", .text = "Fenster öffnen", .enabled = true});
  entries.push_back({.id = "trayQuit", .text = "Beenden", .enabled = true});
  return entries;
}

void MenuBarItem::appendRelocations(std::vector<Entry>& entries) const {
  if (model_.relocations().empty()) {
    entries.push_back({.id = "trayNoRelocations", .text = "Keine Fernwahrungen"});
  }
  for (const Relocation& relocation : model_.relocations()) {
    Entry entry{.id = "trayRelocation",
                .text = Texts::inMenu(relocation.name),
                .relocation = relocation.id,
                .enabled = true};
    if (const RelocationStatus* status = model_.status(relocation)) {
      entry.text += " – " + Texts::inMenu(status->summary);
      entry.health = HealthIcon::worst(status->health, model_.capacityLevel(relocation));
    }
    entries.push_back(std::move(entry));
  }
}

void MenuBarItem::appendWarnings(std::vector<Entry>& entries) const {
  for (const VolumeCapacity& volume : model_.volumes()) {
    if (volume.level == CapacityLevel::ok) continue;
    entries.push_back({.id = "trayVolumeScarce",
                       .text = "⚠️ " + Texts::inMenu(volume.name) + ": nur noch " +
                               Texts::shown(ByteFormat::string(volume.freeBytes)) + " frei"});
  }
  for (const Relocation& relocation : model_.relocations()) {
    if (model_.capacityLevel(relocation) == CapacityLevel::ok) continue;
    entries.push_back({.id = "trayRelocationScarce",
                       .text = "⚠️ " + Texts::inMenu(relocation.name) + ": Speicher knapp"});
  }
  if (!model_.unfinished().empty()) {
    entries.push_back(
        {.id = "trayUnfinished", .text = "⚠️ Unterbrochener Vorgang – bitte Fenster öffnen"});
  }
}

void MenuBarItem::rebuild() {
  menu_.clear();
  for (const Entry& entry : entries_) {
    if (entry.id.isEmpty()) {
      menu_.addSeparator();
      continue;
    }
    QAction* action = menu_.addAction(entry.text);
    action->setObjectName(entry.id);
    action->setMenuRole(QAction::NoRole);
    action->setEnabled(entry.enabled);
    if (entry.health) {
      action->setIcon(Symbols::icon(HealthIcon::symbol(*entry.health),
                                    HealthIcon::color(*entry.health, QGuiApplication::palette())));
    }
    connect(action, &QAction::triggered, this, [this, entry] { chosen(entry); });
  }
}

void MenuBarItem::chosen(const Entry& entry) {
  if (entry.relocation) {
    model_.setSelection(entry.relocation);
    emit openWindow();
  } else if (entry.id == "trayMountAll") {
    model_.mountAll();
  } else if (entry.id == "trayOpenWindow") {
    emit openWindow();
  } else if (entry.id == "trayQuit") {
    emit quit();
  }
}

}  // namespace fernwahrung
