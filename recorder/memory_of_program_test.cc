#include "recorder/memory_of_program.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace vam {
namespace {

TEST(MemoryOfProgramTest, Bytes_AreCopied) {
  const std::string bytes(200000, 'x');
  EXPECT_EQ(BytesOfProgram(bytes.data(), bytes.size()), bytes);
  EXPECT_EQ(BytesOfProgram(bytes.data(), 0), "");
  EXPECT_EQ(BytesOfProgram(nullptr, 0), "");
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
  EXPECT_EQ(BytesOfProgram(pages, kPage), std::string(kPage, 'y'));
  EXPECT_EQ(BytesOfProgram(pages, kPage + 1), std::nullopt);
  EXPECT_EQ(BytesOfProgram(pages, SIZE_MAX), std::nullopt);
  EXPECT_EQ(BytesOfProgram(nullptr, 1), std::nullopt);
  EXPECT_EQ(errno, ENOTTY);
  munmap(pages, kPage);
}

}  // namespace
}  // namespace vam
