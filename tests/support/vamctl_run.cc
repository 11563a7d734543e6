#include "tests/support/vamctl_run.h"

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/board_run.h"
#include "tests/support/journal_calls.h"
#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {

namespace {

std::string JournalFile() { return PrivateTmp::Folder() + "/journal"; }

}  // namespace

std::vector<std::string> VamctlOnBoard(const std::string& board, std::vector<std::string> arguments,
                                       const std::string& state) {
  std::string file = board;
  if (board.front() == '[') {
    file = PrivateTmp::Folder() + "/board.toml";
    WriteFile(file,
              ReadFile(VAM_SOURCE_FOLDER "/simulator/boards/update-needed.toml").value() + board);
  }
  arguments.insert(arguments.begin(), Vamctl());
  std::vector<std::string> command = OnBoard(file, arguments, state, JournalFile());
  command.insert(command.begin() + 2, "--with-keys");
  return command;
}

Output RunVamctl(const std::string& board, const std::vector<std::string>& arguments,
                 const std::string& state) {
  return Capture(VamctlOnBoard(board, arguments, state), BoardEnvironment());
}

std::vector<std::string> SentRequests() {
  static const std::regex kValue(
      R"re("call":"CNolvWsm::(Put\w+)".*"(?:value|bytes)":"?([-0-9a-f]*|null)"?,)re");
  static const std::regex kInvocation(
      R"re("call":"TEEC_InvokeCommand".*"command":\{"number":(\d+))re");
  std::vector<std::string> requests;
  std::istringstream journal(ReadFile(JournalFile()).value());
  std::string line;
  std::smatch found;
  while (std::getline(journal, line)) {
    if (std::regex_search(line, found, kValue)) {
      requests.push_back(found.str(1) + " " + found.str(2));
    } else if (std::regex_search(line, found, kInvocation)) {
      requests.push_back("invoke " + found.str(1));
    }
  }
  return requests;
}

bool SentNothing() { return CallsIn(ReadFile(JournalFile()).value()).empty(); }

}  // namespace vam
