#include "recorder/memory_of_program.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

bool isForbidden = false;

}  // namespace

// The linker leads the program's calls of syscall() here, and __real_syscall to the C library's.
extern "C" {
long RealSyscall(long number, ...) __asm__("__real_syscall");
long WrappedSyscall(long number, long process, const void* local, long localCount,
                    const void* remote, long remoteCount, long flags) __asm__("__wrap_syscall");
long WrappedSyscall(long number, long process, const void* local, long localCount,
                    const void* remote, long remoteCount, long flags) {
  if (isForbidden && number == SYS_process_vm_readv) {
    errno = ENOSYS;
    return -1;
  }
  return RealSyscall(number, process, local, localCount, remote, remoteCount, flags);
}
}

namespace vam {
namespace {

TEST(MemoryOfProgramTest, KernelThatForbidsTheCall_IsDoneWithout) {
  isForbidden = true;
  errno = ENOTTY;
  std::int32_t number = 0;
  const std::int32_t seven = 7;
  EXPECT_TRUE(CopyFromProgram(&number, &seven, sizeof number));
  EXPECT_EQ(number, 7);
  EXPECT_FALSE(CopyFromProgram(&number, nullptr, sizeof number));
  EXPECT_EQ(errno, ENOTTY);
  isForbidden = false;
}

TEST(MemoryOfProgramTest, Bytes_AreCopied) {
  const std::string bytes(200000, 'x');
  std::string read = "before";
  EXPECT_TRUE(ReadProgram(bytes.data(), bytes.size(), read));
  EXPECT_EQ(read, bytes);
  EXPECT_TRUE(ReadProgram(bytes.data(), 0, read));
  EXPECT_EQ(read, "");
  EXPECT_TRUE(ReadProgram(nullptr, 0, read));
  std::int32_t number = 0;
  const std::int32_t seven = 7;
  EXPECT_TRUE(CopyFromProgram(&number, &seven, sizeof number));
  EXPECT_EQ(number, 7);
}

TEST(MemoryOfProgramTest, WhereIsNoMemory_NothingIsCopiedAndNothingHappens) {
  constexpr std::size_t kPage = 65536;
  void* pages =
      mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  std::memset(pages, 'y', kPage);
  ASSERT_EQ(munmap(static_cast<char*>(pages) + kPage, kPage), 0);
  errno = ENOTTY;
  std::string read;
  EXPECT_TRUE(ReadProgram(pages, kPage, read));
  EXPECT_EQ(read, std::string(kPage, 'y'));
  EXPECT_FALSE(ReadProgram(pages, kPage + 1, read));
  EXPECT_FALSE(ReadProgram(pages, SIZE_MAX, read));
  EXPECT_FALSE(ReadProgram(nullptr, 1, read));
  EXPECT_EQ(errno, ENOTTY);
  munmap(pages, kPage);
}

}  // namespace
}  // namespace vam
