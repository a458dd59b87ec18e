// Where the Mac's tools lie on this machine. On the Mac the answer is always the path itself.
#pragma once

#include <string>

namespace fernwahrung::HostTools {

/// The program to start for the Mac's `tool`, as "/usr/bin/hdiutil". Defined by Platform.
/// Linux: a stand-in of that name in the tools' folder, else a program of that name in the system's folders,
/// else the path as it is. The folder is "host-tools" beside the running program, or
/// "../libexec/fernwahrung".
std::string locate(const std::string& tool);

/// Test hook, absent from a release build on the Mac: `tool` is `replacement` until the object dies.
///   HostTools::Replacement ditto("/usr/bin/ditto", "/tmp/x/ditto-double");
class Replacement {
 public:
  Replacement(std::string tool, std::string replacement);
  ~Replacement();
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

 private:
  std::string tool_;
};

/// Test hook: the folder that holds the stand-ins.
void setDirectory(std::string directory);

}  // namespace fernwahrung::HostTools
