// vam-board and vam-image on files that they cannot or must not use: one line on standard error
// that names the file and says what to do, and nothing that was there before changes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {
namespace {

namespace fs = std::filesystem;

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string Work() { return PrivateTmp::Folder() + "/files"; }

/// What the files in a folder are, and what small ones hold. The locks of a state folder do not
/// count.
std::map<std::string, std::string> Snapshot(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".lock") {
      continue;
    }
    struct stat status = {};
    EXPECT_EQ(lstat(entry.path().c_str(), &status), 0);
    std::string& text = files[entry.path().string()];
    text = std::to_string(status.st_mode) + " " + std::to_string(status.st_size);
    if (S_ISREG(status.st_mode) && status.st_size < 100000) {
      text += " " + ReadFile(entry.path().string()).value_or("");
    }
  }
  return files;
}

struct BadFileCase {
  const char* name;
  /// Commands of a shell that prepare the working folder, in which a board file ./board.toml, a
  /// part, an image and a used state folder lie. $0 is vam-board, $1 is vam-image.
  const char* preparation;
  const char* command;
  int status;
  /// How the line on standard error starts after the program's name, and something that it has.
  const char* start;
  const char* has;
};

void PrintTo(const BadFileCase& bad, std::ostream* stream) { *stream << bad.command; }

class BadFileTest : public ::testing::TestWithParam<BadFileCase> {
 protected:
  static Output Shell(const std::string& script) {
    return Capture({"/bin/sh", "-c", "cd " + Work() + "\n" + script, BoardLauncher(),
                    fs::path(BoardLauncher()).parent_path() / "vam-image"},
                   BoardEnvironment());
  }

  const PrivateTmp tmp;
};

