// Asks whether a process that holds files open is to be ended, and asks it to.
#pragma once

#include "FernwahrungApp/Model/AppModel.h"

#include <chrono>
#include <functional>

namespace fernwahrung::BlockerTermination {

/// How long a process gets before one looks whether it has gone.
inline constexpr std::chrono::milliseconds grace{1500};

/// On a yes, `after` follows once the request was made and the grace has passed, unless `owner` is gone by
/// then. Main thread.
void confirm(AppModel& model, ProcessDescription process, QObject* owner, std::function<void()> after,
             std::chrono::milliseconds delay = grace);

}  // namespace fernwahrung::BlockerTermination
