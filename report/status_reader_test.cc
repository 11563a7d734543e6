#include "report/status_reader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "report/result_codes.h"
#include "report/status_files.h"
#include "tests/support/private_tmp.h"

namespace vam {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Lines = std::vector<std::string>;

/// A folder of the test's own that others may search.
class Folder {
 public:
  Folder() : path(::testing::TempDir() + "verdict_XXXXXX") {
    if (mkdtemp(path.data()) == nullptr || chmod(path.c_str(), 0755) != 0) {
      throw std::runtime_error(path);
    }
  }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  /// Writes `bytes` to a file and returns its path.
  std::string File(const std::string& bytes) const {
    std::ofstream(path + "/file", std::ios::binary) << bytes;
    return path + "/file";
  }

  std::string path;
};

std::string Describe(const StatusEntry& entry) {
  std::string text = entry.message;
  text += entry.code ? "|" + std::to_string(*entry.code) : "|none";
  if (entry.record) {
    text +=
        "|" + std::to_string(entry.record->vamCode) + "," + std::to_string(entry.record->fwCode);
  }
  return text;
}

Lines EntriesIn(const Lines& lines) {
  Lines entries;
  for (const StatusEntry& entry : EntriesOf(lines)) {
    entries.push_back(Describe(entry));
  }
  return entries;
}

TEST(ReadStatusFile, LinesWithAndWithoutEnd_AreSplit) {
  const Folder folder;
  const StatusFile file = ReadStatusFile(folder.File("one \ntwo 2 \n\nrest"));
  EXPECT_TRUE(file.present);
  EXPECT_EQ(file.problem, "");
  EXPECT_EQ(file.path, folder.path + "/file");
  EXPECT_THAT(file.lines, ElementsAre("one ", "two 2 ", "", "rest"));
}

TEST(ReadStatusFile, AnyBytes_AreKept) {
  const Folder folder;
  const std::string bytes("\0\xff\n\x80 1 \n", 8);
  EXPECT_THAT(ReadStatusFile(folder.File(bytes)).lines,
              ElementsAre(bytes.substr(0, 2), bytes.substr(3, 4)));
}

TEST(ReadStatusFile, ChangedFile_HasTheTimeInNanoseconds) {
  const Folder folder;
  const std::string path = folder.File("one ");
  const timespec times[2] = {{5, 6}, {1700000000, 123456789}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  EXPECT_EQ(ReadStatusFile(path).changed, 1700000000123456789);
}

TEST(ReadStatusFile, HugeFile_GivesItsLastWholeLines) {
  const Folder folder;
  // The last 65536 bytes begin at the second byte of the second line.
  const std::string line(32768 - 1, 'l');
  const StatusFile file = ReadStatusFile(folder.File("first\n" + line + "l\n" + line + "\n"));
  EXPECT_THAT(file.lines, ElementsAre(line));
  EXPECT_TRUE(file.startsLater);
  const StatusFile whole = ReadStatusFile(folder.File(line + "\n" + line + "\n"));
  EXPECT_THAT(whole.lines, ElementsAre(line, line));
  EXPECT_FALSE(whole.startsLater);

  const std::string sparse = folder.File("");
  std::filesystem::resize_file(sparse, std::uintmax_t{1} << 40);
  EXPECT_THAT(ReadStatusFile(sparse).lines, ElementsAre(std::string(65536, '\0')));
}

TEST(ReadStatusFile, MissingOrEmptyFile_HasNoLinesAndNoProblem) {
  const Folder folder;
  const StatusFile missing = ReadStatusFile(folder.path + "/missing");
  EXPECT_FALSE(missing.present);
  EXPECT_EQ(missing.problem, "");
  const StatusFile empty = ReadStatusFile(folder.File(""));
  EXPECT_TRUE(empty.present);
  EXPECT_THAT(empty.lines, IsEmpty());
}

TEST(ReadStatusFile, NoRegularFile_IsAProblem) {
  const Folder folder;
  const std::string pipe = folder.path + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string loop = folder.path + "/loop";
  ASSERT_EQ(symlink(loop.c_str(), loop.c_str()), 0);
  for (const std::string& path : {folder.path, pipe, std::string("/dev/null")}) {
    const StatusFile file = ReadStatusFile(path);
    EXPECT_TRUE(file.present);
    EXPECT_EQ(file.problem, "not a regular file") << path;
  }
  EXPECT_EQ(ReadStatusFile(loop).problem, "Too many levels of symbolic links");
}

TEST(ReadStatusFile, UnreadableFile_IsAProblem) {
  EXPECT_EQ(ReadStatusFile("/proc/self/mem").problem, "Input/output error");
  const Folder folder;
  const std::string path = folder.File("one ");
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  // Root reads everything, so nobody tries.
  const uid_t user = geteuid();
  ASSERT_TRUE(user != 0 || seteuid(65534) == 0);
  const StatusFile file = ReadStatusFile(path);
  ASSERT_TRUE(user != 0 || seteuid(user) == 0);
  EXPECT_TRUE(file.present);
  EXPECT_EQ(file.problem, "Permission denied");
}

struct EntriesRow {
  const char* name;
  Lines lines;
  Lines entries;
};

const EntriesRow kEntries[] = {
    {"one line",
     {"Open /dev/zelkshield failed with error: -1 "},
     {"Open /dev/zelkshield failed with error:|-1"}},
    {"message that ends in a blank",
     {"vam_updateFW failed:  -65536 "},
     {"vam_updateFW failed: |-65536"}},
    {"record",
     {"vam_updateFW failed:  5 ", "vam ret: 3 ", "fw ret: -51 "},
     {"vam_updateFW failed: |5|3,-51"}},
    {"two of one run",
     {"a 1 ", "vam ret: 0 ", "fw ret: 0 ", "b -1 ", "vam ret: 1 ", "fw ret: 2 ", "c 3 "},
     {"a|1|0,0", "b|-1|1,2", "c|3"}},
    {"extreme codes", {"a 2147483647 ", "a -2147483648 "}, {"a|2147483647", "a|-2147483648"}},
    {"code out of range",
     {"a 2147483648 ", "a -2147483649 "},
     {"a 2147483648 |none", "a -2147483649 |none"}},
    {"no code",
     {"a ", "a b ", "a 1b ", "a b1 ", "a  ", "a + ", "a - "},
     {"a |none", "a b |none", "a 1b |none", "a b1 |none", "a  |none", "a + |none", "a - |none"}},
    {"no blank after the code",
     {"a 1", "a 12", "1", "", " "},
     {"a 1|none", "a 12|none", "1|none", "|none", " |none"}},
    {"code alone", {"1 "}, {"1 |none"}},
    {"blank before the code", {" 1 "}, {"|1"}},
    {"half a record", {"a 1 ", "vam ret: 0 "}, {"a|1", "vam ret:|0"}},
    {"record without an entry", {"vam ret: 0 ", "fw ret: 0 "}, {"vam ret:|0", "fw ret:|0"}},
    {"record in the wrong order",
     {"a 1 ", "fw ret: 0 ", "vam ret: 0 "},
     {"a|1", "fw ret:|0", "vam ret:|0"}},
    {"record after a foreign line",
     {"a", "vam ret: 0 ", "fw ret: 0 "},
     {"a|none", "vam ret:|0", "fw ret:|0"}},
    {"record with a foreign first line",
     {"a 1 ", "vam rex: 0 ", "fw ret: 0 "},
     {"a|1", "vam rex:|0", "fw ret:|0"}},
    {"record with a foreign second line",
     {"a 1 ", "vam ret: 0 ", "fw rex: 0 "},
     {"a|1", "vam ret:|0", "fw rex:|0"}},
    {"record with its codes' blanks missing",
     {"a 1 ", "vam ret:0 ", "fw ret: 0 "},
     {"a|1", "vam ret:0 |none", "fw ret:|0"}},
    {"record with its end missing",
     {"a 1 ", "vam ret: 0", "fw ret: 0 "},
     {"a|1", "vam ret: 0|none", "fw ret:|0"}},
    {"record with a foreign code",
     {"a 1 ", "vam ret: x ", "fw ret: 0 "},
     {"a|1", "vam ret: x |none", "fw ret:|0"}},
};

TEST(EntriesOf, AnyLines_GiveEveryEntryOnce) {
  for (const EntriesRow& row : kEntries) {
    EXPECT_EQ(EntriesIn(row.lines), row.entries) << row.name;
  }
  EXPECT_THAT(EntriesOf({}), IsEmpty());
}

StatusFile Missing(const char* path) {
  StatusFile file;
  file.path = path;
  return file;
}

StatusFile Present(const char* path, std::int64_t changed, const Lines& lines) {
  StatusFile file = Missing(path);
  file.present = true;
  file.changed = changed;
  file.lines = lines;
  return file;
}

StatusFile Broken(const char* path) {
  StatusFile file = Missing(path);
  file.present = true;
  file.problem = "Is a secret";
  return file;
}

constexpr char kOk[] = "/tmp/VAM_OK";
constexpr char kFail[] = "/tmp/VAM_FAIL";
const Lines kGood = {"Updated FW version: 1.1,04/7,3 "};
const Lines kBad = {"vam_updateFW failed:  -65536 ", "vam ret: 0 ", "fw ret: 0 "};
const Lines kInformation = {"vam_getFWInfo failed -65525 "};

struct JudgedRow {
  const char* name;
  StatusFile okFile;
  StatusFile errorFile;
  Outcome outcome;
  std::optional<std::string> version;
  Lines messages;
  Lines problems;
};

const JudgedRow kJudged[] = {
    {"no run", Missing(kOk), Missing(kFail), Outcome::kNone, std::nullopt, {}, {}},
    {"only good runs",
     Present(kOk, 5, kGood),
     Missing(kFail),
     Outcome::kVerified,
     "1.1,04/7,3",
     {},
     {}},
    {"only bad runs",
     Missing(kOk),
     Present(kFail, 5, kBad),
     Outcome::kNotVerified,
     std::nullopt,
     {"vam_updateFW failed: "},
     {}},
    {"good after bad",
     Present(kOk, 6, kGood),
     Present(kFail, 5, kBad),
     Outcome::kVerified,
     "1.1,04/7,3",
     {"vam_updateFW failed: "},
     {}},
    {"bad after good",
     Present(kOk, 5, kGood),
     Present(kFail, 6, kBad),
     Outcome::kNotVerified,
     "1.1,04/7,3",
     {"vam_updateFW failed: "},
     {}},
    {"both in one moment",
     Present(kOk, 5, kGood),
     Present(kFail, 5, kBad),
     Outcome::kUnclear,
     "1.1,04/7,3",
     {"vam_updateFW failed: "},
     {}},
    {"information failed in a good run, in one moment",
     Present(kOk, 5, kGood),
     Present(kFail, 5, kInformation),
     Outcome::kVerified,
     "1.1,04/7,3",
     {"vam_getFWInfo failed"},
     {}},
    {"information failed in a good run",
     Present(kOk, 6, kGood),
     Present(kFail, 5, kInformation),
     Outcome::kVerified,
     "1.1,04/7,3",
     {"vam_getFWInfo failed"},
     {}},
    {"information failed and no end",
     Present(kOk, 5, kGood),
     Present(kFail, 6, kInformation),
     Outcome::kNone,
     "1.1,04/7,3",
     {"vam_getFWInfo failed"},
     {}},
    {"information failed and never an end",
     Missing(kOk),
     Present(kFail, 6, kInformation),
     Outcome::kNone,
     std::nullopt,
     {"vam_getFWInfo failed"},
     {}},
    {"the last three entries",
     Missing(kOk),
     Present(kFail, 5, {"a 1 ", "b 2 ", "c 3 ", kBad[0]}),
     Outcome::kNotVerified,
     std::nullopt,
     {"b", "c", "vam_updateFW failed: "},
     {}},
    {"empty error file", Missing(kOk), Present(kFail, 5, {}), Outcome::kNone, std::nullopt, {}, {}},
    {"empty error file after a good run",
     Present(kOk, 5, kGood),
     Present(kFail, 6, {}),
     Outcome::kVerified,
     "1.1,04/7,3",
     {},
     {}},
    {"foreign last line",
     Missing(kOk),
     Present(kFail, 5, {kBad[0], "hello"}),
     Outcome::kUnclear,
     std::nullopt,
     {"vam_updateFW failed: ", "hello"},
     {}},
    {"foreign last entry",
     Missing(kOk),
     Present(kFail, 5, {kBad[0], "hello 1 "}),
     Outcome::kUnclear,
     std::nullopt,
     {"vam_updateFW failed: ", "hello"},
     {}},
    {"foreign line before an entry",
     Missing(kOk),
     Present(kFail, 5, {"hello", kBad[0]}),
     Outcome::kNotVerified,
     std::nullopt,
     {"hello", "vam_updateFW failed: "},
     {}},
    {"message of the tool without a code",
     Missing(kOk),
     Present(kFail, 5, {"vam_getFWInfo failed"}),
     Outcome::kUnclear,
     std::nullopt,
     {"vam_getFWInfo failed"},
     {}},
    {"entry of the tool cut off",
     Missing(kOk),
     Present(kFail, 5, {"vam_updateFW failed: "}),
     Outcome::kUnclear,
     std::nullopt,
     {"vam_updateFW failed: "},
     {}},
    {"empty OK file",
     Present(kOk, 5, {}),
     Missing(kFail),
     Outcome::kUnclear,
     std::nullopt,
     {},
     {"/tmp/VAM_OK: not as the update tool writes it"}},
    {"foreign OK file",
     Present(kOk, 5, {"hello"}),
     Present(kFail, 6, kBad),
     Outcome::kUnclear,
     std::nullopt,
     {"vam_updateFW failed: "},
     {"/tmp/VAM_OK: not as the update tool writes it"}},
    {"OK file cut off",
     Present(kOk, 5, {"Updated FW version: 1.1"}),
     Missing(kFail),
     Outcome::kUnclear,
     std::nullopt,
     {},
     {"/tmp/VAM_OK: not as the update tool writes it"}},
    {"OK file of an empty version",
     Present(kOk, 5, {"Updated FW version:  "}),
     Missing(kFail),
     Outcome::kVerified,
     "",
     {},
     {}},
    {"OK file cut off after its message",
     Present(kOk, 5, {"Updated FW version: "}),
     Missing(kFail),
     Outcome::kUnclear,
     std::nullopt,
     {},
     {"/tmp/VAM_OK: not as the update tool writes it"}},
    {"OK file with more lines",
     Present(kOk, 5, {"hello", kGood[0]}),
     Missing(kFail),
     Outcome::kVerified,
     "1.1,04/7,3",
     {},
     {}},
    {"OK file that cannot be read",
     Broken(kOk),
     Present(kFail, 5, kBad),
     Outcome::kUnclear,
     std::nullopt,
     {"vam_updateFW failed: "},
     {"/tmp/VAM_OK: cannot be read: Is a secret"}},
    {"error file that cannot be read",
     Present(kOk, 5, kGood),
     Broken(kFail),
     Outcome::kUnclear,
     "1.1,04/7,3",
     {},
     {"/tmp/VAM_FAIL: cannot be read: Is a secret"}},
    {"neither can be read",
     Broken(kOk),
     Broken(kFail),
     Outcome::kUnclear,
     std::nullopt,
     {},
     {"/tmp/VAM_OK: cannot be read: Is a secret", "/tmp/VAM_FAIL: cannot be read: Is a secret"}},
};

TEST(Judge, EveryPairOfFiles_TellsHowTheLastRunEnded) {
  for (const JudgedRow& row : kJudged) {
    SCOPED_TRACE(row.name);
    const Verdict verdict = Judge(row.okFile, row.errorFile);
    EXPECT_EQ(verdict.outcome, row.outcome);
    EXPECT_EQ(verdict.version, row.version);
    EXPECT_EQ(verdict.problems, row.problems);
    Lines messages;
    for (const StatusEntry& entry : verdict.entries) {
      messages.push_back(entry.message);
    }
    EXPECT_EQ(messages, row.messages);
  }
}

TEST(Judge, ErrorFileThatWasReadInPart_IsAProblemWhereEntriesLack) {
  StatusFile errorFile = Present(kFail, 5, {"vam_updateFW failed:  7 "});
  errorFile.startsLater = true;
  const Verdict verdict = Judge(Missing(kOk), errorFile);
  // What was read still says how the last run ended.
  EXPECT_EQ(verdict.outcome, Outcome::kNotVerified);
  EXPECT_EQ(verdict.problems,
            Lines{"/tmp/VAM_FAIL: only its last 64 KiB were read; older entries are left out"});
  errorFile.lines.insert(errorFile.lines.end(), 3, errorFile.lines.front());
  EXPECT_EQ(Judge(Missing(kOk), errorFile).problems, Lines{});
}

struct MeaningRow {
  const char* line;
  const char* meaning;
  bool isForeign;
  bool hasTeeCode;
};

const MeaningRow kMeanings[] = {
    {"Open /dev/zelkshield failed with error: -1 ",
     "The device node /dev/zelkshield could not be opened, so the board was not asked.", false,
     false},
    {"ioctl GET_VAM_SUPPORT failed with error: -1 ",
     "The kernel driver did not answer whether the board carries a VAM.", false, false},
    {"VAM_RET_NOT_IMPLEMENTED -1 ",
     "The board carries no VAM; the kernel driver's flag is the code.", false, false},
    {"VAM_RET_NOT_IMPLEMENTED 13 ", "The chip's firmware branch does not implement the update.",
     false, false},
    {"vam_getFWInfo failed -65525 ",
     "The firmware information words could not be read; the run went on.", false, true},
    {"vam_updateFW failed:  7 ", "The update of the chip (mode 3) failed.", false, true},
    {"vam_updateFW failed(get firmware size from FS):  -65522 ",
     "The versions of the image in the file system (mode 7) could not be read.", false, true},
    {"vam_updateFW failed(get firmware size from IC):  -65528 ",
     "The versions that the chip runs (mode 11) could not be read.", false, true},
    {"updated firmware version (IC) != firmware version on FS (System part) -1 ",
     "The chip's system part runs another version than the image has.", false, false},
    {"updated firmware version (IC) != firmware version on FS (App part) -1 ",
     "The chip's app part runs another version than the image has.", false, false},
    {"vam_updateFW failed: -65536 ", "The update tool writes no such line.", true, false},
    {"vam_updateFW failed: ", "The update tool writes no such line.", true, false},
    {"vam_updateFW failed", "The update tool writes no such line.", true, false},
    {"VAM_RET_NOT_IMPLEMENTED", "The update tool writes no such line.", true, false},
    {"hello", "The update tool writes no such line.", true, false},
    {"", "The update tool writes no such line.", true, false},
};

TEST(EntriesOf, EveryMessage_HasItsMeaning) {
  for (const MeaningRow& row : kMeanings) {
    const std::vector<StatusEntry> entries = EntriesOf({row.line});
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].meaning, row.meaning) << row.line;
    EXPECT_EQ(entries[0].isForeign, row.isForeign) << row.line;
    EXPECT_EQ(entries[0].hasTeeCode, row.hasTeeCode) << row.line;
  }
}

TEST(ReadVerdict, FilesOfTheWriters_AreReadBack) {
  const PrivateTmp tmp;
  EXPECT_EQ(ReadVerdict().outcome, Outcome::kNone);

  WriteToVamOkFile("Updated FW version: 1.1,04/7,3", true);
  const Verdict verified = ReadVerdict();
  EXPECT_EQ(verified.outcome, Outcome::kVerified);
  EXPECT_EQ(verified.version, std::optional<std::string>("1.1,04/7,3"));
  EXPECT_THAT(verified.entries, IsEmpty());

  WriteToErrorFile("vam_updateFW failed: ", -65536, VamResult{3, -51});
  const timespec earlier[2] = {};
  ASSERT_EQ(utimensat(AT_FDCWD, kOk, earlier, 0), 0);
  const Verdict failed = ReadVerdict();
  EXPECT_EQ(failed.outcome, Outcome::kNotVerified);
  EXPECT_THAT(failed.problems, IsEmpty());
  ASSERT_EQ(failed.entries.size(), 1U);
  EXPECT_EQ(Describe(failed.entries[0]), "vam_updateFW failed: |-65536|3,-51");
}

}  // namespace
}  // namespace vam
