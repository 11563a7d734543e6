#include "simulator/run/run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "simulator/board/board.h"
#include "simulator/board/platform_calls.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/run/board_paths.h"
#include "simulator/run/memory_requests.h"

namespace vam {
namespace {

using ::testing::ElementsAre;

static_assert(!std::is_copy_constructible_v<Run>);
static_assert(!std::is_copy_assignable_v<Run>);

constexpr char kBoard[] = R"(title = "Faults"
[[fault]]
call = "TEEC_OpenSession"
occurrence = 2
result = "TEEC_ERROR_BUSY"
origin = 2
[[fault]]
call = "TEEC_OpenSession"
result = "TEEC_ERROR_GENERIC"
origin = 3
[[fault]]
command = "vm_updateFW"
mode = 3
occurrence = 2
result = "TEEC_ERROR_GENERIC"
[[fault]]
command = "vm_getFWInfo"
result = "TEEC_ERROR_NO_DATA"
[[fault]]
power_cut_after_writes = 2
[[fault]]
call = "CNolvWsm::PutInt"
occurrence = 2
)";

class RunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Prepare(Folder("run"), folder + "/journal");
    std::ofstream(folder + "/journal").close();
  }

  std::string Folder(const char* name) {
    std::filesystem::create_directory(folder + "/" + name);
    return folder + "/" + name;
  }
  void Prepare(const std::string& runFolder, const std::string& journal) {
    vam::Run::Prepare(runFolder, kBoard, "faults.toml", folder + "/chip", journal);
  }
  std::string Written() { return ReadWholeFile(folder + "/journal").value_or("(no journal)"); }

  const TemporaryFolder temporary{"vam-run-test"};
  const std::string& folder = temporary.Path();
};

std::vector<std::uint32_t> NumbersOfFaultsThatNeverFired(const vam::Run& run) {
  std::vector<std::uint32_t> numbers;
  for (const Fault* fault : run.FaultsThatNeverFired()) {
    numbers.push_back(fault->number);
  }
  return numbers;
}

TEST_F(RunTest, PreparedFolder_LeadsToTheBoardAndTheState) {
  std::filesystem::create_directory(folder + "/chip");
  const vam::Run run(folder + "/run");
  EXPECT_EQ(run.Description().title, "Faults");
  std::ofstream(run.StateFolder() + "/file") << "bytes";
  EXPECT_EQ(std::filesystem::file_size(folder + "/chip/file"), 5U);
}

TEST_F(RunTest, TwoFaultsOnOneCall_FirstWhoseOccurrenceItIsFires) {
  vam::Run run(folder + "/run");
  EXPECT_EQ(NumberOf(run.FireCallFault(PlatformCall::kOpenSession)), 2U);
  EXPECT_EQ(NumberOf(run.FireCallFault(PlatformCall::kOpenSession)), 1U);
  EXPECT_EQ(NumberOf(run.FireCallFault(PlatformCall::kOpenSession)), 2U);
  EXPECT_EQ(run.FireCallFault(PlatformCall::kInvokeCommand), nullptr);
  EXPECT_THAT(NumbersOfFaultsThatNeverFired(run), ElementsAre(3, 4, 5, 6));
}

TEST_F(RunTest, FaultOfACommand_AnotherCommandOrMode_IsNotCounted) {
  vam::Run run(folder + "/run");
  EXPECT_EQ(run.SelectAnswerFault(2, 18, true, 3), nullptr);
  EXPECT_EQ(run.SelectAnswerFault(2, 18, true, 7), nullptr) << "another mode";
  EXPECT_EQ(run.SelectAnswerFault(2, 30, true, 3), nullptr) << "another command";
  EXPECT_EQ(run.SelectAnswerFault(2, 18, false, 3), nullptr) << "a command without a mode";
  EXPECT_THAT(NumbersOfFaultsThatNeverFired(run), ElementsAre(1, 2, 3, 4, 5, 6));
  const Fault* selected = run.SelectAnswerFault(2, 18, true, 3);
  ASSERT_EQ(NumberOf(selected), 3U);
  EXPECT_THAT(NumbersOfFaultsThatNeverFired(run), ElementsAre(1, 2, 3, 4, 5, 6));
  run.AnswerFaultApplied(*selected);
  EXPECT_THAT(NumbersOfFaultsThatNeverFired(run), ElementsAre(1, 2, 4, 5, 6));
  EXPECT_EQ(run.SelectAnswerFault(2, 18, true, 3), nullptr) << "its occurrence is over";
  EXPECT_EQ(NumberOf(run.SelectAnswerFault(3, 19, false, 0)), 4U);
  EXPECT_EQ(run.SelectAnswerFault(0, 18, true, 3), nullptr) << "a fault of a call";
}

