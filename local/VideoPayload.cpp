#include "local/VideoPayload.h"

#include "app/host/BigEndian.h"

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

void appendHeader(Bytes& payload, bool key, platform::MediaTime time) {
    payload.push_back(key ? 1 : 0);
    const auto microseconds = std::max<std::int64_t>(time.nanoseconds / 1000, 0);
    append(payload, be64(static_cast<std::uint64_t>(microseconds)));
}

} // namespace

bool isKeyFrame(const platform::EncodedSample& sample) {
    return !sample.notSync.value_or(false);
}

void appendAnnexB(Bytes& payload, std::span<const std::uint8_t> data) {
    while (data.size() >= lengthSize) {
        const std::size_t length = fromBigEndian(data.first(lengthSize));
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
