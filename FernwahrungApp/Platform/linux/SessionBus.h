#pragma once

#include <QDBusConnection>
#include <optional>

namespace fernwahrung {

/// The bus of the user's session, connected once and kept, or nothing where there is none. Unlike the usual
/// way to it, never starts a bus. Any thread.
std::optional<QDBusConnection> sessionBus();

}  // namespace fernwahrung
