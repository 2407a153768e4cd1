// A real service for the message layer's requests, at the address of the notification service, and what tests send it.
#pragma once

#include <gtest/gtest.h>
#include <zmq.h>

#include <future>

namespace coupler::test {

using Frames = std::vector<std::string>;

inline constexpr const char* kAddress = "tcp://127.0.0.1:5558";
inline const Frames kAcknowledged = {{"\1\0\0\0", 4}, {"\x2a\0\0\0", 4}};
inline const std::vector<uint64_t> kTrap = {1, 3, 6};
inline const std::string kExit = "SCI_sendSnmpNotification: exit";

template <typename Action>
std::string printed_by(Action action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

class Service {
 public:
  Service() {
    const int limit = 20'000, linger = 0;
    zmq_setsockopt(socket_, ZMQ_RCVTIMEO, &limit, sizeof limit);
    zmq_setsockopt(socket_, ZMQ_LINGER, &linger, sizeof linger);
    EXPECT_EQ(zmq_bind(socket_, kAddress), 0) << zmq_strerror(zmq_errno());
  }
  ~Service() {
    zmq_close(socket_);
    zmq_ctx_term(context_);
  }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  Frames receive() {
    Frames frames;
    for (bool more = true; more;) {
      zmq_msg_t message;
      zmq_msg_init(&message);
      if (zmq_msg_recv(&message, socket_, 0) >= 0) {
        frames.emplace_back(static_cast<const char*>(zmq_msg_data(&message)), zmq_msg_size(&message));
      }
      more = zmq_msg_more(&message) != 0;
      zmq_msg_close(&message);
    }
    return frames;
  }

  void reply(const Frames& frames) {
    for (size_t i = 0; i < frames.size(); ++i) {
      zmq_send(socket_, frames[i].data(), frames[i].size(), i + 1 < frames.size() ? ZMQ_SNDMORE : 0);
    }
  }

  /// Answers the next request with `frames`, without frames not at all. @return the request
  std::future<Frames> answer(Frames frames) {
    return std::async(std::launch::async, [this, frames = std::move(frames)] {
      Frames request = receive();
      reply(frames);
      return request;
    });
  }

 private:
  void* const context_ = zmq_ctx_new();
  void* const socket_ = zmq_socket(context_, ZMQ_REP);
};

}  // namespace coupler::test
