#include "helper/RelocationText.h"

#include "helper/Reference.h"
#include "helper/Table.h"
#include "helper/TextColumns.h"

#include "Foundation/Dates.h"

#include <fmt/format.h>

namespace fernwahrung::RelocationText {

namespace {

std::string fact(const std::string& title, const std::string& value) {
  return padded(title + ":", 18) + visible(value) + "\n";
}

std::string facts(const std::string& title, const std::optional<std::vector<std::string>>& values) {
  std::string text;
  for (const std::string& value : values.value_or(std::vector<std::string>{})) text += fact(title, value);
  return text;
}

std::vector<std::string> shortIdentifiers(const std::vector<Relocation>& relocations) {
  std::vector<Uuid> identifiers;
  for (const Relocation& relocation : relocations) identifiers.push_back(relocation.id);
  return Reference::shortIdentifiers(identifiers);
}

}  // namespace

std::string table(const std::vector<Relocation>& relocations, const std::vector<RelocationStatus>& statuses) {
  if (relocations.empty()) return "Es ist nichts ferngewahrt.\n";
  const auto identifiers = shortIdentifiers(relocations);
  Table table({" ", "ID", "Name", "Art", "Zustand", "Ordner → Speicher"});
  for (std::size_t i = 0; i < relocations.size(); ++i) {
    const Relocation& relocation = relocations[i];
    table.row({levelSymbol(statuses[i].health), identifiers[i], relocation.name, title(relocation.kind),
               statuses[i].summary, relocation.sourcePath + " → " + relocation.storagePath});
    for (const std::string& detail : statuses[i].details) table.note(detail);
  }
  return table.text();
}

std::string details(const Relocation& relocation, const RelocationStatus& status) {
  std::string text = fact("Name", relocation.name) + fact("ID", relocation.id.text()) +
                     fact("Art", title(relocation.kind)) +
                     fact("Zustand", levelSymbol(status.health) + " " + status.summary);
  for (const std::string& detail : status.details) text += fact("Befund", detail);
  text += fact("Ordner", relocation.sourcePath) + fact("Speicher", relocation.storagePath);
  text += fact("Laufwerk", status.storageAvailable ? "erreichbar" : "nicht erreichbar");
  if (relocation.originalBackupPath) text += fact("Original", *relocation.originalBackupPath);
  text += facts("Geschützte App", relocation.guardedAppPaths);
  text += facts("Sicherheitskopie", relocation.safetyCopies);
  text += facts("Früherer Ort", relocation.previousStoragePaths);
  text += facts("Beiseite gelegt", relocation.asideFolders);
  if (relocation.kind == RelocationKind::image)
    text += fact("Spotlight", relocation.spotlight ? "ja" : "nein");
  return text + fact("Angelegt", Dates::german(relocation.createdAt));
}

}  // namespace fernwahrung::RelocationText
