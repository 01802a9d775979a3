#include "host/records/sqlite_library.h"

#include <dlfcn.h>

#include <string>

#include "host/records/sqlite_database.h"

namespace tarvex {
namespace {

constexpr char kName[] = "libsqlite3.so.0";

[[noreturn]] void Refuse(const char* what) {
  const char* reason = dlerror();
  throw StoreError(StoreError::Kind::kOther,
                   std::string("SQLite cannot be used: ") + (reason != nullptr ? reason : what));
}

void* FunctionOf(void* library, const char* name) {
  void* function = dlsym(library, name);
  if (function == nullptr) Refuse(name);
  return function;
}

}  // namespace

SqliteLibrary LoadSqlite(const char* name) {
  void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) Refuse(name);
  SqliteLibrary loaded;
#define TARVEX_SQLITE_LOAD(NAME) \
  loaded.NAME = reinterpret_cast<decltype(loaded.NAME)>(FunctionOf(library, "sqlite3_" #NAME));
  TARVEX_SQLITE_FUNCTIONS(TARVEX_SQLITE_LOAD)
#undef TARVEX_SQLITE_LOAD
  return loaded;
}

const SqliteLibrary& Sqlite() {
  static const SqliteLibrary library = LoadSqlite(kName);
  return library;
}

}  // namespace tarvex
