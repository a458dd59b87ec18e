#include "FernwahrungApp/Sheets/ProcessBlockerRow.h"

#include "FernwahrungApp/Sheets/FindingRow.h"
#include "FernwahrungApp/Views/Symbols.h"
#include "FernwahrungApp/Views/Texts.h"

#include <QHBoxLayout>
#include <QPushButton>

namespace fernwahrung {
namespace {

// The buttons stand under the text, not under its symbol.
constexpr int textIndent = 26;

}  // namespace

ProcessBlockerRow::ProcessBlockerRow(ProcessDescription process, QWidget* parent)
    : QWidget(parent), process_(std::move(process)) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(8);
  layout->addWidget(new FindingRow("xmark.octagon.fill", Symbols::error, "blockerText", "Hindernis",
                                   Texts::shown(ProcessDescriber::message(process_)), this));
  if (!process_.canTerminate()) {
    auto* forbidden = new QHBoxLayout;
    forbidden->setContentsMargins(textIndent, 0, 0, 0);
    forbidden->addWidget(new FindingRow(
        "xmark.octagon.fill", Symbols::error, "blockerForbidden", "Hinweis",
        Texts::shown("Kann hier nicht beendet werden: " + *process_.termination.forbiddenReason), this));
    layout->addLayout(forbidden);
  }

  auto* buttons = new QHBoxLayout;
  buttons->setContentsMargins(textIndent, 0, 0, 0);
  buttons->setSpacing(8);
  auto addButton = [&](const QString& id, const QString& text, auto pressed) {
    auto* button = new QPushButton(text, this);
    button->setObjectName(id);
    button->setAccessibleName(text + ": " + Texts::shown(process_.displayName));
    connect(button, &QPushButton::clicked, this, pressed);
    buttons->addWidget(button);
  };
  if (process_.canTerminate()) addButton("blockerQuit", "Beenden", &ProcessBlockerRow::quit);
  addButton("blockerReveal", "Im Finder zeigen", &ProcessBlockerRow::reveal);
  addButton("recheckButton", "Erneut prüfen", &ProcessBlockerRow::recheck);
  buttons->addStretch();
  layout->addLayout(buttons);
}

}  // namespace fernwahrung
