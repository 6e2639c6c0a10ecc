#pragma once

#include "app/host/HostChannel.h"
#include "platform/VideoCompression.h"

#include <span>

/// The payload of a 'V' frame: a flags byte (1: key frame), the presentation time in microseconds
/// as 8 big-endian bytes, then the access unit as an H.264 byte stream (Annex B), a key frame's
/// parameter sets first. All functions are pure.
namespace orvel {

/// Whether decoding can begin with the sample; one that does not say otherwise is taken for one.
bool isKeyFrame(const platform::EncodedSample& sample);

/// Appends each length-prefixed NAL unit of `data` behind a start code. A unit that is empty or
/// longer than what is left ends the conversion; the units before it stay.
void appendAnnexB(Bytes& payload, std::span<const std::uint8_t> data);

Bytes videoPayload(const platform::EncodedSample& sample);

} // namespace orvel
