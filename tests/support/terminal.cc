#include "tests/support/terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace vam {

Terminal::Terminal() : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
    throw std::runtime_error("no terminal");
  }
  slave = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios settings;
  if (slave < 0 || tcgetattr(slave, &settings) != 0) {
    throw std::runtime_error("no terminal");
  }
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  tcsetattr(slave, TCSANOW, &settings);
}

Terminal::~Terminal() {
  close(slave);
  close(master);
}

void Terminal::Type(const std::string& keys) const {
  if (write(master, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
    throw std::runtime_error("nothing can be typed");
  }
}

std::string Terminal::Screen() const {
  // The kernel hands what is written over a moment later, and in order.
  const std::string mark(1, '\0');
  if (write(slave, mark.data(), mark.size()) != 1) {
    throw std::runtime_error("nothing can be written");
  }
  std::string screen = ScreenUpTo(mark);
  screen.pop_back();
  return screen;
}

std::string Terminal::ScreenUpTo(const std::string& text) const {
  std::string screen;
  while (screen.find(text) == std::string::npos) {
    char byte = 0;
    if (read(master, &byte, 1) != 1) {
      throw std::runtime_error("the terminal is gone");
    }
    screen += byte;
  }
  return screen;
}

}  // namespace vam
