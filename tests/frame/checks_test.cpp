// Which kinds go with which stream. The scenes try every kind and show a report that is not of code 3 at the given place.

#include "tests/support/child_output.h"

namespace libzepl {
namespace {

using Lines = std::vector<std::string>;

std::string everyKind() {
    std::string kinds;
    for (std::uint32_t kind = 1; kind != 0; kind <<= 1) {
        char text[16];
        std::snprintf(text, sizeof text, " %x", kind);
        kinds += text;
    }
    return kinds;
}

TEST(Checks, AConstantOfAnotherTypeIsRefused) {
    EXPECT_EQ(sceneOf("checks constant"), Lines({"40: 1 4", "80: 1 2 4 8", "2000: 1000 10000", "8000: 4000 40000",
                                                 "10:" + everyKind(), "0:" + everyKind()}));
}

TEST(Checks, AVectorOfAnotherTypeIsRefused) {
    EXPECT_EQ(sceneOf("checks vector"),
              Lines({"40: 400", "80: 800", "2000: 20000", "8000: 80000", "10:" + everyKind(), "0:" + everyKind()}));
}

TEST(Checks, UnequalTypesAreReportedAtTheDestination) {
    Lines expected;
    for (const std::string source : {"40", "80", "2000", "8000"}) {
        for (const std::string destination : {"40", "80", "2000", "8000"}) {
            expected.insert(expected.end(), {"param_type 9 at 3", "param_type 9 at 1"});
            expected.push_back(source + " " + destination + (source == destination ? " passes" : " code 3 at 1"));
        }
    }
    EXPECT_EQ(sceneOf("checks same"), expected);
}

}  // namespace
}  // namespace libzepl
