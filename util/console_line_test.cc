#include "util/console_line.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using ::testing::ElementsAre;

/// A descriptor that is closed once.
class Descriptor {
 public:
  explicit Descriptor(int descriptorNumber) : number(descriptorNumber) { EXPECT_GE(number, 0); }
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Number() const { return number; }
  void Close() {
    if (number >= 0) {
      close(number);
    }
    number = -1;
  }

 private:
  int number;
};

struct Ends {
  Descriptor reading;
  Descriptor writing;
};

Ends Pipe() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(pipe(ends), 0);
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// Standard output becomes `descriptor`, or nothing at all for -1, until the end of the scope.
/// Expectations are stated outside the scope, where their texts reach the console.
class StandardOutput {
 public:
  explicit StandardOutput(int descriptor) {
    std::fflush(stdout);
    saved = dup(STDOUT_FILENO);
    if (descriptor < 0) {
      close(STDOUT_FILENO);
    } else {
      dup2(descriptor, STDOUT_FILENO);
    }
  }
  ~StandardOutput() {
    dup2(saved, STDOUT_FILENO);
    close(saved);
  }
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

 private:
  int saved;
};

/// Reads until nothing is there or the other end is closed.
std::string ReadAll(int descriptor) {
  std::string text;
  char buffer[4096];
  ssize_t count = 0;
  while ((count = read(descriptor, buffer, sizeof buffer)) > 0) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return text;
}

void MakeNonBlocking(int descriptor) {
  ASSERT_EQ(fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK), 0);
}

/// Writes to a non-blocking pipe until it takes nothing more; returns how many bytes it took.
std::size_t Fill(int descriptor) {
  std::size_t total = 0;
  ssize_t count = 0;
  while ((count = write(descriptor, "....", 4)) > 0) {
    total += static_cast<std::size_t>(count);
  }
  EXPECT_EQ(errno, EAGAIN);
  return total;
}

/// Prints a line in a thread of its own.
class Printer {
 public:
  explicit Printer(const std::string& line)
      : thread([this, line] {
          identifier = gettid();
          vam::PrintLine(line);
          identifier = kDone;
        }) {}
  ~Printer() { thread.join(); }
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;

  /// Returns true once the thread sleeps in the kernel, and false if it ends or spins instead.
  bool Waits() const {
    for (int attempt = 0; attempt < 2000 && identifier != kDone; ++attempt) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      std::ifstream status("/proc/self/task/" + std::to_string(identifier) + "/stat");
      std::string text;
      std::getline(status, text);
      const std::size_t nameEnd = text.rfind(") ");
      if (nameEnd != std::string::npos && text[nameEnd + 2] == 'S') {
        return true;
      }
    }
    return false;
  }

  void Signal(int number) { pthread_kill(thread.native_handle(), number); }

 private:
  static constexpr pid_t kDone = -1;
  std::atomic<pid_t> identifier{0};
  std::thread thread;
};

TEST(ConsoleLine, PrintLine_AnyPieces_IsOneWrite) {
  // A packet socket keeps the border between two writes.
  int ends[2] = {-1, -1};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
  const Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  const std::string longLine(60000, 'l');
  {
    const StandardOutput output(writing.Number());
    vam::PrintLine("one line");
    vam::PrintLine("");
    vam::PrintLine(std::string_view("a\0b", 3));
    vam::PrintLine(longLine);
    vam::PrintLine({"pieces", "", std::string(": ")});
    vam::PrintLine({});
  }
  std::vector<std::string> writes;
  std::vector<char> packet(100000);
  ssize_t count = 0;
  while ((count = recv(reading.Number(), packet.data(), packet.size(), MSG_DONTWAIT)) > 0) {
    writes.emplace_back(packet.data(), static_cast<std::size_t>(count));
  }
  EXPECT_THAT(writes, ElementsAre("one line\n", "\n", std::string("a\0b\n", 4), longLine + "\n",
                                  "pieces: \n", "\n"));
}

TEST(ConsoleLine, PrintLine_StdioHoldsText_WritesThatFirst) {
  Ends ends = Pipe();
  MakeNonBlocking(ends.reading.Number());
  std::string beforeFlush;
  {
    const StandardOutput output(ends.writing.Number());
    std::fputs("before, ", stdout);
    vam::PrintLine("line");
    beforeFlush = ReadAll(ends.reading.Number());
    std::fputs("after", stdout);
    std::fflush(stdout);
  }
  EXPECT_EQ(beforeFlush, "before, line\n");
  EXPECT_EQ(ReadAll(ends.reading.Number()), "after");
}

