// How a relocation or an operation is named on the command line.
#pragma once

#include "Records/Journal.h"
#include "Records/Relocation.h"

#include <string>
#include <vector>

namespace fernwahrung::Reference {

/// What may stand for REF, for the help of the commands.
inline constexpr auto relocationForms =
    "ID oder deren Anfang (mindestens 4 Zeichen), Name oder Pfad des Ordners";
/// The same for the ID of an operation.
inline constexpr auto journalForms = "ID des Vorgangs oder deren Anfang (mindestens 4 Zeichen)";

/// The one relocation that `reference` names: by its identifier, an unambiguous beginning of it (at least
/// four characters, either case), its name, or its source path. A whole identifier wins over all else. Throws
/// UsageError with the candidates when it names none or several.
const Relocation& find(const std::vector<Relocation>& relocations, const std::string& reference);

/// The same for journals, by identifier and beginning.
const Journal& find(const std::vector<Journal>& journals, const std::string& reference);

/// Every operation on disk, the unfinished ones first.
std::vector<Journal> allJournals();

/// "  {identifier}  {name}  {place}" for each, at most twenty.
std::string candidates(const std::vector<Journal>& journals);

/// The beginnings of the identifiers, in their order, as long as it takes to tell them apart, eight
/// characters at least.
std::vector<std::string> shortIdentifiers(const std::vector<Uuid>& identifiers);

}  // namespace fernwahrung::Reference
