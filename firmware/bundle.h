// The walk over a firmware bundle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "support/text.h"

namespace coupler::firmware {

/// What a walk reports, and where to; all of it is the caller's. Without an output directory only versions are asked.
struct BundleOutputs {
  char* header = nullptr;  // null: the image header is skipped
  size_t header_capacity = 0;
  size_t* header_length = nullptr;
  Text package_version;
  Text rommon_version;
  Text fpga_version;
  Text power_sequencer_version;
  Text lan_spi_version;
  Text ssd_version;
  const char* directory = nullptr;
  int* image_count = nullptr;
  char* image_list = nullptr;
  int list_entries = 0;
  int entry_size = 0;

  bool only_versions() const { return directory == nullptr; }
};

/// Walks the bundle at `path`. @return whether it could be read to its end
bool read_bundle(const char* path, const BundleOutputs& outputs);

/// Walks the bundle whose container starts at `base` and ends before `end`. @return as above
bool walk_bundle(std::FILE* bundle, uint64_t end, uint64_t base, const BundleOutputs& outputs);

}  // namespace coupler::firmware
