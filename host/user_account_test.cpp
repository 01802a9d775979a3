#include "host/user_account.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>

namespace tarvex {
namespace {

constexpr uid_t kNobody = 65534;

constexpr std::uint64_t Bit(unsigned capability) {
  return std::uint64_t{1} << capability;
}

constexpr std::uint64_t kAll = Bit(CAP_SYS_RAWIO) | Bit(CAP_SYS_ADMIN) | Bit(CAP_DAC_READ_SEARCH);

TEST(MayRunDiagnosticsTest, RootMayWithoutAnyCapability) {
  EXPECT_TRUE(MayRunDiagnostics(0, 0));
}

TEST(MayRunDiagnosticsTest, OthersNeedAllThreeCapabilities) {
  EXPECT_TRUE(MayRunDiagnostics(kNobody, kAll));
  EXPECT_TRUE(MayRunDiagnostics(kNobody, ~std::uint64_t{0}));
  EXPECT_FALSE(MayRunDiagnostics(kNobody, 0));
  for (const unsigned missing : {CAP_SYS_RAWIO, CAP_SYS_ADMIN, CAP_DAC_READ_SEARCH}) {
    EXPECT_FALSE(MayRunDiagnostics(kNobody, ~Bit(missing))) << missing;
  }
}

// What a process of its own says after `prepare`; -1 when that failed.
int PrivilegesAfter(const std::function<bool()>& prepare) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(prepare() ? (UserAccount().HasPrivileges() ? 1 : 0) : 2);
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status) == 2 ? -1 : WEXITSTATUS(status);
}

bool BecomeNobodyWith(std::uint64_t capabilities) {
  if (::prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0) return false;
  if (::setresuid(kNobody, kNobody, kNobody) != 0) return false;
  __user_cap_header_struct header{};
  header.version = _LINUX_CAPABILITY_VERSION_3;
  std::array<__user_cap_data_struct, 2> data{};
  data[0].effective = data[0].permitted = static_cast<std::uint32_t>(capabilities);
  data[1].effective = data[1].permitted = static_cast<std::uint32_t>(capabilities >> 32);
  return ::syscall(SYS_capset, &header, data.data()) == 0;
}

class UserAccountTest : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  }
};

TEST_F(UserAccountTest, RootHasPrivileges) {
  EXPECT_EQ(PrivilegesAfter([] { return true; }), 1);
}

TEST_F(UserAccountTest, EffectiveUserCounts) {
  EXPECT_EQ(PrivilegesAfter([] { return ::setresuid(kNobody, 0, 0) == 0; }), 1);
  EXPECT_EQ(PrivilegesAfter([] { return ::setresuid(0, kNobody, 0) == 0; }), 0);
}

TEST_F(UserAccountTest, OrdinaryUserHasNone) {
  EXPECT_EQ(PrivilegesAfter([] { return BecomeNobodyWith(0); }), 0);
}

TEST_F(UserAccountTest, UserWithTheCapabilitiesHasThem) {
  const int answer = PrivilegesAfter([] { return BecomeNobodyWith(kAll); });
  if (answer < 0) GTEST_SKIP() << "this system keeps the capabilities from root itself";
  EXPECT_EQ(answer, 1);
  EXPECT_EQ(PrivilegesAfter([] { return BecomeNobodyWith(kAll & ~Bit(CAP_SYS_ADMIN)); }), 0);
}

}  // namespace
}  // namespace tarvex
