// Brings the storage sender up twice over the real host layer, and says each time whether the
// library beside this program is loaded.

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "boundary/hostlayer.h"
#include "system/filesystem/filesystem.h"
#include "system/storage_sender.h"

namespace {

bool IsMapped(const std::string& library) {
  std::stringstream maps;
  maps << std::ifstream("/proc/self/maps").rdbuf();
  return maps.str().find(library) != std::string::npos;
}

}  // namespace

int main() {
  const std::string library =
      std::string(get_filesystem()->GetExecutableDirectory()) + "/storelib.dll";
  for (int call = 0; call < 2; ++call) {
    LoadStorageSender();
    std::cout << (IsMapped(library) ? "stays" : "is not there") << std::endl;
  }
}
