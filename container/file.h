// Objects of a container where they stand in a file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>

#include "container/format.h"
#include "support/read_at.h"

namespace coupler::container {

/// Reads `size` bytes at `position`; logs a line when there is no file or it cannot be positioned.
ReadResult read_at(std::FILE* file, uint64_t position, void* to, size_t size);

/// Tells an open file's size, or 0 with a line that gives its path.
uint64_t size_of(std::FILE* file, const char* path);

/// An object where it stands.
struct Object {
  uint64_t position;
  ObjectHead head;

  uint64_t header_at() const { return position + kHeadSize; }
  uint64_t payload_at() const { return header_at() + head.header_length(); }
};

/// Reads the head of the object at `position`; what the file lacks of it, or does not give away, is zero.
/// @return nothing when the file cannot be positioned
std::optional<Object> object_at(std::FILE* file, uint64_t position);

/// The first object of the container at `base`.
std::optional<Object> first_object(std::FILE* file, uint64_t base = 0);

/// The first object of the payload of `parent`.
std::optional<Object> first_child(std::FILE* file, const Object& parent);

}  // namespace coupler::container
