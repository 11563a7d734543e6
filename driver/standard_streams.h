#ifndef DRIVER_STANDARD_STREAMS_H_
#define DRIVER_STANDARD_STREAMS_H_

namespace vam {

/// Makes the process's console harmless to the run: descriptors 0 to 2 that are closed are opened
/// on "/dev/null", so that no file or device of the run takes their place and receives the
/// console's lines, and SIGPIPE is ignored, so that a reader that has gone does not end the run
/// between the chip's update and its verdict.
void SecureStandardStreams();

}  // namespace vam

#endif  // DRIVER_STANDARD_STREAMS_H_
