#include "helper/Session.h"

#include <ostream>

namespace fernwahrung {

void Session::say(const std::string& text) {
  if (!json_) streams_.out << text << "\n";
}

void Session::print(const std::string& text) {
  if (!json_) streams_.out << text;
}

void Session::printJson(const Json::Value& document) {
  streams_.out << document.dump(2, ' ', false, Json::Value::error_handler_t::replace) << "\n";
}

void Session::remark(const std::string& text) {
  streams_.err << text << "\n";
}

RunningOperation::RunningOperation(Session& session)
    : display_(session.streams(), session.verbose()),
      context_(
          [this](const std::string& text, std::optional<double> fraction) { display_.show(text, fraction); }),
      interruption_([this] {
        context_.cancel();
        display_.show("Breche ab und stelle den Ausgangszustand wieder her …", std::nullopt);
      }) {
}

}  // namespace fernwahrung
