#include "tests/support/pretended_boot.h"

#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

#include "tests/support/private_tmp.h"

namespace vam {

namespace {

constexpr char kBootIdFile[] = "/proc/sys/kernel/random/boot_id";

}  // namespace

PretendedBoot::PretendedBoot(const std::string& id) {
  const std::string file = PrivateTmp::Folder() + "/boot_id";
  std::ofstream(file) << id;
  if (mount(file.c_str(), kBootIdFile, nullptr, MS_BIND, nullptr) != 0) {
    throw std::runtime_error(std::string("no other boot: ") + std::strerror(errno));
  }
}

PretendedBoot::~PretendedBoot() { umount2(kBootIdFile, MNT_DETACH); }

}  // namespace vam
