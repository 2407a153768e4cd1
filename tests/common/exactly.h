#pragma once

#include <cstring>
#include <memory>
#include <string_view>

#include "brantix/container.h"

namespace coupler::test {

/// Memory of exactly `size` bytes, so that the next byte is seen as foreign.
class Exactly {
 public:
  explicit Exactly(size_t size) : size_(size), bytes_(new char[size]()) {}
  explicit Exactly(std::string_view bytes) : Exactly(bytes.size()) { bytes.copy(data(), size()); }
  char* data() const { return bytes_.get(); }
  size_t size() const { return size_; }
  std::string_view bytes() const { return {data(), size()}; }
  bool is_terminated() const { return std::memchr(data(), '\0', size()) != nullptr; }

  /// All of it, as a container.
  orvix_range range() const {
    orvix_range all;
    set_range(&all, reinterpret_cast<uint64_t>(data()), size());
    return all;
  }

 private:
  size_t size_;
  std::unique_ptr<char[]> bytes_;
};

}  // namespace coupler::test
