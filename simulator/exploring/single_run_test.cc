#include "simulator/exploring/single_run.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/exploring/exploration.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"

namespace vam {
namespace {

constexpr char kOldOk[] = "Updated FW version: 0.0 \n";
constexpr char kOldFail[] = "Open /dev/zelkshield failed with error: -1 \n";

/// Runs a shell's script on a board whose chip does not run the image.
class SingleRunTest : public ::testing::Test {
 protected:
  SingleRun Run(const std::string& script, const std::string& faults = "") {
    scene.command = {"/bin/sh", "-c", script};
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      std::filesystem::remove_all(entry.path());
    }
    return RunOnce(scene, folder.Path(), faults);
  }

  Scene scene = {"[image]\nsystem_version = \"1.1\"\n[chip]\nsystem_version = \"1.0\"\n",
                 "board.toml",
                 "/",
                 {},
                 VAM_STAND_INS};
  const TemporaryFolder folder{"vam-single-run-test"};
};

TEST_F(SingleRunTest, ProgramThatDoesNothing_LeavesAllAsItWas) {
  const SingleRun run = Run("true");
  EXPECT_TRUE(run.allFired);
  EXPECT_EQ(run.evidence.status, 0);
  EXPECT_EQ(run.evidence.journal.problem, "");
  EXPECT_EQ(run.evidence.journal.head["build"], "vam-board explore");
  EXPECT_TRUE(run.evidence.journal.calls.empty());
  EXPECT_EQ(run.evidence.okBefore, kOldOk);
  EXPECT_EQ(run.evidence.okAfter, kOldOk);
  EXPECT_EQ(run.evidence.failBefore, kOldFail);
  EXPECT_EQ(run.evidence.failAfter, kOldFail);
  EXPECT_FALSE(run.evidence.chipRunsImage);
  EXPECT_FALSE(run.evidence.answersChanged);
  EXPECT_FALSE(run.evidence.isCutOff);
  EXPECT_FALSE(run.evidence.okIsRefused);
  EXPECT_FALSE(run.evidence.failIsRefused);
  EXPECT_EQ(run.evidence.statusRoom, std::nullopt);
  EXPECT_EQ(run.evidence.callsAfterStatus, 0U);
  EXPECT_TRUE(run.evidence.strangers.empty());
  EXPECT_EQ(run.evidence.complaints, "");
  EXPECT_EQ(run.counts.chipWrites, 0U);
  EXPECT_EQ(run.counts.calls, 0U);
  EXPECT_EQ(run.counts.lines, 0U);
  EXPECT_EQ(run.counts.statusBytes, 0U);
  EXPECT_FALSE(std::filesystem::exists(folder.Path() + "/run"));
  EXPECT_FALSE(std::filesystem::exists(folder.Path() + "/work"));
}

TEST_F(SingleRunTest, ProgramOfManyTraces_LeavesThemAll) {
  const SingleRun run =
      Run("echo line; echo word >&2; : >stranger; : >>/tmp/VAM_FAIL; : </dev/zelkshield; "
          "echo more >>/tmp/VAM_FAIL; echo ok >/tmp/VAM_OK; : >/tmp/VAM_OK.x; exit 7");
  EXPECT_EQ(run.evidence.status, 7);
  EXPECT_EQ(run.evidence.complaints, "word\n");
  EXPECT_EQ(run.evidence.strangers, (std::vector<std::string>{"stranger", "VAM_OK.x"}));
  EXPECT_EQ(run.evidence.okAfter, "ok\n");
  EXPECT_EQ(run.evidence.failAfter, std::string(kOldFail) + "more\n");
  EXPECT_EQ(ReadWholeFile(folder.Path() + "/console"), "line\n");
  EXPECT_GE(run.counts.calls, 1U);
  EXPECT_EQ(run.evidence.callsAfterStatus, run.counts.calls);
  EXPECT_EQ(run.evidence.journal.calls.size(), run.counts.calls);
  EXPECT_EQ(run.counts.statusBytes, 3U + 5U);
  EXPECT_GE(run.counts.lines, 1U);
}

TEST_F(SingleRunTest, StatusFilesThatAreGone_AreNothing) {
  const SingleRun run = Run("rm /tmp/VAM_OK /tmp/VAM_FAIL");
  EXPECT_EQ(run.evidence.okAfter, std::nullopt);
  EXPECT_EQ(run.evidence.failAfter, std::nullopt);
  EXPECT_EQ(run.counts.statusBytes, 0U);
}

TEST_F(SingleRunTest, ChipThatRunsTheImage_IsSeen) {
  const std::string versions = "system_version = \"1.1\"\napp_version = \"2\"\n";
  scene.boardText = "[image]\n" + versions + "[chip]\n" + versions;
  EXPECT_TRUE(Run("true").evidence.chipRunsImage);
  EXPECT_FALSE(Run("rm ../state/firmware.img").evidence.chipRunsImage);
  EXPECT_FALSE(Run("rm ../state/chip.memory").evidence.chipRunsImage);
  scene.boardText += "state = \"interrupted\"\n";
  EXPECT_FALSE(Run("true").evidence.chipRunsImage);
}

TEST_F(SingleRunTest, FaultThatFired_IsSeenByItsKind) {
  EXPECT_TRUE(
      Run("kill -0 $$; : </dev/zelkshield", "[[fault]]\nsignal = \"SIGTERM\"\nafter_calls = 1\n")
          .evidence.isCutOff);
  const SingleRun untouched = Run("true", "[[fault]]\nsignal = \"SIGTERM\"\nafter_calls = 1\n");
  EXPECT_FALSE(untouched.evidence.isCutOff);
  EXPECT_FALSE(untouched.allFired);
  const SingleRun refused =
      Run(": >/tmp/VAM_OK", "[[fault]]\nstatus_file = \"VAM_OK\"\nresult = \"EACCES\"\n");
  EXPECT_TRUE(refused.allFired);
  EXPECT_TRUE(refused.evidence.okIsRefused);
  EXPECT_FALSE(refused.evidence.failIsRefused);
  const SingleRun folders = Run("true", "[[fault]]\nstatus_file = \"VAM_FAIL\"\nis = \"folder\"\n");
  EXPECT_FALSE(folders.evidence.okIsRefused);
  EXPECT_TRUE(folders.evidence.failIsRefused);
  EXPECT_FALSE(
      Run("true", "[[fault]]\nstatus_file = \"both\"\nis = \"link\"\n").evidence.okIsRefused);
  EXPECT_TRUE(Run(": </dev/zelkshield", "[[fault]]\ncall = \"open\"\nresult = \"EIO\"\n")
                  .evidence.answersChanged);
}

TEST_F(SingleRunTest, FaultOfTheBoardItself_NeedNotFire) {
  scene.boardText += "[[fault]]\ncall = \"open\"\nresult = \"EIO\"\n";
  EXPECT_TRUE(Run("true").allFired);
  EXPECT_FALSE(Run("true", "[[fault]]\ncall = \"open\"\nresult = \"EBUSY\"\n").allFired);
}

TEST_F(SingleRunTest, FileThatCannotBeWritten_IsNamed) {
  for (const std::string name : {"console", "complaints", "journal"}) {
    static_cast<void>(Run("true"));
    const std::string path = folder.Path() + "/" + name;
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    try {
      static_cast<void>(RunAgain(scene, folder.Path(), nullptr));
      ADD_FAILURE() << name;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), path + ": cannot be written: Is a directory");
    }
  }
}

TEST_F(SingleRunTest, TroubleOfTheRig_IsThrown) {
  try {
    static_cast<void>(Run("rm -r \"$VAM_BOARD_RUN/board.toml\"; : </dev/zelkshield"));
    ADD_FAILURE() << "no trouble";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("board.toml: cannot be read: No such file"),
              std::string::npos)
        << error.what();
  }
}

}  // namespace
}  // namespace vam
