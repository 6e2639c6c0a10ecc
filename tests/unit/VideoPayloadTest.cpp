#include "local/VideoPayload.h"

#include <gtest/gtest.h>

using namespace orvel;

namespace {

const Bytes sequenceSet{0x67, 1};
const Bytes pictureSet{0x68};
const Bytes unit{0, 0, 0, 2, 0x65, 0xAA};

platform::EncodedSample sample(std::optional<bool> notSync) {
    return {.data = unit,
            .presentationTime = {0x0102030405 * 1000LL + 999},
            .notSync = notSync,
            .parameterSets = {sequenceSet, pictureSet}};
}

Bytes annexB(const Bytes& data) {
    Bytes result;
    appendAnnexB(result, data);
    return result;
}

} // namespace

TEST(VideoPayload, OnlyAKeyFrameCarriesItsParameterSets) {
    const Bytes expected{1, 0, 0, 0, 1,    2,   3, 4, 5, // flags, microseconds
                         0, 0, 0, 1, 0x67, 1,            // sequence parameter set
                         0, 0, 0, 1, 0x68,               // picture parameter set
                         0, 0, 0, 1, 0x65, 0xAA};        // the slice
    EXPECT_EQ(videoPayload(sample(false)), expected);
    EXPECT_EQ(videoPayload(sample(std::nullopt)), expected) << "unknown counts as a key frame";
    EXPECT_EQ(videoPayload(sample(true)),
              (Bytes{0, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0, 1, 0x65, 0xAA}));
}

TEST(VideoPayload, ParameterSetsMayBeEmptyOrMissing) {
    auto odd = sample(false);
    odd.parameterSets = {std::span(sequenceSet).first(0), {}};
    EXPECT_EQ(videoPayload(odd),
              (Bytes{1, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0, 1, 0, 0, 0, 1, 0x65, 0xAA}));
}

TEST(VideoPayload, TimesBeforeZeroAreZero) {
    auto early = sample(true);
    early.presentationTime = {-5000};
    const auto payload = videoPayload(early);
    EXPECT_EQ(Bytes(payload.begin() + 1, payload.begin() + 9), Bytes(8));
}

TEST(VideoPayload, AUnitThatDoesNotFitEndsTheConversion) {
    const Bytes good{0, 0, 0, 1, 0x41};
    const Bytes converted{0, 0, 0, 1, 0x41};
    EXPECT_EQ(annexB(good), converted);
    for (const Bytes& tail : {Bytes{0, 0, 0, 0, 7}, Bytes{0, 0, 0, 2, 7}, Bytes{0, 0, 0},
                              Bytes{0xFF, 0xFF, 0xFF, 0xFF, 7}}) {
        auto bytes = good;
        bytes.insert(bytes.end(), tail.begin(), tail.end());
        EXPECT_EQ(annexB(bytes), converted);
    }
    EXPECT_EQ(annexB({}), Bytes{});
}
