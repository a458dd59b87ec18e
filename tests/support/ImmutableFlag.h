// The flag that keeps even the owner from changing a file or folder, by descriptor. For the tests' own use,
// beside what the core does with it. Defined in linux/ and darwin/.
#pragma once

namespace fernwahrung {

bool changeImmutable(int fd, bool immutable);

}  // namespace fernwahrung
