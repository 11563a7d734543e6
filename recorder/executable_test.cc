#include "recorder/executable.h"

#include <elf.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace vam {
namespace {

namespace fs = std::filesystem;

/// A folder that the test works in, and the program's surroundings as they were before.
class ExecutableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "vam-executable-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    workingFolder = fs::current_path();
    const char* value = std::getenv("PATH");
    path = value == nullptr ? "" : value;
  }
  void TearDown() override {
    setenv("PATH", path.c_str(), 1);
    fs::current_path(workingFolder);
    fs::remove_all(folder);
  }

  std::string Write(const std::string& name, const std::string& bytes, mode_t mode = 0755) const {
    std::string file = folder + "/" + name;
    fs::create_directories(fs::path(file).parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
    EXPECT_EQ(chmod(file.c_str(), mode), 0);
    return file;
  }

  /// Looks for `name`. Returns the error number where there is nothing.
  static std::string Find(const std::string& name) {
    errno = 0;
    const std::string found = FindExecutable(name.c_str());
    return found.empty() ? std::strerror(errno) : found;
  }

  std::string folder;
  fs::path workingFolder;
  std::string path;
};

constexpr char kMissing[] = "No such file or directory";
constexpr char kForbidden[] = "Permission denied";

TEST_F(ExecutableTest, NameWithASlash_IsAPath) {
  const std::string program = Write("program", "");
  setenv("PATH", folder.c_str(), 1);
  EXPECT_EQ(Find(program), program);
  EXPECT_EQ(Find(folder + "/none"), kMissing);
  EXPECT_EQ(Find(folder), kForbidden);
  EXPECT_EQ(Find(Write("data", "", 0644)), kForbidden);
  fs::current_path(folder);
  EXPECT_EQ(Find("./program"), "./program");
}

TEST_F(ExecutableTest, OtherName_IsSearchedInPath) {
  Write("a/data", "", 0644);
  Write("a/both", "", 0644);
  const std::string both = Write("b/both", "");
  const std::string first = Write("a/twice", "");
  Write("b/twice", "");
  fs::create_directories(folder + "/a/folder");
  setenv("PATH", (folder + "/a:" + folder + "/b").c_str(), 1);
  EXPECT_EQ(Find("both"), both);
  EXPECT_EQ(Find("twice"), first);
  EXPECT_EQ(Find("data"), kForbidden);
  EXPECT_EQ(Find("folder"), kForbidden);
  EXPECT_EQ(Find("none"), kMissing);
  EXPECT_EQ(Find(""), kMissing);
  setenv("PATH", (folder + "/b/both").c_str(), 1);
  EXPECT_EQ(Find("none"), kMissing) << "what is no folder of PATH holds nothing";
}

TEST_F(ExecutableTest, FolderThatCannotBeSearched_HoldsNothing) {
  const std::string program = Write("private/program", "");
  const std::string locked = folder + "/private";
  ASSERT_EQ(chmod(locked.c_str(), 0), 0);
  setenv("PATH", (locked + ":" + folder).c_str(), 1);
  // Root searches everything, so nobody tries.
  const uid_t user = geteuid();
  ASSERT_TRUE(user != 0 || seteuid(65534) == 0);
  const std::string missing = Find("program");
  const std::string forbidden = Find(program);
  ASSERT_TRUE(user != 0 || seteuid(user) == 0);
  ASSERT_EQ(chmod(locked.c_str(), 0700), 0);
  EXPECT_EQ(missing, kMissing);
  EXPECT_EQ(forbidden, kForbidden) << "a path says what is wrong with it";
}

TEST_F(ExecutableTest, EmptyFolderOfPath_IsTheWorkingFolder) {
  Write("program", "");
  fs::current_path(folder);
  for (const char* value : {"", ":/none", "/none:", "/none::/none"}) {
    setenv("PATH", value, 1);
    EXPECT_EQ(Find("program"), "program") << value;
  }
  setenv("PATH", "/none", 1);
  EXPECT_EQ(Find("program"), kMissing);
}

TEST_F(ExecutableTest, WithoutPath_TheSystemsFoldersAreSearched) {
  unsetenv("PATH");
  EXPECT_EQ(Find("sh"), "/bin/sh");
  EXPECT_EQ(Find("no-such-program"), kMissing);
}

