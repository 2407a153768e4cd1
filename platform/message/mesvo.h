// The platform message layer, libmesvo.so: requests and replies over ZeroMQ.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#pragma GCC visibility push(default)

/// A request is one multipart message of two frames: the message type as a 4-byte little-endian integer, then the data.
/// A reply has the message type likewise, then zero or more data frames; one with a frame of more than 1 MiB is
/// dropped.
namespace mesvo {

/// Space for the platform's own members: users allocate the objects, and are not rebuilt when it takes the place of the
/// stand-in.
struct Room {
  std::max_align_t reserved[16];
};

/// A received message.
class IpcMsg {
 public:
  IpcMsg();
  ~IpcMsg();
  IpcMsg(const IpcMsg&) = delete;
  IpcMsg& operator=(const IpcMsg&) = delete;

  int getNumParts();   ///< number of data frames
  char* getMsgData();  ///< first data frame or its first 4096 bytes, owned by the message; null without one
  int getMsgType();    ///< message type; 0 in a message that was never received

 private:
  friend class MsgRequestClientChannel;
  struct Parts;
  std::unique_ptr<Parts> parts_;
  Room room_;
};

/// A client's end of a request channel. What cannot be sent or received is thrown as std::runtime_error with its
/// reason. A request whose reply never came does not block the next one. Used by one thread at a time, of the process
/// that made it: in a forked one every call throws.
class MsgRequestClientChannel {
 public:
  explicit MsgRequestClientChannel(std::string name);
  ~MsgRequestClientChannel();
  MsgRequestClientChannel(const MsgRequestClientChannel&) = delete;
  MsgRequestClientChannel& operator=(const MsgRequestClientChannel&) = delete;

  /// Connects to the service at `endpoint`, such as "tcp://127.0.0.1:5558"; it need not be there yet.
  void setServerEndPoint(std::string endpoint);

  /// Sends one request of `size` bytes. @return 0
  int ipcSend(int type, char* data, int size);

  /// Waits up to `timeout` milliseconds for the reply; -1 stands for the channel's own limit of 10 s, or what the
  /// environment variable MESVO_TIMEOUT_MS says. @return 0
  int ipcReceive(IpcMsg* reply, long timeout);

 private:
  struct Socket;
  std::unique_ptr<Socket> socket_;
  Room room_;
};

}  // namespace mesvo

#pragma GCC visibility pop
