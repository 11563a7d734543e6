#ifndef SIMULATOR_STAND_INS_MOCK_NODE_H_
#define SIMULATOR_STAND_INS_MOCK_NODE_H_

#include <memory>

#include "simulator/board/board.h"

namespace vam {

/// The device node of the secure element, mocked by umockdev. Answers programs that were started
/// with umockdev's preload library while the thread-default GLib main context runs.
class MockNode {
 public:
  /// Puts up the node as `probe` describes it. Throws std::runtime_error.
  explicit MockNode(const ProbeSection& probe);
  ~MockNode();
  MockNode(const MockNode&) = delete;
  MockNode& operator=(const MockNode&) = delete;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation;
};

}  // namespace vam

#endif  // SIMULATOR_STAND_INS_MOCK_NODE_H_
