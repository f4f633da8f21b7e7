#include "siminfo/process/work_queue.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <set>

namespace siminfo {
namespace {

/// A system that has no more threads: their stacks cannot be had.
TEST(WorkQueue, WorksOnTheThreadsThatItGets) {
  pthread_attr_t before;
  pthread_attr_t huge;
  ASSERT_EQ(pthread_getattr_default_np(&before), 0);
  pthread_attr_init(&huge);
  pthread_attr_setstacksize(&huge, std::size_t{1} << 47U);
  ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
  EXPECT_THROW(std::thread([] {}).join(), std::system_error);
  std::set<std::size_t> done;
  WorkQueue(20, [](std::size_t) { return true; }).run(4, [&](std::size_t number) { done.insert(number); });
  pthread_setattr_default_np(&before);
  EXPECT_EQ(done.size(), 20U);
}

}  // namespace
}  // namespace siminfo
