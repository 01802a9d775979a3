#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_app_mutex.h"
#include "boundary/hostlayer_cim.h"
#include "boundary/hostlayer_console.h"
#include "boundary/hostlayer_module.h"
#include "boundary/hostlayer_number_handler.h"
#include "boundary/hostlayer_semaphore.h"
#include "boundary/hostlayer_signal_handler.h"
#include "boundary/hostlayer_system_events.h"
#include "boundary/hostlayer_thread.h"
#include "boundary/hostlayer_user_account.h"
#include "system/filesystem/filesystem.h"
#include "system/string_handler.h"
#include "system/timer.h"
#include "tests/support/test_folder.h"

namespace {

// The store is made with the folder that is set when it is first asked for.
const TestFolder stateFolder;
const TestVariable stateVariable("TARVEX_STATE_DIR", stateFolder.Path());

long CountThreads() {
  const auto tasks = std::filesystem::directory_iterator("/proc/self/task");
  return std::distance(begin(tasks), end(tasks));
}

template <typename Type>
void ExpectProcessWide(Type* (*entry)()) {
  Type* const object = entry();
  EXPECT_NE(object, nullptr);
  EXPECT_EQ(entry(), object);
}

TEST(EntryPointsTest, ProcessWideObjectsAreThereAndAlwaysTheSame) {
  ExpectProcessWide(get_string_handler);
  ExpectProcessWide(get_time_handler);
  ExpectProcessWide(get_number_handler);
  ExpectProcessWide(get_signal_handler);
  ExpectProcessWide(get_filesystem);
  ExpectProcessWide(get_timer);
  ExpectProcessWide(get_thread);
  ExpectProcessWide(get_module);
  ExpectProcessWide(get_cim);
  ExpectProcessWide(GetSystemEvents);
}

TEST(EntryPointsTest, GettingObjectsStartsNoThread) {
  const long before = CountThreads();
  get_signal_handler();
  GetSystemEvents();
  HostConsole* const console = get_console();
  EXPECT_EQ(CountThreads(), before);
  release_console_instance(console);
}

TEST(EntryPointsTest, ObjectsDoTheirWork) {
  EXPECT_EQ(get_number_handler()->NumberToString(-5), "-5");
  EXPECT_TRUE(get_string_handler()->StartsWith("abc", "ab"));
  EXPECT_EQ(get_timer()->SecondsBetween(1000, 3500), 2.5);
  EXPECT_NE(get_filesystem()->GetExecutablePath(), nullptr);
  EXPECT_EQ(get_cim()->WriteRecord({"key"}, {"value"}, "class", L"root\\parent\\name"), 0);
  EXPECT_TRUE(std::filesystem::exists(stateFolder / "records.db"));
  EXPECT_EQ(get_cim()->RemoveNamespace("root", "parent", "name"), 0);
  EXPECT_EQ(get_cim()->RemoveNamespace("root", "parent", "name"), 1);
  EXPECT_EQ(get_module()->Load("", 1), nullptr);
}

TEST(EntryPointsTest, ConsoleUsesEndByReleaseOrDeleteAndNullIsNoUse) {
  HostConsole* const first = get_console();
  HostConsole* const second = get_console();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  release_console_instance(first);
  delete second;
  release_console_instance(second);
  release_console_instance(nullptr);
}

TEST(EntryPointsTest, SemaphoresAreTheCallersOwn) {
  HostSemaphore* const first = GetNewSemaphore();
  HostSemaphore* const second = GetNewSemaphore();
  EXPECT_NE(first, second);
  first->Init(1, 1);
  first->Wait();
  ReleaseSemaphoreInstance(first);
  ReleaseSemaphoreInstance(second);
  ReleaseSemaphoreInstance(nullptr);
}

std::uintptr_t SetFlag(void* flag) {
  *static_cast<bool*>(flag) = true;
  return 0;
}

TEST(EntryPointsTest, ThreadsRun) {
  bool flag = false;
  HostThreadHandle handle = nullptr;
  ASSERT_EQ(get_thread()->Start(&handle, 0, SetFlag, &flag, "HDKio"), 0);
  get_thread()->AfterStart(handle, 0);
  get_thread()->Join(handle);
  EXPECT_TRUE(flag);
}

TEST(EntryPointsTest, AppMutexLivesInTheRunFolder) {
  std::string folder = testing::TempDir() + "/entry_points_XXXXXX";
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  ASSERT_EQ(::setenv("TARVEX_RUN_DIR", folder.c_str(), 1), 0);
  HostAppMutex* const first = get_app_mutex();
  HostAppMutex* const second = get_app_mutex();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(std::filesystem::exists(folder + "/instance.lock"));
  EXPECT_FALSE(first->IsAlreadyRunning());
  EXPECT_TRUE(second->IsAlreadyRunning());
  release_app_mutex(first);
  EXPECT_FALSE(second->IsAlreadyRunning());
  release_app_mutex(second);
  ASSERT_EQ(::setenv("TARVEX_RUN_DIR", (folder + "/a/b").c_str(), 1), 0);
  EXPECT_EQ(get_app_mutex(), nullptr);
  ::unsetenv("TARVEX_RUN_DIR");
  std::filesystem::remove_all(folder);
}

TEST(EntryPointsTest, UserAccountAnswers) {
  HostUserAccount* const account = CreatUserAccountInstance();
  ASSERT_NE(account, nullptr);
  const bool mayRun = account->HasPrivileges();
  EXPECT_TRUE(mayRun || ::geteuid() != 0);
  ReleaseUserAccountInstance(account);
}

}  // namespace
