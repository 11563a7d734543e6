#include "tests/support/recorded_run.h"

#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {

PrivateRun::PrivateRun(const std::string& tmpOptions) : tmp(tmpOptions) {
  if (mount("tmpfs", "/run", "tmpfs", 0, "mode=755") != 0) {
    throw std::runtime_error(std::string("no private /run: ") + std::strerror(errno));
  }
}

PrivateRun::~PrivateRun() { umount2("/run", MNT_DETACH); }

std::string VerdictProgram() { return VAM_VERDICT_PROGRAM; }

Output Ask(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {VerdictProgram()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return Capture(command);
}

Output Record(const std::vector<std::string>& program, const std::vector<std::string>& options) {
  std::vector<std::string> command = {VerdictProgram(), "run"};
  command.insert(command.end(), options.begin(), options.end());
  command.emplace_back("--");
  command.insert(command.end(), program.begin(), program.end());
  return Capture(command, BoardEnvironment());
}

Output RecordOnBoard(const std::string& board, const std::vector<std::string>& options) {
  return Record(OnBoardWithMachineTmp(board, {UpdateTool()}), options);
}

std::string RecordText() { return ReadFile("/run/vam-update/verdict.json").value_or(""); }

}  // namespace vam
