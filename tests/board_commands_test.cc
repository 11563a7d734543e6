// What `vam-board` says of boards: the list, the check, and the faults in `show`.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/judged_outcome.h"
#include "tests/support/board_run.h"
#include "tests/support/outcome.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

Output AskBoard(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), BoardLauncher());
  return Capture(arguments, BoardEnvironment());
}

TEST(BoardListTest, EveryBoardThatShips_SaysWhatARunLeaves) {
  const PrivateTmp tmp;
  const nlohmann::json boards = nlohmann::json::parse(AskBoard({"list", "--json"}).standardOutput);
  const std::string list = AskBoard({"list"}).standardOutput;
  for (const nlohmann::json& board : boards) {
    const std::string name = board.at("name");
    const std::string outcome = board.at("outcome");
    const std::string about = board.at("about");
    SCOPED_TRACE(name);
    EXPECT_NE(about, "");
    EXPECT_NE(about, board.at("title"));
    const Outcome expected = ExpectedOutcome(name);
    EXPECT_EQ(outcome, JudgedOutcome(expected.status, expected.okFile.value_or(""),
                                     expected.errorFile.value_or("")));
    std::string line = name;
    line.resize(33, ' ');
    line += outcome;
    line.resize(49, ' ');
    line += about + "\n";
    EXPECT_NE(("\n" + list).find("\n" + line), std::string::npos);
  }
  const std::filesystem::directory_iterator expectations(VAM_EXPECTATIONS);
  EXPECT_EQ(boards.size(),
            static_cast<std::size_t>(std::distance(begin(expectations), end(expectations))));
}

TEST(BoardCheckTest, RightBoards_AreSaidToBe) {
  const PrivateTmp tmp;
  const std::string file = PrivateTmp::Folder() + "/my.toml";
  WriteFile(file, "title = \"Mine\"\n[[fault]]\npower_cut_after_writes = 2\n");
  const Output output = AskBoard({"check", file, "no-vam"});
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardOutput.substr(0, output.standardOutput.find('\n')),
            file + ": right: Mine, with 1 fault");
  EXPECT_NE(output.standardOutput.find("/no-vam.toml: right: No VAM\n"), std::string::npos);
  EXPECT_EQ(output.standardError, "");
}

TEST(BoardCheckTest, WrongBoards_AreEachToldAndFail) {
  const PrivateTmp tmp;
  const std::string wrong = PrivateTmp::Folder() + "/wrong.toml";
  const std::string lacking = PrivateTmp::Folder() + "/lacking.toml";
  WriteFile(wrong, "title = \"Wrong\"\n[chip]\nstate = \"odd\"\n");
  WriteFile(lacking, "[image]\nfile = \"nowhere.img\"\n");
  const Output output = AskBoard({"check", wrong, "no-vam", lacking});
  EXPECT_EQ(output.status, 1);
  EXPECT_NE(output.standardOutput.find("/no-vam.toml: right: No VAM\n"), std::string::npos);
  EXPECT_EQ(output.standardError.rfind("vam-board: " + wrong + ":3: ", 0), 0U)
      << output.standardError;
  EXPECT_NE(output.standardError.find("nowhere.img"), std::string::npos) << output.standardError;
}

TEST(BoardCheckTest, StandardInput_IsABoardFile) {
  const PrivateTmp tmp;
  const std::string file = PrivateTmp::Folder() + "/input";
  WriteFile(file, "title = \"Piped\"\n");
  const int input = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(RunProcess({{BoardLauncher(), "check", "-"}, {}, nowhere, nowhere, input}), 0);
  close(input);
  close(nowhere);
}

struct FaultRow {
  const char* fault;
  const char* shown;
};

