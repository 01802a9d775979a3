#include "host/module_loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

namespace tarvex {
namespace {

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
