#include "simulator/run/board_program.h"

#include <fcntl.h>
#include <glib-unix.h>
#include <glib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/run/run.h"

namespace vam {

namespace {

constexpr char kNodeWatch[] = "/libvam_node_watch.so";
constexpr char kMockPreload[] = "libumockdev-preload.so.0";
/// How often the end of what the program left running is looked for.
constexpr unsigned kPollMilliseconds = 10;

struct Progress {
  GMainLoop* loop;
  /// 0 before it starts and once it has ended.
  pid_t program;
  int status = 0;
};

void Prepend(const char* variable, const std::string& value) {
  const char* old = std::getenv(variable);
  const std::string whole = old == nullptr || *old == '\0' ? value : value + ":" + old;
  setenv(variable, whole.c_str(), 1);
}

/// In the child: becomes the program, or tells the parent through `report` why not.
[[noreturn]] void BecomeProgram(const BoardProgram& program, int report) {
  // The mock node's library ignores it, and the program would go on doing so.
  std::signal(SIGPIPE, SIG_DFL);
  setenv(Run::kEnvironmentVariable, program.runDirectory.c_str(), 1);
  Prepend("LD_LIBRARY_PATH", program.libraries);
  Prepend("LD_PRELOAD", program.libraries + kNodeWatch + ":" + kMockPreload);
  std::vector<char*> arguments;
  for (const std::string& argument : program.command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  const int error = errno;
  // The parent takes a pipe that was closed without a word for a success.
  if (write(report, &error, sizeof error) != sizeof error) {
    _exit(kNotExecutable);
  }
  _exit(kNotFound);
}

/// Ends the loop once no process of the board is left.
gboolean EndWhenAlone(gpointer data) {
  int status = 0;
  pid_t ended = 0;
  do {
    ended = waitpid(-1, &status, WNOHANG);
  } while (ended > 0);
  if (ended == 0) {
    return G_SOURCE_CONTINUE;
  }
  g_main_loop_quit(static_cast<Progress*>(data)->loop);
  return G_SOURCE_REMOVE;
}

void ProgramEnded(GPid /*program*/, gint status, gpointer data) {
  auto* progress = static_cast<Progress*>(data);
  progress->program = 0;
  progress->status = status;
  g_timeout_add(kPollMilliseconds, &EndWhenAlone, data);
}

template <int Signal>
gboolean PassOn(gpointer data) {
  auto* progress = static_cast<Progress*>(data);
  if (progress->program != 0) {
    kill(progress->program, Signal);
  } else {
    // Only what the program left behind is still waited for.
    g_main_loop_quit(progress->loop);
  }
  return G_SOURCE_CONTINUE;
}

}  // namespace

int RunOnBoard(const BoardProgram& program) {
  // What the program leaves behind becomes ours to wait for.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) {
    throw std::runtime_error(std::string("no pipe: ") + std::strerror(errno));
  }
  // Before the program starts: from then on it may expect them.
  const std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> loop(
      g_main_loop_new(nullptr, FALSE), &g_main_loop_unref);
  Progress progress{loop.get(), 0};
  g_unix_signal_add(SIGINT, &PassOn<SIGINT>, &progress);
  g_unix_signal_add(SIGTERM, &PassOn<SIGTERM>, &progress);
  g_unix_signal_add(SIGHUP, &PassOn<SIGHUP>, &progress);
  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error(std::string("no process: ") + std::strerror(errno));
  }
  if (child == 0) {
    BecomeProgram(program, report[1]);
  }
  close(report[1]);
  int error = 0;
  const bool failed = read(report[0], &error, sizeof error) == sizeof error;
  close(report[0]);
  if (failed) {
    waitpid(child, nullptr, 0);
    std::fprintf(stderr, "vam-board: %s: cannot be run: %s\n", program.command[0].c_str(),
                 std::strerror(error));
    return error == ENOENT ? kNotFound : kNotExecutable;
  }

  progress.program = child;
  g_child_watch_add(child, &ProgramEnded, &progress);
  g_main_loop_run(loop.get());
  return WIFSIGNALED(progress.status) ? 128 + WTERMSIG(progress.status)
                                      : WEXITSTATUS(progress.status);
}

}  // namespace vam
