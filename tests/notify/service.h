#pragma once

#include <gtest/gtest.h>
#include <zmq.h>

#include <future>
#include <string>
#include <vector>

namespace coupler::test {

using Frames = std::vector<std::string>;

/// A real service at the address of the notification service.
class Service {
 public:
  Service() : socket_(zmq_socket(context_, ZMQ_REP)) {
    const int limit = 20'000, linger = 0;
    zmq_setsockopt(socket_, ZMQ_RCVTIMEO, &limit, sizeof limit);
    zmq_setsockopt(socket_, ZMQ_LINGER, &linger, sizeof linger);
    EXPECT_EQ(zmq_bind(socket_, "tcp://127.0.0.1:5558"), 0) << zmq_strerror(zmq_errno());
  }
  ~Service() {
    zmq_close(socket_);
    zmq_ctx_term(context_);
  }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// Answers the next request with `reply`, without frames not at all. @return the request
  std::future<Frames> answer(Frames reply) {
    return std::async(std::launch::async, [this, reply = std::move(reply)] {
      Frames request = receive();
      for (size_t i = 0; i < reply.size(); ++i) {
        zmq_send(socket_, reply[i].data(), reply[i].size(), i + 1 < reply.size() ? ZMQ_SNDMORE : 0);
      }
      return request;
    });
  }

 private:
  Frames receive() {
    Frames frames;
    bool more = true;
    while (more) {
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

  void* const context_ = zmq_ctx_new();
  void* const socket_;
};

}  // namespace coupler::test
