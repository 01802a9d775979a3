#include <gtest/gtest.h>

#include <string>

#include "service/modules/storage/partitions.h"
#include "tests/support/captured_files.h"

namespace orvan::storage {
namespace {

// Where "/dev/vda1" with the number 254:1 is mounted by a line of the mount table.
std::string PointOf(const std::string& line) {
  const sdk::testing::CapturedFiles files("f /proc/self/mountinfo " + line + "\\x0a\n");
  return MountTable(files).Find("254:1", "/dev/vda1").point;
}

TEST(MountTable, AMountIsKnownByItsNumberAndNotByItsSource) {
  EXPECT_EQ(PointOf("22 1 254:1 / /mnt rw - ext4 /dev/anything rw"), "/mnt");
  EXPECT_EQ(PointOf("22 1 254:1 / /mnt rw - fuseblk /dev/vda1 rw"), "/mnt");
  EXPECT_EQ(PointOf("22 1 8:17 / /mnt rw - ext4 /dev/vda1 rw"), "");
}

TEST(MountTable, AFileSystemOfSeveralDevicesIsKnownByItsSource) {
  for (const char* type : {"btrfs", "bcachefs"}) {
    EXPECT_EQ(PointOf(std::string("22 1 0:40 / /mnt rw - ") + type + " /dev/vda1 rw"), "/mnt");
    EXPECT_EQ(PointOf(std::string("22 1 8:17 / /mnt rw - ") + type + " /dev/vda1 rw"), "");
  }
}

TEST(MountTable, NoOtherTypeIsBelievedAboutItsSource) {
  for (const char* type :
       {"fuse", "fuse.sshfs", "fuse.btrfs", "fuseblk", "nfs", "nfs4", "cifs", "9p", "tmpfs",
        "overlay", "sysfs", "mqueue", "cgroup2", "devpts", "ext4", "one.of.tomorrow"}) {
    EXPECT_EQ(PointOf(std::string("22 1 0:40 / /mnt rw,nosuid,nodev - ") + type +
                      " /dev/vda1 rw,user_id=1000"),
              "")
        << type;
  }
}

TEST(MountTable, AUsersMountHidesNoRealOne) {
  EXPECT_EQ(PointOf("21 1 0:40 / /fake rw - fuse /dev/vda1 rw\\x0a"
                    "22 1 254:1 / /mnt rw - ext4 /dev/vda1 rw"),
            "/mnt");
}

}  // namespace
}  // namespace orvan::storage
