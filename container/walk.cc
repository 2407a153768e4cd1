// Walkers over a container in memory, which differ in where they look for the next object.
#include <optional>

#include "container/format.h"

namespace coupler::container {
namespace {

// The bytes of an address that `range_get` handed out lie inside the caller's span.
template <typename T>
T* at(uint64_t address) {
  return reinterpret_cast<T*>(static_cast<uintptr_t>(address));
}

/// Takes the file GUID, which nobody compares.
void enter(orvix_range& r) { range_get(&r, kFileGuidSize); }

std::optional<ObjectHead> take_head(orvix_range& r) {
  const uint64_t address = range_get(&r, kHeadSize);
  if (address == 0) return std::nullopt;
  return ObjectHead(*at<const orvix_object>(address));
}

/// The next object of a chain. @return nothing at its end: no head is left, or one of type 0 or of unknown type
std::optional<ObjectHead> next_of_chain(orvix_range& r) {
  auto head = take_head(r);
  if (head && (head->type == orvix_object_null || head->type == ORVIX_TYPE_UNKNOWN)) head.reset();
  return head;
}

bool is_of(const ObjectHead& head, uint32_t type) { return static_cast<uint32_t>(head.type) == type; }

/// The outputs of `locate_orvix_obj`.
struct Location {
  uint32_t* header_offset;
  uint32_t* header_length;
  uint32_t* payload_offset;
  uint32_t* payload_length;
};

// From sibling to sibling.
int locate(orvix_range& r, uint32_t type, const Location& found) {
  enter(r);
  while (const auto head = next_of_chain(r)) {
    const uint64_t header = head->header_length(), payload = head->payload_length();
    const uint64_t offset = r.cur - r.start;
    range_get(&r, header);
    if (range_get(&r, payload) == 0) return 0;
    if (!is_of(*head, type)) continue;
    *found.header_offset = static_cast<uint32_t>(offset);
    *found.header_length = static_cast<uint32_t>(header);
    *found.payload_offset = static_cast<uint32_t>(offset + header);
    *found.payload_length = static_cast<uint32_t>(payload);
    return 1;
  }
  return 0;
}

// From first child to first child. An overrun sticks: no head is left behind it.
int contains(orvix_range& r, uint32_t type) {
  enter(r);
  while (const auto head = next_of_chain(r)) {
    if (is_of(*head, type)) return 1;
    range_get(&r, head->header_length());
  }
  return 0;
}

// To the first child of what has a header, past what has none.
int find_payload(orvix_range& r, uint32_t type, uint64_t* offset, uint64_t* length) {
  enter(r);
  while (const auto head = next_of_chain(r)) {
    if (is_of(*head, type)) {
      if (offset == nullptr || length == nullptr) return 1;
      *offset = r.cur - r.start;
      *length = head->payload_length();
      return 1;
    }
    const uint64_t header = head->header_length();
    range_get(&r, header != 0 ? header : head->payload_length());
  }
  return 0;
}

/// One part of an object, as `orvix_get_obj` hands it out.
void take(orvix_range& r, uint64_t length, void** part, uint32_t* part_length) {
  *part_length = static_cast<uint32_t>(length);
  *part = at<void>(range_get(&r, length));
}

uint32_t take_object(orvix_range& r, void** header, uint32_t* header_length, void** payload, uint32_t* payload_length) {
  const auto head = take_head(r);
  if (!head || head->type == ORVIX_TYPE_UNKNOWN) return ORVIX_TYPE_UNKNOWN;
  take(r, head->header_length(), header, header_length);
  take(r, head->payload_length(), payload, payload_length);
  return static_cast<uint32_t>(head->type);
}

}  // namespace
}  // namespace coupler::container

int locate_orvix_obj(orvix_range* r, uint32_t* headerOffset, uint32_t* headerLen, uint32_t* payloadOffset,
                     uint32_t* payloadLen, uint32_t type) {
  return coupler::container::locate(*r, type, {headerOffset, headerLen, payloadOffset, payloadLen});
}

int orvix_contains_object_type(int type, orvix_range r) {
  return coupler::container::contains(r, static_cast<uint32_t>(type));
}

int orvix_get_object_payload(int type, uint64_t* offset, uint64_t* length, orvix_range r) {
  return coupler::container::find_payload(r, static_cast<uint32_t>(type), offset, length);
}

uint32_t orvix_get_obj(orvix_range* r, void** header, uint32_t* headerLen, void** payload, uint32_t* payloadLen) {
  if (r == nullptr || header == nullptr || headerLen == nullptr || payload == nullptr || payloadLen == nullptr) {
    return ORVIX_TYPE_UNKNOWN;
  }
  return coupler::container::take_object(*r, header, headerLen, payload, payloadLen);
}
