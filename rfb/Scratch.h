#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace orvel {

/// Memory for one result at a time, kept for the next one. Unlike a vector it is not filled with
/// zeros before what is written there anyway.
template<class Element>
class Scratch final {
public:
    /// Room for `count` elements with undefined values; what was handed out before is gone.
    /// Throws std::bad_alloc.
    std::span<Element> take(std::size_t count) {
        if (count > capacity) {
            elements.reset();
            capacity = 0;
            elements = std::make_unique_for_overwrite<Element[]>(count);
            capacity = count;
        }
        return {elements.get(), count};
    }

private:
    std::unique_ptr<Element[]> elements;
    std::size_t capacity = 0;
};

} // namespace orvel
