// Every row of tests/bad_inputs.txt: a bad input, as root and as another user, ends with the row's
// status and its one line on standard error, says nothing else, and changes nothing.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

constexpr char kSeparator[] = " | ";
constexpr char kSomebody[] = "65534";
/// The board file of a row that is a board's.
constexpr char kBoard[] = "/tmp/bad.toml";
/// Contents of longer files are not compared, only their size.
constexpr std::uintmax_t kLongestContents = 1 << 20;

struct Row {
  std::string line;
  int status;
  bool isForUserAlone;
  std::string command;
  /// What standard error holds, a line; * stands for any text.
  std::string error;
  /// The text of kBoard.
  std::string board;
};

/// The table: how a working folder is made, and what is tried there.
struct Table {
  std::string fixture;
  std::vector<Row> rows;
};

/// Returns what stands before the next separator in `rest`, and takes both away.
std::string TakeCell(std::string& rest) {
  const std::size_t end = rest.find(kSeparator);
  if (end == std::string::npos) {
    throw std::runtime_error("bad_inputs.txt: too few cells in: " + rest);
  }
  std::string cell = rest.substr(0, end);
  rest.erase(0, end + std::strlen(kSeparator));
  return cell;
}

/// Reads a row of a command: status, command, error.
Row CommandRow(const std::string& line) {
  std::string rest = line;
  const std::string status = TakeCell(rest);
  std::string command = TakeCell(rest);
  return {
      line, std::stoi(status), status.find("user") != std::string::npos, std::move(command), rest,
      ""};
}

/// Returns `text` with its escapes resolved: \n, \\ and \xNN.
std::string Unescaped(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      bytes += text[i];
    } else if (text[++i] == 'x') {
      bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      bytes += text[i] == 'n' ? '\n' : text[i];
    }
  }
  return bytes;
}

/// Reads a row of a board: its text, with escapes, and the error after its name.
Row BoardRow(const std::string& line) {
  std::string rest = line;
  std::string board = Unescaped(TakeCell(rest));
  return {line,
          125,
          false,
          std::string("exec vam-board show --board ") + kBoard,
          std::string("vam-board: ") + kBoard + ":" + rest,
          std::move(board)};
}

Table ReadTable() {
  std::ifstream file(VAM_BAD_INPUTS);
  Table table;
  Row (*read)(const std::string&) = nullptr;
  bool isFixture = false;
  std::string line;
  while (std::getline(file, line)) {
    if (line.rfind("== ", 0) == 0) {
      isFixture = line == "== Fixture";
      read = line.rfind("== Boards: ", 0) == 0 ? &BoardRow : &CommandRow;
    } else if (isFixture) {
      table.fixture += line + "\n";
    } else if (!line.empty() && line.front() != '#') {
      table.rows.push_back(read(line));
    }
  }
  return table;
}

/// Returns whether `text` is `pattern`, in which * stands for any text.
bool Matches(std::string_view pattern, std::string_view text) {
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos) {
    return pattern == text;
  }
  if (text.substr(0, star) != pattern.substr(0, star)) {
    return false;
  }
  const std::string_view rest = pattern.substr(star + 1);
  for (std::size_t start = star; start <= text.size(); ++start) {
    if (Matches(rest, text.substr(start))) {
      return true;
    }
  }
  return false;
}

std::string ContentsOf(const fs::path& path, const struct stat& status) {
  if (S_ISLNK(status.st_mode)) {
    return fs::read_symlink(path).string();
  }
  if (!S_ISREG(status.st_mode) || static_cast<std::uintmax_t>(status.st_size) > kLongestContents) {
    return std::to_string(S_ISREG(status.st_mode) ? status.st_size : 0);
  }
  std::ostringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  return bytes.str();
}

using Digest = std::map<std::string, std::string>;

/// Takes in everything below `folder`: names, kinds, modes, owners, devices and contents.
void Add(Digest& digest, const std::string& folder) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    struct stat status = {};
    lstat(entry.path().c_str(), &status);
    std::ostringstream text;
    text << std::oct << status.st_mode << std::dec << " user " << status.st_uid << " device "
         << status.st_rdev << " " << ContentsOf(entry.path(), status);
    digest[entry.path().string()] = text.str();
  }
}

/// Returns the names of what differs.
std::string Differences(const Digest& before, const Digest& after) {
  std::string text;
  for (const auto& [path, was] : before) {
    const auto found = after.find(path);
    if (found == after.end()) {
      text += path + " is gone\n";
    } else if (found->second != was) {
      text += path + " is changed\n";
    }
  }
  for (const auto& [path, is] : after) {
    text += before.count(path) == 0 ? path + " is new\n" : "";
  }
  return text;
}

void Require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
  }
}

