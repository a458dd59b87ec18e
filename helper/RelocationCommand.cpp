#include "helper/RelocationCommand.h"

#include "helper/JsonForms.h"
#include "helper/Reference.h"

#include "Engine/Status.h"
#include "Records/RegistryStore.h"

namespace fernwahrung {

void RelocationCommand::declare(Arguments& arguments) {
  arguments.positional("REF", Reference::relocationForms, reference_);
}

ExitCode RelocationCommand::run(Session& session) {
  const Registry registry = RegistryStore::load();
  return runOn(Reference::find(registry.relocations, reference_), session);
}

void RelocationCommand::show(const Relocation& relocation, const std::string& sentence, Session& session) {
  if (session.json()) session.printJson(JsonForms::relocation(relocation, Relocator::status(relocation)));
  session.say(sentence);
}

}  // namespace fernwahrung
