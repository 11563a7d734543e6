#include "simulator/run/board_program.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "simulator/files/temporary_folder.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

class FindProgramTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* value = std::getenv("PATH");
    path = value == nullptr ? "" : value;
    workingFolder = fs::current_path();
  }
  void TearDown() override {
    setenv("PATH", path.c_str(), 1);
    fs::current_path(workingFolder);
  }

  std::string Write(const std::string& name, const std::string& text = "",
                    mode_t mode = 0755) const {
    std::string file = folder.Path() + "/" + name;
    fs::create_directories(fs::path(file).parent_path());
    std::ofstream(file) << text;
    EXPECT_EQ(chmod(file.c_str(), mode), 0);
    return file;
  }

  /// Returns where `name` is found, or the status and the words of its refusal.
  static std::string Find(const std::string& name) {
    try {
      return FindProgram(name);
    } catch (const NotStarted& refused) {
      return std::to_string(refused.status) + " " + refused.what();
    }
  }

  static std::string Missing(const std::string& what) {
    return "127 " + what + ": cannot be run: No such file or directory";
  }
  static std::string Forbidden(const std::string& what) {
    return "126 " + what + ": cannot be run: Permission denied";
  }

  const TemporaryFolder folder{"vam-board-program-test"};
  std::string path;
  fs::path workingFolder;
};

TEST_F(FindProgramTest, NameWithASlash_IsAPath) {
  const std::string program = Write("program");
  EXPECT_EQ(Find(program), program);
  EXPECT_EQ(Find(folder.Path() + "/none"), Missing(folder.Path() + "/none"));
  EXPECT_EQ(Find(folder.Path()), Forbidden(folder.Path()));
  const std::string data = Write("data", "", 0644);
  EXPECT_EQ(Find(data), Forbidden(data));
  EXPECT_EQ(Find(program + "/more"), "126 " + program + "/more: cannot be run: Not a directory");
}

TEST_F(FindProgramTest, OtherName_IsSearchedInPath) {
  Write("a/data", "", 0644);
  Write("a/both", "", 0644);
  const std::string both = Write("b/both");
  const std::string first = Write("a/twice");
  Write("b/twice");
  fs::create_directories(folder.Path() + "/a/folder");
  setenv("PATH", (folder.Path() + "/a:" + folder.Path() + "/b").c_str(), 1);
  EXPECT_EQ(Find("both"), both);
  EXPECT_EQ(Find("twice"), first);
  EXPECT_EQ(Find("data"), Forbidden("data"));
  EXPECT_EQ(Find("folder"), Missing("folder"));
  EXPECT_EQ(Find("none"), Missing("none"));
}

TEST_F(FindProgramTest, EmptyFolderOfPath_IsTheWorkingFolder) {
  Write("program");
  fs::current_path(folder.Path());
  for (const char* value : {"", ":/none", "/none:", "/none::/none"}) {
    setenv("PATH", value, 1);
    EXPECT_EQ(Find("program"), "program") << value;
  }
  setenv("PATH", "/none", 1);
  EXPECT_EQ(Find("program"), Missing("program"));
}

TEST_F(FindProgramTest, WithoutPath_TheSystemsFoldersAreSearched) {
  unsetenv("PATH");
  EXPECT_EQ(Find("sh"), "/bin/sh");
}

TEST_F(FindProgramTest, EmptyName_AsksForOne) {
  EXPECT_EQ(Find(""), "127 the program's name is empty; give a program after --");
}

TEST_F(FindProgramTest, Script_NeedsItsInterpreter) {
  const std::string program = Write("interpreter");
  for (const std::string& line :
       {"#!" + program, "#! \t" + program + " -x\n", "#!" + program + "\t-x\nline",
        std::string("#!\n"), std::string("#! \t\n"), std::string("#/none\n"),
        std::string("!/none\n"), std::string(300, 'x') + "#!/none"}) {
    const std::string script = Write("script", line);
    EXPECT_EQ(Find(script), script) << line;
  }
  const std::string script = Write("script", "#! /none -x\n");
  EXPECT_EQ(Find(script), Missing(script + ": its interpreter /none"));
  setenv("PATH", folder.Path().c_str(), 1);
  EXPECT_EQ(Find("script"), Missing("script: its interpreter /none"));
  const std::string data = Write("data", "", 0644);
  Write("script", "#!" + data + "\n");
  EXPECT_EQ(Find(script), Forbidden(script + ": its interpreter " + data));
}

TEST(RunOnBoardTest, FolderOfLibrariesWithASeparator_IsRefused) {
  for (const char* libraries : {"/a:b", "/a;b"}) {
    try {
      static_cast<void>(RunOnBoard({{"/bin/true"}, "/nowhere", libraries, {}, {}, nullptr}));
      ADD_FAILURE() << "it ran";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(),
                std::string(libraries) +
                    ": no library is found where a folder's name has a colon or a semicolon; move "
                    "the installation to another folder");
    }
  }
}

TEST_F(FindProgramTest, Script_NamesNoMoreThanTheKernelReads) {
  const std::size_t longest = 253;
  const std::string program = Write(std::string(longest - folder.Path().size() - 1, 'i'));
  ASSERT_EQ(program.size(), longest);
  const std::string script = Write("script", "#!" + program);
  EXPECT_EQ(Find(script), script);
  Write(fs::path(program).filename().string() + "i");
  Write("script", "#!" + program + "i");
  fs::remove(program);
  EXPECT_EQ(Find(script), Missing(script + ": its interpreter " + program));
}

TEST(RunOnBoardTest, Node_IsTheCallersAlone) {
  const TemporaryFolder folder("vam-board-program-test");
  ProbeSection probe;
  probe.nodePresent = true;
  EXPECT_EQ(RunOnBoard({{"/bin/true"}, folder.Path(), folder.Path(), probe, {}, nullptr}), 0);
  struct stat status = {};
  ASSERT_EQ(stat((folder.Path() + "/dev").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
  ASSERT_EQ(stat((folder.Path() + "/dev/zelkshield").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
}

TEST(RunOnBoardTest, ProgramThatCannotBeStarted_LeavesNoProcess) {
  const TemporaryFolder folder("vam-board-program-test");
  EXPECT_THROW(
      static_cast<void>(RunOnBoard({{"/nowhere"}, folder.Path(), folder.Path(), {}, {}, nullptr})),
      NotStarted);
  EXPECT_EQ(waitpid(-1, nullptr, 0), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(RunOnBoardTest, RunFolderThatCannotBeUsed_IsNamed) {
  const TemporaryFolder folder("vam-board-program-test");
  const auto refusal = [&](const std::string& runFolder, bool hasNode) {
    ProbeSection probe;
    probe.nodePresent = hasNode;
    try {
      static_cast<void>(RunOnBoard({{"/bin/true"}, runFolder, folder.Path(), probe, {}, nullptr}));
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string("it ran");
  };
  EXPECT_EQ(refusal("/nowhere", true), "/nowhere/dev: No such file or directory");
  EXPECT_EQ(refusal("/nowhere", false), "/nowhere/power: No such file or directory");
  fs::create_directory(folder.Path() + "/dev");
  EXPECT_EQ(refusal(folder.Path(), true), folder.Path() + "/dev: File exists");
}

}  // namespace
}  // namespace vam
