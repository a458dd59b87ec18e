// What diskutil can do; each verb takes the arguments behind it and gives the exit status.
#pragma once

#include "linux/Tools.h"

namespace fernwahrung::host::Diskutil {

int verifyVolume(const Arguments& arguments);

}  // namespace fernwahrung::host::Diskutil
