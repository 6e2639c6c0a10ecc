#include "fuzz/Fuzz.h"
#include "fuzz/SlowClient.h"

#include <set>

using namespace platform;
using namespace std::chrono_literals;

namespace {

std::optional<Stroke> latin(Keysym symbol) {
    if (symbol < 'a' || symbol > 'z')
        return std::nullopt;
    return Stroke{static_cast<Keycode>(symbol), 0, {}};
}

/// Types through a planner into a slow client.
class Typist {
public:
    explicit Typist(std::chrono::milliseconds perKey) : client(perKey) {}

    void setSpares(const std::vector<Keycode>& keycodes) {
        spares = keycodes;
        std::vector<KeyPlanner::Spare> keys;
        for (const auto keycode : keycodes)
            keys.push_back({keycode, client.symbolOf(keycode)});
        planner.setSpares(keys);
    }

    void type(std::span<const Keysym> text) {
        for (const auto symbol : text)
            if (latin(symbol) || !spares.empty())
                expected.push_back(symbol);
        while (!text.empty())
            text = text.subspan(typeBatch(text));
    }

    void wait(std::chrono::milliseconds time) {
        now = now + time;
        client.work(now);
    }

    /// Takes the bindings away as soon as that is allowed.
    void release() {
        while (planner.releasable() > now)
            wait(step);
        client.unbindAll(now);
        planner.released();
        fuzz::require(!planner.anyBound(), "nothing stays bound");
    }

    void finish() {
        release();
        client.work(now + 1h);
        fuzz::require(client.read == expected, "the client reads what was typed");
    }

private:
    static constexpr auto step = 10ms;

    std::size_t typeBatch(std::span<const Keysym> text) {
        auto batch = planner.next(text, latin, now);
        fuzz::require(batch.notBefore >= now && batch.notBefore <= now + KeyPlanner::maxWait,
                      "a wait has its limit");
        while (batch.notBefore > now) {
            wait(std::min<std::chrono::milliseconds>(
                step, std::chrono::ceil<std::chrono::milliseconds>(batch.notBefore - now)));
            batch = planner.next(text, latin, now);
        }
        fuzz::require(!batch.strokes.empty(), "the planner makes headway");
        std::set<Keycode> bound;
        for (const auto& binding : batch.bindings) {
            fuzz::require(std::ranges::find(spares, binding.keycode) != spares.end(),
                          "only spare keys are bound");
            fuzz::require(bound.insert(binding.keycode).second, "each to one symbol");
            client.bind(binding, now);
        }
        for (const auto& stroke : batch.strokes)
            if (stroke)
                client.press(*stroke, now);
        planner.pressed(batch, now);
        return batch.strokes.size();
    }

    KeyPlanner planner;
    fuzz::SlowClient client;
    MediaTime now{3'600'000'000'000};
    std::vector<Keycode> spares;
    std::vector<Keysym> expected;
};

std::vector<Keysym> text(const fuzz::Bytes& bytes) {
    std::vector<Keysym> symbols;
    for (const auto byte : bytes)
        symbols.push_back(byte < 26 ? 'a' + Keysym{byte} : 0x01004e00 + Keysym{byte});
    return symbols;
}

std::vector<Keycode> keycodes(unsigned set) {
    std::vector<Keycode> result;
    for (unsigned bit = 0; bit < 8; ++bit)
        if ((set >> bit & 1) != 0)
            result.push_back(static_cast<Keycode>(200 + bit));
    return result;
}

} // namespace

/// However texts, pauses and keyboards follow upon each other, a client that is no slower than
/// expected reads every character as it was meant.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    enum class Step { type, wait, release, kMaxValue = release };
    constexpr std::size_t maxText = 200; // a client gets that far within the longest wait
    FuzzedDataProvider input(data, std::min(size, maxText));
    Typist typist(std::chrono::milliseconds(input.ConsumeIntegralInRange(0, 20)));
    typist.setSpares(keycodes(input.ConsumeIntegral<std::uint8_t>()));
    while (input.remaining_bytes() > 0) {
        const auto argument = input.ConsumeIntegral<std::uint8_t>();
        switch (input.ConsumeEnum<Step>()) {
        case Step::type:
            typist.type(text(input.ConsumeBytes<std::uint8_t>(argument)));
            break;
        case Step::wait:
            typist.wait(std::chrono::milliseconds(argument * 4));
            break;
        case Step::release:
            typist.release();
            typist.setSpares(keycodes(argument));
            break;
        }
    }
    typist.finish();
    return 0;
}
