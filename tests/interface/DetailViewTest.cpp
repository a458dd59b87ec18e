// What the detail tells of a relocation, and what it offers.
#include "FernwahrungApp/Views/ElidedField.h"
#include "interface/WindowFixture.h"

#include <QClipboard>
#include <QScrollArea>
#include <QScrollBar>
#include <QTextDocument>

namespace fernwahrung {
namespace {

class DetailViewTest : public WindowFixture {
 protected:
  ImageCapacity capacity(std::int64_t used, std::int64_t size) {
    ImageCapacity made;
    made.usedBytes = used;
    made.capacityBytes = size;
    made.occupiedOnDrive = used;
    made.driveFreeBytes = 900'000'000'000;
    Capacity::judge(made, {});
    return made;
  }
  bool has(const std::string& text) { return visibleTexts().contains(text); }
};

TEST_F(DetailViewTest, TellsEverythingAboutAMountedImage) {
  Relocation& photos = addMounted("Bilder");
  photos.createdAt = *Dates::parseIso8601("2026-11-15T10:09:15Z");
  photos.originalBackupPath = "/Users/anna/Library/Bilder.ORIGINAL-20261115-110915";
  photos.guardedAppPaths = {"/Applications/Fotos.app", "/Applications/Maler.app"};
  core.world.imageCapacity[photos.id] = capacity(12'300'000'000, 20'000'000'000);
  openLoaded();
  EXPECT_EQ(text("detailName"), "Bilder");
  EXPECT_EQ(text("statusSummary"), "Eingehängt");
  EXPECT_EQ(text("detailSource"), "/Users/anna/Library/Bilder");
  EXPECT_EQ(text("detailStorage"), "/Volumes/Extern/Fernwahrung/Bilder.sparsebundle");
  EXPECT_EQ(text("detailSince"), Dates::german(photos.createdAt));
  EXPECT_EQ(text("detailKind"), "Virtuelle Festplatte");
  EXPECT_EQ(text("detailSize"), "12,3 GB");
  EXPECT_EQ(text("detailGrowth"), "kann noch um 7,7 GB wachsen");
  EXPECT_EQ(text("detailApps"), "Fotos.app, Maler.app");
  EXPECT_EQ(text("detailOriginal"), *photos.originalBackupPath);
  for (const char* name :
       {"Ort auf dem Mac", "Gespeichert auf", "Ferngewahrt am", "Geschützte Apps", "Original"}) {
    EXPECT_TRUE(has(name)) << name;
  }
  EXPECT_TRUE(visible("detailUnmount"));
  EXPECT_FALSE(visible("detailMount"));
  EXPECT_TRUE(visible("detailRestore"));
  EXPECT_FALSE(visible("detailOriginalGone"));
  EXPECT_FALSE(visible("detailOpenFullDiskAccess"));
}

TEST_F(DetailViewTest, TellsWhyAnImageIsNotMounted) {
  RelocationStatus status{
      .health = Health::error,
      .summary = "Nicht eingehängt",
      .details = {"An anderer Stelle eingehängt.", "Einhängepunkt ist nicht schreibgeschützt."},
      .storageAvailable = true};
  add("Mail", RelocationKind::image, status);
  openLoaded();
  EXPECT_TRUE(has("Nicht eingehängt"));
  EXPECT_TRUE(has("An anderer Stelle eingehängt."));
  EXPECT_TRUE(has("Einhängepunkt ist nicht schreibgeschützt."));
  EXPECT_EQ(text("detailSize"), "nur bei eingehängter virtueller Festplatte messbar");
  EXPECT_EQ(text("detailApps"), "keine – es kommt keine Warnung, wenn eine App ohne diese Daten startet");
  EXPECT_FALSE(visible("detailGrowth"));
  EXPECT_TRUE(visible("detailMount"));
  EXPECT_FALSE(visible("detailUnmount"));
}

TEST_F(DetailViewTest, MeasuresTheDataBehindALink) {
  Relocation& link = addLink("Sampler");
  openLoaded();
  ASSERT_TRUE(pumpUntil([this] { return visible("detailSize"); }));
  EXPECT_EQ(text("detailSize"), "1,23 GB");
  EXPECT_EQ(text("detailKind"), "Symlink");
  EXPECT_EQ(count("dataSize " + link.storagePath), 1U);
  EXPECT_FALSE(visible("detailMount"));
  EXPECT_FALSE(visible("detailUnmount"));
  EXPECT_TRUE(visible("detailRestore"));
}

TEST_F(DetailViewTest, MeasuresNothingWhereTheDriveIsMissing) {
  add("Sampler", RelocationKind::symlink,
      {.health = Health::error, .summary = "Externes Laufwerk fehlt", .details = {}});
  openLoaded();
  EXPECT_FALSE(visible("detailSize"));
  EXPECT_FALSE(visible("detailStorageReveal"));
  EXPECT_TRUE(visible("detailSourceReveal"));
  for (const std::string& call : core.noted()) EXPECT_EQ(call.find("dataSize"), std::string::npos);
}

TEST_F(DetailViewTest, SaysThatTheOriginalIsGone) {
  const std::string gone = "nicht mehr vorhanden (im Papierkorb oder übernommen)";
  Relocation& first = addMounted("Bilder");
  Relocation& second = addMounted("Mail");
  const Uuid firstId = core.world.relocations[0].id;
  second.originalBackupPath = "/Users/anna/Library/Mail.ORIGINAL-1";
  core.world.missingPaths = {*second.originalBackupPath};
  (void)first;
  const Uuid secondId = second.id;
  openLoaded();
  owned->setSelection(firstId);
  pumpOnce();
  EXPECT_EQ(text("detailOriginalGone"), gone);
  EXPECT_TRUE(visible("detailOriginalGone"));
  owned->setSelection(secondId);
  pumpOnce();
  EXPECT_TRUE(visible("detailOriginalGone"));
  EXPECT_FALSE(visible("detailOriginal"));
  EXPECT_FALSE(visible("detailOriginalReveal"));
}

TEST_F(DetailViewTest, ListsWhatWasKept) {
  Relocation& photos = addMounted("Bilder");
  photos.safetyCopies = {{"/Volumes/Extern/a.sparsebundle", "/Volumes/Extern/b.sparsebundle"}};
  photos.asideFolders = {{"/Users/anna/Library/Bilder.VORHER-1"}};
  photos.previousStoragePaths = {{"/Volumes/Alt/Bilder.sparsebundle"}};
  core.world.missingPaths = {"/Volumes/Alt/Bilder.sparsebundle"};
  openLoaded();
  EXPECT_EQ(window->findChildren<ElidedField*>("detailSafetyCopy").size(), 2);
  EXPECT_EQ(text("detailAside"), "/Users/anna/Library/Bilder.VORHER-1");
  EXPECT_EQ(text("detailPreviousStorage"), "/Volumes/Alt/Bilder.sparsebundle");
  EXPECT_TRUE(has("Sicherheitskopie") && has("Beiseite gelegter Inhalt") && has("Früherer Speicherort"));
  EXPECT_TRUE(visible("detailAsideReveal"));
  EXPECT_FALSE(visible("detailPreviousStorageReveal"));
  EXPECT_TRUE(has("(nicht mehr vorhanden)"));

  find<QPushButton>("detailAsideReveal")->click();
  settle();
  EXPECT_EQ(count("reveal /Users/anna/Library/Bilder.VORHER-1"), 1U);
}

TEST_F(DetailViewTest, WarnsOfAnImageThatIsNearlyFull) {
  Relocation& photos = addMounted("Bilder");
  core.world.imageCapacity[photos.id] = capacity(18'000'000'000, 20'000'000'000);
  openLoaded();
  EXPECT_TRUE(has("Die virtuelle Festplatte ist zu 90 % voll – Größe erhöhen."));
  EXPECT_EQ(find("statusCard")->accessibleName(), "Warnung");
}

TEST_F(DetailViewTest, OffersTheWaysOutWhereAccessIsDenied) {
  add("Mail", RelocationKind::image,
      {.health = Health::error,
       .summary = "Nicht eingehängt",
       .details = {},
       .storageAvailable = true,
       .accessDenied = true});
  openLoaded();
  EXPECT_TRUE(visible("detailOpenFullDiskAccess"));
  EXPECT_EQ(find<QPushButton>("detailOpenFullDiskAccess")->text(), "Festplattenvollzugriff öffnen");
  EXPECT_EQ(find<QPushButton>("detailRevealHelper")->text(), "Hilfsprogramm im Finder zeigen");
  find<QPushButton>("detailOpenFullDiskAccess")->click();
  settle();
  EXPECT_EQ(count("open x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles"), 1U);
}

TEST_F(DetailViewTest, ARestoredRelocationOffersNothingMore) {
  Relocation& films = add(
      "Filme", RelocationKind::image,
      {.summary = "Zurückgeholt – Daten liegen wieder auf dem Mac", .details = {}, .storageAvailable = true});
  films.state = RelocationState::restored;
  openLoaded();
  EXPECT_TRUE(has("Die Daten liegen wieder auf dem Mac. Die externe Kopie ist noch vorhanden."));
  EXPECT_FALSE(visible("detailMount"));
  EXPECT_FALSE(visible("detailUnmount"));
  EXPECT_FALSE(visible("detailRestore"));
}

TEST_F(DetailViewTest, AsksBeforeItUnmountsAndMountsAtOnce) {
  addMounted("Bilder").guardedAppPaths = {"/Applications/Fotos.app"};
  openLoaded();
  questions.expect("Aushängen: Bilder?", "Abbrechen");
  find<QPushButton>("detailUnmount")->click();
  EXPECT_FALSE(owned->busyTitle());
  EXPECT_EQ(questions.asked().back().text,
            "Die Daten sind danach nicht mehr erreichbar, bis du wieder einhängst. Bitte vorher beenden: "
            "Fotos.app");
  questions.expect("Aushängen: Bilder?", "Aushängen");
  find<QPushButton>("detailUnmount")->click();
  EXPECT_TRUE(untilIdle());
  EXPECT_EQ(count("unmount Bilder"), 1U);

  core.world.statuses.begin()->second.mounted = false;
  refresh();
  find<QPushButton>("detailMount")->click();
  EXPECT_TRUE(untilIdle());
  EXPECT_EQ(count("mount Bilder"), 1U);
}

TEST_F(DetailViewTest, AsksBeforeItBringsTheDataBack) {
  addMounted("Bilder");
  openLoaded();
  EXPECT_EQ(find<QPushButton>("detailRestore")->text(), "Zurück auf den Mac holen …");
  questions.expect("Zurück auf den Mac holen: Bilder?", "Zurück auf den Mac holen");
  questions.expect("Erledigt", "OK");
  find<QPushButton>("detailRestore")->click();
  EXPECT_TRUE(untilIdle());
  EXPECT_EQ(count("restore Bilder"), 1U);
  EXPECT_TRUE(pumpUntil([this] { return questions.allAsked(); }));
}

TEST_F(DetailViewTest, NothingOfLaterCommandsIsShown) {
  addMounted("Bilder").originalBackupPath = "/Users/anna/Library/Bilder.ORIGINAL-1";
  openLoaded();
  for (const std::string& text : visibleTexts()) {
    for (const char* later :
         {"Papierkorb", "Komprimieren", "Größe ändern", "umziehen", "schützen …", "Datensicherung"}) {
      EXPECT_EQ(text.find(later), std::string::npos) << text;
    }
  }
}

TEST_F(DetailViewTest, ALongPathIsShortenedInItsMiddleAndCanBeCopiedWhole) {
  Relocation& photos = addMounted("Bilder");
  photos.sourcePath = "/Users/anna/" + std::string(300, 'o') + "/Ende";
  const std::string path = photos.sourcePath;
  openLoaded();
  auto* field = find<ElidedField>("detailSource");
  EXPECT_TRUE(field->text().startsWith("/Users/") && field->text().endsWith("/Ende") &&
              field->text().contains("…"))
      << field->text().toStdString();
  EXPECT_LE(window->width(), 1040);
  EXPECT_TRUE(field->toolTip().remove(QChar(0x200B)).contains(QString::fromStdString(path)));
  field->setFocus(Qt::TabFocusReason);
  QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
  QTest::keyClick(field, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text().toStdString(), path);
  find("relocationList")->setFocus();
  EXPECT_TRUE(field->text().contains("…"));
}

TEST_F(DetailViewTest, ARefreshKeepsTheSelectedTextAndTheScrollPosition) {
  Relocation& photos = addMounted("Bilder");
  std::vector<std::string> copies;
  for (int i = 0; i < 30; ++i) copies.push_back("/Volumes/Extern/" + std::to_string(i) + ".sparsebundle");
  photos.safetyCopies = copies;
  addLink("Sampler");
  openLoaded();
  auto* page = find<QScrollArea>("detailPage");
  page->verticalScrollBar()->setValue(40);
  auto* field = find<ElidedField>("detailSource");
  field->setFocus(Qt::TabFocusReason);
  page->verticalScrollBar()->setValue(40);
  field->setSelection(3, 5);
  core.world.statuses[core.world.relocations[1].id].summary = "Anders";
  core.world.relocations[0].guardedAppPaths = {"/Applications/Fotos.app"};
  refresh();
  EXPECT_EQ(text("detailApps"), "Fotos.app");
  EXPECT_EQ(field->selectedText().toStdString(), "ers/a");
  EXPECT_EQ(page->verticalScrollBar()->value(), 40);
}

TEST_F(DetailViewTest, WhatLooksLikeMarkupIsShownAsItStands) {
  addMounted("<b>Fett</b> & Co");
  openLoaded();
  EXPECT_EQ(text("detailName"), "<b>Fett</b> & Co");
  EXPECT_TRUE(Qt::mightBeRichText(find("detailName")->toolTip()));
  EXPECT_TRUE(find("detailName")->toolTip().contains("&lt;b&gt;"));
  EXPECT_EQ(action("menuSelection")->text().toStdString(), "Ausgewählt: <b>Fett</b> && Co");
}

}  // namespace
}  // namespace fernwahrung
