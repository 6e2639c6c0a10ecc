#include "platform/decisions/SelectionText.h"
#include "platform/Text.h"
#include "platform/Wheel.h"

#include <gtest/gtest.h>

using namespace platform;

namespace {

std::string from(std::string_view bytes, TextForm form, bool cut = false) {
    return textFrom({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, form, cut);
}

std::vector<std::string> asked(const std::vector<std::string>& offered) {
    std::vector<std::string> names;
    for (const auto& target : targetsToAsk(offered))
        names.emplace_back(target.name);
    return names;
}

using Names = std::vector<std::string>;

} // namespace

TEST(SelectionText, TheBestTextOnOfferIsAskedFor) {
    EXPECT_EQ(asked({"TARGETS", "STRING", "text/plain;charset=utf-8"}),
              (Names{"text/plain;charset=utf-8"}));
    EXPECT_EQ(asked({"STRING", "UTF8_STRING"}), (Names{"UTF8_STRING"}));
    EXPECT_EQ(asked({"TARGETS", "image/png", "text/uri-list"}), Names{});
    EXPECT_EQ(asked({}), (Names{"UTF8_STRING", "STRING"})) << "an owner that does not say";
}

TEST(SelectionText, BecomesValidUTF8) {
    EXPECT_EQ(from("na\xefve", TextForm::latin1), "na\u00efve");
    EXPECT_EQ(from("a\xff"
                   "b",
                   TextForm::utf8),
              "a\ufffd"
              "b");
    EXPECT_EQ(from("a\u20ac", TextForm::utf8, true), "a\u20ac");
    EXPECT_EQ(from("a\xe2\x82", TextForm::utf8, true), "a") << "cut within a character";
    EXPECT_EQ(from("a\xe2\x82", TextForm::utf8, false), "a\ufffd") << "broken by its owner";
    EXPECT_EQ(from("", TextForm::utf8, true), "");
    EXPECT_EQ(from("\x82\x82\x82\x82\x82", TextForm::utf8, true), "\ufffd\ufffd\ufffd\ufffd\ufffd");
    EXPECT_EQ(latin1FromUTF8("na\u00efve \u20ac"), "na\xefve ?");
}

TEST(Wheel, KeepsWhatDoesNotMakeUpAClick) {
    Wheel wheel;
    EXPECT_EQ(wheel.turn(39), 0);
    EXPECT_EQ(wheel.turn(1), 1);
    EXPECT_EQ(wheel.turn(-100), -2);
    EXPECT_EQ(wheel.turn(-20), -1);
    EXPECT_EQ(wheel.turn(2147483647), Wheel::maxClicks);
    EXPECT_EQ(wheel.turn(0), 0) << "what is beyond the most is dropped";
}
