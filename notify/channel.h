// The way to the notification service: one channel of the message layer for each process.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mesvo {
class MsgRequestClientChannel;
}

namespace coupler::notify {

/// The channel to the notification service. The first call of a process creates it, for the life of the process; calls
/// that come together wait for one another. A forked process makes its own: the threads of its parent's are not in it.
/// @return null when the system lacks what a channel needs, or the message layer throws, which is printed; the next
/// call tries again then
mesvo::MsgRequestClientChannel* notification_channel();

/// Logs and prints a message, sends it as a request of this type, waits for the reply and prints it. What the message
/// layer throws is printed. @return whether there is a channel and a message
bool request(mesvo::MsgRequestClientChannel* channel, int32_t type, void* message, int32_t size);

}  // namespace coupler::notify
