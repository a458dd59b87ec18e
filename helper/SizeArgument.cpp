#include "helper/SizeArgument.h"

#include "helper/Failure.h"
#include "helper/TextColumns.h"

#include "Foundation/Text.h"

#include <fmt/format.h>

namespace fernwahrung {

namespace {

constexpr std::int64_t bytesPerGigabyte = 1'000'000'000;
constexpr std::int64_t mostGigabytes = 1'000'000;

}  // namespace

std::int64_t sizeInBytes(const std::string& gigabytes) {
  const auto number = Text::toInteger(gigabytes);
  if (!number || *number < 1 || *number > mostGigabytes)
    throw UsageError(fmt::format("„{}“ ist keine Größe: nötig ist eine ganze Zahl von GB zwischen 1 und {}.",
                                 visible(gigabytes), mostGigabytes));
  return *number * bytesPerGigabyte;
}

}  // namespace fernwahrung
