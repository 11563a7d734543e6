#include "recorder/record_command.h"

#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "journal/journal.h"
#include "recorder/command_line.h"
#include "recorder/executable.h"
#include "recorder/recording.h"
#include "report/run_record.h"
#include "report/texts.h"
#include "util/standard_output.h"
#include "util/standard_streams.h"
#include "verdict/program.h"

namespace {

constexpr int kTrouble = 125;
constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;
constexpr int kSignalled = 128;

constexpr char kHelp[] =
    "Usage: vam-record [-o FILE] [--with-keys] -- PROGRAM [ARGUMENT...]\n"
    "\n"
    "Runs PROGRAM and writes its platform calls to a file, a line each, as they end.\n"
    "  -o FILE      the file, else PROGRAM.journal in the working folder\n"
    "  --with-keys  write key material too, and PROGRAM's arguments\n"
    "  --help, --version\n"
    "Status: the program's, or 128 and its signal; 125 trouble before the start, 126 PROGRAM\n"
    "cannot be executed, 127 there is no such program.\n";

/// Says one line on standard error. Returns kTrouble.
// NOLINTNEXTLINE(cert-dcl50-cpp): a template would be code for each message.
[[gnu::format(printf, 1, 2)]] int Tell(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    // By one write: a program that it started may be writing too.
    std::fprintf(stderr, "vam-record: %s\n", text);
    std::free(text);
  }
  va_end(arguments);
  return kTrouble;
}

int Print(const char* text) {
  if (std::fputs(text, stdout) != EOF && std::fflush(stdout) == 0) {
    return 0;
  }
  return Tell("standard output cannot be written: %s", std::strerror(errno));
}

/// Returns the path of this library.
std::string OwnPath() {
  Dl_info own;
  char path[PATH_MAX];
  return dladdr(kHelp, &own) == 0 || realpath(own.dli_fname, path) == nullptr ? "" : path;
}

std::string AbsolutePath(const std::string& path) {
  char folder[PATH_MAX];
  if (path[0] == '/' || getcwd(folder, sizeof folder) == nullptr) {
    return path;
  }
  return vam::Formatted("%s/%s", folder, path.c_str());
}

/// Returns why the file at `path` did not become the recording.
const char* WhyRefused(const std::string& path, int error) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) {
    return std::strerror(error);
  }
  if (S_ISLNK(status.st_mode)) {
    return "is a symbolic link";
  }
  if (!S_ISREG(status.st_mode)) {
    return "is no regular file";
  }
  if (status.st_uid != geteuid()) {
    return "belongs to another user";
  }
  return status.st_nlink > 1 ? "has another name too" : std::strerror(error);
}

/// Tells that the file at `path` did not become the recording. Returns an empty path.
std::string Refuse(const std::string& path, const char* why) {
  Tell("%s: cannot take the recording: %s; give another file with -o", vam::Printable(path).c_str(),
       why);
  return {};
}

/// Starts the recording in the file that was asked for. Returns its path; empty after a failure,
/// which was told.
std::string StartIn(const std::string& path, const vam::JournalHead& head,
                    vam::JournalSettings& settings) {
  return vam::StartJournal(path, head, settings, vam::JournalFile::kOwn)
             ? path
             : Refuse(path, WhyRefused(path, errno));
}

/// Starts it in a new file of the working folder, named after the program, and says where.
std::string StartInNewFile(const char* program, const vam::JournalHead& head,
                           vam::JournalSettings& settings) {
  const char* slash = std::strrchr(program, '/');
  const char* name = slash == nullptr ? program : slash + 1;
  constexpr int kMostFiles = 1000;
  for (int i = 1; i <= kMostFiles; ++i) {
    std::string path = AbsolutePath(i == 1 ? vam::Formatted("%s.journal", name)
                                           : vam::Formatted("%s.%d.journal", name, i));
    if (vam::StartJournal(path, head, settings, vam::JournalFile::kNew)) {
      Tell("the recording is %s", vam::Printable(path).c_str());
      return path;
    }
    if (errno != EEXIST) {
      return Refuse(path, std::strerror(errno));
    }
  }
  Tell("the working folder has a thousand recordings; give a file with -o");
  return {};
}