TEST(BoardShowTest, Fault_SaysWhatItDoes) {
  const FaultRow rows[] = {
      {"call = \"TEEC_OpenSession\"\nresult = \"TEEC_ERROR_BUSY\"\norigin = 3",
       "TEEC_OpenSession, always: returns 0xFFFF000D TEEC_ERROR_BUSY, origin 3"},
      {"call = \"TEEC_InitializeContext\"\nresult = 1\noccurrence = 2",
       "TEEC_InitializeContext, occurrence 2: returns 0x00000001"},
      {"call = \"open\"\nresult = \"EIO\"", "open, always: fails: Input/output error"},
      {"call = \"system_info_get_value_string\"\nresult = -5",
       "system_info_get_value_string, always: returns -5"},
      {"call = \"CNolvWsm::PutInt\"", "CNolvWsm::PutInt, always: fails"},
      {"command = \"vm_updateFW\"\nmode = 3\nresult = \"TEEC_ERROR_BUSY\"",
       "vm_updateFW in mode 3, always: is not carried out and returns 0xFFFF000D TEEC_ERROR_BUSY, "
       "origin 4"},
      {"command = \"vm_updateFW\"\nrecord = [4, -61]",
       "vm_updateFW, always: the reply's record holds the VAM's code 4 and the firmware's -61"},
      {"command = \"vm_updateFW\"\nitem = 4\nmissing = true",
       "vm_updateFW, always: the reply ends before item 4"},
      {"command = \"vm_updateFW\"\nitem = 4\ncut = true",
       "vm_updateFW, always: the reply ends in the middle of item 4"},
      {"command = \"vm_updateFW\"\nitem = 2\nvalue = 9",
       "vm_updateFW, always: item 2 of the reply is the number 9"},
      {"command = \"vm_updateFW\"\nitem = 3\nvalue = \"1.0\\u0000\"",
       "vm_updateFW, always: item 3 of the reply is the text '1.0\\x00'"},
      {"command = \"vm_updateFW\"\nitem = 4\ncut = 3",
       "vm_updateFW, always: the reply ends after 3 bytes of item 4"},
      {"command = \"vm_updateFW\"\nitem = 3\nbytes = \"410a\"",
       "vm_updateFW, always: item 3 of the reply is the text 'A\\x0a'"},
      {"signal = \"SIGKILL\"\nafter_calls = 2",
       "SIGKILL after call 2: the process that made the last of them gets the signal"},
      {"console = \"closed\"", "console closed: standard output is closed"},
      {"console = \"full\"", "console full: every write to standard output fails: no space left"},
      {"console = \"without reader\"",
       "console without reader: standard output is a pipe that nobody reads"},
      {"console = \"slow\"",
       "console slow: standard output is a full pipe that does not block, and is read from after a "
       "while"},
      {"status_file = \"VAM_OK\"\nis = \"folder\"", "VAM_OK folder: is a folder"},
      {"status_file = \"VAM_FAIL\"\nis = \"link\"",
       "VAM_FAIL link: is a symbolic link to a file beside it"},
      {"status_file = \"both\"\nresult = \"EROFS\"",
       "both EROFS: cannot be opened for writing: Read-only file system"},
      {"status_room = 5",
       "room for 5 bytes of status files: what is written to them after that fails: no space left"},
      {"memory_fails_at_request = 9", "no memory at request 9: the program gets no memory"},
      {"power_cut_after_writes = 2",
       "power cut after write 2: every program of the run is killed, and the chip keeps what was "
       "written"},
  };
  for (const FaultRow& row : rows) {
    const PrivateTmp tmp;
    const std::string file = PrivateTmp::Folder() + "/board.toml";
    WriteFile(file, std::string("[[fault]]\n") + row.fault + "\n");
    const Output output = AskBoard({"show", "--board", file});
    EXPECT_NE(output.standardOutput.find(std::string("\n  fault 1: ") + row.shown + "\n"),
              std::string::npos)
        << row.shown << "\n"
        << output.standardOutput << output.standardError;
  }
}

struct ShowRow {
  const char* board;
  const char* shown;
};

TEST(BoardShowTest, EachPartOfABoard_IsSaidInWords) {
  const ShowRow rows[] = {
      {"[probe]\nnode = \"missing\"", "device node: missing"},
      {"[probe]\nioctl = \"fails\"", "device node: present, its ioctl fails"},
      {"[probe]\nflag = -2", "device node: present, answers -2"},
      {"[probe]\nflag = \"untouched\"", "device node: present, answers without writing the flag"},
      {"[secure_world]\npresent = false", "secure world: absent"},
      {"[secure_world]\ntrusted_application = false",
       "secure world: present, without the trusted application"},
      {"[image]\nstate = \"missing\"", "image: missing"},
      {"[image]\nstate = \"damaged\"\nsystem_version = \"1\"", "image: damaged"},
      {"[image]\nsystem_version = \"1\"\napp_version = \"2\"", "image: system 1, app 2"},
      {"outcome = \"as it comes\"", "a run of the update tool: as it comes"},
  };
  const PrivateTmp tmp;
  const std::string file = PrivateTmp::Folder() + "/bare.toml";
  for (const ShowRow& row : rows) {
    WriteFile(file, row.board);
    EXPECT_NE(AskBoard({"show", "--board", file})
                  .standardOutput.find(std::string("\n  ") + row.shown + "\n"),
              std::string::npos)
        << row.shown;
  }
}

