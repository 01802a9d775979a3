#include "host/module_loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/test_folder.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;

const std::string kLibrary = HOST_TEST_LIBRARY;

TEST(ModuleLoaderTest, LoadsALibraryAndCallsItsFunction) {
  ModuleLoader loader;
  const HostModuleHandle handle = loader.Load(kLibrary, 1);
  ASSERT_NE(handle, nullptr);
  const HostModuleFunction function = loader.GetSymbol(handle, "HostTestAnswer");
  ASSERT_NE(function, nullptr);
  EXPECT_EQ(reinterpret_cast<int (*)()>(function)(), 4711);
  loader.Unload(handle);
}

TEST(ModuleLoaderTest, TakesAPathWithBackslashes) {
  std::string path = kLibrary;
  for (char& c : path) {
    if (c == '/') c = '\\';
  }
  ModuleLoader loader;
  const HostModuleHandle handle = loader.Load(path, 1);
  EXPECT_NE(handle, nullptr);
  loader.Unload(handle);
}

TEST(ModuleLoaderTest, GivesNullForWhatIsNoLibrary) {
  ModuleLoader loader;
  EXPECT_EQ(loader.Load("/nonexistent/library.so", 1), nullptr);
  EXPECT_EQ(loader.Load("", 1), nullptr);
  EXPECT_EQ(loader.Load(kLibrary + std::string(1, '\0') + "x", 1), nullptr);
}

TEST(ModuleLoaderTest, LooksForNoLibraryInPlacesOfTheSystem) {
  ModuleLoader loader;
  EXPECT_EQ(loader.Load("libc.so.6", 1), nullptr);
}

// A copy of the library in a folder of its own, where a stranger is about.
class ModuleLoaderTrustTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::copy_file(kLibrary, path_);
    fs::permissions(path_, static_cast<fs::perms>(0644));
  }
  bool Loads(const std::string& path) {
    const HostModuleHandle handle = loader_.Load(path, 1);
    loader_.Unload(handle);
    return handle != nullptr;
  }

  const TestFolder folder_;
  const std::string path_ = folder_ / "library.so";
  ModuleLoader loader_;
};

TEST_F(ModuleLoaderTrustTest, LibraryOfOwnIsLoaded) {
  EXPECT_TRUE(Loads(path_));
}

TEST_F(ModuleLoaderTrustTest, LibraryThatOthersMayWriteIsRefused) {
  fs::permissions(path_, static_cast<fs::perms>(0646));
  EXPECT_FALSE(Loads(path_));
}

TEST_F(ModuleLoaderTrustTest, LibraryInAFolderThatOthersMayWriteIsRefused) {
  fs::permissions(folder_.Path(), static_cast<fs::perms>(0777));
  EXPECT_FALSE(Loads(path_));
}

TEST_F(ModuleLoaderTrustTest, LibraryThatItsGroupMayWriteIsRefused) {
  fs::permissions(path_, static_cast<fs::perms>(0664));
  EXPECT_FALSE(Loads(path_));
}

// The loader knows a library by its name, which holds the number of a descriptor.
TEST_F(ModuleLoaderTrustTest, EachOfTwoLibrariesOfOneNameIsLoaded) {
  const TestFolder other;
  fs::copy_file(kLibrary, other / "library.so");
  fs::permissions(other / "library.so", static_cast<fs::perms>(0644));
  const HostModuleHandle first = loader_.Load(path_, 1);
  const HostModuleHandle again = loader_.Load(path_, 1);
  EXPECT_EQ(first, again);
  loader_.Unload(again);
  const HostModuleHandle second = loader_.Load(other / "library.so", 1);
  EXPECT_NE(first, second);
  loader_.Unload(first);
  loader_.Unload(second);
}

TEST_F(ModuleLoaderTrustTest, LibraryOfAStrangerIsRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  ASSERT_EQ(::chown(path_.c_str(), 12345, 12345), 0);
  EXPECT_FALSE(Loads(path_));
}

TEST_F(ModuleLoaderTrustTest, LinkIsRefused) {
  fs::create_symlink(path_, folder_ / "link.so");
  EXPECT_FALSE(Loads(folder_ / "link.so"));
}

TEST(ModuleLoaderTest, GivesNullForAMissingSymbolOrHandle) {
  ModuleLoader loader;
  const HostModuleHandle handle = loader.Load(kLibrary, 1);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(loader.GetSymbol(handle, "NoSuchFunction"), nullptr);
  EXPECT_EQ(loader.GetSymbol(handle, ""), nullptr);
  EXPECT_EQ(loader.GetSymbol(nullptr, "malloc"), nullptr);
  loader.Unload(handle);
}

TEST(ModuleLoaderTest, ShowsNoSymbolOfALoadedLibraryToOthers) {
  ModuleLoader loader;
  const HostModuleHandle handle = loader.Load(kLibrary, 1);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(::dlsym(RTLD_DEFAULT, "HostTestAnswer"), nullptr);
  loader.Unload(handle);
}

TEST(ModuleLoaderTest, UnloadEndsTheLibraryAndTakesNull) {
  ModuleLoader loader;
  const HostModuleHandle handle = loader.Load(kLibrary, 1);
  ASSERT_NE(handle, nullptr);
  loader.Unload(handle);
  EXPECT_EQ(::dlopen(kLibrary.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
  loader.Unload(nullptr);
}

}  // namespace
}  // namespace tarvex
