// How many elements a pipe has to a frame, as the page places them in time.

#include <gtest/gtest.h>

#include "cli/serve/watching.h"

namespace cli {
namespace {

TEST(ElementsAFrame, TheUsualNumberIsFoundAsSoonAsTheCountsAllowIt) {
    struct Case {
        const char* what;
        PipeCounts now, first;
        bool isOver;
        double expected;
    };
    const PipeCounts none{}, begun{.elements = 1024, .frames = 1024, .capacity = 4096};
    const Case cases[]{
        {"nothing has come", none, none, false, 1},
        {"a generator is ahead", {6144, 2048, 4096}, {5120, 1024, 4096}, false, 1},
        {"a generator is ahead in the first look", {5120, 1024, 4096}, {5120, 1024, 4096}, false, 1},
        {"a generator was ahead at the end", {5096, 1000, 4096}, {5096, 1000, 4096}, true, 1},
        {"two a frame", {20000, 10000, 4096}, {2048, 1024, 4096}, false, 2},
        {"two a frame at the end of a short run", {2000, 1000, 4096}, none, true, 2},
        {"three for two frames", {60000, 40000, 4096}, {1500, 1000, 4096}, false, 1.5},
        {"a block is not full yet", {40960, 41460, 4096}, begun, false, 1},
        {"a block was not full at the end", {40960, 41460, 4096}, begun, true, 1},
        {"one in ten", {100, 1000, 4096}, begun, false, 0.1},
        {"one in ten at the end", {4096, 40960, 4096}, begun, true, 0.1},
        {"one in ten, of a number that is no multiple", {101, 1001, 4096}, begun, true, 0.1},
        {"one in 800, held back", {55, 48000, 4096}, begun, false, 1.0 / 800},
        {"one in 1024, held back", {45, 48000, 4096}, begun, false, 1.0 / 1024},
        {"no usual number", {30000, 70000, 4096}, begun, true, 3.0 / 7},
    };
    for (const Case& each : cases)
        EXPECT_DOUBLE_EQ(elementsAFrame(each.now, each.first, 48000, each.isOver), each.expected) << each.what;
}

}  // namespace
}  // namespace cli