TEST_F(RunTest, TwoProcesses_ShareTheCounters) {
  const pid_t child = fork();
  if (child == 0) {
    vam::Run other(folder + "/run");
    _exit(other.FireCallFault(PlatformCall::kPutInt) == nullptr ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  vam::Run run(folder + "/run");
  EXPECT_THAT(NumbersOfFaultsThatNeverFired(run), ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_EQ(NumberOf(run.FireCallFault(PlatformCall::kPutInt)), 6U);
  EXPECT_THAT(NumbersOfFaultsThatNeverFired(vam::Run(folder + "/run")), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(RunTest, WriteThatThePowerCutNames_EndsTheProcess) {
  const pid_t child = fork();
  if (child == 0) {
    vam::Run other(folder + "/run");
    other.ChipMemoryWritten();
    other.CallJournal().Append("first");
    other.ChipMemoryWritten();
    other.CallJournal().Append("second");
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
  EXPECT_EQ(Written(), "first\n");
  EXPECT_THAT(NumbersOfFaultsThatNeverFired(vam::Run(folder + "/run")), ElementsAre(1, 2, 3, 4, 6));
}

TEST_F(RunTest, JournalThatWasNotAskedFor_IsNotKept) {
  const std::string quiet = Folder("quiet");
  Prepare(quiet, "");
  EXPECT_FALSE(vam::Run(quiet).CallJournal().IsKept());
}

TEST_F(RunTest, FolderThatIsNoRun_IsRefused) {
  EXPECT_THROW(vam::Run(folder + "/nowhere"), BoardError);
  std::filesystem::remove(folder + "/run/shared");
  EXPECT_THROW(vam::Run(folder + "/run"), std::runtime_error);
}

TEST_F(RunTest, WrongBoard_IsRefusedAndNothingWritten) {
  EXPECT_THROW(vam::Run::Prepare(Folder("wrong"), "x = 1", "wrong.toml", folder, ""), BoardError);
  EXPECT_TRUE(std::filesystem::is_empty(folder + "/wrong")) << "nothing is half written";
  EXPECT_THROW(Prepare(folder + "/nowhere", ""), std::runtime_error);
}

/// A prepared run on a board with these faults.
class SurroundingsTest : public ::testing::Test {
 protected:
  vam::Run& On(const std::string& faults) {
    vam::Run::Prepare(folder.Path(), faults, "board.toml", "", "");
    run = std::make_unique<vam::Run>(folder.Path());
    return *run;
  }

  bool IsWatched() const { return std::filesystem::exists(folder.Path() + kWatchFile); }

  /// Returns the signal that ends a process which does `work`; 0: none.
  template <typename Work>
  static int SignalOf(Work work) {
    const pid_t child = fork();
    if (child == 0) {
      work();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }

  TemporaryFolder folder{"vam-run-test"};
  std::unique_ptr<vam::Run> run;
};

TEST_F(SurroundingsTest, Signal_ComesAfterItsCallOfTheWholeRun) {
  vam::Run& counted = On("[[fault]]\nsignal = \"SIGTERM\"\nafter_calls = 2\n");
  EXPECT_EQ(SignalOf([&] { counted.CallEnded(); }), 0);
  EXPECT_EQ(counted.FaultsThatNeverFired().size(), 1U);
  EXPECT_EQ(SignalOf([&] { counted.CallEnded(); }), SIGTERM);
  EXPECT_EQ(SignalOf([&] { counted.CallEnded(); }), 0);
  EXPECT_TRUE(counted.FaultsThatNeverFired().empty());
  EXPECT_EQ(counted.WhatWasCounted().calls, 3U);
  EXPECT_FALSE(IsWatched());
}

TEST_F(SurroundingsTest, Signal_ComesAfterItsLine) {
  vam::Run& counted = On("[[fault]]\nsignal = \"SIGKILL\"\nafter_lines = 1\n");
  EXPECT_EQ(SignalOf([&] { counted.CallEnded(); }), 0);
  EXPECT_EQ(SignalOf([&] { counted.LineWritten(); }), SIGKILL);
  EXPECT_EQ(counted.WhatWasCounted().lines, 1U);
  EXPECT_TRUE(IsWatched());
}

TEST_F(SurroundingsTest, StatusFile_IsRefusedWhereAFaultSaysSo) {
  vam::Run& counted = On("[[fault]]\nstatus_file = \"VAM_FAIL\"\nresult = \"EROFS\"\n");
  EXPECT_TRUE(IsWatched());
  EXPECT_EQ(counted.StatusFileOpened(true), 0);
  EXPECT_EQ(counted.FaultsThatNeverFired().size(), 1U);
  EXPECT_EQ(counted.StatusFileOpened(false), EROFS);
  EXPECT_TRUE(counted.FaultsThatNeverFired().empty());
}

TEST_F(SurroundingsTest, CallsAfterAStatusFileWasOpened_AreCounted) {
  vam::Run& counted = On("");
  counted.CallEnded();
  EXPECT_EQ(counted.WhatWasCounted().callsAfterStatus, 0U);
  EXPECT_EQ(counted.StatusFileOpened(false), 0);
  EXPECT_EQ(counted.WhatWasCounted().callsAfterStatus, 0U);
  counted.CallEnded();
  EXPECT_EQ(counted.StatusFileOpened(true), 0);
  counted.CallEnded();
  EXPECT_EQ(counted.WhatWasCounted().callsAfterStatus, 2U);
}

TEST_F(SurroundingsTest, StatusRoom_IsTakenOnce) {
  vam::Run& counted = On("[[fault]]\nstatus_room = 10\n");
  EXPECT_TRUE(IsWatched());
  EXPECT_EQ(counted.TakeStatusRoom(7), 7U);
  EXPECT_EQ(counted.FaultsThatNeverFired().size(), 1U);
  EXPECT_EQ(counted.TakeStatusRoom(7), 3U);
  EXPECT_EQ(counted.TakeStatusRoom(7), 0U);
  EXPECT_TRUE(counted.FaultsThatNeverFired().empty());
}

TEST_F(SurroundingsTest, MemoryRequests_LieInAFileOfTheRun) {
  vam::Run& counted = On("[[fault]]\nmemory_fails_at_request = 2\n");
  const std::string path = folder.Path() + kMemoryRequestsFile;
  EXPECT_EQ(ReadWholeFile(path), std::string("\0\0\0\0\1\0\0\0\2\0\0\0", 12));
  EXPECT_EQ(counted.FaultsThatNeverFired().size(), 1U);
  std::ofstream(path, std::ios::binary) << std::string("\2\0\0\0\1\0\0\0\2\0\0\0", 12);
  EXPECT_EQ(counted.WhatWasCounted().memoryRequests, 2U);
  EXPECT_TRUE(counted.FaultsThatNeverFired().empty());
}

TEST_F(SurroundingsTest, FaultsThatAreThereFromTheStart_AlwaysFire) {
  EXPECT_TRUE(On("[[fault]]\nconsole = \"full\"\n"
                 "[[fault]]\nstatus_file = \"VAM_OK\"\nis = \"folder\"\n")
                  .FaultsThatNeverFired()
                  .empty());
}

}  // namespace
}  // namespace vam
