// Makes the channel to the notification service and passes messages over it; what the message layer throws ends here.
#include "notify/channel.h"

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

#include "brantix/notify.h"
#include "frame/log.h"
#include "notify/resources.h"
#include "notify/tlv.h"
#include "platform/message/mesvo.h"
#include "support/cancellation.h"
#include "support/output.h"

namespace coupler::notify {
namespace {

constexpr const char* kOperation = "ngm_send_ipc_notify";
constexpr long kOwnLimit = -1;

/// The channel of one process, which is never taken down: a forked process must not touch its parent's.
struct ProcessChannel {
  const pid_t process = ::getpid();
  std::mutex mutex = {};
  mesvo::MsgRequestClientChannel* channel = nullptr;
  bool connected = false;
};

std::atomic<ProcessChannel*> current = nullptr;

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

ProcessChannel& channel_of_this_process() {
  ProcessChannel* known = current.load();
  if (known != nullptr && known->process == ::getpid()) return *known;
  auto made = std::make_unique<ProcessChannel>();
  return current.compare_exchange_strong(known, made.get()) ? *made.release() : *known;
}

// The channel's threads run in libraries that this one brought; no dlclose may unload them any more.
void stay_loaded() {
  static const char here = 0;
  Dl_info self;
  if (dladdr(&here, &self) != 0) dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

mesvo::MsgRequestClientChannel* make_channel() {
  stay_loaded();
  require_channel_resources();
  return new mesvo::MsgRequestClientChannel("SNMP-notif-client");
}

// A channel that exists stays when it cannot be connected, and gets its end point by the next call.
mesvo::MsgRequestClientChannel* connected_channel() {
  ProcessChannel& own = channel_of_this_process();
  const std::lock_guard lock(own.mutex);
  occupy_standard_streams();
  if (own.channel == nullptr) own.channel = make_channel();
  if (!own.connected) own.channel->setServerEndPoint("tcp://127.0.0.1:5558");
  own.connected = true;
  return own.channel;
}

template <typename Show>
void for_each_entry(TlvReader entries, Show show) {
  for (int i = 0; const std::optional<Entry> entry = entries.next(); ++i) {
    show(i, *entry, static_cast<int>(entry->value.size()), ::strnlen(entry->value.data(), entry->value.size()));
  }
}

void log_message(const TlvReader& entries, size_t size) {
  if (!LogGate(info).passes()) return;
  LOG_LINE(info, kOperation, "%s: msg size: %d\n", kOperation, static_cast<int>(size));
  std::string text;
  for_each_entry(entries, [&text](int i, const Entry& entry, int length, size_t text_length) {
    LOG_LINE(info, kOperation, "%s: msg[%d]: type: %d, length: %d, value: %s", kOperation, i, entry.type, length,
             text.assign(entry.value, 0, text_length).c_str());
  });
}

void print_message(const TlvReader& entries) {
  std::printf("%s: tlv_array size = %d\n", kOperation, static_cast<int>(entries.count()));
  for_each_entry(entries, [](int i, const Entry& entry, int length, size_t text_length) {
    std::printf("%s : tlv[%d]: type: %d, length: %d, value: %.*s\n", kOperation, i, entry.type, length,
                static_cast<int>(text_length), entry.value.data());
  });
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

}  // namespace

mesvo::MsgRequestClientChannel* notification_channel() {
  mesvo::MsgRequestClientChannel* channel = nullptr;
  contain([&channel] { channel = connected_channel(); });
  return channel;
}

bool request(mesvo::MsgRequestClientChannel* channel, int32_t type, void* message, int32_t size) {
  if (channel == nullptr || message == nullptr || size < 0) {
    LOG_LINE(critical, kOperation, "%s: no channel or no message", kOperation);
    return false;
  }
  contain([=] {
    const TlvReader entries(message, static_cast<size_t>(size));
    log_message(entries, static_cast<size_t>(size));
    print_message(entries);
    channel->ipcSend(type, static_cast<char*>(message), size);
    receive_reply(channel);
  });
  return true;
}

}  // namespace coupler::notify

int32_t ngm_send_ipc_notify(mesvo::MsgRequestClientChannel* channel, int32_t msgType, void* array, int32_t size) {
  const coupler::CancellationHeldOff held_off;
  const coupler::SignalFreeWrites signal_free;
  return coupler::notify::request(channel, msgType, array, size) ? 0 : -1;
}
