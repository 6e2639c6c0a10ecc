#include "rfb/CompressedPixels.h"

#include <cstring>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace orvel {
namespace {

/// Reads the byte behind the pixel too, which makes one load of three.
std::uint32_t expandedPixelOfFour(const std::uint8_t* cpixel) {
    std::array<std::uint8_t, 4> bytes;
    std::memcpy(bytes.data(), cpixel, bytes.size());
    bytes[3] = 255;
    return std::bit_cast<std::uint32_t>(bytes);
}

#ifdef __x86_64__

/// Expands as many as it can four at a time and returns how many that were. Twice as fast as one
/// by one; most processors have the instruction, but not all that the program starts on.
[[gnu::target("ssse3")]] std::size_t expandByShuffle(const std::uint8_t* cpixels,
                                                     std::uint32_t* pixels, std::size_t count) {
    const auto order = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    const auto alpha = _mm_set1_epi32(static_cast<int>(0xFF000000));
    std::size_t done = 0;
    // Each step reads 16 bytes, which is more than the four pixels have.
    for (; done + 6 <= count; done += 4) {
        __m128i four;
        std::memcpy(&four, cpixels + done * cpixelSize, sizeof four);
        four = _mm_or_si128(_mm_shuffle_epi8(four, order), alpha);
        std::memcpy(pixels + done, &four, sizeof four);
    }
    return done;
}

#endif

} // namespace

void expandPixels(const std::uint8_t* cpixels, std::uint32_t* pixels, std::size_t count) {
    std::size_t done = 0;
#ifdef __x86_64__
    if (__builtin_cpu_supports("ssse3"))
        done = expandByShuffle(cpixels, pixels, count);
#endif
    for (; done + 1 < count; ++done)
        pixels[done] = expandedPixelOfFour(cpixels + done * cpixelSize);
    if (done < count)
        pixels[done] = expandedPixel(cpixels + done * cpixelSize);
}

} // namespace orvel
