#include "verdict/waiting.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "report/last_run.h"
#include "report/run_record.h"
#include "tests/support/planned_calls.h"
#include "tests/support/private_tmp.h"

namespace vam {
namespace {

constexpr unsigned kLong = 600;
constexpr char kFolder[] = "/mnt/above/verdict";

/// Puts a record of this boot into the folder, by a draft as the recorder does.
void PutRecord(const std::string& bootId) {
  RunRecord record;
  record.bootId = bootId;
  record.status = 0;
  record.outcome = RunOutcome::kVerified;
  std::ofstream(std::string(kFolder) + "/draft") << RunRecordAsJson(record);
  chmod("/mnt/above/verdict/draft", 0644);
  std::filesystem::rename("/mnt/above/verdict/draft", "/mnt/above/verdict/verdict.json");
}

class WaitingTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!PrivateTmp::HasOtherUsers()) {
      GTEST_SKIP() << "a folder that root does not own is not trusted";
    }
    ASSERT_EQ(chmod("/mnt", 0755), 0);
  }

  /// Waits while `happening` happens. Returns what was waited for.
  static LastRun WaitDuring(const std::function<void()>& happening) {
    std::thread other(happening);
    EXPECT_EQ(WaitForRun(kFolder, kLong), nullptr);
    other.join();
    return ReadLastRun(kFolder);
  }

  static void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }

  const PrivateTmp tmp;
};

TEST_F(WaitingTest, Record_ThatIsThere_IsNotWaitedFor) {
  std::filesystem::create_directories(kFolder);
  PutRecord(BootId());
  EXPECT_EQ(WaitForRun(kFolder, kLong), nullptr);
}

TEST_F(WaitingTest, Record_ThatComes_EndsTheWait) {
  std::filesystem::create_directories(kFolder);
  const LastRun run = WaitDuring([] {
    Pause();
    PutRecord(BootId());
  });
  EXPECT_EQ(run.state, LastRun::State::kEnded);
}

TEST_F(WaitingTest, Folders_ThatComeFirst_AreWaitedFor) {
  const LastRun run = WaitDuring([] {
    for (const char* folder : {"/mnt/above", "/mnt/other", kFolder}) {
      Pause();
      mkdir(folder, 0755);
    }
    Pause();
    PutRecord(BootId());
  });
  EXPECT_EQ(run.state, LastRun::State::kEnded);
}

TEST_F(WaitingTest, FolderOfTheWorkingFolder_IsWaitedFor) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::create_directory("/mnt/above");
  std::filesystem::current_path("/mnt/above");
  EXPECT_EQ(WaitForRun("verdict", 1), nullptr);
  std::thread other([] {
    Pause();
    std::filesystem::create_directory(kFolder);
    PutRecord(BootId());
  });
  EXPECT_EQ(WaitForRun("verdict", kLong), nullptr);
  EXPECT_EQ(ReadLastRun("verdict").state, LastRun::State::kEnded);
  other.join();
  std::filesystem::current_path(before);
}

TEST_F(WaitingTest, Folder_ThatGoesAndComesBack_IsWaitedFor) {
  std::filesystem::create_directories(kFolder);
  const LastRun run = WaitDuring([] {
    Pause();
    std::filesystem::remove_all("/mnt/above");
    Pause();
    std::filesystem::create_directories(kFolder);
    Pause();
    PutRecord(BootId());
  });
  EXPECT_EQ(run.state, LastRun::State::kEnded);
}

TEST_F(WaitingTest, Folder_ThatComesInTheSameMoment_IsNotMissed) {
  for (int i = 0; i < 300; ++i) {
    std::filesystem::remove_all("/mnt/above");
    std::atomic<bool> isWaiting = false;
    const LastRun run = [&] {
      std::thread other([&] {
        while (!isWaiting) {
        }
        // Somewhere within the first looks of the waiting one.
        for (volatile int spin = 0; spin < i * 100; spin = spin + 1) {
        }
        mkdir("/mnt/above", 0755);
        mkdir(kFolder, 0755);
        PutRecord(BootId());
      });
      isWaiting = true;
      EXPECT_EQ(WaitForRun(kFolder, kLong), nullptr);
      other.join();
      return ReadLastRun(kFolder);
    }();
    ASSERT_EQ(run.state, LastRun::State::kEnded);
  }
}

TEST_F(WaitingTest, Record_OfAnotherBoot_DoesNotEndTheWait) {
  std::filesystem::create_directories(kFolder);
  PutRecord("22222222-2222-4222-8222-222222222222");
  const LastRun run = WaitDuring([] {
    Pause();
    PutRecord(BootId());
  });
  EXPECT_EQ(run.state, LastRun::State::kEnded);
}

TEST_F(WaitingTest, Wait_WithoutARun_EndsInTime) {
  using std::chrono::steady_clock;
  std::thread([] {
    // The kernel ends a sleep up to a thousandth late; other timers of the processor spare that.
    const unsigned processor = static_cast<unsigned>(sched_getcpu());
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(processor, &processors);
    ASSERT_EQ(sched_setaffinity(0, sizeof processors, &processors), 0);
    std::atomic<bool> hasEnded = false;
    std::thread timers([&hasEnded] {
      while (!hasEnded) {
        std::this_thread::sleep_for(std::chrono::microseconds(50));
      }
    });
    // The events are closed at the end of the sleep, and the kernel takes its time for that.
    PlannedCalls calls;
    steady_clock::time_point end;
    calls.Before("close", [&end](int) { end = steady_clock::now(); });
    // Shortly before the clock's next millisecond: a wait in whole ones would end early.
    steady_clock::time_point start;
    do {
      start = steady_clock::now();
    } while (start.time_since_epoch() / std::chrono::microseconds(1) % 1000 != 990);
    EXPECT_EQ(WaitForRun(kFolder, 1), nullptr);
    hasEnded = true;
    timers.join();
    EXPECT_GE((end - start).count(), 1000000000);
  }).join();
  EXPECT_EQ(WaitForRun(kFolder, 0), nullptr);
}

TEST_F(WaitingTest, Folder_ThatIsAFile_CannotBeWaitedFor) {
  std::ofstream file("/mnt/above");
  EXPECT_STREQ(WaitForRun(kFolder, kLong), "Not a directory");
}

}  // namespace
}  // namespace vam
