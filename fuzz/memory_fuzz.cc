// A container in memory: what the walkers hand out lies inside the span, and all of it can be read.
#include "fuzz/fuzz.h"

namespace coupler::fuzz {
namespace {

void walk(const Exactly& container, int type) {
  orvix_range span = container.range();
  uint32_t header = 0, header_length = 0, payload = 0, payload_length = 0;
  const auto wanted = static_cast<uint32_t>(type);
  if (locate_orvix_obj(&span, &header, &header_length, &payload, &payload_length, wanted) != 0) {
    require(uint64_t{payload} + payload_length <= container.size() && header + header_length == payload);
    require(orvix_get_object_type(container.data() + header - sizeof(orvix_object)) == type);
  }
  uint64_t offset = 0, length = 0;
  if (orvix_get_object_payload(type, &offset, &length, container.range()) != 0) {
    require(offset >= 48 && offset <= container.size());
    require(orvix_get_object_type(container.data() + offset - sizeof(orvix_object)) == type);
  }
  orvix_contains_object_type(type, container.range());
}

/// A whole object in memory of its own.
void strip(const char* head, uint64_t header_length, uint64_t payload_length) {
  const Exactly object({head, sizeof(orvix_object) + header_length + payload_length});
  auto* whole = reinterpret_cast<orvix_object*>(object.data());
  const uint64_t stripped = orvix_desc_get_stripped_payload_len(orvix_object_get_descriptor(whole));
  require(stripped <= payload_length && payload_length - stripped <= 16);
  require(orvix_object_get_name(whole)[0] != '\0');
}

void take_all(const Exactly& container) {
  orvix_range span = container.range();
  range_get(&span, sizeof(orvix_file_guid));
  for (;;) {
    const auto* head = reinterpret_cast<const char*>(span.cur);
    void *header = nullptr, *payload = nullptr;
    uint32_t header_length = 0, payload_length = 0;
    if (orvix_get_obj(&span, &header, &header_length, &payload, &payload_length) == ORVIX_TYPE_UNKNOWN) return;
    require(header == nullptr || header == head + sizeof(orvix_object));
    require(payload == nullptr || is_in_range(&span) == 1);
    if (header != nullptr && payload != nullptr) strip(head, header_length, payload_length);
  }
}

}  // namespace

void try_input(const std::string& bytes) {
  const Exactly container(bytes);
  for (int type = 0; type < ORVIX_TYPE_COUNT; ++type) walk(container, type);
  walk(container, ORVIX_TYPE_UNKNOWN);
  take_all(container);
}

}  // namespace coupler::fuzz
