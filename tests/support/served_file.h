#pragma once

// FUSE_USE_VERSION is set by who includes this.
#include <fuse.h>

#include <string>
#include <thread>

// Serves `operations` on the folder, on so many threads, while `commands(server, folder)` runs on
// another one, until that ends the session. The exit status: 1 when it cannot be mounted.
template <typename Commands>
int ServeFile(const fuse_operations& operations, std::string program, const std::string& folder,
              unsigned threads, Commands commands) {
  char* words[] = {program.data(), nullptr};
  fuse_args arguments = FUSE_ARGS_INIT(1, words);
  fuse* const server = fuse_new(&arguments, &operations, sizeof operations, nullptr);
  fuse_opt_free_args(&arguments);
  if (server == nullptr || fuse_mount(server, folder.c_str()) != 0) return 1;
  std::thread taker(commands, server, folder);
  fuse_loop_config* const loop = fuse_loop_cfg_create();
  fuse_loop_cfg_set_max_threads(loop, threads);
  fuse_loop_mt(server, loop);
  fuse_loop_cfg_destroy(loop);
  fuse_unmount(server);
  taker.join();
  fuse_destroy(server);
  return 0;
}
