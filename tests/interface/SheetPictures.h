// Pictures of the sheets and questions in their states, to be looked at.
#pragma once

#include <string>

namespace fernwahrung {

/// Writes "sheet-….png" into the folder, light and dark. Needs a QApplication; changes its palette and puts
/// it back.
void sheetPictures(const std::string& folder);

}  // namespace fernwahrung
