#pragma once

#include "app/host/HostChannel.h"
#include "platform/VideoCompression.h"

namespace orvel {

/// The payload of a 'V' frame: a flags byte (1: key frame), the presentation time in microseconds
/// as 8 big-endian bytes (0 if it is negative), then the access unit as an H.264 byte stream
/// (Annex B), a key frame's parameter sets first. A unit of the sample that is empty or longer than
/// what is left ends the stream; the units before it stay. A sample that does not say whether
/// decoding can begin with it is taken for a key frame. Pure.
Bytes videoPayload(const platform::EncodedSample& sample);

} // namespace orvel
