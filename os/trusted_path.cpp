#include "os/trusted_path.h"

#include <utility>

#include "os/folder_walk.h"

namespace tarvex {
namespace {

int WalkTo(const std::string& path, FolderWalk::Missing missing, Descriptor& folder) {
  FolderWalk walk(missing, FolderWalk::Folders::kAny);
  const int error = walk.Go(path);
  if (error == 0) folder = std::move(walk.Folder());
  return error;
}

}  // namespace

int OpenFolderOverOwnLinks(const std::string& path, Descriptor& folder) {
  return WalkTo(path, FolderWalk::Missing::kIsFault, folder);
}

int MakeFolderOverOwnLinks(const std::string& path, Descriptor& folder) {
  return WalkTo(path, FolderWalk::Missing::kAreMade, folder);
}

}  // namespace tarvex
