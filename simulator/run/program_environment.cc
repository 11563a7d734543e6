#include "simulator/run/program_environment.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

namespace vam {

namespace {

constexpr char kNodeLibrary[] = "libvam_device_node.so";
constexpr char kScarceMemoryLibrary[] = "libvam_scarce_memory.so";

void Prepend(const char* variable, const std::string& value) {
  const char* old = std::getenv(variable);
  const std::string whole = old == nullptr || *old == '\0' ? value : value + ":" + old;
  setenv(variable, whole.c_str(), 1);
}

/// Has `library` of `folder` loaded before all others.
void Preload(const std::string& folder, const char* library) {
  // A blank would end a path in LD_PRELOAD. The bare name is searched in LD_LIBRARY_PATH.
  const bool hasBlank = folder.find(' ') != std::string::npos;
  Prepend("LD_PRELOAD", hasBlank ? library : folder + "/" + library);
}

}  // namespace

void SetUpProgramEnvironment(const std::string& libraries, bool isShortOfMemory) {
  Prepend("LD_LIBRARY_PATH", libraries);
  Preload(libraries, kNodeLibrary);
  if (isShortOfMemory) {
    Preload(libraries, kScarceMemoryLibrary);
  }
  // The address sanitizer would refuse to come after a preloaded library.
  Prepend("ASAN_OPTIONS", "verify_asan_link_order=0");
}

void ExecuteProgram(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  std::transform(command.begin(), command.end(), std::back_inserter(arguments),
                 [](const std::string& argument) { return const_cast<char*>(argument.c_str()); });
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
}

}  // namespace vam