/// A /dev with a few devices, on top of the machine's.
class PrivateDev {
 public:
  PrivateDev() {
    std::vector<std::pair<std::string, int>> devices;
    for (const char* path : {"/dev/null", "/dev/zero", "/dev/full", "/dev/urandom"}) {
      devices.emplace_back(path, open(path, O_PATH | O_CLOEXEC));
    }
    Require(mount("tmpfs", "/dev", "tmpfs", 0, "mode=755") == 0, "no private /dev");
    for (const auto& [path, descriptor] : devices) {
      std::ofstream(path).flush();
      const std::string source = "/proc/self/fd/" + std::to_string(descriptor);
      Require(mount(source.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0, path.c_str());
      close(descriptor);
    }
  }
  ~PrivateDev() { umount2("/dev", MNT_DETACH); }
  PrivateDev(const PrivateDev&) = delete;
  PrivateDev& operator=(const PrivateDev&) = delete;
};

class BadInputsTest : public testing::Test {
 protected:
  BadInputsTest() {
    // Another user does not reach the build everywhere.
    const fs::path build = fs::path(BoardLauncher()).parent_path().parent_path();
    fs::create_directories(Prefix() + "/share/vam");
    fs::create_directory(Prefix() + "/bin");
    fs::create_directory(Prefix() + "/lib");
    for (const char* program : {"vam-board", "vam-image", "vamctl", "vam-verdict"}) {
      fs::copy(build / "bin" / program, Prefix() + "/bin/" + program);
    }
    fs::copy(build / "lib/vam-simulator", Prefix() + "/lib/vam-simulator",
             fs::copy_options::recursive);
    fs::copy(VAM_BOARDS, Prefix() + "/share/vam/boards", fs::copy_options::recursive);
    Require(chmod(PrivateTmp::Folder().c_str(), 0755) == 0, "/mnt");
  }

  static std::string Prefix() { return PrivateTmp::Folder() + "/prefix"; }
  static std::string WorkingFolder() { return PrivateTmp::Folder() + "/work"; }

  /// Runs `script` in the working folder, as `user` or, where that is empty, as the test's own.
  static Output Run(const std::string& script, const std::string& user) {
    std::vector<std::string> command;
    if (!user.empty()) {
      command = {"setpriv", "--reuid=" + user, "--regid=" + user, "--clear-groups"};
    }
    // What hangs fails its row with the status 124, and not the whole test.
    for (const char* word : {"timeout", "60", "sh", "-c"}) {
      command.emplace_back(word);
    }
    command.push_back("cd '" + WorkingFolder() + "' || exit 99\n" + script);
    return Capture(command, {{"PATH", Prefix() + "/bin:/usr/bin:/bin"},
                             {"LD_LIBRARY_PATH", Prefix() + "/lib/vam-simulator"},
                             {"TMPDIR", "/tmp"},
                             {"LC_ALL", "C.UTF-8"}});
  }

  static void MakeWorkingFolder(const std::string& fixture, const std::string& user) {
    fs::remove_all(WorkingFolder());
    fs::create_directory(WorkingFolder());
    if (!user.empty()) {
      const auto number = static_cast<uid_t>(std::stoul(user));
      Require(chown(WorkingFolder().c_str(), number, number) == 0, "/mnt/work");
    }
    const Output output = Run("set -e\n" + fixture, user);
    ASSERT_EQ(output.status, 0) << output.standardError;
  }

  static Digest Everything() {
    Digest digest;
    Add(digest, WorkingFolder());
    Add(digest, "/tmp");
    Add(digest, "/dev");
    digest.erase(kBoard);
    return digest;
  }

  /// Tries all rows that are for `user`, or for root where that is empty.
  static void TryAll(const std::string& user) {
    const Table table = ReadTable();
    EXPECT_GE(table.rows.size(), 200U);
    MakeWorkingFolder(table.fixture, user);
    Digest before = Everything();
    for (const Row& row : table.rows) {
      if (row.isForUserAlone && user.empty()) {
        continue;
      }
      SCOPED_TRACE(row.line);
      WriteFile(kBoard, row.board);
      const Output output = Run(row.command, user);
      EXPECT_EQ(output.status, row.status);
      EXPECT_EQ(output.standardOutput, "");
      EXPECT_TRUE(Matches(row.error + "\n", output.standardError)) << output.standardError;
      EXPECT_EQ(output.standardError.find('\n') + 1, output.standardError.size()) << "one line";
      const std::string differences = Differences(before, Everything());
      EXPECT_EQ(differences, "");
      if (!differences.empty()) {
        MakeWorkingFolder(table.fixture, user);
        before = Everything();
      }
    }
  }

  const PrivateTmp tmp;
  const PrivateDev dev;
};

TEST_F(BadInputsTest, EachRow_AsRoot_IsToldInOneLineAndChangesNothing) { TryAll(""); }

TEST_F(BadInputsTest, EachRow_AsAnotherUser_IsToldInOneLineAndChangesNothing) {
  if (!PrivateTmp::HasOtherUsers()) {
    GTEST_SKIP() << "only root becomes another user";
  }
  TryAll(kSomebody);
}

TEST(BadInputsTableTest, Pattern_WithStars_MatchesWhatTheyStandFor) {
  EXPECT_TRUE(Matches("one *three*", "one two three"));
  EXPECT_TRUE(Matches("*", ""));
  EXPECT_FALSE(Matches("one *four*", "one two three"));
  EXPECT_FALSE(Matches("one", "one two"));
}

}  // namespace
}  // namespace vam
