#include "FernwahrungApp/Model/CoreCalls.h"

#include "FernwahrungApp/Platform/Desktop.h"
#include "FernwahrungApp/Platform/Notifier.h"

#include "Engine/Mount.h"
#include "Engine/Relocate.h"
#include "Engine/Restore.h"
#include "Engine/Rollback.h"
#include "Foundation/OperationLock.h"

#include <unistd.h>

namespace fernwahrung {

CoreCalls::CoreCalls()
    : loadSettings(AppSettings::load),
      readWorld(fernwahrung::readWorld),
      preflight([](const RelocationPlan& plan) { return Relocator::preflight(plan, /*measureSize=*/true); }),
      relocate(Relocator::relocate),
      restore(Relocator::restore),
      mount(Relocator::mount),
      unmount(Relocator::unmount),
      mountAll([] { return Relocator::mountAll(/*waitForStorage=*/0); }),
      rollback([](Journal& journal) {
        OperationLock lock;
        journal = Relocator::rollbackUnfinished(journal.id);
      }),
      dataSize([](const std::string& folder, const OperationContext& context) {
        return FileOps::treeSize(folder, /*isVolumeRoot=*/false, &context).bytes;
      }),
      requestTermination([](const ProcessDescription& process) {
        return ProcessDescriber::requestTermination(process, Desktop::askToQuit, getpid(), getuid());
      }),
      notify(Notifier::send),
      reveal(Desktop::reveal),
      open(Desktop::open) {
}

}  // namespace fernwahrung