TEST(BoardShowTest, BareBoard_IsItsDefaults) {
  const PrivateTmp tmp;
  const std::string file = PrivateTmp::Folder() + "/bare.toml";
  WriteFile(file, "");
  const Output output = AskBoard({"show", "--board", file});
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardOutput.substr(0, output.standardOutput.find("Chip:")),
            "Board: bare\n"
            "  device node: present, answers 1\n"
            "  secure world: present, with the trusted application\n"
            "  image: system , app \n");
  EXPECT_TRUE(std::filesystem::is_empty("/tmp"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(PrivateTmp::Folder()), {}), 1)
      << "nothing but the board is left";
}

TEST(BoardShowTest, ImageFile_IsNamedAndTheChipIsThatOfTheBoard) {
  const PrivateTmp tmp;
  const std::string file = PrivateTmp::Folder() + "/board.toml";
  const std::string image = std::filesystem::path(BoardLauncher()).parent_path() / "vam-image";
  ASSERT_EQ(Capture({image, "make", "--system-version", "1", "--app-version", "2", "-o",
                     PrivateTmp::Folder() + "/own.img"})
                .status,
            0);
  WriteFile(file, "[image]\nfile = \"own.img\"\n[chip]\nstate = \"interrupted\"\n");
  const std::string shown = AskBoard({"show", "--board", file}).standardOutput;
  EXPECT_NE(shown.find("\n  image: the file own.img\n"), std::string::npos) << shown;
  EXPECT_NE(
      shown.find("\nChip: an update was interrupted; it needs a recovery and another update\n"),
      std::string::npos)
      << shown;
}

TEST(BoardShowTest, ChipOfAnotherBoard_IsSaidToBe) {
  const PrivateTmp tmp;
  const std::string state = PrivateTmp::Folder() + "/state";
  const std::string file = PrivateTmp::Folder() + "/my.toml";
  WriteFile(file, "");
  ASSERT_EQ(Capture(OnBoard("no-vam", {"/bin/true"}, state), BoardEnvironment()).status, 0);
  EXPECT_EQ(ReadFile(state + "/board.record"), "vam-board state, format 1\nno-vam\n");
  const std::string remark =
      "\n  of another board: no-vam; a run on this one needs --other-board\nStatus files: none\n";
  EXPECT_NE(AskBoard({"show", "--board", file, "--state", state}).standardOutput.find(remark),
            std::string::npos);
  const std::string shown =
      AskBoard({"show", "--board", "no-vam", "--state", state}).standardOutput;
  EXPECT_EQ(shown.find("of another board"), std::string::npos);
  // A board's own file is known by its path, and standard input by that alone.
  ASSERT_EQ(
      Capture(WithTheChipTakenOver(OnBoard(file, {"/bin/true"}, state)), BoardEnvironment()).status,
      0);
  EXPECT_EQ(ReadFile(state + "/board.record"), "vam-board state, format 1\n" + file + "\n");
  ASSERT_EQ(
      Capture(WithTheChipTakenOver(OnBoard("-", {"/bin/true"}, state)), BoardEnvironment()).status,
      0);
  EXPECT_EQ(ReadFile(state + "/board.record"), "vam-board state, format 1\nstandard input\n");
}

TEST(BoardCheckTest, FaultsOfABoard_AreCounted) {
  const PrivateTmp tmp;
  const std::string file = PrivateTmp::Folder() + "/my.toml";
  const std::string fault = "[[fault]]\npower_cut_after_writes = 2\n";
  WriteFile(file, fault + fault + fault);
  EXPECT_EQ(AskBoard({"check", file}).standardOutput, file + ": right: my, with 3 faults\n");
  WriteFile(file, "");
  EXPECT_EQ(AskBoard({"check", file}).standardOutput, file + ": right: my\n");
  EXPECT_TRUE(std::filesystem::is_empty("/tmp"));
}

TEST(BoardListTest, Json_IsOneLineWithAnObjectForEachBoard) {
  const Output output = AskBoard({"list", "--json"});
  EXPECT_EQ(output.status, 0);
  EXPECT_EQ(output.standardOutput.find(
                R"([{"name":"all-modes-failing","title":"All modes failing","about":")"),
            0U)
      << output.standardOutput;
  EXPECT_EQ(output.standardOutput.find('\n'), output.standardOutput.size() - 1);
}

}  // namespace
}  // namespace vam
