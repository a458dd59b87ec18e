#include "FernwahrungApp/Model/Sheet.h"

namespace fernwahrung {

std::string Sheet::id() const {
  std::string id = std::to_string(static_cast<int>(kind));
  return relocation ? id + "-" + relocation->id.text() : id;
}

}  // namespace fernwahrung
