#include "tests/support/private_tmp.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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

/// Stops mounts from reaching anybody else. In a changed root the mount above it has to be told,
/// and only the namespace's own root shows it.
void MakeMountsPrivate() {
  const int root = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
  const int folder = open(".", O_PATH | O_DIRECTORY | O_CLOEXEC);
  const int mounts = open("/proc/self/ns/mnt", O_RDONLY | O_CLOEXEC);
  Require(root >= 0 && folder >= 0 && mounts >= 0, "no mount namespace");
  Require(setns(mounts, CLONE_NEWNS) == 0, "no way to the mount namespace's root");
  Require(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "no private mounts");
  Require(fchdir(root) == 0 && chroot(".") == 0 && fchdir(folder) == 0, "no way back to the root");
  close(mounts);
  close(folder);
  close(root);
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
  MakeMountsPrivate();
  entered = true;
}

/// Mounts an empty file system on `folder`, and in it again what of this project lies there.
void MountEmpty(const std::string& folder, const std::string& options) {
  std::vector<std::pair<std::string, int>> kept;
  for (const char* path : {VAM_SOURCE_FOLDER, VAM_BUILD_FOLDER}) {
    if (std::string(path).rfind(folder + "/", 0) == 0) {
      kept.emplace_back(path, open(path, O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
  }
  Require(mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()) == 0, "no empty folder");
  for (const auto& [path, descriptor] : kept) {
    std::filesystem::create_directories(path);
    const std::string source = "/proc/self/fd/" + std::to_string(descriptor);
    Require(mount(source.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
            "project not kept");
    close(descriptor);
  }
}

}  // namespace

PrivateTmp::PrivateTmp(const std::string& options) {
  EnterNamespace();
  MountEmpty(Folder(), "");
  MountEmpty("/tmp", options);
}

PrivateTmp::~PrivateTmp() {
  umount2("/tmp", MNT_DETACH);
  umount2(Folder().c_str(), MNT_DETACH);
}

bool PrivateTmp::HasOtherUsers() {
  std::ifstream map("/proc/self/uid_map");
  std::uint64_t inside = 0;
  std::uint64_t outside = 0;
  std::uint64_t count = 0;
  map >> inside >> outside >> count;
  return count > 1;
}

void PrivateTmp::MakeReadOnly() {
  Require(mount("tmpfs", "/tmp", "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0,
          "no read-only /tmp");
}

}  // namespace vam
