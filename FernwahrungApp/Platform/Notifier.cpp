#include "FernwahrungApp/Platform/Notifier.h"

#include "FernwahrungApp/Platform/NotificationPost.h"

#include "Foundation/Log.h"

namespace fernwahrung {

void Notifier::send(const std::string& title, const std::string& body) {
  Log::write("Mitteilung: " + title + " – " + body);
  post(title, body);
}

}  // namespace fernwahrung
