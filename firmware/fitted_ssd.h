#pragma once

namespace coupler::firmware {

/// Where the report of the current firmware leaves what the fitted SSD says of itself: its firmware revision and its
/// model number, a line each.
constexpr const char* kSsdReport = "/tmp/ssd_fwInfo";

}  // namespace coupler::firmware
