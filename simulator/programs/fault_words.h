#ifndef SIMULATOR_PROGRAMS_FAULT_WORDS_H_
#define SIMULATOR_PROGRAMS_FAULT_WORDS_H_

#include <string>

#include "simulator/board/board.h"

namespace vam {

/// Returns what `fault` does when it fires, in words.
[[nodiscard]] std::string EffectInWords(const Fault& fault);

}  // namespace vam

#endif  // SIMULATOR_PROGRAMS_FAULT_WORDS_H_
