#pragma once

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <thread>

// A system call that fails. With `first`, only where its first argument is this number, a
// descriptor for instance.
struct RefusedCall {
  long call = 0;
  int error = 0;
  std::optional<std::uint32_t> first = {};
};

// Runs `work` in a thread for which, and for whose children, that call fails.
inline void WhereTheKernelRefuses(const RefusedCall& refused, const std::function<void()>& work) {
  std::thread([&] {
    const auto call = static_cast<std::uint32_t>(refused.call);
    const std::uint32_t answer = SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(refused.error);
    constexpr auto kFirst = static_cast<std::uint32_t>(offsetof(seccomp_data, args));
    const std::uint8_t unlessFirst = refused.first ? 1 : 0;
    const sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, 0),  // the number of the call
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kFirst),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, refused.first.value_or(0), 0, unlessFirst),
        BPF_STMT(BPF_RET | BPF_K, answer),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog program{std::size(steps), const_cast<sock_filter*>(steps)};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
    work();
  }).join();
}
