#include "virtual_device/trusted_application/test_setup.h"

namespace vam {
namespace {

class NoFaults final : public AnswerFaults {
 public:
  uint32_t Count() override { return 0; }
  const AnswerFault* Select(uint32_t, uint32_t, bool, int32_t) override { return nullptr; }
  void Applied(uint32_t) override {}
};

NoFaults noFaults;

}  // namespace

TEE_Result RunTestCommand(uint32_t, uint32_t, TEE_Param*) { return TEE_ERROR_NOT_SUPPORTED; }

AnswerFaults& DeclaredFaults() { return noFaults; }

void ChipMemoryWritten() {}

}  // namespace vam
