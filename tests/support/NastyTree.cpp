#include "support/NastyTree.h"

#include "support/Files.h"
#include "support/SystemDifferences.h"

#include "Foundation/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace fernwahrung {
namespace {

void demand(int result, const std::string& path) {
  if (result != 0) throw std::system_error(errno, std::generic_category(), path);
}

/// Bytes that differ at each place and between any two files.
std::string bytes(std::size_t count, unsigned seed) {
  std::string result(count, '\0');
  unsigned state = seed * 2654435761U + 1;
  for (char& byte : result) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<char>(state >> 24);
  }
  return result;
}

void makeLink(const std::string& text, const std::string& path) {
  demand(::symlink(text.c_str(), path.c_str()), path);
}

void makeSparseFile(const std::string& path) {
  writeFile(path, "begin");
  const FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
  demand(::pwrite(fd.get(), "middle", 6, 4 << 20) == 6 ? 0 : -1, path);
  demand(::ftruncate(fd.get(), 9 << 20), path);
}

void setAttribute(const std::string& path, const char* name, const std::string& value) {
  if (setAttributeAt(path, name, value) != 0 && errno != ENOTSUP) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

/// Deepest first, so that giving a file its time does not change that of a folder already done.
void setTimes(const std::string& top) {
  std::vector<std::string> paths{top};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(top)) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  for (std::size_t i = paths.size(); i-- > 0;) {
    const long number = static_cast<long>(i);
    const timespec time{1'400'000'000 + number * 86'461, (number * 7'654'321 + 123'456'789) % 1'000'000'000};
    const timespec times[2] = {time, time};
    demand(::utimensat(AT_FDCWD, paths[i].c_str(), times, AT_SYMLINK_NOFOLLOW), paths[i]);
  }
}

}  // namespace

void makeNastyTree(const std::string& folder, const NastyTreeOptions& options) {
  const auto at = [&](const std::string& relative) { return folder + "/" + relative; };
  writeFile(at("einfach.txt"), "Ein Satz.\n");
  writeFile(at("leer"), "");
  makeFolder(at("Leerer Ordner/noch einer"));

  writeFile(at("Namen/\u00dcbergr\u00f6\u00dfe.txt"), "precomposed");
  writeFile(at("Namen/A\u0308pfel und O\u0308l/Su\u0308\u00df.txt"), "decomposed");
  writeFile(at("Namen/mit  zwei Blanks "), "x");
  writeFile(at("Namen/ blank voran"), "x");
  writeFile(at("Namen/Zeile\nUmbruch/noch\r\neiner"), "x");
  writeFile(at("Namen/back\\slash\\"), "x");
  writeFile(at("Namen/\"Anf\u00fchrung\" 'einfach' `$HOME` *?[a]"), "x");
  writeFile(at("Namen/-rf"), "x");
  writeFile(at("Namen/Bild \U0001F4BE.png"), "x");
  writeFile(at("Namen/Tab\tund \x01 Steuerzeichen"), "x");
  writeFile(at("Namen/" + std::string(255, 'n')), "x");
  writeFile(at("Namen/" + std::string(254, 'o') + "/" + std::string(255, 'p')), "x");

  writeFile(at(".DS_Store"), "Bud1");
  writeFile(at("Namen/.DS_Store"), "Bud1 below");
  writeFile(at(".versteckt/.auch"), "x");

  makeLink(folder + "/einfach.txt", at("Verweis absolut"));
  makeLink("../einfach.txt", at("Namen/Verweis relativ"));
  makeLink("Namen", at("Verweis auf Ordner"));
  makeLink("/nirgends/gibt es nicht", at("Verweis ins Leere"));
  makeLink("Verweis im Kreis", at("Verweis im Kreis"));
  makeLink(std::string(1000, 'z'), at("Verweis lang"));
  makeLink("mit\nUmbruch und \u00e4", at("Verweis Zeile"));

  writeFile(at("Hart/eins"), bytes(5000, 1));
  demand(::link(at("Hart/eins").c_str(), at("Hart/zwei").c_str()), at("Hart/zwei"));
  demand(::link(at("Hart/eins").c_str(), at("Hart oben").c_str()), at("Hart oben"));
  makeFolder(at("Hart/tiefer"));
  demand(::link(at("Hart/eins").c_str(), at("Hart/tiefer/drei").c_str()), at("Hart/tiefer/drei"));

  makeSparseFile(at("Luecken.bin"));
  if (options.bigFile) writeFile(at("Gross.bin"), bytes((3 << 20) + 17, 2));
  for (int i = 0; i < options.manyFiles; ++i) {
    const unsigned seed = 100 + static_cast<unsigned>(i);
    writeFile(at("Viele/Datei " + std::to_string(i)), bytes(static_cast<std::size_t>(i) * 337, seed));
  }
  std::string deep = "Tief";
  for (int level = 1; level <= options.depth; ++level) deep += "/" + std::to_string(level);
  writeFile(at(deep + "/Grund.txt"), "ganz unten");

  if (options.attributes) {
    setAttribute(folder, "user.oben", "am Ordner selbst");
    setAttribute(at("einfach.txt"), "user.com.apple.quarantine", "0081;5f000000;Safari;");
    setAttribute(at("einfach.txt"), "user.leer", "");
    setAttribute(at("leer"), "user.bytes", std::string("\0\xff\n\x80", 4));
    setAttribute(at("Leerer Ordner"), "user.lang", bytes(2000, 3));
    setAttribute(at("Hart/eins"), "user.geteilt", "x");
  }

  for (const mode_t mode : {0400U, 0440U, 0444U, 0500U, 0600U, 0640U, 0644U, 0700U, 0755U}) {
    char name[8];
    std::snprintf(name, sizeof name, "%04o", mode);
    writeFile(at(std::string("Rechte/") + name), name, mode);
  }
  writeFile(at("Rechte/setuid"), "x", 04755);
  writeFile(at("Rechte/setgid"), "x", 02755);
  writeFile(at("Rechte/Ordner sticky/x"), "x");
  writeFile(at("Rechte/Ordner gesperrt/x"), "x");
  setTimes(folder);
  demand(::chmod(at("Rechte/Ordner sticky").c_str(), 01755), at("Rechte/Ordner sticky"));
  demand(::chmod(at("Rechte/Ordner gesperrt").c_str(), 0500), at("Rechte/Ordner gesperrt"));
  demand(::chmod(folder.c_str(), 0750), folder);
}

}  // namespace fernwahrung
