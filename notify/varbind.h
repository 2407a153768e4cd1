// A notification as its host gives it, and its way into a message.
#pragma once

#include <optional>

#include "brantix/notify.h"
#include "support/text.h"

namespace coupler::notify {

constexpr const char* kSend = "SCI_sendSnmpNotification";

struct Notification {
  const uint64_t* oid;
  uint16_t oid_length;
  const SCI_snmp_varbind_s* variables;
  uint16_t variable_count;
};

/// @return the size in bytes of the notification's message; nothing when a variable cannot be sent: `why` then tells
std::optional<size_t> message_size(const Notification& notification, Text why);

/// Writes the notification to a message of that size. @return false when an OID cannot be sent: `why` then tells
bool fill_message(const Notification& notification, char* message, size_t size, Text why);

}  // namespace coupler::notify
