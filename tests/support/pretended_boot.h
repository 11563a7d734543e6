#ifndef TESTS_SUPPORT_PRETENDED_BOOT_H_
#define TESTS_SUPPORT_PRETENDED_BOOT_H_

#include <string>

namespace vam {

/// For as long as the object lives, the kernel seems to name this boot `id`: a file is mounted over
/// the one that tells it. Needs the namespace of a PrivateTmp, which it may not outlive. Throws
/// std::runtime_error where that cannot be done.
class PretendedBoot {
 public:
  explicit PretendedBoot(const std::string& id);
  ~PretendedBoot();
  PretendedBoot(const PretendedBoot&) = delete;
  PretendedBoot& operator=(const PretendedBoot&) = delete;
};

}  // namespace vam

#endif  // TESTS_SUPPORT_PRETENDED_BOOT_H_
