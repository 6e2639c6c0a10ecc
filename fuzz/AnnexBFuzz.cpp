#include "app/host/BigEndian.h"
#include "fuzz/Fuzz.h"
#include "local/VideoPayload.h"

using fuzz::Bytes;

namespace {

constexpr std::size_t prefix = 4;

/// The payload's units with their lengths in the place of the start codes, as far as `data` has the
/// same; then what is left of `data` cannot begin with a unit.
std::span<const std::uint8_t> behindUnits(std::span<const std::uint8_t> payload,
                                          std::span<const std::uint8_t> data) {
    constexpr std::array<std::uint8_t, prefix> startCode{0, 0, 0, 1};
    while (!payload.empty()) {
        fuzz::require(data.size() >= prefix, "the payload holds no more than the sample");
        const std::size_t whole = prefix + orvel::fromBigEndian(data.first(prefix));
        fuzz::require(whole > prefix && whole <= data.size() && whole <= payload.size(),
                      "a unit is whole, and not empty");
        fuzz::require(std::ranges::equal(payload.first(prefix), startCode), "it has a start code");
        fuzz::require(std::ranges::equal(payload.subspan(prefix, whole - prefix),
                                         data.subspan(prefix, whole - prefix)),
                      "it has its own bytes");
        payload = payload.subspan(whole);
        data = data.subspan(whole);
    }
    return data;
}

} // namespace

/// A video payload is its head, the parameter sets of a key frame, and all units of the sample up
/// to the first that is not one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const platform::MediaTime time{input.ConsumeIntegral<std::int64_t>()};
    const bool notSync = input.ConsumeBool();
    const auto sequence = input.ConsumeBytes<std::uint8_t>(input.ConsumeIntegral<std::uint8_t>());
    const auto picture = input.ConsumeBytes<std::uint8_t>(input.ConsumeIntegral<std::uint8_t>());
    const auto units = input.ConsumeRemainingBytes<std::uint8_t>();
    const auto payload = orvel::videoPayload({units, time, notSync, {sequence, picture}});

    Bytes head{static_cast<std::uint8_t>(notSync ? 0 : 1)};
    const auto microseconds = static_cast<std::uint64_t>(std::max<std::int64_t>(
        std::chrono::floor<std::chrono::microseconds>(std::chrono::nanoseconds(time.nanoseconds))
            .count(),
        0));
    for (const auto half : {microseconds >> 32, microseconds & 0xFFFFFFFF})
        for (const auto byte : orvel::be32(static_cast<std::uint32_t>(half)))
            head.push_back(byte);
    for (const auto* set : {&sequence, &picture}) {
        if (notSync || !set->data())
            continue;
        head.insert(head.end(), {0, 0, 0, 1});
        head.insert(head.end(), set->begin(), set->end());
    }
    fuzz::require(payload.size() >= head.size() &&
                      std::equal(head.begin(), head.end(), payload.begin()),
                  "the head and the parameter sets come first");
    const auto rest = behindUnits(std::span(payload).subspan(head.size()), units);
    if (rest.size() < prefix)
        return 0;
    const auto length = orvel::fromBigEndian(rest.first(prefix));
    fuzz::require(length == 0 || length > rest.size() - prefix, "no whole unit is left out");
    return 0;
}
