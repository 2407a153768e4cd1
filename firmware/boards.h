// What the types of board carry.
#pragma once

namespace coupler::firmware {

/// An NPU, which has a version file of its own, and a power sequencer, which counts in the package version.
constexpr bool has_npu(int board) { return board == 1; }

/// An SSD, at /dev/sda.
constexpr bool has_ssd(int board) { return board == 2 || board == 3; }

}  // namespace coupler::firmware
