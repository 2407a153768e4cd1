#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "support/text.h"

namespace coupler::firmware {

/// Where a walk reports to; all of it is the caller's.
struct BundleReport {
  char* header;  // null: the image header is skipped
  size_t header_capacity;
  size_t* header_length;
  Text package_version;
  Text versions[5];  // rommon, FPGA, power sequencer, LAN SPI, SSD
  const char* directory;
  int* image_count;
  char* image_list;
  int list_entries;
  int entry_size;
};

/// Walks the bundle whose container starts at `base` and ends before `end`. @return whether it could be read to its end
bool walk_bundle(std::FILE* bundle, uint64_t end, uint64_t base, const BundleReport& report);

}  // namespace coupler::firmware
