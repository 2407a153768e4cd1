// What a channel takes from the system: asked for beforehand, since the transport ends the process where it is missing.
#pragma once

namespace coupler::notify {

/// Opens /dev/null in the place of standard input, output and error where they are closed: a descriptor of the
/// transport there would be taken for them, and what is printed would reach it.
void occupy_standard_streams();

/// Takes the descriptors, the threads and the memory of a channel, and gives them back. Throws std::runtime_error when
/// they cannot be had.
void require_channel_resources();

}  // namespace coupler::notify
