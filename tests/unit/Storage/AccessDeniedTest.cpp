// The two of the four texts that the mount path seldom shows.
#include "support/Files.h"
#include "support/TempFolder.h"

#include "Storage/DirectoryState.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fernwahrung {
namespace {

TEST(AccessDenied, ByTheFoldersOwnModeBeforeAnythingWasMounted) {
  const TempFolder folder;
  makeFolder(folder / "closed");
  ASSERT_EQ(::chmod((folder / "closed").c_str(), 0), 0);
  EXPECT_EQ(
      std::string(AccessDeniedError(folder / "closed", false).what()),
      "Die Zugriffsrechte dieses Ordners erlauben Fernwahrung das Lesen nicht:\n" + (folder / "closed") +
          "\n\n"
          "Bitte die Rechte im Finder (Informationen) oder mit chmod korrigieren, dann erneut versuchen.\n\n"
          "Es wurde nichts eingehängt und nichts verändert. "
          "Ob im Ordner Daten liegen, kann ohne Lesezugriff nicht geprüft werden.");
}

TEST(AccessDenied, ByTheSystemAfterTheImageWasUnmounted) {
  EXPECT_STREQ(
      AccessDeniedError("/missing/folder", true).what(),
      "macOS verweigert Fernwahrung den Zugriff auf diesen Ordner:\n/missing/folder\n\n"
      "Er gehört einer anderen App und ist durch den Datenschutz von macOS geschützt. "
      "Bitte unter Systemeinstellungen → Datenschutz & Sicherheit → Festplattenvollzugriff „Fernwahrung“ einschalten (und, falls aufgeführt, das Hilfsprogramm „fernwahrung“), dann die App neu starten.\n\n"
      "Die virtuelle Festplatte wurde dafür kurz ausgehängt und bleibt ausgehängt, bis der Zugriff möglich ist. "
      "Es wurde nichts verändert oder gelöscht. "
      "Ob im Ordner Daten liegen, kann ohne diese Freigabe nicht geprüft werden.");
}

}  // namespace
}  // namespace fernwahrung
