#ifndef TESTS_SUPPORT_PRIVATE_TMP_H_
#define TESTS_SUPPORT_PRIVATE_TMP_H_

#include <string>

namespace vam {

/// A /tmp of the test's own, in a mount namespace that the process enters with the first one and
/// keeps, and a second folder of its own for everything else. Both are file systems in memory that
/// go with the object, empty but for this project where it lies in one of them. Works for root and,
/// where the kernel lets users make namespaces, for anybody. Throws std::runtime_error where there
/// is none to be had.
class PrivateTmp {
 public:
  /// `options` are tmpfs mount options for /tmp, such as "size=4k".
  explicit PrivateTmp(const std::string& options = "");
  ~PrivateTmp();
  PrivateTmp(const PrivateTmp&) = delete;
  PrivateTmp& operator=(const PrivateTmp&) = delete;

  /// The second folder.
  static std::string Folder() { return "/mnt"; }

  /// Whether files can be given to other users, and root owns what is outside: not when anybody but
  /// root made the namespace.
  static bool HasOtherUsers();

  /// Makes /tmp refuse every write.
  static void MakeReadOnly();
};

}  // namespace vam

#endif  // TESTS_SUPPORT_PRIVATE_TMP_H_
