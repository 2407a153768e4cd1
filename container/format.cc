// The types of object, and what their descriptors say.
#include "container/format.h"

#include "brantix/frame.h"

#include <bit>
#include <cstring>
#include <iterator>

constexpr uint8_t orvix_file_guid[16] = {0x11, 0xbb, 0x8d, 0x46, 0xd6, 0x38, 0x01, 0x4d,
                                         0xa2, 0x6b, 0x7d, 0x66, 0x62, 0x0d, 0xfc, 0x74};

#define OBJECT(number, constant, guid, name, ...) constexpr uint8_t guid[16] = {__VA_ARGS__};
#include "brantix/container_types.def"
#undef OBJECT

#define OBJECT(number, constant, guid, name, ...) guid,
const uint8_t* const orvix_guid[] = {
#include "brantix/container_types.def"
};
#undef OBJECT

namespace coupler::container {
namespace {

#define OBJECT(number, constant, guid, name, ...) name,
constexpr const char* kNames[] = {
#include "brantix/container_types.def"
};
#undef OBJECT
static_assert(std::size(kNames) == ORVIX_TYPE_COUNT);

bool same_guid(const void* a, const void* b) { return std::memcmp(a, b, sizeof(orvix_file_guid)) == 0; }

// Length of valid PKCS#7 padding at the end of `payload`, else 0.
uint64_t padding_length(const uint8_t* payload, uint64_t length) {
  const uint8_t padding = payload[length - 1];
  if (padding == 0 || padding > kUnit) return 0;
  for (uint64_t i = 2; i <= padding; ++i) {
    if (payload[length - i] != padding) return 0;
  }
  return padding;
}

}  // namespace
}  // namespace coupler::container

int orvix_is_file_guid(const void* guid) { return coupler::container::same_guid(guid, orvix_file_guid); }

int orvix_get_object_type(const void* object) {
  for (int type = 0; type < ORVIX_TYPE_COUNT; ++type) {
    if (coupler::container::same_guid(object, orvix_guid[type])) return type;
  }
  return ORVIX_TYPE_UNKNOWN;
}

int orvix_is_file_format(FILE* stream) {
  uint8_t guid[sizeof(orvix_file_guid)];
  return stream != nullptr && std::fread(guid, 1, sizeof(guid), stream) == sizeof(guid) && orvix_is_file_guid(guid);
}

orvix_desc* orvix_object_get_descriptor(orvix_object* object) { return &object->desc; }

const char* orvix_object_get_name(const orvix_object* object) {
  const int type = orvix_get_object_type(object->guid);
  return type == ORVIX_TYPE_UNKNOWN ? "Unknown" : coupler::container::kNames[type];
}

uint64_t orvix_desc_get_header_len(const orvix_desc* desc) {
  return (desc->headerUnits[0] | static_cast<uint64_t>(desc->headerUnits[1]) << 8) * coupler::container::kUnit;
}

uint64_t orvix_desc_get_payload_len(const orvix_desc* desc) {
  uint64_t units = 0;
  for (int i = 4; i >= 0; --i) units = units << 8 | desc->payloadUnits[i];
  const uint64_t length = units * coupler::container::kUnit;
  if (length >= 0x80000000) T_log(1, "orvix_desc_get_payload_len bounds error");
  return length;
}

uint64_t orvix_desc_get_stripped_payload_len(const orvix_desc* desc) {
  const uint64_t length = orvix_desc_get_payload_len(desc);
  if ((desc->flags & coupler::container::kPadded) == 0 || length < coupler::container::kUnit) return length;
  const auto* payload = reinterpret_cast<const uint8_t*>(desc) + sizeof(*desc) + orvix_desc_get_header_len(desc);
  return length - coupler::container::padding_length(payload, length);
}

uint32_t log_base_two64(int64_t value) {
  return value == 0 ? 0 : static_cast<uint32_t>(std::bit_width(static_cast<uint64_t>(value)) - 1);
}
