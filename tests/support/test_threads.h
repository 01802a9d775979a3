#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>

// The system refuses every thread of usual size for as long as this lives: none has room for such a
// stack.
class RefusedThreads {
 public:
  RefusedThreads() {
    pthread_attr_t huge;
    EXPECT_EQ(pthread_getattr_default_np(&before_), 0);
    EXPECT_EQ(pthread_getattr_default_np(&huge), 0);
    EXPECT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << 47), 0);
    EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
    pthread_attr_destroy(&huge);
  }
  ~RefusedThreads() {
    pthread_setattr_default_np(&before_);
    pthread_attr_destroy(&before_);
  }
  RefusedThreads(const RefusedThreads&) = delete;
  RefusedThreads& operator=(const RefusedThreads&) = delete;

 private:
  pthread_attr_t before_{};
};
