#include "notify/channel.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "brantix/notify.h"
#include "frame/log.h"
#include "notify/tlv.h"
#include "platform/message/mesvo.h"

namespace coupler::notify {
namespace {

constexpr const char* kOperation = "ngm_send_ipc_notify";
constexpr long kOwnLimit = -1;

// Whatever the message layer throws ends here.
template <typename Action>
void contain(Action action) {
  try {
    action();
  } catch (const std::exception& exception) {
    std::printf("%s\n", exception.what());
  } catch (...) {
    std::printf("unknown exception\n");
  }
}

size_t text_length(const Entry& entry) { return ::strnlen(entry.value.data(), entry.value.size()); }

void log_message(const void* message, size_t size) {
  LOG_LINE(info, kOperation, "%s: msg size: %d\n", kOperation, static_cast<int>(size));
  TlvReader entries(message, size);
  std::string text;
  for (int i = 0; const std::optional<Entry> entry = entries.next(); ++i) {
    LOG_LINE(info, kOperation, "%s: msg[%d]: type: %d, length: %d, value: %s", kOperation, i, entry->type,
             static_cast<int>(entry->value.size()), text.assign(entry->value, 0, text_length(*entry)).c_str());
  }
}

void print_message(const void* message, size_t size) {
  TlvReader entries(message, size);
  std::printf("%s: tlv_array size = %d\n", kOperation, static_cast<int>(entries.count()));
  for (int i = 0; const std::optional<Entry> entry = entries.next(); ++i) {
    std::printf("%s : tlv[%d]: type: %d, length: %d, value: %.*s\n", kOperation, i, entry->type,
                static_cast<int>(entry->value.size()), static_cast<int>(text_length(*entry)), entry->value.data());
  }
}

void receive_reply(mesvo::MsgRequestClientChannel* channel) {
  mesvo::IpcMsg reply;
  channel->ipcReceive(&reply, kOwnLimit);
  const int parts = reply.getNumParts();
  std::printf("%s: num parts: %d\n", kOperation, parts);
  const char* data = parts > 0 ? reply.getMsgData() : nullptr;
  if (data == nullptr) return;
  int32_t acknowledgement;
  std::memcpy(&acknowledgement, data, sizeof(acknowledgement));
  std::printf("%s: msg type: %d, ack code: %d\n", kOperation, reply.getMsgType(), acknowledgement);
}

// The channel's threads run in libraries that this one brought; no dlclose may unload them any more.
void stay_loaded() {
  static const char here = 0;
  Dl_info self;
  if (dladdr(&here, &self) != 0) dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace

// An initialiser that throws is run again by the next call: a channel that exists stays, and gets its end point then.
mesvo::MsgRequestClientChannel* notification_channel() {
  mesvo::MsgRequestClientChannel* channel = nullptr;
  contain([&channel] {
    static auto* const created = (stay_loaded(), new mesvo::MsgRequestClientChannel("SNMP-notif-client"));
    static const bool connected = (created->setServerEndPoint("tcp://127.0.0.1:5558"), true);
    if (connected) channel = created;
  });
  return channel;
}

}  // namespace coupler::notify

int32_t ngm_send_ipc_notify(mesvo::MsgRequestClientChannel* channel, int32_t msgType, void* array, int32_t size) {
  using namespace coupler::notify;
  if (channel == nullptr || array == nullptr || size < 0) {
    LOG_LINE(critical, kOperation, "%s: no channel or no message", kOperation);
    return -1;
  }
  contain([=] {
    log_message(array, static_cast<size_t>(size));
    print_message(array, static_cast<size_t>(size));
    channel->ipcSend(msgType, static_cast<char*>(array), size);
    receive_reply(channel);
  });
  return 0;
}
