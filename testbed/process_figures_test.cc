#include "testbed/process_figures.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/files.h"

namespace orvane::testbed {
namespace {

TEST(ProcessFiguresTest, FindsTheLineOfAKey) {
  EXPECT_EQ(ProcessFile(getpid(), "status").Figure("Pid"), getpid());
  EXPECT_EQ(ProcessFile(getpid(), "status").Figure("PPid"), getppid());
}

TEST(ProcessFiguresTest, ReadsSizes) {
  const std::int64_t peak = ProcessFile(getpid(), "status").Figure("VmPeak");
  EXPECT_GT(peak, 0);
  EXPECT_LE(ProcessFile(getpid(), "smaps_rollup").Figure("Anonymous"), peak);
}

TEST(ProcessFiguresTest, CountsDescriptors) {
  const std::size_t before = DescriptorCount(getpid());
  const platform::ScopedFd one_more(open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(DescriptorCount(getpid()), before + 1);
}

TEST(ProcessFiguresDeathTest, TakesNothingMissingForZero) {
  EXPECT_DEATH(ProcessFile(getpid(), "status").Figure("VmMoon"),
               "There is no VmMoon in /proc/[0-9]+/status");
  EXPECT_DEATH(ProcessFile(0, "status").Figure("Pid"), "There is no Pid in /proc/0/status");
  EXPECT_DEATH(DescriptorCount(0), "/proc/0/fd can't be read: No such file or directory");
}

}  // namespace
}  // namespace orvane::testbed
