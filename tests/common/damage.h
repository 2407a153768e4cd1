// Damage to a file's bytes, a verb each.
#pragma once

#include <cstddef>
#include <string>

namespace coupler::test {

inline std::string cut_at(size_t size, std::string bytes) { return bytes.substr(0, size); }

inline std::string set_bytes(size_t at, const std::string& values, std::string bytes) {
  return bytes.replace(at, values.size(), values);
}

inline std::string set_byte(size_t at, char value, std::string bytes) {
  return set_bytes(at, std::string(1, value), std::move(bytes));
}

/// Makes the payload of the container object at `at` the longest of all, 2^44 - 16 bytes.
inline std::string grow_length(size_t at, std::string bytes) {
  return set_bytes(at + 19, std::string(5, '\xff'), std::move(bytes));
}

}  // namespace coupler::test
