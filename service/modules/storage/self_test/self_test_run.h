#pragma once

#include "service/modules/storage/drive/drive_link.h"
#include "service/modules/storage/self_test/self_test_history.h"
#include "service/sdk/context.h"
#include "service/sdk/verdict.h"

namespace orvan::storage {

// Has the drive of the context test itself, in the background and without harm to who uses it, and
// waits for the end. The verdict is that of the entry of the drive's log that this start has made.
// A stop ends the test on the drive. The test's thread.
sdk::Verdict RunSelfTest(sdk::TestContext& context, const DriveAccess& access, SelfTestKind kind);

}  // namespace orvan::storage
