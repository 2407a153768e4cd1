#include "platform/message/mesvo.h"

#include <zmq.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace mesvo {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// The channel's own limit: a service that is not there must not hang its client for ever.
milliseconds own_limit() {
  int limit = 10'000;
  if (const char* text = std::getenv("MESVO_TIMEOUT_MS"); text != nullptr) {
    std::from_chars(text, text + std::strlen(text), limit);
  }
  return milliseconds(std::max(limit, 0));
}

/// One received frame.
class Frame {
 public:
  Frame() { zmq_msg_init(&message_); }
  ~Frame() { zmq_msg_close(&message_); }
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  zmq_msg_t* get() { return &message_; }
  bool more() const { return zmq_msg_more(&message_) != 0; }
  std::string_view bytes() { return {static_cast<const char*>(zmq_msg_data(&message_)), zmq_msg_size(&message_)}; }

 private:
  zmq_msg_t message_;
};

int decode_type(std::string_view bytes) {
  if (bytes.size() < 4) return 0;
  unsigned type = 0;
  for (size_t i = 4; i-- > 0;) type = type << 8 | static_cast<unsigned char>(bytes[i]);
  return static_cast<int>(type);
}

std::string encode_type(int type) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    bytes += static_cast<char>(static_cast<unsigned>(type) >> shift & 0xff);
  }
  return bytes;
}

}  // namespace

struct IpcMsg::Parts {
  int type = 0;
  int count = 0;
  std::vector<char> first;

  void add(std::string_view bytes) {
    if (count++ > 0) return;
    // Whoever reads a 32-bit value or a text of a short frame stays inside.
    first.assign(bytes.size() + sizeof(int32_t), '\0');
    std::copy(bytes.begin(), bytes.end(), first.begin());
  }
};

IpcMsg::IpcMsg() : parts_(std::make_unique<Parts>()) {}
IpcMsg::~IpcMsg() = default;
int IpcMsg::getNumParts() { return parts_->count; }
char* IpcMsg::getMsgData() { return parts_->count > 0 ? parts_->first.data() : nullptr; }
int IpcMsg::getMsgType() { return parts_->type; }

struct MsgRequestClientChannel::Socket {
  explicit Socket(std::string client) : name(std::move(client)) {}
  ~Socket() {
    if (socket != nullptr) zmq_close(socket);
    if (context != nullptr) zmq_ctx_term(context);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  [[noreturn]] void fail(const std::string& action, const std::string& reason) const {
    throw std::runtime_error(name + ": cannot " + action + ": " + reason);
  }
  void check(bool done, const std::string& action) const {
    if (!done) fail(action, zmq_strerror(zmq_errno()));
  }
  void set(int option, int value) const {
    check(zmq_setsockopt(socket, option, &value, sizeof value) == 0, "set up the socket");
  }

  void send(std::string_view bytes, int flags) const {
    int sent;
    do {
      sent = zmq_send(socket, bytes.data(), bytes.size(), flags);
    } while (sent < 0 && zmq_errno() == EINTR);
    check(sent >= 0, "send to " + endpoint);
  }

  void receive(Frame& frame, milliseconds limit) const {
    const auto deadline = Clock::now() + limit;
    while (true) {
      const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
      set(ZMQ_RCVTIMEO, static_cast<int>(std::clamp<long>(left, 0, INT_MAX)));
      if (zmq_msg_recv(frame.get(), socket, 0) >= 0) return;
      if (zmq_errno() == EINTR) continue;
      if (zmq_errno() != EAGAIN) check(false, "receive");
      fail("receive", "no reply from " + endpoint + " within " + std::to_string(limit.count()) + " ms");
    }
  }

  const std::string name;
  std::string endpoint;
  void* context = nullptr;
  void* socket = nullptr;
};

MsgRequestClientChannel::MsgRequestClientChannel(std::string name)
    : socket_(std::make_unique<Socket>(std::move(name))) {
  socket_->context = zmq_ctx_new();
  socket_->check(socket_->context != nullptr, "make a context");
  socket_->socket = zmq_socket(socket_->context, ZMQ_REQ);
  socket_->check(socket_->socket != nullptr, "make a socket");
  // A request may follow one whose reply is lost, and a late reply is not taken for its own.
  socket_->set(ZMQ_REQ_RELAXED, 1);
  socket_->set(ZMQ_REQ_CORRELATE, 1);
  socket_->set(ZMQ_LINGER, 0);
}

MsgRequestClientChannel::~MsgRequestClientChannel() = default;

void MsgRequestClientChannel::setServerEndPoint(std::string endpoint) {
  socket_->check(zmq_connect(socket_->socket, endpoint.c_str()) == 0, "connect to " + endpoint);
  if (!socket_->endpoint.empty()) zmq_disconnect(socket_->socket, socket_->endpoint.c_str());
  socket_->endpoint = std::move(endpoint);
}

int MsgRequestClientChannel::ipcSend(int type, char* data, int size) {
  if (socket_->endpoint.empty()) socket_->fail("send", "no server end point");
  if (size < 0 || (data == nullptr && size > 0)) socket_->fail("send", "no data");
  socket_->set(ZMQ_SNDTIMEO, static_cast<int>(own_limit().count()));
  socket_->send(encode_type(type), ZMQ_SNDMORE);
  socket_->send({data, static_cast<size_t>(size)}, 0);
  return 0;
}

int MsgRequestClientChannel::ipcReceive(IpcMsg* reply, long timeout) {
  if (reply == nullptr) socket_->fail("receive", "no message to fill");
  const milliseconds limit = timeout < 0 ? own_limit() : milliseconds(std::min<long>(timeout, INT_MAX));
  Frame head;
  socket_->receive(head, limit);
  IpcMsg::Parts parts;
  parts.type = decode_type(head.bytes());
  for (bool more = head.more(); more;) {
    Frame frame;
    socket_->receive(frame, limit);
    parts.add(frame.bytes());
    more = frame.more();
  }
  *reply->parts_ = std::move(parts);
  return 0;
}

}  // namespace mesvo
