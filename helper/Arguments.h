// What a command accepts on its command line: declared once, used for parsing and for its help.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fernwahrung {

/// The targets are filled by parse() and must live until then. Names are English ("--source"), descriptions
/// German.
class Arguments {
 public:
  Arguments();
  ~Arguments();
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  void required(const std::string& name, const std::string& placeholder, const std::string& description,
                std::string& value);
  void optional(const std::string& name, const std::string& placeholder, const std::string& description,
                std::optional<std::string>& value);
  /// May be given any number of times, with one value each.
  void repeated(const std::string& name, const std::string& placeholder, const std::string& description,
                std::vector<std::string>& values);
  void flag(const std::string& name, const std::string& description, bool& value);
  void positional(const std::string& placeholder, const std::string& description, std::string& value);
  void optionalPositional(const std::string& placeholder, const std::string& description,
                          std::optional<std::string>& value);

  /// Throws UsageError. A value is taken as it stands, a leading hyphen included; only the name of another
  /// option is none. "--" ends the options.
  void parse(const std::vector<std::string>& arguments);
  /// Throws UsageError for a required option or argument that parse() did not find.
  void checkComplete() const;

  /// "--source DIR [--name N] [--app PATH]…"
  std::string synopsis() const;
  /// One line per argument and option, with its description.
  std::string descriptions() const;

 private:
  struct Entry;
  Entry& add(Entry entry);
  void fill(Entry& entry);
  bool isOptionName(const std::string& text) const;

  std::vector<std::unique_ptr<Entry>> entries_;
  struct Parser;
  std::unique_ptr<Parser> parser_;  // keeps the parsing library out of this header
};

}  // namespace fernwahrung