/// Puts `first` before what the variable of the loader has.
void Prepend(const char* variable, const std::string& first) {
  const char* others = std::getenv(variable);
  const bool areOthers = others != nullptr && *others != '\0';
  const std::string all =
      vam::Formatted("%s%s%s", first.c_str(), areOthers ? ":" : "", areOthers ? others : "");
  setenv(variable, all.c_str(), 1);
}

/// Lets the loader put the library into the program, before what it is asked to put there anyway.
void Preload(const std::string& library) {
  const char* slash = std::strrchr(library.c_str(), '/');
  if (std::strchr(library.c_str(), ' ') == nullptr) {
    Prepend("LD_PRELOAD", library);
    return;
  }
  // A blank would end a path in LD_PRELOAD. The bare name is searched in LD_LIBRARY_PATH.
  Prepend("LD_LIBRARY_PATH", std::string(library.c_str(), slash));
  Prepend("LD_PRELOAD", slash + 1);
}

int Record(const vam::RecorderRequest& request) {
  const char* name = request.program[0];
  const std::string executable = vam::FindExecutable(name);
  if (executable.empty()) {
    const int status = errno == ENOENT || errno == ENOTDIR ? kNotFound : kNotExecutable;
    Tell("%s: cannot be run: %s", vam::Printable(name).c_str(), std::strerror(errno));
    return status;
  }
  if (const char* why = vam::WhyNotRecorded(executable)) {
    return Tell("%s: cannot be recorded: it %s", vam::Printable(name).c_str(), why);
  }
  const std::string library = OwnPath();
  if (library.empty() || std::strpbrk(library.c_str(), "\t\n:;") != nullptr) {
    return Tell(library.empty() ? "%sits library is missing; install the package again"
                                : "%s: no library is loaded from where a name has a tabulator, a "
                                  "colon or a semicolon; move the installation",
                library.c_str());
  }

  vam::Recording recording;
  recording.settings.withKeys = request.withKeys;
  vam::JournalHead head = {name, {}, "vam-record " VAM_VERSION};
  for (char* const* argument = request.program + 1; *argument != nullptr; ++argument) {
    head.arguments.emplace_back(*argument);
  }
  recording.journal = request.file != nullptr
                          ? StartIn(AbsolutePath(request.file), head, recording.settings)
                          : StartInNewFile(name, head, recording.settings);
  if (recording.journal.empty()) {
    return kTrouble;
  }
  const int notesFile = vam::MakeNotes();
  recording.notes = vam::PathOfNotes(notesFile);
  setenv(vam::Recording::kEnvironmentVariable, vam::RecordingAsText(recording).c_str(), 1);
  Preload(library);

  vam::RunRecord end;
  vam::RunProgram(request.program, vam::SurviveLostConsole(), end);
  for (const std::string& problem : end.problems) {
    Tell("%s", problem.c_str());
  }
  const vam::RunNotes notes = vam::ReadNotes(notesFile);
  const char* lack = !notes.trouble.empty() ? "the recording is not complete: " : nullptr;
  if (lack == nullptr && !notes.isLoaded && end.problems.empty()) {
    lack = "nothing was recorded: the library did not come into the program";
  }
  if (lack != nullptr) {
    Tell("%s: %s%s", vam::Printable(recording.journal).c_str(), lack, notes.trouble.c_str());
  }
  return end.signal == 0 ? end.status : kSignalled + end.signal;
}

}  // namespace

int VamRecord(char* const* arguments) {
  const vam::RecorderRequest request = vam::ReadRecorderCommandLine(arguments);
  switch (request.what) {
    case vam::RecorderRequest::What::kRecord:
      // The program gets them too.
      vam::FillStandardStreams();
      return Record(request);
    case vam::RecorderRequest::What::kHelp:
    case vam::RecorderRequest::What::kVersion:
      vam::HoldClosedStandardStreams();
      std::signal(SIGPIPE, SIG_IGN);
      return Print(request.what == vam::RecorderRequest::What::kHelp ? kHelp
                                                                     : "vam-record " VAM_VERSION
                                                                       "\n");
    case vam::RecorderRequest::What::kWrong:
      break;
  }
  return Tell("'%s' %s; see vam-record --help", vam::Printable(request.word).c_str(),
              request.problem);
}
