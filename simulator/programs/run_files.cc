#include "simulator/programs/run_files.h"

#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/files/whole_file.h"
#include "simulator/state/state_folder.h"

namespace vam {

namespace {

/// A file of the run, and what it is to the user.
struct NamedFile {
  std::string path;
  const char* what;
};

/// Refuses to write `output` where it is one of `others`. `remedy` names what to give instead.
void RefuseIfAmong(const std::vector<NamedFile>& others, const std::string& output,
                   const char* remedy) {
  for (const NamedFile& other : others) {
    if (!other.path.empty() && IsSameFile(output, other.path)) {
      throw std::runtime_error(output + ": is " + other.what + " of this run; give another " +
                               remedy);
    }
  }
}

}  // namespace

void RefuseToOverwrite(const RunFiles& files) {
  std::vector<NamedFile> others = {{files.board, "the board file"},
                                   {files.recording, "the recording"},
                                   {files.image, "the board's image"},
                                   {files.program, "the program"}};
  if (!files.state.empty()) {
    const std::vector<NamedFile> kept = {{ChipMemoryIn(files.state), "the chip's memory"},
                                         {FirmwareImageIn(files.state), "the firmware image"},
                                         {BoardRecordIn(files.state), "the state folder's record"},
                                         {ChipLockIn(files.state), "the chip's lock"},
                                         {RunLockIn(files.state), "the state folder's lock"},
                                         {files.state + "/VAM_OK", "a status file"},
                                         {files.state + "/VAM_FAIL", "a status file"}};
    for (const NamedFile& file : kept) {
      RefuseIfAmong(others, file.path, "folder with --state");
    }
    others.insert(others.end(), kept.begin(), kept.end());
  }
  if (!files.journal.empty()) {
    RefuseIfAmong(others, files.journal, "file with --journal");
  }
}

}  // namespace vam
