// vam-record: runs a program and records its platform calls.

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
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

/// Says one line on standard error.
void Tell(const std::string& text) { std::fputs(("vam-record: " + text + "\n").c_str(), stderr); }

int Fail(int status, const std::string& text) {
  Tell(text);
  return status;
}

int Print(const char* text) {
  if (std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0) {
    return 0;
  }
  return Fail(kTrouble, std::string("standard output cannot be written: ") + std::strerror(errno));
}

/// Returns the folder of this program's libraries, with a slash at its end.
std::string LibrariesFolder() {
  char own[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", own, sizeof own - 1);
  own[length < 0 ? 0 : length] = '\0';
  char* slash = std::strrchr(own, '/');
  if (slash == nullptr) {
    return "";
  }
  slash[1] = '\0';
  char resolved[PATH_MAX];
  return realpath((std::string(own) + VAM_RECORDER_LIBRARY).c_str(), resolved) == nullptr
             ? ""
             : resolved;
}

std::string AbsolutePath(const std::string& path) {
  char folder[PATH_MAX];
  if (path[0] == '/' || getcwd(folder, sizeof folder) == nullptr) {
    return path;
  }
  return std::string(folder) + '/' + path;
}

/// Returns why the file at `path` did not become the recording.
std::string WhyRefused(const std::string& path, int error) {
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

/// Starts the recording in the file that was asked for. Returns its path; empty after a failure,
/// which was told.
std::string StartIn(const std::string& path, const vam::JournalHead& head,
                    vam::JournalSettings& settings) {
  if (vam::StartJournal(path, head, settings, vam::JournalFile::kOwn)) {
    return path;
  }
  Tell(vam::Printable(path) + ": cannot take the recording: " + WhyRefused(path, errno) +
       "; give another file with -o");
  return "";
}

/// Starts it in a new file of the working folder, named after the program, and says where.
std::string StartInNewFile(const char* program, const vam::JournalHead& head,
                           vam::JournalSettings& settings) {
  const char* slash = std::strrchr(program, '/');
  const std::string name = slash == nullptr ? program : slash + 1;
  constexpr int kMostFiles = 1000;
  for (int i = 1; i <= kMostFiles; ++i) {
    const std::string number = i == 1 ? "" : "." + std::to_string(i);
    std::string path = AbsolutePath(name + number + ".journal");
    if (vam::StartJournal(path, head, settings, vam::JournalFile::kNew)) {
      Tell("the recording is " + vam::Printable(path));
      return path;
    }
    if (errno != EEXIST) {
      Tell(vam::Printable(path) + ": cannot take the recording: " + std::strerror(errno) +
           "; give another file with -o");
      return "";
    }
  }
  Tell("the working folder has a thousand recordings; give a file with -o");
  return "";
}

/// Lets the loader put the library into the program, before what it is asked to put there anyway.
void Preload(const std::string& library) {
  const char* others = std::getenv("LD_PRELOAD");
  const std::string all = others == nullptr || *others == '\0' ? library : library + ':' + others;
  setenv("LD_PRELOAD", all.c_str(), 1);
}

int Record(const vam::RecorderRequest& request) {
  const char* name = request.program[0];
  const std::string executable = vam::FindExecutable(name);
  if (executable.empty()) {
    return Fail(errno == ENOENT || errno == ENOTDIR ? kNotFound : kNotExecutable,
                vam::Printable(name) + ": cannot be run: " + std::strerror(errno));
  }
  if (const char* why = vam::WhyNotRecorded(executable)) {
    return Fail(kTrouble, vam::Printable(name) + ": cannot be recorded: it " + why);
  }
  const std::string library = LibrariesFolder();
  if (library.empty() || library.find_first_of(" \t\n:;") != std::string::npos) {
    return Fail(kTrouble, library.empty()
                              ? "its library is missing; install the package again"
                              : library +
                                    ": no library is loaded from where a name has a blank, "
                                    "a colon or a semicolon; move the installation");
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
    Tell(problem);
  }
  const vam::RunNotes notes = vam::ReadNotes(notesFile);
  if (!notes.trouble.empty()) {
    Tell(vam::Printable(recording.journal) + ": the recording is not complete: " + notes.trouble);
  } else if (!notes.isLoaded && end.problems.empty()) {
    Tell(vam::Printable(recording.journal) +
         ": nothing was recorded: the library did not come into the program");
  }
  return end.signal == 0 ? end.status : kSignalled + end.signal;
}

}  // namespace

int main(int /*argc*/, char** argv) {
  const vam::RecorderRequest request = vam::ReadRecorderCommandLine(argv);
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
  return Fail(kTrouble, std::string("'") + vam::Printable(request.word) + "' " + request.problem +
                            "; see vam-record --help");
}
