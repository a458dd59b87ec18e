#include "FernwahrungApp/Views/StatusCard.h"

#include "FernwahrungApp/Views/HealthIcon.h"
#include "FernwahrungApp/Views/SymbolView.h"
#include "FernwahrungApp/Views/WrappedText.h"

#include <QVBoxLayout>

namespace fernwahrung {
namespace {

WrappedText* words(const QString& id, const QString& kind, QWidget* parent) {
  auto* text = new WrappedText({}, parent);
  text->setObjectName(id);
  text->setAccessibleName(kind);
  text->setFocusPolicy(Qt::ClickFocus);
  return text;
}

}  // namespace

StatusCard::StatusCard(QWidget* parent)
    : Card(parent),
      symbol_(new SymbolView(28, this)),
      summary_(words("statusSummary", "Zustand", this)),
      findings_(new QVBoxLayout),
      access_(new QWidget(this)) {
  setObjectName("statusCard");
  QFont font = summary_->font();
  font.setPointSizeF(font.pointSizeF() * 1.25);
  font.setWeight(QFont::DemiBold);
  summary_->setFont(font);

  auto* openAccess = new QPushButton("Festplattenvollzugriff öffnen", access_);
  openAccess->setObjectName("detailOpenFullDiskAccess");
  openAccess->setAccessibleName(openAccess->text());
  connect(openAccess, &QPushButton::clicked, this, &StatusCard::openFullDiskAccess);
  auto* helper = new QPushButton("Hilfsprogramm im Finder zeigen", access_);
  helper->setObjectName("detailRevealHelper");
  helper->setAccessibleName(helper->text());
  connect(helper, &QPushButton::clicked, this, &StatusCard::revealHelper);
  auto* buttons = new QHBoxLayout(access_);
  buttons->setContentsMargins(0, 8, 0, 0);
  buttons->setSpacing(8);
  buttons->addWidget(openAccess);
  buttons->addWidget(helper);
  buttons->addStretch();
  access_->hide();

  findings_->setSpacing(6);
  auto* column = new QVBoxLayout;
  column->setSpacing(6);
  column->addWidget(summary_);
  column->addLayout(findings_);
  column->addWidget(access_);
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(16, 16, 16, 16);
  row->setSpacing(12);
  row->addWidget(symbol_, 0, Qt::AlignTop);
  row->addLayout(column, 1);
}

void StatusCard::show(const Content& content) {
  if (content == shown_) return;
  summary_->showText(content.summary);
  if (content.health != shown_.health) {
    if (auto health = content.health) {
      auto color = [health](const QPalette& palette) { return HealthIcon::color(*health, palette); };
      symbol_->setSymbol(HealthIcon::symbol(*health), color);
      setAccent(*health == RelocationStatus::Health::ok ? Color() : Color(color));
    } else {
      symbol_->setSymbol({});
      setAccent({});
    }
  }
  setAccessibleName(content.health ? HealthIcon::description(*content.health) : QString());
  if (content.findings != shown_.findings) {
    qDeleteAll(findingTexts_);
    findingTexts_.clear();
    for (const QString& finding : content.findings) {
      WrappedText* text = words("statusFinding", "Befund", this);
      text->showText(finding);
      findings_->addWidget(text);
      findingTexts_.push_back(text);
    }
  }
  access_->setVisible(content.accessDenied);
  shown_ = content;
}

}  // namespace fernwahrung
