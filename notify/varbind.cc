#include "notify/varbind.h"

#include <algorithm>
#include <cstring>

#include "frame/log.h"

namespace coupler::notify {
namespace {

enum class Form { kNumber, kString, kOid };

struct ValueKind {
  uint8_t type;
  EntryType entry;
  Form form;
  uint16_t width = 0;  // bytes of a number
};

constexpr ValueKind kValueKinds[] = {
    {.type = BRANTIX_SNMP_INTEGER, .entry = kInteger, .form = Form::kNumber, .width = 4},
    {.type = BRANTIX_SNMP_OCTET_STRING, .entry = kOctetString, .form = Form::kString},
    {.type = BRANTIX_SNMP_OBJECT_ID, .entry = kObjectId, .form = Form::kOid},
    {.type = BRANTIX_SNMP_GAUGE32, .entry = kGauge32, .form = Form::kNumber, .width = 4},
    {.type = BRANTIX_SNMP_TEXT, .entry = kText, .form = Form::kString},
    {.type = BRANTIX_SNMP_COUNTER32, .entry = kCounter32, .form = Form::kNumber, .width = 4},
    {.type = BRANTIX_SNMP_COUNTER64, .entry = kCounter64, .form = Form::kNumber, .width = 8},
};

const ValueKind* value_kind(uint8_t type) {
  for (const ValueKind& kind : kValueKinds) {
    if (kind.type == type) return &kind;
  }
  return nullptr;
}

size_t oid_size(uint16_t count) { return kEntryHeadSize + kSubIdentifierSize * count; }

std::optional<size_t> text_size(const char* text, uint8_t type, int index, Text why) {
  if (text == nullptr) {
    LOG_LINE(critical, kSend, "%s: variable %d of type %d has no text", kSend, index, type);
    why.format("Unable to send SNMP notification. Text not set. var Idx=%d type=%d\n", index, type);
    return std::nullopt;
  }
  const size_t length = ::strnlen(text, BRANTIX_SNMP_TEXT_MAX + 1);
  if (length > BRANTIX_SNMP_TEXT_MAX) {
    why.format("Unable to send SNMP notification. Text too long. var Idx=%d type=%d\n", index, type);
    return std::nullopt;
  }
  return kEntryHeadSize + length + 1;
}

std::optional<size_t> value_size(const SCI_snmp_varbind_s& variable, int index, Text why) {
  const ValueKind* kind = value_kind(variable.type);
  if (kind == nullptr) {
    why.format("Unable to send SNMP notification. Unexpected object type. var Idx=%d type=%d\n", index, variable.type);
    return std::nullopt;
  }
  if (kind->form == Form::kString) return text_size(variable.value.text, variable.type, index, why);
  return kind->form == Form::kOid ? oid_size(variable.value_oid_len) : kEntryHeadSize + kind->width;
}

/// Writes entries; every conversion of an OID goes through one scratch area.
class Packer {
 public:
  Packer(TlvWriter message, Text why) : message_(message), why_(why) {}

  bool add_oid(EntryType entry, const uint64_t* oid, uint16_t count) {
    if (set_rnq_msg_oid(oid, count, scratch_) != 0) return false;
    message_.add(entry, scratch_, static_cast<uint16_t>(kSubIdentifierSize * count));
    return true;
  }

  bool add_variable(const SCI_snmp_varbind_s& variable, int index) {
    if (!add_oid(kVariableOid, variable.oid, variable.oid_len)) {
      why_.format("Unable to send SNMP notification. Cannot convert varbind OID %d\n", index);
      return false;
    }
    const ValueKind* kind = value_kind(variable.type);
    if (kind == nullptr) {
      why_.format("Unable to send SNMP notification. Unexpected type:%d - %d\n", index, variable.type);
      return false;
    }
    return add_value(*kind, variable);
  }

 private:
  bool add_value(const ValueKind& kind, const SCI_snmp_varbind_s& variable) {
    if (kind.form == Form::kNumber) {
      message_.add(kind.entry, &variable.value, kind.width);
    } else if (kind.form == Form::kString) {
      const char* text = variable.value.text;
      message_.add(kind.entry, text, static_cast<uint16_t>(::strnlen(text, BRANTIX_SNMP_TEXT_MAX) + 1));
    } else if (!add_oid(kind.entry, variable.value.oid, variable.value_oid_len)) {
      why_.format("Unable to send SNMP notification. Cannot convert varbind value as OID\n");
      return false;
    }
    return true;
  }

  TlvWriter message_;
  const Text why_;
  uint64_t scratch_[BRANTIX_OID_MAX + 1];
};

}  // namespace

// The sizes of OIDs are only added up here; whether they are too long is for their conversion to say.
std::optional<size_t> message_size(const Notification& notification, Text why) {
  size_t size = kCountSize + oid_size(notification.oid_length);
  for (int i = 0; i < notification.variable_count; ++i) {
    const SCI_snmp_varbind_s& variable = notification.variables[i];
    const std::optional<size_t> value = value_size(variable, i, why);
    if (!value) return std::nullopt;
    size += oid_size(variable.oid_len) + *value;
  }
  return size;
}

bool fill_message(const Notification& notification, TlvWriter message, Text why) {
  Packer packer(message, why);
  if (!packer.add_oid(kNotificationOid, notification.oid, notification.oid_length)) {
    why.format("Unable to send SNMP notification. Cannot convert trap OID\n");
    return false;
  }
  for (int i = 0; i < notification.variable_count; ++i) {
    if (!packer.add_variable(notification.variables[i], i)) return false;
  }
  return true;
}

}  // namespace coupler::notify

int32_t set_rnq_msg_oid(const uint64_t* src, uint16_t count, uint64_t* dst) {
  constexpr const char* kOperation = "set_rnq_msg_oid";
  if (count > BRANTIX_OID_MAX) {
    LOG_LINE(info, kOperation, "Unable to convert OID. Too many OIDs: %d", count);
    return -1;
  }
  if (src == nullptr || dst == nullptr) {
    LOG_LINE(critical, kOperation, "Unable to convert OID. It is null");
    return -1;
  }
  std::copy_n(src, count, dst);
  return 0;
}
