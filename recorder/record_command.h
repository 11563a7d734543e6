#ifndef RECORDER_RECORD_COMMAND_H_
#define RECORDER_RECORD_COMMAND_H_

/// All that vam-record does: runs the program that the command line asks for, and records it. The
/// program and the library that it preloads share their code, and a device has it once. The last of
/// `arguments` is null. Returns the exit status.
extern "C" [[gnu::visibility("default")]] int VamRecord(char* const* arguments);

#endif  // RECORDER_RECORD_COMMAND_H_
