#ifndef SIMULATOR_STAND_INS_PREPARED_START_H_
#define SIMULATOR_STAND_INS_PREPARED_START_H_

namespace vam {

/// In a program that a launcher has prepared: starts a process at each request. Returns true in
/// each of them, on the board of its request; does not return in the program itself. Returns false
/// at once in any other program.
bool WaitForStart();

}  // namespace vam

#endif  // SIMULATOR_STAND_INS_PREPARED_START_H_
