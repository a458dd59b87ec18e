#include "Engine/RelocationPlan.h"

#include "Foundation/PathString.h"
#include "Foundation/Text.h"
#include "Foundation/Unicode.h"

namespace fernwahrung {

std::string RelocationPlan::safeName() const {
  std::u32string safe;
  for (char32_t scalar : Unicode::scalars(name)) {
    bool allowed = Unicode::isAlphanumeric(scalar) || scalar == U'-' || scalar == U'_' || scalar == U' ' ||
                   scalar == U'.';
    safe.push_back(allowed ? scalar : U'_');
  }
  std::string trimmed = Text::trimmedBlanks(Unicode::utf8(safe));
  return trimmed.empty() ? "Fernwahrung" : trimmed;
}

std::string RelocationPlan::storagePath() const {
  return PathString::join(storageDirectory,
                          kind == RelocationKind::image ? safeName() + ".sparsebundle" : safeName());
}

}  // namespace fernwahrung
