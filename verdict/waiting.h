#ifndef VERDICT_WAITING_H_
#define VERDICT_WAITING_H_

namespace vam {

/// Waits until the record of a run in `folder` can be trusted, or until `seconds` have passed. The
/// folder, and those above it, need not exist yet. Sleeps until the kernel tells that something was
/// put there. Returns why it cannot wait, or null.
const char* WaitForRun(const char* folder, unsigned seconds);

}  // namespace vam

#endif  // VERDICT_WAITING_H_
