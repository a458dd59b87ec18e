#include "Foundation/ByteFormat.h"

namespace fernwahrung {

std::string ByteFormat::string(std::int64_t bytes) {
  return german(bytes);
}

}  // namespace fernwahrung
