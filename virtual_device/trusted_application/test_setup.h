#ifndef VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_SETUP_H_
#define VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_SETUP_H_

// What a test can change in the trusted application. The test build links test_setup.cc; the
// shipped build links no_test_setup.cc, which knows no test.

#include <stdint.h>
#include <tee_api_types.h>

#include "simulator/model/environment.h"

namespace vam {

/// Runs a command of test_commands.h. Returns its result, and TEE_ERROR_NOT_SUPPORTED for any other
/// command.
TEE_Result RunTestCommand(uint32_t command, uint32_t types, TEE_Param* parameters);

/// Returns the faults that were added.
AnswerFaults& DeclaredFaults();

/// Called after every write of the chip's memory. Does not return where a test stops the trusted
/// application.
void ChipMemoryWritten();

}  // namespace vam

#endif  // VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_SETUP_H_
