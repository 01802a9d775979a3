#include "host/records/sqlite_library.h"

#include <gtest/gtest.h>

#include <string>

#include "host/records/sqlite_database.h"

namespace tarvex {
namespace {

std::string RefusalOf(const char* library) {
  try {
    LoadSqlite(library);
    return {};
  } catch (const StoreError& error) {
    return error.what();
  }
}

TEST(SqliteLibraryTest, ALibraryThatIsNotThereIsAFaultOfTheStore) {
  const std::string refusal = RefusalOf("libno-such-thing.so.7");
  EXPECT_TRUE(refusal.starts_with("SQLite cannot be used: libno-such-thing.so.7: ")) << refusal;
}

TEST(SqliteLibraryTest, OneThatLacksAFunctionIsRefused) {
  const std::string refusal = RefusalOf("libm.so.6");
  EXPECT_TRUE(refusal.starts_with("SQLite cannot be used: ")) << refusal;
  EXPECT_NE(refusal.find("sqlite3_bind_int64"), std::string::npos) << refusal;
}

TEST(SqliteLibraryTest, TheOneOfTheSystemHasAll) {
  EXPECT_STREQ(Sqlite().errstr(SQLITE_OK), "not an error");
}

}  // namespace
}  // namespace tarvex
