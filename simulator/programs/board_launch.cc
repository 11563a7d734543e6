#include "simulator/programs/board_launch.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "journal/journal.h"
#include "simulator/programs/board_files.h"

namespace vam {

std::string LibrariesFolder() { return (Prefix() / VAM_SIMULATOR_LIBRARIES).string(); }

std::string StartRunJournal(const std::string& path, const std::vector<std::string>& command,
                            JournalSettings& settings) {
  if (path.empty()) {
    return "";
  }
  const JournalHead head = {
      command[0], {command.begin() + 1, command.end()}, "vam-board " VAM_VERSION};
  if (!StartJournal(path, head, settings)) {
    throw std::runtime_error(path + ": the journal cannot be written: " + std::strerror(errno) +
                             "; give another file with --journal");
  }
  return std::filesystem::absolute(path).string();
}

}  // namespace vam