std::string BytesOf(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Returns what vam-record says of the program in `file`.
std::string Judged(const std::string& file) {
  const char* why = WhyNotRecorded(file);
  return why == nullptr ? "is recorded" : why;
}

/// The header of this test's own file, and its segments.
struct Program {
  Program() {
    const std::string bytes = BytesOf("/proc/self/exe");
    std::memcpy(&header, bytes.data(), sizeof header);
    header.e_phoff = sizeof header;
    header.e_phnum = 0;
  }

  void Add(decltype(ElfW(Phdr)::p_type) type) {
    ElfW(Phdr) segment = {};
    segment.p_type = type;
    segments.push_back(segment);
    ++header.e_phnum;
  }

  [[nodiscard]] std::string Bytes() const {
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    for (const ElfW(Phdr) & segment : segments) {
      bytes.append(reinterpret_cast<const char*>(&segment), sizeof segment);
    }
    return bytes;
  }

  ElfW(Ehdr) header;
  std::vector<ElfW(Phdr)> segments;
};

constexpr char kStatic[] = "is static";

TEST_F(ExecutableTest, ProgramThatAsksForALoader_IsRecorded) {
  EXPECT_EQ(Judged("/bin/sh"), "is recorded");
  Program program;
  EXPECT_EQ(Judged(Write("none", program.Bytes())), kStatic);
  program.Add(PT_LOAD);
  EXPECT_EQ(Judged(Write("other", program.Bytes())), kStatic);
  program.Add(PT_INTERP);
  EXPECT_EQ(Judged(Write("last", program.Bytes())), "is recorded");
  // The table is shorter than the header says.
  const std::string bytes = program.Bytes();
  EXPECT_EQ(Judged(Write("cut", bytes.substr(0, bytes.size() - 1))), kStatic);
  // And another place and size of the entries.
  program.header.e_phoff += 8;
  program.header.e_phentsize = sizeof(ElfW(Phdr)) + 16;
  std::string spread = program.Bytes();
  spread.insert(sizeof program.header, 8, '\0');
  spread.insert(sizeof program.header + 8 + sizeof(ElfW(Phdr)), 16, '\0');
  EXPECT_EQ(Judged(Write("spread", spread)), "is recorded");
}

TEST_F(ExecutableTest, DescriptorsThatAreFree_ChangeNothing) {
  const std::string program = Write("static", Program().Bytes());
  const int kept = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  EXPECT_EQ(Judged(program), kStatic);
  const int lowest = open("/dev/null", O_RDONLY);
  EXPECT_EQ(lowest, STDIN_FILENO) << "a descriptor was kept";
  dup2(kept, STDIN_FILENO);
  close(kept);
}

TEST_F(ExecutableTest, ProgramOfAnotherMachine_IsNotRecorded) {
  Program program;
  program.Add(PT_INTERP);
  for (const std::size_t place :
       {std::size_t{EI_CLASS}, std::size_t{EI_DATA}, offsetof(ElfW(Ehdr), e_machine),
        offsetof(ElfW(Ehdr), e_machine) + 1}) {
    std::string bytes = program.Bytes();
    bytes[place] = static_cast<char>(bytes[place] ^ 3);
    EXPECT_EQ(Judged(Write("program", bytes)), "is for another processor than vam-record") << place;
  }
}

TEST_F(ExecutableTest, WhatIsNoProgramAndNoScript_IsLeftToTheKernel) {
  Program program;
  std::string bytes = program.Bytes();
  EXPECT_EQ(Judged(Write("short", bytes.substr(0, bytes.size() - 1))), "is recorded");
  for (std::size_t place = 0; place < SELFMAG; ++place) {
    std::string other = bytes;
    other[place] = 'x';
    EXPECT_EQ(Judged(Write("other", other)), "is recorded") << place;
  }
  EXPECT_EQ(Judged(Write("empty", "")), "is recorded");
  EXPECT_EQ(Judged(folder + "/missing"), "is recorded");
  EXPECT_EQ(Judged(folder), "is recorded");
}

TEST_F(ExecutableTest, Script_IsJudgedByItsInterpreter) {
  const std::string interpreter = Write("static", Program().Bytes());
  for (const std::string& line :
       {"#!" + interpreter, "#!" + interpreter + "\n", "#! \t" + interpreter + " -x\nexit\n",
        "#!" + interpreter + "\t-x"}) {
    EXPECT_EQ(Judged(Write("script", line)), kStatic) << line;
  }
  EXPECT_EQ(Judged(Write("script", "#!/bin/sh\n")), "is recorded");
  EXPECT_EQ(Judged(Write("script", "#" + interpreter)), "is recorded");
  EXPECT_EQ(Judged(Write("script", "# !" + interpreter)), "is recorded");
  EXPECT_EQ(Judged(Write("script", "#!")), "is recorded");
}

TEST_F(ExecutableTest, ScriptOfScripts_IsFollowedAsFarAsByTheKernel) {
  std::string interpreter = Write("static", Program().Bytes());
  for (int depth = 1; depth <= 6; ++depth) {
    const std::string line = std::string("#!").append(interpreter).append("\n");
    interpreter = Write("script" + std::to_string(depth), line);
    EXPECT_EQ(Judged(interpreter), depth <= 5 ? kStatic : "is recorded") << depth;
  }
}

TEST_F(ExecutableTest, ProgramWithTheRightsOfAnother_IsNotRecorded) {
  constexpr char kOfAnother[] = "runs with the rights of another user or group";
  Program program;
  program.Add(PT_INTERP);
  const std::string file = Write("program", program.Bytes());
  if (chown(file.c_str(), 4711, 4711) != 0) {
    GTEST_SKIP() << "files cannot be given to other users";
  }
  const auto judged = [&](uid_t user, gid_t group, mode_t mode) {
    EXPECT_EQ(chown(file.c_str(), user, group), 0);
    EXPECT_EQ(chmod(file.c_str(), mode), 0);
    return Judged(file);
  };
  EXPECT_EQ(judged(4711, 4711, 0755), "is recorded");
  EXPECT_EQ(judged(4711, getgid(), 04755), kOfAnother);
  EXPECT_EQ(judged(getuid(), 4711, 02755), kOfAnother);
  EXPECT_EQ(judged(4711, getgid(), 02755), "is recorded");
  EXPECT_EQ(judged(getuid(), 4711, 04755), "is recorded");
  EXPECT_EQ(judged(getuid(), getgid(), 06755), "is recorded");
  EXPECT_EQ(judged(getuid(), 4711, 02745), "is recorded") << "the group may not execute it";
  EXPECT_EQ(Judged(Write("script", "#!" + file)), "is recorded");
  EXPECT_EQ(judged(4711, 4711, 04755), kOfAnother);
  EXPECT_EQ(Judged(folder + "/script"), kOfAnother);
}

}  // namespace
}  // namespace vam
