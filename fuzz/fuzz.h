// What the fuzzers share.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

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

/// Memory of exactly `size` bytes, so that the next byte is seen as foreign.
class Exactly {
 public:
  explicit Exactly(size_t size) : size_(size), bytes_(new char[size]()) {}
  explicit Exactly(std::string_view bytes) : Exactly(bytes.size()) { bytes.copy(data(), size()); }
  char* data() const { return bytes_.get(); }
  size_t size() const { return size_; }
  bool is_terminated() const { return std::memchr(data(), '\0', size()) != nullptr; }

 private:
  size_t size_;
  std::unique_ptr<char[]> bytes_;
};

}  // namespace coupler::fuzz