TEST(ConsoleLine, PrintLine_NonBlockingPipeFull_Waits) {
  Ends ends = Pipe();
  MakeNonBlocking(ends.reading.Number());
  MakeNonBlocking(ends.writing.Number());
  const std::string filling(Fill(ends.writing.Number()), '.');
  std::string read;
  bool waited = false;
  {
    const StandardOutput output(ends.writing.Number());
    {
      Printer printer("line");
      waited = printer.Waits();
      read = ReadAll(ends.reading.Number());
    }
    read += ReadAll(ends.reading.Number());
  }
  EXPECT_TRUE(waited);
  EXPECT_EQ(read, filling + "line\n");
}

TEST(ConsoleLine, PrintLine_ShortWrite_IsContinued) {
  // Far more than the pipe holds, so that a write takes only a part.
  std::string line;
  for (int i = 0; line.size() < 500000; ++i) {
    line += std::to_string(i) + ' ';
  }
  Ends ends = Pipe();
  MakeNonBlocking(ends.writing.Number());
  std::string read;
  bool waited = false;
  {
    const StandardOutput output(ends.writing.Number());
    Printer printer(line);
    waited = printer.Waits();
    MakeNonBlocking(ends.reading.Number());
    pollfd reading{ends.reading.Number(), POLLIN, 0};
    while (read.size() <= line.size() && poll(&reading, 1, 5000) == 1) {
      read += ReadAll(ends.reading.Number());
    }
  }
  EXPECT_TRUE(waited);
  EXPECT_TRUE(read == line + "\n") << read.size() << " bytes arrived of " << line.size() + 1;
}

volatile std::sig_atomic_t signals = 0;

TEST(ConsoleLine, PrintLine_InterruptedBySignal_GoesOn) {
  Ends ends = Pipe();
  MakeNonBlocking(ends.writing.Number());
  const std::string filling(Fill(ends.writing.Number()), '.');
  ASSERT_EQ(fcntl(ends.writing.Number(), F_SETFL, 0), 0);

  struct sigaction action = {};
  action.sa_handler = [](int) { signals = signals + 1; };
  struct sigaction before = {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  MakeNonBlocking(ends.reading.Number());
  std::string read;
  bool waited = false;
  bool waitedAgain = false;
  {
    const StandardOutput output(ends.writing.Number());
    {
      Printer printer("line");
      waited = printer.Waits();
      printer.Signal(SIGUSR1);
      while (signals == 0) {
        std::this_thread::yield();
      }
      waitedAgain = printer.Waits();
      read = ReadAll(ends.reading.Number());
    }
    read += ReadAll(ends.reading.Number());
  }
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_TRUE(waited);
  EXPECT_TRUE(waitedAgain);
  EXPECT_EQ(read, filling + "line\n");
}

/// Prints to an output that takes nothing, and then to one that works. The first line must be lost
/// and must not come out later.
void ExpectLost(int descriptor) {
  Ends ends = Pipe();
  {
    const StandardOutput output(descriptor);
    vam::PrintLine("lost");
  }
  {
    const StandardOutput output(ends.writing.Number());
    vam::PrintLine("next");
  }
  ends.writing.Close();
  EXPECT_EQ(ReadAll(ends.reading.Number()), "next\n");
}

TEST(ConsoleLine, PrintLine_OutputClosed_LosesTheLine) { ExpectLost(-1); }

TEST(ConsoleLine, PrintLine_OutputFull_LosesTheLine) {
  const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  ExpectLost(full.Number());
}

TEST(ConsoleLine, PrintLine_ReaderGone_LosesTheLine) {
  Ends ends = Pipe();
  ends.reading.Close();
  const auto before = std::signal(SIGPIPE, SIG_IGN);
  ExpectLost(ends.writing.Number());
  std::signal(SIGPIPE, before);
}

TEST(ConsoleLineDeathTest, PrintLine_ReaderGone_LeavesSigpipeToTheCaller) {
  Ends ends = Pipe();
  ends.reading.Close();
  EXPECT_EXIT(
      {
        const StandardOutput output(ends.writing.Number());
        vam::PrintLine("lost");
      },
      testing::KilledBySignal(SIGPIPE), "");
}

}  // namespace
