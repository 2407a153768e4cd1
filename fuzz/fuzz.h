// What the fuzzers share.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "tests/common/exactly.h"
#include "tests/common/files.h"
#include "tests/common/log_capture.h"

namespace coupler::fuzz {

using namespace coupler::test;

/// Each fuzzer's own: aborts when something does not hold for these bytes.
void try_input(const std::string& bytes);

inline void require(bool holds) {
  if (!holds) std::abort();
}

/// The text in a field, which ends inside it.
template <size_t N>
std::string text_of(const char (&field)[N]) {
  require(std::memchr(field, '\0', N) != nullptr);
  return field;
}

}  // namespace coupler::fuzz
