#pragma once

#include <cstdint>

#include "brantix/container.h"

/// The container format in bytes. Numbers are little-endian; every length is a multiple of 16.
///
///   container:   0 file GUID    16 first object ...
///   object:      0 type GUID    16 descriptor    32 header (H bytes)    32 + H payload (P bytes)
///   descriptor:  0 H / 16 (2 bytes)    3 P / 16 (5 bytes)    8 flags
///
/// The next sibling of an object starts behind its payload; the first child, if it has any, at its payload.
namespace coupler::container {

constexpr uint64_t kFileGuidSize = 16;
constexpr uint64_t kHeadSize = sizeof(orvix_object);
constexpr uint64_t kUnit = 16;
constexpr uint8_t kPadded = 2;  // flag: the payload ends in PKCS#7 padding

/// The head of an object, decoded.
struct ObjectHead {
  int type;  // type number, or ORVIX_TYPE_UNKNOWN
  uint64_t header_length;
  uint64_t payload_length;
};

ObjectHead decode_head(const orvix_object& object);

}  // namespace coupler::container
