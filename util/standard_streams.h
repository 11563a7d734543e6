#ifndef UTIL_STANDARD_STREAMS_H_
#define UTIL_STANDARD_STREAMS_H_

namespace vam {

/// Opens descriptors 0 to 2 on "/dev/null" where they are closed, so that no file or device of the
/// process takes their place and receives what is meant for the console.
void FillStandardStreams();

/// Makes the process's console harmless to the run: fills the standard streams, and ignores
/// SIGPIPE, so that a reader that has gone does not end the run between the chip's update and its
/// verdict.
void SecureStandardStreams();

}  // namespace vam

#endif  // UTIL_STANDARD_STREAMS_H_
