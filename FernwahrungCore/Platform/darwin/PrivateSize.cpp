// Sources: getattrlist(2) for the order of the attributes, their alignment, and the extended common ones,
// which take the place of the fork attributes.
#include "Platform/PrivateSize.h"

#include "Platform/FileInfo.h"

#include <sys/attr.h>
#include <unistd.h>

namespace fernwahrung::Platform {

std::optional<std::int64_t> privateSize(const std::string& path) {
  const auto info = fileInfo(path);
  if (!info || info->type != FileType::file) return std::nullopt;

  attrlist wanted = {};
  wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
  wanted.commonattr = ATTR_CMN_RETURNED_ATTRS;
  wanted.forkattr = ATTR_CMNEXT_PRIVATESIZE;
  struct __attribute__((packed, aligned(4))) {
    std::uint32_t length;
    attribute_set_t returned;
    off_t size;
  } answer = {};
  if (::getattrlist(path.c_str(), &wanted, &answer, sizeof answer,
                    FSOPT_NOFOLLOW | FSOPT_ATTR_CMN_EXTENDED) != 0)
    return std::nullopt;
  // A file system that doesn't know the attribute leaves it out, and the answer is shorter.
  const bool known = answer.returned.forkattr & ATTR_CMNEXT_PRIVATESIZE;
  if (!known || answer.length < sizeof answer) return std::nullopt;
  const off_t size = answer.size;  // nothing may refer to a member that is not aligned
  return size;
}

}  // namespace fernwahrung::Platform
