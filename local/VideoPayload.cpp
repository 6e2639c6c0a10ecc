#include "local/VideoPayload.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace orvel {
namespace {

constexpr std::array<std::uint8_t, 4> startCode{0, 0, 0, 1};
constexpr std::size_t lengthSize = 4;
constexpr std::size_t headerSize = 9;

void append(Bytes& payload, std::span<const std::uint8_t> bytes) {
    payload.insert(payload.end(), bytes.begin(), bytes.end());
}

void appendUnit(Bytes& payload, std::span<const std::uint8_t> unit) {
    append(payload, startCode);
    append(payload, unit);
}

std::uint32_t bigEndian32(std::span<const std::uint8_t> bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
}

void appendHeader(Bytes& payload, bool key, platform::MediaTime time) {
    payload.push_back(key ? 1 : 0);
    const auto microseconds =
        static_cast<std::uint64_t>(std::max<std::int64_t>(time.nanoseconds / 1000, 0));
    for (int shift = 56; shift >= 0; shift -= 8)
        payload.push_back(static_cast<std::uint8_t>(microseconds >> shift));
}

} // namespace

bool isKeyFrame(const platform::EncodedSample& sample) {
    return !sample.notSync.value_or(false);
}

void appendAnnexB(Bytes& payload, std::span<const std::uint8_t> data) {
    while (data.size() >= lengthSize) {
        const std::size_t length = bigEndian32(data);
        data = data.subspan(lengthSize);
        if (length == 0 || length > data.size())
            return;
        appendUnit(payload, data.first(length));
        data = data.subspan(length);
    }
}

Bytes videoPayload(const platform::EncodedSample& sample) {
    const bool key = isKeyFrame(sample);
    Bytes payload;
    const auto& [sequence, picture] = sample.parameterSets;
    // A start code is as long as the length it replaces.
    payload.reserve(headerSize + sample.data.size() +
                    (key ? sequence.size() + picture.size() + 2 * startCode.size() : 0));
    appendHeader(payload, key, sample.presentationTime);
    if (key)
        for (const auto set : sample.parameterSets)
            if (set.data())
                appendUnit(payload, set);
    appendAnnexB(payload, sample.data);
    return payload;
}

} // namespace orvel
