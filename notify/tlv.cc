#include "notify/tlv.h"

#include <cstring>

#include "brantix/notify.h"

namespace coupler::notify {
namespace {

template <typename Number>
Number load(const char* from) {
  Number number;
  std::memcpy(&number, from, sizeof(number));
  return number;
}

template <typename Number>
void store(char* to, Number number) {
  std::memcpy(to, &number, sizeof(number));
}

}  // namespace

TlvReader::TlvReader(const void* message, size_t size) : message_(static_cast<const char*>(message)), size_(size) {
  if (size < kCountSize) return;
  count_ = load<uint32_t>(message_);
  used_ = kCountSize;
}

std::optional<Entry> TlvReader::next() {
  if (read_ == count_ || size_ - used_ < kEntryHeadSize) return std::nullopt;
  const char* head = message_ + used_;
  const auto length = load<uint16_t>(head + 2);
  if (size_ - used_ - kEntryHeadSize < length) return std::nullopt;
  used_ += kEntryHeadSize + length;
  ++read_;
  return Entry{load<uint16_t>(head), {head + kEntryHeadSize, length}};
}

bool TlvWriter::add(uint16_t type, const void* value, uint16_t length) {
  if (used_ > capacity_ || capacity_ - used_ < kEntryHeadSize + length) return false;
  char* head = message_ + used_;
  store(head, type);
  store(head + 2, length);
  if (length > 0) std::memcpy(head + kEntryHeadSize, value, length);
  store(message_, load<uint32_t>(message_) + 1);
  used_ += kEntryHeadSize + length;
  return true;
}

}  // namespace coupler::notify

int32_t tlv_array_add_tlv(void* array, int32_t maxSize, uint16_t type, uint16_t length, const void* value) {
  using namespace coupler::notify;
  constexpr int32_t kDoesNotFit = 48;
  if (array == nullptr || (value == nullptr && length > 0) || maxSize < 0) return kDoesNotFit;
  const auto capacity = static_cast<size_t>(maxSize);
  TlvReader present(array, capacity);
  while (present.next()) {
  }
  const bool added = present.at_end() && TlvWriter(array, capacity, present.used()).add(type, value, length);
  return added ? 0 : kDoesNotFit;
}
