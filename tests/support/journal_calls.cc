#include "tests/support/journal_calls.h"

#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>

namespace vam {

std::string CallsIn(const std::string& journal) {
  static const std::regex kBeginning(R"re(^\{"time":\d+,"pid":\d+,"tid":\d+,)re");
  std::istringstream lines(journal);
  std::string line;
  if (!std::getline(lines, line) || line.rfind(R"({"format":1,"program":")", 0) != 0) {
    throw std::runtime_error("a journal without a head: " + line);
  }
  std::string calls;
  while (std::getline(lines, line)) {
    if (!std::regex_search(line, kBeginning)) {
      throw std::runtime_error("a call without time, process or thread: " + line);
    }
    calls += std::regex_replace(line, kBeginning, "{") + "\n";
  }
  return calls;
}

}  // namespace vam
