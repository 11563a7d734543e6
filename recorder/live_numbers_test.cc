#include "recorder/live_numbers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <set>
#include <thread>
#include <vector>

namespace vam {
namespace {

TEST(LiveNumbersTest, Things_AreNumberedFromOneInTheOrderOfMaking) {
  LiveNumbers numbers;
  EXPECT_EQ(numbers.Make(700), 1U);
  EXPECT_EQ(numbers.Make(300), 2U);
  EXPECT_EQ(numbers.Of(700), 1U);
  EXPECT_EQ(numbers.Of(300), 2U);
}

TEST(LiveNumbersTest, WhatWasNeverMade_HasNone) {
  LiveNumbers numbers;
  EXPECT_EQ(numbers.Of(0), 0U);
  EXPECT_EQ(numbers.Of(700), 0U);
  EXPECT_EQ(numbers.Take(700), 0U);
  numbers.Make(700);
  EXPECT_EQ(numbers.Of(0), 0U);
}

TEST(LiveNumbersTest, WhatWasTaken_HasNoneAndItsPlaceGetsANewOne) {
  LiveNumbers numbers;
  numbers.Make(700);
  EXPECT_EQ(numbers.Take(700), 1U);
  EXPECT_EQ(numbers.Of(700), 0U);
  EXPECT_EQ(numbers.Of(0), 0U);
  EXPECT_EQ(numbers.Take(0), 0U);
  EXPECT_EQ(numbers.Make(700), 2U);
  EXPECT_EQ(numbers.Of(700), 2U);
}

TEST(LiveNumbersTest, PlaceThatWasNeverGivenBack_HasItsLastNumber) {
  LiveNumbers numbers;
  numbers.Make(700);
  numbers.Make(700);
  EXPECT_EQ(numbers.Take(700), 2U);
  EXPECT_EQ(numbers.Of(700), 0U);
}

TEST(LiveNumbersTest, KeptNumber_IsThatOfBoth) {
  LiveNumbers numbers;
  numbers.Make(4);
  numbers.Keep(9, 1);
  EXPECT_EQ(numbers.Take(4), 1U);
  EXPECT_EQ(numbers.Of(9), 1U);
}

TEST(LiveNumbersTest, ManyThings_AllHaveTheirNumbers) {
  // As the library has it: it lives as long as the process, and gives no memory back.
  static LiveNumbers numbers;
  constexpr LiveNumbers::Key kCount = 1000;
  for (LiveNumbers::Key i = 1; i <= kCount; ++i) {
    numbers.Make(i * 8);
  }
  for (LiveNumbers::Key i = 1; i <= kCount; ++i) {
    EXPECT_EQ(numbers.Of(i * 8), i);
  }
}

TEST(LiveNumbersTest, ThreadsAtOnce_GetDifferentNumbers) {
  LiveNumbers numbers;
  constexpr std::uintptr_t kThreads = 4;
  constexpr std::uintptr_t kRounds = 2000;
  std::atomic<int> wrong{0};
  std::vector<std::set<std::uint32_t>> got(kThreads);
  std::vector<std::thread> threads;
  for (std::uintptr_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (std::uintptr_t round = 0; round < kRounds; ++round) {
        const std::uintptr_t key = 1 + thread + kThreads * (round % 50);
        const std::uint32_t number = numbers.Make(key);
        got[thread].insert(number);
        wrong += numbers.Of(key) == number && numbers.Take(key) == number ? 0 : 1;
      }
    });
  }
  std::set<std::uint32_t> all;
  for (std::uintptr_t thread = 0; thread < kThreads; ++thread) {
    threads[thread].join();
    all.insert(got[thread].begin(), got[thread].end());
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(all.size(), kThreads * kRounds);
}

}  // namespace
}  // namespace vam
