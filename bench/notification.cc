// A notification: its message beside a copy of as many bytes, its way to a service and back beside the bare transport.
#include <fcntl.h>
#include <unistd.h>
#include <zmq.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <thread>

#include "bench/table.h"
#include "notify/tlv.h"
#include "notify/varbind.h"
#include "support/handle.h"

namespace coupler::bench {
namespace {

using namespace coupler::notify;

constexpr const char* kEndPoint = "tcp://127.0.0.1:5558";
const std::vector<uint64_t> kOid = {1, 3, 6, 1, 2, 1, 2, 2, 1, 2, 17};

std::vector<SCI_snmp_varbind_s> variables(int count) {
  SCI_snmp_varbind_s variable{};
  variable.oid = kOid.data();
  variable.oid_len = static_cast<uint16_t>(kOid.size());
  variable.type = BRANTIX_SNMP_OCTET_STRING;
  variable.value.text = "GigabitEthernet1/0/17, uplink";
  return std::vector<SCI_snmp_varbind_s>(static_cast<size_t>(count), variable);
}

Notification notification(const std::vector<SCI_snmp_varbind_s>& list) {
  return {kOid.data(), static_cast<uint16_t>(kOid.size()), list.data(), static_cast<uint16_t>(list.size())};
}

/// Packs as the library does, into memory that is there, and makes it as large as the message.
void pack(const std::vector<SCI_snmp_varbind_s>& list, std::vector<char>& message) {
  char why[128];
  const std::unique_ptr<Value[]> values(new Value[list.size()]);
  message.resize(*resolve(notification(list), values.get(), why));
  fill_message(notification(list), values.get(), message.data(), message.size(), why);
}

std::vector<char> packed(const std::vector<SCI_snmp_varbind_s>& list) {
  std::vector<char> message;
  pack(list, message);
  return message;
}

/// Does it often enough to be measured.
void repeat(int count, const std::function<void()>& action) {
  for (int i = 0; i < 3'000'000 / count; ++i) action();
}

/// The least that packing does: for each variable a text's length, two heads and two copies.
void pack_barely(const std::vector<SCI_snmp_varbind_s>& list, char* to) {
  const auto add = [&to](uint16_t type, const void* bytes, size_t length) {
    const auto short_length = static_cast<uint16_t>(length);
    std::memcpy(to, &type, sizeof(type));
    std::memcpy(to + sizeof(type), &short_length, sizeof(short_length));
    std::memcpy(to + kEntryHeadSize, bytes, length);
    to += kEntryHeadSize + length;
  };
  for (const SCI_snmp_varbind_s& variable : list) {
    add(kVariableOid, variable.oid, kSubIdentifierSize * variable.oid_len);
    add(kOctetString, variable.value.text, std::strlen(variable.value.text) + 1);
  }
}

std::vector<Row> packing(int count) {
  const auto list = std::make_shared<std::vector<SCI_snmp_varbind_s>>(variables(count));
  const size_t size = packed(*list).size();
  const auto target = std::make_shared<std::vector<char>>(size), source = std::make_shared<std::vector<char>>(size);
  const auto repeated = [count](const std::function<void()>& action) -> Measure {
    return [=] { return processor_time([&] { repeat(count, action); }); };
  };
  const Measure cost = repeated([=] { pack(*list, *target); });
  const Measure copy = repeated([=] {
    std::memcpy(target->data(), source->data(), size);
    __asm__ volatile("" : : "r"(target->data()) : "memory");
  });
  const Measure bare = repeated([=] { pack_barely(*list, target->data()); });
  return {{"packing " + std::to_string(count) + " variables", "memcpy of the message's bytes", 3, cost, copy},
          {"the same", "a bare loop of heads, copies and text lengths", 2, cost, bare}};
}

/// Answers every request at once, for as long as this lives.
class Service {
 public:
  Service() : context_(zmq_ctx_new()), thread_([this] { serve(); }) {}
  ~Service() {
    zmq_ctx_shutdown(context_);
    thread_.join();
    zmq_ctx_term(context_);
  }

 private:
  void serve() const {
    void* const socket = zmq_socket(context_, ZMQ_REP);
    zmq_bind(socket, kEndPoint);
    char bytes[4096];
    while (zmq_recv(socket, bytes, sizeof(bytes), 0) >= 0) {
      int more = 1;
      size_t length = sizeof(more);
      for (zmq_getsockopt(socket, ZMQ_RCVMORE, &more, &length); more != 0;
           zmq_getsockopt(socket, ZMQ_RCVMORE, &more, &length)) {
        zmq_recv(socket, bytes, sizeof(bytes), 0);
      }
      zmq_send(socket, "\1\0\0\0", 4, ZMQ_SNDMORE);
      zmq_send(socket, "\0\0\0\0", 4, 0);
    }
    zmq_close(socket);
  }

  void* context_;
  std::thread thread_;
};

/// A socket as the message layer uses one.
class Requester {
 public:
  Requester() : context_(zmq_ctx_new()), socket_(zmq_socket(context_, ZMQ_REQ)) { zmq_connect(socket_, kEndPoint); }
  ~Requester() {
    zmq_close(socket_);
    zmq_ctx_term(context_);
  }

  void ask(const std::vector<char>& message) const {
    char reply[64];
    zmq_send(socket_, "\1\0\0\0", 4, ZMQ_SNDMORE);
    zmq_send(socket_, message.data(), message.size(), 0);
    zmq_recv(socket_, reply, sizeof(reply), 0);
    if (zmq_recv(socket_, reply, sizeof(reply), 0) < 0) throw std::runtime_error("no reply");
  }

 private:
  void* context_;
  void* socket_;
};

/// Standard output goes nowhere for as long as this lives: the library prints what it sends.
class Quiet {
 public:
  Quiet() : kept_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    dup2(nowhere.get(), STDOUT_FILENO);
  }
  ~Quiet() {
    std::fflush(stdout);
    dup2(kept_.get(), STDOUT_FILENO);
  }

 private:
  Descriptor kept_;
};

Row round_trip() {
  constexpr int kTrips = 500;
  const auto service = std::make_shared<Service>();
  const auto requester = std::make_shared<Requester>();
  const auto list = std::make_shared<std::vector<SCI_snmp_varbind_s>>(variables(3));
  const auto message = std::make_shared<std::vector<char>>(packed(*list));
  return {"a notification to a service that answers at once", "a bare round trip over the same transport", 1.1,
          [=] {
            const Quiet quiet;
            return wall_time([&] {
              for (int i = 0; i < kTrips; ++i) {
                char error[128];
                SCI_sendSnmpNotification(kOid.data(), static_cast<uint16_t>(kOid.size()), list->data(), 3, error,
                                         sizeof(error));
              }
            });
          },
          [=] {
            (void)service;
            return wall_time([&] {
              for (int i = 0; i < kTrips; ++i) requester->ask(*message);
            });
          }};
}

}  // namespace

std::vector<Row> notification_rows() {
  std::vector<Row> rows;
  for (const int count : {300, 3'000, 30'000}) std::ranges::copy(packing(count), std::back_inserter(rows));
  rows.push_back(round_trip());
  return rows;
}

}  // namespace coupler::bench
