#pragma once
// Fixed-width names used by the foundation's interfaces and its assertions.
#include <cstdint>

namespace orv {

typedef std::uint32_t Uint32;
typedef std::uint64_t Uint64;

}  // namespace orv
