#include "interface/WindowFixture.h"

#include "FernwahrungApp/Views/ElidedField.h"
#include "FernwahrungApp/Views/WrappedText.h"

#include <QAbstractButton>

namespace fernwahrung {

std::string WindowFixture::text(const QString& name) {
  QWidget* widget = find(name);
  if (auto* field = qobject_cast<ElidedField*>(widget)) return field->fullText().toStdString();
  if (auto* label = qobject_cast<QLabel*>(widget)) return label->text().toStdString();
  if (auto* wrapped = qobject_cast<WrappedText*>(widget)) return wrapped->toPlainText().toStdString();
  ADD_FAILURE() << name.toStdString() << " has no text";
  return {};
}

std::set<std::string> WindowFixture::visibleTexts() {
  std::set<std::string> texts;
  for (QWidget* widget : window->findChildren<QWidget*>()) {
    if (!widget->isVisible()) continue;
    if (auto* field = qobject_cast<ElidedField*>(widget)) texts.insert(field->fullText().toStdString());
    if (auto* label = qobject_cast<QLabel*>(widget)) texts.insert(label->text().toStdString());
    if (auto* wrapped = qobject_cast<WrappedText*>(widget))
      texts.insert(wrapped->toPlainText().toStdString());
    if (auto* button = qobject_cast<QAbstractButton*>(widget)) texts.insert(button->text().toStdString());
  }
  return texts;
}

}  // namespace fernwahrung
