#include "helper/Arguments.h"

#include "helper/Failure.h"
#include "helper/TextColumns.h"

#include "Foundation/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <functional>

namespace fernwahrung {

struct Arguments::Entry {
  enum class Kind { flag, option, positional };

  Kind kind = Kind::flag;
  std::string name;  // "--source"; of a positional one the placeholder
  std::string placeholder = {};
  std::string description = {};
  bool isRequired = false;
  bool isRepeated = false;
  std::function<void(const std::vector<std::string>&)> store = {};
  CLI::Option* parsed = nullptr;

  std::string form() const { return kind == Kind::option ? name + " " + placeholder : name; }
};

struct Arguments::Parser {
  CLI::App app;
};

Arguments::Arguments() : parser_(std::make_unique<Parser>()) {
  parser_->app.set_help_flag();
  parser_->app.allow_extras();
}

Arguments::~Arguments() = default;

Arguments::Entry& Arguments::add(Entry entry) {
  Entry& added = *entries_.emplace_back(std::make_unique<Entry>(std::move(entry)));
  if (added.kind == Entry::Kind::flag) {
    added.parsed = parser_->app.add_flag(added.name)->disable_flag_override();
  } else {
    // Taken as often as given, so that the sentence about a second one is ours; one value each, as it stands.
    const std::string name =
        added.kind == Entry::Kind::positional ? fmt::format("argument{}", entries_.size()) : added.name;
    added.parsed = parser_->app.add_option(name)
                       ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
                       ->allow_extra_args(false);
  }
  return added;
}

void Arguments::required(const std::string& name, const std::string& placeholder,
                         const std::string& description, std::string& value) {
  add({.kind = Entry::Kind::option,
       .name = name,
       .placeholder = placeholder,
       .description = description,
       .isRequired = true,
       .store = [&value](const auto& values) { value = values.front(); }});
}

void Arguments::optional(const std::string& name, const std::string& placeholder,
                         const std::string& description, std::optional<std::string>& value) {
  add({.kind = Entry::Kind::option,
       .name = name,
       .placeholder = placeholder,
       .description = description,
       .store = [&value](const auto& values) { value = values.front(); }});
}

void Arguments::repeated(const std::string& name, const std::string& placeholder,
                         const std::string& description, std::vector<std::string>& values) {
  add({.kind = Entry::Kind::option,
       .name = name,
       .placeholder = placeholder,
       .description = description,
       .isRepeated = true,
       .store = [&values](const auto& given) { values = given; }});
}

void Arguments::flag(const std::string& name, const std::string& description, bool& value) {
  add({.kind = Entry::Kind::flag,
       .name = name,
       .description = description,
       .isRepeated = true,
       .store = [&value](const auto&) { value = true; }});
}

void Arguments::positional(const std::string& placeholder, const std::string& description,
                           std::string& value) {
  add({.kind = Entry::Kind::positional,
       .name = placeholder,
       .description = description,
       .isRequired = true,
       .store = [&value](const auto& values) { value = values.front(); }});
}

void Arguments::optionalPositional(const std::string& placeholder, const std::string& description,
                                   std::optional<std::string>& value) {
  add({.kind = Entry::Kind::positional,
       .name = placeholder,
       .description = description,
       .store = [&value](const auto& values) { value = values.front(); }});
}

bool Arguments::isOptionName(const std::string& text) const {
  return std::any_of(entries_.begin(), entries_.end(), [&](const auto& entry) {
    return entry->kind != Entry::Kind::positional && entry->name == text;
  });
}

void Arguments::fill(Entry& entry) {
  const std::vector<std::string>& values = entry.parsed->results();
  if (values.empty()) return;
  if (values.size() > 1 && !entry.isRepeated) {
    if (entry.kind == Entry::Kind::positional)
      throw UsageError(fmt::format("Unerwartetes Argument „{}“.", visible(values[1])));
    throw UsageError(fmt::format("Die Option „{}“ darf nur einmal stehen.", entry.name));
  }
  if (entry.kind == Entry::Kind::option) {
    const bool swallowed = std::any_of(values.begin(), values.end(),
                                       [&](const std::string& value) { return isOptionName(value); });
    if (swallowed) throw UsageError(fmt::format("Die Option „{}“ braucht einen Wert.", entry.name));
  }
  if (entry.kind != Entry::Kind::flag &&
      std::any_of(values.begin(), values.end(), [](const std::string& value) { return value.empty(); }))
    throw UsageError(fmt::format("Der Wert von „{}“ darf nicht leer sein.", entry.name));
  entry.store(values);
}

void Arguments::parse(const std::vector<std::string>& arguments) {
  try {
    parser_->app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    // Each of the library's sentences begins with the option it is about, for a flag without its hyphens.
    const std::string name = Text::split(Text::replacingAll(error.what(), ":", " "), ' ').front();
    for (const auto& entry : entries_) {
      if (entry->name != name && entry->name != "--" + name) continue;
      throw UsageError(entry->kind == Entry::Kind::flag
                           ? fmt::format("Die Option „{}“ nimmt keinen Wert.", entry->name)
                           : fmt::format("Die Option „{}“ braucht einen Wert.", entry->name));
    }
    throw UsageError("Die Befehlszeile ist nicht verständlich.");
  }
  for (const std::string& extra : parser_->app.remaining()) {
    if (extra == "--") continue;
    throw UsageError(extra.starts_with('-') ? fmt::format("Unbekannte Option „{}“.", visible(extra))
                                            : fmt::format("Unerwartetes Argument „{}“.", visible(extra)));
  }
  for (const auto& entry : entries_) fill(*entry);
}

void Arguments::checkComplete() const {
  for (const auto& entry : entries_)
    if (entry->isRequired && entry->parsed->results().empty())
      throw UsageError(fmt::format("Es fehlt {}.", entry->form()));
}

std::string Arguments::synopsis() const {
  std::vector<std::string> forms;
  for (const auto& entry : entries_) {
    std::string form = entry->form();
    if (!entry->isRequired) form = "[" + form + "]";
    if (entry->isRepeated && entry->kind == Entry::Kind::option) form += "…";
    forms.push_back(form);
  }
  return Text::join(forms, " ");
}

std::string Arguments::descriptions() const {
  int widest = 0;
  for (const auto& entry : entries_) widest = std::max(widest, columns(entry->form()));
  std::string text;
  for (const auto& entry : entries_)
    text += fmt::format("  {}  {}\n", padded(entry->form(), widest), entry->description);
  return text;
}

}  // namespace fernwahrung
