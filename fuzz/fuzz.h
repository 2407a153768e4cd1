#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

/// What the fuzzers share.
namespace coupler::fuzz {

inline void require(bool holds) {
  if (!holds) std::abort();
}

/// Memory of exactly `size` bytes, so that the next byte is seen as foreign.
class Exactly {
 public:
  explicit Exactly(size_t size) : size_(size), bytes_(new char[size]()) {}
  Exactly(const void* from, size_t size) : Exactly(size) {
    if (size > 0) std::memcpy(bytes_.get(), from, size);
  }
  char* data() const { return bytes_.get(); }
  size_t size() const { return size_; }
  bool is_terminated() const { return std::memchr(data(), '\0', size()) != nullptr; }

 private:
  size_t size_;
  std::unique_ptr<char[]> bytes_;
};

}  // namespace coupler::fuzz
