// Sends SNMP notifications: checks them, makes their message and passes it on.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "brantix/notify.h"
#include "frame/log.h"
#include "notify/channel.h"
#include "notify/varbind.h"
#include "support/cancellation.h"
#include "support/output.h"
#include "support/text.h"

namespace coupler::notify {
namespace {

constexpr int32_t kNotificationMessage = 1;
constexpr const char* kNoMemory = "Unable to send SNMP notification. mem allocation failure\n";

struct Free {
  void operator()(char* memory) const { std::free(memory); }
};
using Message = std::unique_ptr<char, Free>;

// The message layer counts in int. Memory that stays zero is never touched, however much a refused OID asks for.
Message zeroed_message(size_t size) {
  return Message(size <= INT_MAX ? static_cast<char*>(std::calloc(1, size)) : nullptr);
}

/// Where the host wants to read why nothing was sent; may be missing.
class ErrorBuffer {
 public:
  ErrorBuffer(char* data, int32_t size) : data_(size > 0 ? data : nullptr), size_(size) {}

  Text text() const { return Text(data_, static_cast<size_t>(size_)); }

  /// Reports a refusal, which is no failure to the host's eyes. @return 0
  int32_t refuse(const char* why) const {
    text().copy(why);
    if (data_ != nullptr) data_[size_ - 1] = '\0';
    LOG_LINE(info, kSend, "%s", data_ != nullptr ? data_ : why);
    return 0;
  }

 private:
  char* data_;
  int32_t size_;
};

int32_t send_message(mesvo::MsgRequestClientChannel* channel, char* message, int32_t size, const ErrorBuffer& error) {
  LOG_LINE(info, kSend, "Send SNMP RNQ message. Msg size=%d\n", size);
  if (!request(channel, kNotificationMessage, message, size)) {
    error.text().format("Unable to send SNMP notification as RNQ message. Msg size=%d\n", size);
    return -1;
  }
  LOG_LINE(info, kSend, "Sent SNMP RNQ message. Msg size=%d ret: %d\n", size, 0);
  return 0;
}

int32_t send(mesvo::MsgRequestClientChannel* channel, const Notification& notification, const ErrorBuffer& error) {
  if (notification.oid == nullptr || notification.variables == nullptr) {
    return error.refuse("Cannot send SNMP notification. Trap OID or variable list not set\n");
  }
  const std::unique_ptr<Value[]> values(new (std::nothrow) Value[notification.variable_count]);
  if (values == nullptr) return error.refuse(kNoMemory);
  char why[128] = "";
  const std::optional<size_t> size = resolve(notification, values.get(), why);
  if (!size) return error.refuse(why);
  const Message message = zeroed_message(*size);
  if (message == nullptr) return error.refuse(kNoMemory);
  if (!fill_message(notification, values.get(), message.get(), *size, why)) return error.refuse(why);
  return send_message(channel, message.get(), static_cast<int32_t>(*size), error);
}

}  // namespace
}  // namespace coupler::notify

int32_t SCI_sendSnmpNotification(const uint64_t* notifOid, uint16_t aInNotifOidSize,
                                 const SCI_snmp_varbind_s* aInVariableList, uint16_t aInVariableListSize,
                                 char* aOutErrBuf, int32_t errBufSize) {
  const coupler::CancellationHeldOff held_off;
  const coupler::SignalFreeWrites signal_free;
  LOG_LINE(info, coupler::notify::kSend,
           "SCI_sendSnmpNotification() enter, aInNotifOidSize: %d,aInVariableListSize: %d\n", aInNotifOidSize,
           aInVariableListSize);
  // The channel is made before anything is checked: a refused first call makes it, too.
  mesvo::MsgRequestClientChannel* const channel = coupler::notify::notification_channel();
  const int32_t result =
      coupler::notify::send(channel, {notifOid, aInNotifOidSize, aInVariableList, aInVariableListSize},
                            coupler::notify::ErrorBuffer(aOutErrBuf, errBufSize));
  std::printf("%s: exit", coupler::notify::kSend);
  return result;
}

int32_t SCI_registerMib(const void*, uint16_t aInVariableListLength, const char* aOutErrBuf) {
  const coupler::CancellationHeldOff held_off;
  const coupler::SignalFreeWrites signal_free;
  std::printf("xxxxx SCI_registerMib() aOutErrBuf: %s, aInVariableListLength: %d\n", coupler::or_null(aOutErrBuf),
              aInVariableListLength);
  return 0;
}
