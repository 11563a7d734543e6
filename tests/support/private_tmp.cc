#include "tests/support/private_tmp.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

namespace vam {

namespace {

void Require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
  }
}

void WriteFile(const char* path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  file.close();
  Require(file.good(), path);
}

void EnterNamespace() {
  static bool entered = false;
  if (entered) {
    return;
  }
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (user == 0) {
    Require(unshare(CLONE_NEWNS) == 0, "no mount namespace");
  } else {
    Require(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "no user and mount namespace");
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
  }
  Require(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "no private mounts");
  entered = true;
}

}  // namespace

PrivateTmp::PrivateTmp(const std::string& options) {
  EnterNamespace();
  Require(mount("tmpfs", Folder().c_str(), "tmpfs", 0, nullptr) == 0, "no private folder");
  Require(mount("tmpfs", "/tmp", "tmpfs", 0, options.c_str()) == 0, "no private /tmp");
}

PrivateTmp::~PrivateTmp() {
  umount2("/tmp", MNT_DETACH);
  umount2(Folder().c_str(), MNT_DETACH);
}

void PrivateTmp::MakeReadOnly() {
  Require(mount("tmpfs", "/tmp", "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0,
          "no read-only /tmp");
}

}  // namespace vam
