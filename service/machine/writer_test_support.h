#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "service/machine/block_writer.h"
#include "service/machine/machine_files.h"
#include "tests/support/file_server.h"
#include "tests/support/loop_device.h"
#include "tests/support/test_folder.h"

// What the tests of writers share.
namespace orvan::machine {

inline constexpr std::size_t kWrittenBytes = 4U << 20;

// A disk that answers as it is told, and what is open for writing on it.
class WriterBench : public testing::Test {
 protected:
  void SetUp() override {
    if (!FileServer::CanServe() || !LoopDevice::CanBe()) {
      GTEST_SKIP() << "needs root, /dev/fuse and /dev/loop-control";
    }
    file_.emplace("written_disk", "disk", std::to_string(kWrittenBytes));
    loop_.emplace(file_->Path(), 512, false);
    file_->Command("log");
  }
  void TearDown() override {
    if (file_) file_->Command("resume");
    if (file_) file_->Command("fail 0");
  }

  sdk::OpenedWriter Open(const std::string& path,
                         const std::function<void(sdk::BlockWriterOptions&)>& change = {},
                         std::stop_token stop = {}) {
    sdk::BlockWriterOptions options;
    options.device = path;
    options.expectedDevice = NumberOf(path);
    options.diskSequence = SequenceOf(path);
    options.largestTransferBytes = 64U << 10;
    if (change) change(options);
    return OpenBlockWriter(calls_, files_, grant_, options, std::move(stop));
  }
  sdk::OpenedWriter Open() { return Open(loop_->Path()); }
  void ExpectRefused(const sdk::OpenedWriter& opened, sdk::WriteRefusal refusal,
                     const std::string& user = {}) {
    EXPECT_EQ(opened.writer, nullptr);
    EXPECT_EQ(opened.refusal, refusal) << opened.error;
    EXPECT_EQ(opened.user, user);
    EXPECT_EQ(file_->Command("log").find("write"), std::string::npos);
  }
  // Makes a file system on a device, and forgets that it was written.
  void Format(const std::string& path) {
    ASSERT_EQ(std::system(("mkfs.ext4 -q " + path).c_str()), 0);
    file_->Command("log");
  }

  std::optional<FileServer> file_;
  std::optional<LoopDevice> loop_;
  std::shared_ptr<LeftBehindCount> left_ = std::make_shared<LeftBehindCount>(0);
  ApartCalls calls_{left_};
  std::shared_ptr<std::atomic<bool>> grant_ = std::make_shared<std::atomic<bool>>(true);
  std::shared_ptr<const sdk::MachineFiles> files_ = std::make_shared<LiveFiles>();
};

}  // namespace orvan::machine
