// Numbers that lead a text.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace coupler {

/// The signed decimal number that leads `text`, up to its first non-digit; 0 without one. One that does not fit is the
/// nearest that does.
inline int64_t leading_number(const char* text) { return std::strtoll(text, nullptr, 10); }

}  // namespace coupler
