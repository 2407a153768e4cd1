// The message layer over ZeroMQ: requests, their replies, and a limit for every wait.
#include "platform/message/mesvo.h"

#include <unistd.h>
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

constexpr int64_t kLargestFrame = 1 << 20;  // the transport takes none that is larger
constexpr size_t kKept = 4096;              // bytes of a reply that its reader gets to see

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
    bytes = bytes.substr(0, kKept);
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
  // The threads behind a socket are not in a forked process: there, taking it down would never end.
  ~Socket() {
    if (process != ::getpid()) return;
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

  void require_own_process(const std::string& action) const {
    if (process != ::getpid()) fail(action, "the channel belongs to another process");
  }

  /// Repeats a call that a signal interrupts, until the deadline. @return whether it was done
  template <typename Call>
  bool done_by(Clock::time_point deadline, int timeout_option, Call call) const {
    do {
      const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
      set(timeout_option, static_cast<int>(std::clamp<long>(left, 0, INT_MAX)));
      if (call() >= 0) return true;
    } while (zmq_errno() == EINTR && Clock::now() < deadline);
    return false;
  }

  void send(std::string_view bytes, int flags, Clock::time_point deadline) const {
    const auto call = [&] { return zmq_send(socket, bytes.data(), bytes.size(), flags); };
    check(done_by(deadline, ZMQ_SNDTIMEO, call), "send to " + endpoint);
  }

  void receive(Frame& frame, Clock::time_point deadline, milliseconds limit) const {
    if (done_by(deadline, ZMQ_RCVTIMEO, [&] { return zmq_msg_recv(frame.get(), socket, 0); })) return;
    if (zmq_errno() != EAGAIN && zmq_errno() != EINTR) check(false, "receive");
    fail("receive", "no reply from " + endpoint + " within " + std::to_string(limit.count()) + " ms");
  }

  const pid_t process = ::getpid();
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
  socket_->check(zmq_setsockopt(socket_->socket, ZMQ_MAXMSGSIZE, &kLargestFrame, sizeof(kLargestFrame)) == 0,
                 "set up the socket");
}

MsgRequestClientChannel::~MsgRequestClientChannel() = default;

void MsgRequestClientChannel::setServerEndPoint(std::string endpoint) {
  socket_->require_own_process("connect");
  socket_->check(zmq_connect(socket_->socket, endpoint.c_str()) == 0, "connect to " + endpoint);
  if (!socket_->endpoint.empty()) zmq_disconnect(socket_->socket, socket_->endpoint.c_str());
  socket_->endpoint = std::move(endpoint);
}

int MsgRequestClientChannel::ipcSend(int type, char* data, int size) {
  socket_->require_own_process("send");
  if (socket_->endpoint.empty()) socket_->fail("send", "no server end point");
  if (size < 0 || (data == nullptr && size > 0)) socket_->fail("send", "no data");
  const auto deadline = Clock::now() + own_limit();
  socket_->send(encode_type(type), ZMQ_SNDMORE, deadline);
  socket_->send({data, static_cast<size_t>(size)}, 0, deadline);
  return 0;
}

int MsgRequestClientChannel::ipcReceive(IpcMsg* reply, long timeout) {
  socket_->require_own_process("receive");
  if (reply == nullptr) socket_->fail("receive", "no message to fill");
  const milliseconds limit = timeout < 0 ? own_limit() : milliseconds(std::min<long>(timeout, INT_MAX));
  const auto deadline = Clock::now() + limit;
  Frame head;
  socket_->receive(head, deadline, limit);
  IpcMsg::Parts parts;
  parts.type = decode_type(head.bytes());
  for (bool more = head.more(); more;) {
    Frame frame;
    socket_->receive(frame, deadline, limit);
    parts.add(frame.bytes());
    more = frame.more();
  }
  *reply->parts_ = std::move(parts);
  return 0;
}

}  // namespace mesvo
