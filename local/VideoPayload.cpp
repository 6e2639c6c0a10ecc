#include "local/VideoPayload.h"

#include "app/host/BigEndian.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

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

/// Each NAL unit of `data` stands behind its length there.
void appendUnits(Bytes& payload, std::span<const std::uint8_t> data) {
    while (data.size() >= lengthSize) {
        const std::size_t length = fromBigEndian(data.first(lengthSize));
        data = data.subspan(lengthSize);
        if (length == 0 || length > data.size())
            return;
        appendUnit(payload, data.first(length));
        data = data.subspan(length);
    }
}

} // namespace

Bytes videoPayload(const platform::EncodedSample& sample) {
    const bool key = !sample.notSync.value_or(false);
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
    appendUnits(payload, sample.data);
    return payload;
}

} // namespace orvel
