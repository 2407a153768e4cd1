// The model of the SSD that is fitted.
#pragma once

#include <array>

namespace coupler::firmware {

/// Where the report of the current firmware leaves what the fitted SSD says of itself: its firmware revision and its
/// model number, a line each.
constexpr const char* kSsdReport = "/tmp/ssd_fwInfo";

/// A copy of `equipped_ssd_model_num`, which another thread may be refreshing: the old text or the new one.
std::array<char, 24> fitted_ssd_model();

}  // namespace coupler::firmware