TEST_P(BadFileTest, IsNamedWithWhatToDoAndNothingChanges) {
  const BadFileCase& bad = GetParam();
  fs::create_directory(Work());
  const Output prepared = Shell(std::string(R"(
set -e
mkdir folder; mkfifo fifo; echo part >part; echo 'a journal' >journal; chmod 600 journal
"$1" make --system-version 1 --app-version 2 --system-part part -o image.img
printf '[image]\nfile = "image.img"\n' >board.toml
cp board.toml other.toml
cp /bin/true program
"$0" run --board ./board.toml --state state -- true
)") + bad.preparation);
  ASSERT_EQ(prepared.status, 0) << prepared.standardError;
  const std::map<std::string, std::string> before = Snapshot(PrivateTmp::Folder());
  const Output output = Shell(bad.command);
  EXPECT_EQ(output.status, bad.status);
  EXPECT_EQ(output.standardOutput, "");
  EXPECT_THAT(output.standardError, StartsWith(bad.start));
  EXPECT_THAT(output.standardError, HasSubstr(bad.has));
  EXPECT_THAT(output.standardError, EndsWith("\n"));
  EXPECT_EQ(output.standardError.find('\n'), output.standardError.size() - 1);
  EXPECT_EQ(Snapshot(PrivateTmp::Folder()), before);
}

const BadFileCase kBadFiles[] = {
    {"PartAFifo", "",
     R"("$1" make --system-version 1 --app-version 2 -o new.img --system-part fifo)", 1,
     "vam-image: fifo: cannot be read: Not a regular file; ", "give a file"},
    {"PartADevice", "",
     R"("$1" make --system-version 1 --app-version 2 -o new.img --system-part /dev/zero)", 1,
     "vam-image: /dev/zero: cannot be read: Not a regular file; ", "give a file"},
    {"PartAFolder", "",
     R"("$1" make --system-version 1 --app-version 2 -o new.img --system-part folder)", 1,
     "vam-image: folder: cannot be read: Is a directory; ", "give a file"},
    {"PartMissing", "",
     R"("$1" make --system-version 1 --app-version 2 -o new.img --system-part none)", 1,
     "vam-image: none: cannot be read: No such file or directory; ", "give a file"},
    {"PartOf3GiB", "truncate -s 3G large",
     R"("$1" make --system-version 1 --app-version 2 -o new.img --system-part large)", 1,
     "vam-image: large: more than 16777216 bytes; ", "no part"},
    {"PartOneByteTooLarge", "truncate -s 16777217 large",
     R"("$1" make --system-version 1 --app-version 2 -o new.img --system-part large)", 1,
     "vam-image: large: more than 16777216 bytes; ", "no part"},
    {"AppPartAFifo", "",
     R"("$1" make --system-version 1 --app-version 2 -o new.img --app-part fifo)", 1,
     "vam-image: fifo: cannot be read: Not a regular file; ", "give a file"},
    {"OutputThePart", "",
     R"("$1" make --system-version 1 --app-version 2 -o part --system-part part)", 1,
     "vam-image: part: is a part of this image; ", "give another file with -o"},
    {"OutputThePartByAnotherPath", "",
     R"("$1" make --system-version 1 --app-version 2 -o folder/../part --app-part part)", 1,
     "vam-image: folder/../part: is a part", "-o"},
    {"OutputAHardLinkToThePart", "ln part link",
     R"("$1" make --system-version 1 --app-version 2 -o link --system-part part)", 1,
     "vam-image: link: is a part", "-o"},
    {"OutputASymbolicLinkToThePart", "ln -s part link",
     R"("$1" make --system-version 1 --app-version 2 -o link --system-part part)", 1,
     "vam-image: link: is a part", "-o"},
    {"OutputAFolder", "", R"("$1" make --system-version 1 --app-version 2 -o folder)", 1,
     "vam-image: folder: cannot be written: Is a directory; ", "-o"},
    {"OutputInNoFolder", "", R"("$1" make --system-version 1 --app-version 2 -o none/new.img)", 1,
     "vam-image: none/new.img: cannot be written: No such file or directory; ", "-o"},
    {"OutputBelowAFile", "", R"("$1" make --system-version 1 --app-version 2 -o part/new.img)", 1,
     "vam-image: part/new.img: cannot be written: Not a directory; ", "-o"},
    {"OutputAFifoWithoutReader", "", R"("$1" make --system-version 1 --app-version 2 -o fifo)", 1,
     "vam-image: fifo: cannot be written: No such device or address; ", "-o"},
    {"OutputALinkToItself", "ln -s link link",
     R"("$1" make --system-version 1 --app-version 2 -o link)", 1,
     "vam-image: link: cannot be written: Too many levels of symbolic links; ", "-o"},
    {"OutputThatIsTooLarge", "",
     R"(ulimit -f 1; "$1" make --system-version 1 --app-version 2 -o new.img --system-part program)",
     1, "vam-image: new.img: cannot be written: File too large; ", "-o"},
    {"ShownFifo", "", R"("$1" show fifo)", 1,
     "vam-image: fifo: the firmware image cannot be read: Not a regular file; ",
     "give the path of an image"},
    {"ShownDevice", "", R"("$1" show /dev/zero)", 1,
     "vam-image: /dev/zero: the firmware image cannot be read: Not a regular file; ",
     "give the path"},
    {"ShownFolder", "", R"("$1" show folder)", 1,
     "vam-image: folder: the firmware image cannot be read: Is a directory; ", "give the path"},
    {"ShownFileMissing", "", R"("$1" show none)", 1, "vam-image: none: there is no such file; ",
     "give the path of an image"},
    {"ShownText", "", R"("$1" show part)", 1, "vam-image: part: not a whole firmware image; ",
     "make it anew"},
    {"ShownEmptyFile", ": >empty", R"("$1" show empty)", 1,
     "vam-image: empty: not a whole firmware image; ", "make it anew"},
    {"ShownFileOf5GiB", "truncate -s 5G large", R"("$1" show large)", 1,
     "vam-image: large: not a whole firmware image; ", "make it anew"},
    {"ShownImageCut", "head -c 1000 image.img >cut", R"("$1" show cut)", 1,
     "vam-image: cut: not a whole firmware image; ", "make it anew"},
    {"ShownImageWithMore", "{ cat image.img; echo; } >more", R"("$1" show more)", 1,
     "vam-image: more: not a whole firmware image; ", "make it anew"},
    {"BoardAFifo", "", R"("$0" run --journal journal --state new --board ./fifo -- true)", 125,
     "vam-board: ./fifo: ", "cannot be read: Not a regular file; "},
    {"BoardAFifoShown", "", R"("$0" show --board ./fifo)", 125,
     "vam-board: ./fifo: ", "cannot be read: Not a regular file; "},
    {"BoardADevice", "", R"("$0" run --journal journal --state new --board /dev/zero -- true)", 125,
     "vam-board: /dev/zero: ", "cannot be read: Not a regular file; "},
    {"BoardADeviceShown", "", R"("$0" show --board /dev/zero)", 125,
     "vam-board: /dev/zero: ", "cannot be read: Not a regular file; "},
    {"BoardAFolder", "", R"("$0" run --journal journal --state new --board ./folder -- true)", 125,
     "vam-board: ./folder: ", "cannot be read: Is a directory; "},
    {"BoardAFolderShown", "", R"("$0" show --board ./folder)", 125,
     "vam-board: ./folder: ", "cannot be read: Is a directory; "},
    {"BoardMissing", "", R"("$0" run --journal journal --state new --board ./none -- true)", 125,
     "vam-board: ./none: ", "cannot be read: No such file or directory; "},
    {"BoardMissingShown", "", R"("$0" show --board ./none)", 125,
     "vam-board: ./none: ", "cannot be read: No such file or directory; "},
    {"BoardOf3GiB", "truncate -s 3G large",
     R"("$0" run --journal journal --state new --board ./large -- true)", 125,
     "vam-board: ./large: ", "cannot be read: File too large; "},
    {"BoardOf3GiBShown", "truncate -s 3G large", R"("$0" show --board ./large)", 125,
     "vam-board: ./large: ", "cannot be read: File too large; "},
    {"ImageAFifo", R"(printf '[image]\nfile = "fifo"\n' >board.toml)",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: ./fifo", "the board's image cannot be read: Not a regular file; "},
    {"ImageADevice", R"(printf '[image]\nfile = "/dev/zero"\n' >board.toml)",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: /dev/zero", "the board's image cannot be read: Not a regular file; "},
    {"ImageAFolder", R"(printf '[image]\nfile = "folder"\n' >board.toml)",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: ./folder", "the board's image cannot be read: Is a directory; "},
    {"ImageMissing", R"(printf '[image]\nfile = "none"\n' >board.toml)",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: ./none",
     "the board's image cannot be read: No such file or directory; make it with vam-image"},
    {"ImageOf3GiB", R"(truncate -s 3G large
printf '[image]\nfile = "large"\n' >board.toml)",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: ./large", "the board's image cannot be read: File too large; "},
    {"JournalTheBoardFile", "",
     R"("$0" run --board ./board.toml --state state --journal board.toml -- true)", 125,
     "vam-board: board.toml: ", "is the board file of this run; give another file with --journal"},
    {"JournalTheBoardFileWithoutAState", "",
     R"("$0" run --board ./board.toml --journal board.toml -- true)", 125,
     "vam-board: board.toml: ", "is the board file of this run; give another file with --journal"},
    {"JournalALinkToTheBoardFile", "ln -s board.toml link",
     R"("$0" run --board ./board.toml --state state --journal link -- true)", 125,
     "vam-board: link: ", "is the board file of this run; give another file with --journal"},
    {"JournalAHardLinkToTheBoardFile", "ln board.toml link",
     R"("$0" run --board ./board.toml --state state --journal link -- true)", 125,
     "vam-board: link: ", "is the board file of this run; give another file with --journal"},
    {"JournalTheProgram", "",
     R"("$0" run --board ./board.toml --state state --journal program -- ./program)", 125,
     "vam-board: program: ", "is the program of this run; give another file with --journal"},
    {"JournalTheProgramFoundInPath", "",
     R"(PATH=$PWD:$PATH; "$0" run --board ./board.toml --state state --journal program -- program)",
     125, "vam-board: program: ", "is the program of this run; give another file with --journal"},
    {"JournalTheBoardsImage", "",
     R"("$0" run --board ./board.toml --state state --journal image.img -- true)", 125,
     "vam-board: image.img: ",
     "is the board's image of this run; give another file with --journal"},
    {"JournalTheChip", "",
     R"("$0" run --board ./board.toml --state state --journal state/chip.memory -- true)", 125,
     "vam-board: state/chip.memory: ",
     "is the chip's memory of this run; give another file with --journal"},
    {"JournalTheChipToCome", "mkdir new",
     R"("$0" run --board ./board.toml --state new --journal new/chip.memory -- true)", 125,
     "vam-board: new/chip.memory: ",
     "is the chip's memory of this run; give another file with --journal"},
    {"JournalTheImageInTheStateFolder", "",
     R"("$0" run --board ./board.toml --state state --journal state/firmware.img -- true)", 125,
     "vam-board: state/firmware.img: ",
     "is the firmware image of this run; give another file with --journal"},
    {"JournalTheRecord", "",
     R"("$0" run --board ./board.toml --state state --journal state/board.record -- true)", 125,
     "vam-board: state/board.record: ",
     "is the state folder's record of this run; give another file with --journal"},
    {"JournalTheRunsLock", "",
     R"("$0" run --board ./board.toml --state state --journal state/run.lock -- true)", 125,
     "vam-board: state/run.lock: ",
     "is the state folder's lock of this run; give another file with --journal"},
    {"JournalTheChipsLock", "",
     R"("$0" run --board ./board.toml --state state --journal state/chip.lock -- true)", 125,
     "vam-board: state/chip.lock: ",
     "is the chip's lock of this run; give another file with --journal"},
    {"JournalAFolder", "",
     R"("$0" run --board ./board.toml --state state --journal folder -- true)", 125,
     "vam-board: folder: ", "the journal cannot be written: Is a directory; "},
    {"JournalInNoFolder", "",
     R"("$0" run --board ./board.toml --state state --journal none/journal -- true)", 125,
     "vam-board: none/journal: ", "the journal cannot be written: No such file or directory; "},
    {"JournalAFifoWithoutReader", "",
     R"("$0" run --board ./board.toml --state state --journal fifo -- true)", 125,
     "vam-board: fifo: ", "the journal cannot be written: No such device or address; "},
    {"JournalALinkToItself", "ln -s link link",
     R"("$0" run --board ./board.toml --state state --journal link -- true)", 125,
     "vam-board: link: ", "the journal cannot be written: Too many levels of symbolic links; "},
    {"ProgramMissing", "",
     R"("$0" run --board ./board.toml --state new --journal journal -- ./none)", 127,
     "vam-board: ./none: cannot be run: No such file or directory", ""},
    {"ProgramAFolder", "",
     R"("$0" run --board ./board.toml --state new --journal journal -- ./folder)", 126,
     "vam-board: ./folder: cannot be run: Permission denied", ""},
    {"ProgramNotExecutable", "",
     R"("$0" run --board ./board.toml --state new --journal journal -- ./part)", 126,
     "vam-board: ./part: cannot be run: Permission denied", ""},
    {"ProgramWithoutAName", "",
     R"("$0" run --board ./board.toml --state new --journal journal -- "")", 127,
     "vam-board: : cannot be run: No such file or directory", ""},
    {"StateOfAnotherBoard", "",
     R"("$0" run --board ./other.toml --state state --journal journal -- true)", 125,
     "vam-board: /mnt/files/state: holds the chip of another board, /mnt/files/board.toml; ",
     "--other-board"},
    {"StateAFile", "", R"("$0" run --board ./board.toml --state part --journal journal -- true)",
     125, "vam-board: /mnt/files/part: cannot be made: ", "give a folder"},
    {"StateBelowAFile", "",
     R"("$0" run --board ./board.toml --state part/state --journal journal -- true)", 125,
     "vam-board: /mnt/files/part/state: cannot be made: ", "give a folder"},
    {"StateOfANewerFormat", R"(printf 'vam-board state, format 2\nx\n' >state/board.record)",
     R"("$0" run --board ./board.toml --state state --other-board --journal journal -- true)", 125,
     "vam-board: /mnt/files/state: another version of vam-board made this folder",
     "use that version"},
    {"StateWithAWrongRecord", "echo x >state/board.record",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: /mnt/files/state/board.record: damaged; ", "remove it"},
    {"StateWhoseLockIsAFolder", "rm -f state/run.lock; mkdir state/run.lock",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: /mnt/files/state/run.lock: cannot be locked: Is a directory; ", "--state"},
    {"ChipAFifo", "rm state/chip.memory; mkfifo state/chip.memory",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: /mnt/files/state/chip.memory: the chip's memory cannot be read: Not a regular "
     "file; ",
     "--state"},
    {"ChipAFolder", "rm state/chip.memory; mkdir state/chip.memory",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: /mnt/files/state/chip.memory: the chip's memory cannot be read: Is a directory; ",
     "--state"},
    {"ChipALinkToADevice", "ln -sf /dev/zero state/chip.memory",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: /mnt/files/state/chip.memory: the chip's memory cannot be read: Not a regular "
     "file; ",
     "--state"},
    {"ChipOfANewerFormat", "printf VAMCHIP2 >state/chip.memory",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: /mnt/files/state/chip.memory: the chip's memory is of another format; ",
     "use the vam-board that made it"},
    {"ChipOfANewerFormatShown", "printf VAMCHIP2 >state/chip.memory",
     R"("$0" show --board ./board.toml --state state)", 125,
     "vam-board: state/chip.memory: the chip's memory is of another format; ", "use the vam-board"},
    {"ChipAFifoShown", "rm state/chip.memory; mkfifo state/chip.memory",
     R"("$0" show --board ./board.toml --state state)", 125,
     "vam-board: state/chip.memory: the chip's memory cannot be read: Not a regular file; ",
     "--state"},
    {"ImageInTheStateFolderAFolder", "rm state/firmware.img; mkdir state/firmware.img",
     R"("$0" run --board ./board.toml --state state --journal journal -- true)", 125,
     "vam-board: /mnt/files/state/firmware.img: cannot be written: Is a directory; ", "--state"},
    {"BoardFileInTheStateFolder", "mkdir new; cp other.toml new/firmware.img",
     R"("$0" run --board new/firmware.img --state new --journal journal -- true)", 125,
     "vam-board: /mnt/files/new/firmware.img: is the board file of this run; give another folder "
     "with --state",
     ""},
    {"BoardsImageInTheStateFolder",
     R"(cp image.img new.img; mkdir new; mv new.img new/firmware.img; printf '[image]\nfile = "new/firmware.img"\n' >board.toml)",
     R"("$0" run --board ./board.toml --state new --journal journal -- true)", 125,
     "vam-board: /mnt/files/new/firmware.img: is the board's image of this run; give another "
     "folder "
     "with --state",
     ""},
};

INSTANTIATE_TEST_SUITE_P(Files, BadFileTest, ::testing::ValuesIn(kBadFiles),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace vam
