#include "simulator/run/process_tree.h"

#include <sys/types.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <system_error>
#include <vector>

namespace vam {

namespace {

namespace fs = std::filesystem;

/// Returns the number of a process that starts `text`; 0 where there is none.
pid_t NumberAt(const char* text) { return static_cast<pid_t>(std::strtol(text, nullptr, 10)); }

/// Returns the parent of the process whose folder in /proc is `folder`, or 0.
pid_t ParentOf(const fs::path& folder) {
  std::ifstream file(folder / "stat");
  std::string status;
  std::getline(file, status);
  // The number, the name in parentheses, which may hold anything, the state, the parent.
  const std::size_t nameEnd = status.rfind(") ");
  return nameEnd == std::string::npos ? 0 : NumberAt(status.c_str() + nameEnd + 4);
}

}  // namespace

std::vector<pid_t> DescendantsOf(pid_t ancestor) {
  std::multimap<pid_t, pid_t> children;
  std::error_code ignored;
  for (fs::directory_iterator entry("/proc", ignored), end; entry != end;
       entry.increment(ignored)) {
    const pid_t process = NumberAt(entry->path().filename().c_str());
    if (process != 0) {
      children.emplace(ParentOf(entry->path()), process);
    }
  }
  std::vector<pid_t> descendants;
  const auto addChildrenOf = [&](pid_t parent) {
    const auto [first, last] = children.equal_range(parent);
    for (auto child = first; child != last; ++child) {
      descendants.push_back(child->second);
    }
  };
  addChildrenOf(ancestor);
  for (std::size_t i = 0; i < descendants.size(); ++i) {
    addChildrenOf(descendants[i]);
  }
  return descendants;
}

}  // namespace vam
