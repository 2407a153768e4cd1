#pragma once

namespace mesvo {
class MsgRequestClientChannel;
}

namespace coupler::notify {

/// The channel to the notification service. The first call creates it, for the life of the process; calls that come
/// together wait for one another. @return null when the message layer throws, which is printed; the next call tries
/// again then
mesvo::MsgRequestClientChannel* notification_channel();

}  // namespace coupler::notify
