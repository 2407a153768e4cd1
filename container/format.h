// The container format in bytes, and the head of an object decoded.
#pragma once

#include <cstdint>

#include "brantix/container.h"

/// Numbers are little-endian; every length is a multiple of 16.
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

/// The head of an object.
struct ObjectHead {
  explicit ObjectHead(const orvix_object& object) : type(orvix_get_object_type(object.guid)), descriptor(object.desc) {}

  uint64_t header_length() const { return orvix_desc_get_header_len(&descriptor); }

  /// Asked once by whoever needs it, since a length out of bounds is traced each time.
  uint64_t payload_length() const { return orvix_desc_get_payload_len(&descriptor); }

  int type;  // type number, or ORVIX_TYPE_UNKNOWN
  orvix_desc descriptor;
};

}  // namespace coupler::container
