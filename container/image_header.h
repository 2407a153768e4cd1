// The image header record as a header in a container.
#pragma once

#include <cstddef>
#include <cstdint>

namespace coupler::container {

/// How many bytes of a header of `header_length` bytes are the image header record, as far as `capacity` takes them.
/// The last 16 bytes of a longer header are not part of the record.
size_t image_header_size(uint64_t header_length, size_t capacity);

}  // namespace coupler::container
