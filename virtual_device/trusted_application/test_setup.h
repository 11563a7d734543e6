#ifndef VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_SETUP_H_
#define VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_SETUP_H_

// What a test can change in the trusted application. test_setup.cc makes the test build of it,
// no_test_setup.cc one that knows nothing of tests.

#include <stdint.h>
#include <tee_api_types.h>

#include "simulator/model/environment.h"

namespace vam {

/// Runs a command of test_commands.h. Any other: TEE_ERROR_NOT_SUPPORTED.
TEE_Result RunTestCommand(uint32_t command, uint32_t types, TEE_Param* parameters);

/// The faults that were declared.
AnswerFaults& DeclaredFaults();

/// Told of every write of the chip's memory; does not return where a test stops there.
void ChipMemoryWritten();

}  // namespace vam

#endif  // VIRTUAL_DEVICE_TRUSTED_APPLICATION_TEST_SETUP_H_
