#include <optional>

#include "container/format.h"

namespace coupler::container {
namespace {

// The bytes of an address that `range_get` handed out lie inside the caller's span.
template <typename T>
T* at(uint64_t address) {
  return reinterpret_cast<T*>(static_cast<uintptr_t>(address));
}

struct Found {
  ObjectHead head;
  uint64_t offset;  // of the object's header, from the start of the span
  bool complete;    // what lies between this head and the next one looked at is inside the span
};

/// The one loop of the walkers: from head to head, `distance(head)` bytes between them, to the first object of `type`.
template <typename Distance>
std::optional<Found> find(orvix_range* r, uint32_t type, Distance distance) {
  range_get(r, kFileGuidSize);
  while (const uint64_t address = range_get(r, kHeadSize)) {
    const ObjectHead head = decode_head(*at<const orvix_object>(address));
    if (head.type == orvix_object_null || head.type == ORVIX_TYPE_UNKNOWN) break;
    const uint64_t offset = r->cur - r->start;
    const bool complete = range_get(r, distance(head)) != 0;
    if (static_cast<uint32_t>(head.type) == type) return Found{head, offset, complete};
    if (!complete) break;
  }
  return std::nullopt;
}

uint64_t to_sibling(const ObjectHead& head) { return head.header_length + head.payload_length; }
uint64_t to_child(const ObjectHead& head) { return head.header_length; }
uint64_t to_child_or_sibling(const ObjectHead& head) {
  return head.header_length != 0 ? head.header_length : head.payload_length;
}

}  // namespace
}  // namespace coupler::container

using namespace coupler::container;

int locate_orvix_obj(orvix_range* r, uint32_t* headerOffset, uint32_t* headerLen, uint32_t* payloadOffset,
                     uint32_t* payloadLen, uint32_t type) {
  const auto found = find(r, type, to_sibling);
  if (!found || !found->complete) return 0;
  *headerOffset = static_cast<uint32_t>(found->offset);
  *headerLen = static_cast<uint32_t>(found->head.header_length);
  *payloadOffset = *headerOffset + *headerLen;
  *payloadLen = static_cast<uint32_t>(found->head.payload_length);
  return 1;
}

int orvix_contains_object_type(int type, orvix_range r) {
  return find(&r, static_cast<uint32_t>(type), to_child).has_value();
}

int orvix_get_object_payload(int type, uint64_t* offset, uint64_t* length, orvix_range r) {
  const auto found = find(&r, static_cast<uint32_t>(type), to_child_or_sibling);
  if (!found) return 0;
  if (offset != nullptr && length != nullptr) {
    *offset = found->offset;
    *length = found->head.payload_length;
  }
  return 1;
}

uint32_t orvix_get_obj(orvix_range* r, void** header, uint32_t* headerLen, void** payload, uint32_t* payloadLen) {
  if (r == nullptr || header == nullptr || headerLen == nullptr || payload == nullptr || payloadLen == nullptr) {
    return ORVIX_TYPE_UNKNOWN;
  }
  const uint64_t address = range_get(r, kHeadSize);
  if (address == 0) return ORVIX_TYPE_UNKNOWN;
  const ObjectHead head = decode_head(*at<const orvix_object>(address));
  if (head.type == ORVIX_TYPE_UNKNOWN) return ORVIX_TYPE_UNKNOWN;
  *headerLen = static_cast<uint32_t>(head.header_length);
  *header = at<void>(range_get(r, head.header_length));
  *payloadLen = static_cast<uint32_t>(head.payload_length);
  *payload = at<void>(range_get(r, head.payload_length));
  return static_cast<uint32_t>(head.type);
}
