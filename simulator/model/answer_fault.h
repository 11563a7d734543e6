#ifndef SIMULATOR_MODEL_ANSWER_FAULT_H_
#define SIMULATOR_MODEL_ANSWER_FAULT_H_

#include <stdint.h>

namespace vam {

/// What an answer fault changes.
enum AnswerFaultKind : uint32_t {
  /// The command is not carried out and returns `result`.
  kFailCommand,
  /// The result record of an update reply is `vamCode` and `fwCode`.
  kReplaceRecord,
  /// The reply ends before item `item`.
  kOmitItem,
  /// The reply ends within item `item`: after `number` bytes of it, or, for 0, in its middle.
  kCutItem,
  /// Reply item `item` is the number `number`.
  kReplaceByNumber,
  /// Reply item `item` is a blob of the first `byteCount` of `bytes`.
  kReplaceByBytes,
};

/// What fits into the shared block beside the items of a reply that stand before and after it.
constexpr uint32_t kAnswerFaultBytes = 8100;

/// One wrong answer of the trusted application. A plain record, which a test hands into a real
/// secure world as its bytes.
struct AnswerFault {
  uint32_t kind;
  /// The command that it changes.
  uint32_t command;
  /// 1: it changes the command in update mode `mode` alone. 0: in every mode.
  uint32_t hasMode;
  int32_t mode;
  /// Which of the matching invocations it changes, from 1; 0: every one.
  uint32_t occurrence;
  uint32_t result;
  int32_t vamCode;
  int32_t fwCode;
  /// Reply item, from 1.
  uint32_t item;
  uint32_t number;
  uint32_t byteCount;
  uint8_t bytes[kAnswerFaultBytes];
};

}  // namespace vam

#endif  // SIMULATOR_MODEL_ANSWER_FAULT_H_
