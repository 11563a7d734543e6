#include <cstdint>
#include <stdexcept>

#include "platform/marshaller.h"

// Preloaded, it takes the place of one function of the marshaller's library.

bool CNolvWsm::PutInt(std::int32_t) { throw std::runtime_error("the marshaller throws"); }
