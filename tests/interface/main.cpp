#include "FernwahrungApp/Views/Appearance.h"

#include <QApplication>
#include <gtest/gtest.h>

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(count, arguments);
  fernwahrung::Appearance::apply(application);
  return RUN_ALL_TESTS();
}
