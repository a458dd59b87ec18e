// What diskutil can do; each verb takes the arguments behind it and gives the exit status, or throws Failure.
#pragma once

#include "linux/Tools.h"

namespace fernwahrung::host::Diskutil {

int verifyVolume(const Arguments& arguments);
int info(const Arguments& arguments);
int eject(const Arguments& arguments);
int apfs(const Arguments& arguments);

}  // namespace fernwahrung::host::Diskutil
