#include "helper/Failure.h"

#include "Engine/Preflight.h"
#include "Foundation/Errors.h"
#include "Foundation/Json.h"
#include "Foundation/OperationLock.h"
#include "Storage/DirectoryState.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <new>

namespace fernwahrung {
namespace {

TEST(Failure, TheSentenceOfAnOperationStaysUnchanged) {
  const Failure failure = describe(FernwahrungError::message("Eins.\nZwei „x“."));
  EXPECT_EQ(failure.message, "Eins.\nZwei „x“.");
  EXPECT_EQ(failure.code, ExitCode::failed);
}

TEST(Failure, EachKindHasItsStatus) {
  EXPECT_EQ(describe(UsageError("x")).code, ExitCode::usage);
  EXPECT_EQ(describe(BlockedError({"x"})).code, ExitCode::blocked);
  EXPECT_EQ(describe(LockBusyError()).code, ExitCode::lockBusy);
  EXPECT_EQ(describe(FernwahrungError::cancelled()).code, ExitCode::cancelled);
  EXPECT_EQ(describe(FernwahrungError::verificationFailed({"x"})).code, ExitCode::failed);
  EXPECT_EQ(describe(StorageMissingError("/x")).code, ExitCode::failed);
  EXPECT_EQ(describe(SystemError("Etwas", "/x", EIO)).code, ExitCode::failed);
  EXPECT_EQ(describe(JsonError("x")).code, ExitCode::failed);
}

TEST(Failure, TheStatusesAreThoseOfTheContract) {
  EXPECT_EQ(static_cast<int>(ExitCode::done), 0);
  EXPECT_EQ(static_cast<int>(ExitCode::failed), 1);
  EXPECT_EQ(static_cast<int>(ExitCode::usage), 2);
  EXPECT_EQ(static_cast<int>(ExitCode::lockBusy), 3);
  EXPECT_EQ(static_cast<int>(ExitCode::blocked), 4);
  EXPECT_EQ(static_cast<int>(ExitCode::cancelled), 130);
}

TEST(Failure, TheMessagesOfTheLockAndOfCancelling) {
  EXPECT_EQ(describe(LockBusyError()).message,
            "Es läuft bereits ein anderer Vorgang (App oder Kommandozeile). Bitte warten.");
  EXPECT_EQ(describe(FernwahrungError::cancelled()).message, "Vorgang abgebrochen.");
}

TEST(Failure, BlockersStandALineEach) {
  EXPECT_EQ(describe(BlockedError({"a", "b"})).message, "a\nb");
}

TEST(Failure, ShortageOfMemoryIsASentenceToo) {
  EXPECT_EQ(describe(std::bad_alloc()).message, "Der Arbeitsspeicher reicht nicht aus.");
  EXPECT_EQ(describe(std::bad_alloc()).code, ExitCode::failed);
}

}  // namespace
}  // namespace fernwahrung
