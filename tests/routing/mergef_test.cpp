// MERGEF's format word for word, and that SEPARATEF restores what MERGEF merged.

#include "tests/routing/routing_support.h"

namespace libzepl {
namespace {

const Covers mergef("MERGEF"), separatef("SEPARATEF");

using Streams = std::vector<Stream>;
constexpr ElementType int16 = ElementType::int16, int32 = ElementType::int32, single = ElementType::float32,
                      wide = ElementType::float64;

Stream merged(const Streams& sources, ElementType type) {
    TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}});
    std::string call = "MERGEF (";
    for (std::size_t i = 0; i < sources.size(); ++i) {
        inputOf(session, "s" + std::to_string(i), sources[i]);
        call += "s" + std::to_string(i) + ", ";
    }
    const PipeId dest = session.output("dest", {}, type);
    addCall(session, call + "dest)");
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return outputOf(session, dest, type);
}

TEST(Mergef, EachTypeIsWrittenInItsForm) {
    const Stream small{int16, {0x8001, 7}}, whole{int32, {0x80000001}}, real{single, {0xff800001}},
        large{wide, {0x7ff0000000000001}};
    EXPECT_EQ(merged({small, whole, real, large}, int16),
              (Stream{int16, {0, 0x8001, 0, 7, 1, 1, 0x8000, 2, 1, 0xff80, 3, 1, 0, 0, 0x7ff0}}));
    EXPECT_EQ(merged({small, whole, real, large}, int32),
              (Stream{int32, {0, 0xffff8001, 0, 7, 1, 0x80000001, 2, 0xff800001, 3, 1, 0x7ff00000}}));
    EXPECT_EQ(merged({real, small}, single),
              (Stream{single, {0, 0xff800001, 0x3f800000, 0xc6fffe00, 0x3f800000, 0x40e00000}}));
    EXPECT_EQ(merged({large, whole, {single, {0x3fc00000}}, {int16, {0xffff}}}, wide),
              (Stream{wide,
                      {0, 0x7ff0000000000001, 0x3ff0000000000000, 0xc1dfffffffc00000, 0x4000000000000000,
                       0x3ff8000000000000, 0x4008000000000000, 0xbff0000000000000}}));
}

TEST(Mergef, ASourceSendsAtMost128InItsTurn) {
    const Stream first = bitStream(int16, 300, 1), second = bitStream(int16, 10, 2);
    const Stream dest = merged({first, second}, int16);
    std::vector<std::uint64_t> tags;
    for (std::size_t i = 0; i < dest.bits.size(); i += 2)
        if (i == 0 || dest.bits[i] != dest.bits[i - 2]) tags.insert(tags.end(), {dest.bits[i], i / 2});
    EXPECT_EQ(tags, (std::vector<std::uint64_t>{0, 0, 1, 128, 0, 138}));
}

bool canMerge(ElementType source, ElementType dest) { return dest != single || source == int16 || source == single; }

TEST(Mergef, SeparatefRestoresTheStreams) {
    for (const ElementType type : allElementTypes) {
        for (const ElementType source : allElementTypes) {
            if (!canMerge(source, type)) continue;
            // A NaN that signals no longer does when it went by value.
            const bool byValue = source == single && type == wide;
            const Streams sources{byValue ? finiteStream(source, 3001, 1) : bitStream(source, 3001, 1),
                                  bitStream(type, 1000, 2), bitStream(int16, 777, 3), Stream{source, {}}};
            std::vector<ElementType> types;
            for (const Stream& stream : sources) types.push_back(stream.type);
            const Stream dest = merged(sources, type);
            const auto restored = sameForEveryArrival(
                512, [&](FeedPolicy feed) { return separated("SEPARATEF", dest, types, feed); }, 5);
            EXPECT_TRUE(restored == sources) << nameOf(source) << " over " << nameOf(type);
        }
    }
}

TEST(Mergef, ListsAreRefusedAtTheFirstMistake) {
    for (const ElementType from : allElementTypes)
        for (const ElementType to : allElementTypes) {
            const std::string type(nameOf(to));
            const std::vector<std::string> call{"MERGEF (" + type + ", " + std::string(nameOf(from)) + ", " + type +
                                                ")"};
            canMerge(from, to) ? expectReady(call) : expectRefused(call, 3, 2);
        }
    const std::string most = "MERGEF (int16" + more(64, "int16");
    expectReady({most + ")"});
    expectRefused({most + ", int16)"}, 0, 66);
    expectRefused({"MERGEF (int16)", "MERGEF (int16, 3)"}, 0, 2);
    expectRefused({"MERGEF (int32, double, float)"}, 3, 1);
}

struct TagCase {
    double tag;
    int destination;  // of two; -1 where the task ends
};

TEST(Separatef, ATagLeadsToItsDestination) {
    const TagCase cases[] = {{0, 0},      {1, 1},          {2, -1},       {1.5, 1},         {-0.5, 0},
                             {-1, -1},    {0x1p32 + 1, 1}, {0x1p63, -1},  {-0x1p40 + 1, 1}, {NAN, -1},
                             {1e300, -1}, {-INFINITY, -1}, {1.999999, 1}, {4294967295., -1}};
    for (const auto& [tag, destination] : cases) {
        Report report;
        const Streams got =
            separated("SEPARATEF", streamOf(std::vector<double>{0, 5, tag, 7}), {wide, wide}, {}, &report);
        std::vector<double> expected[2];
        if (destination >= 0) {
            expected[0] = {5};
            expected[destination].push_back(7);
        }
        // What was pending when the task ends is not sent.
        EXPECT_EQ(got, (Streams{streamOf(expected[0]), streamOf(expected[1])})) << tag;
        EXPECT_EQ(statesOf(report)[0], destination < 0 ? "exited exit 8" : "waiting") << tag;
    }
}

TEST(Separatef, AnIntegerTagOutOfRangeEndsTheTask) {
    Report narrow, full;
    for (const std::int16_t tag : std::initializer_list<std::int16_t>{2, -1, -32768}) {
        separated("SEPARATEF", streamOf(std::vector<std::int16_t>{tag, 1}), {wide, int16}, {}, &narrow);
        separated("SEPARATEF", streamOf(std::vector<std::int32_t>{tag, 1}), {wide, int16}, {}, &full);
        EXPECT_EQ(statesOf(narrow) == statesOf(full) ? statesOf(full)[0] : "", "exited exit 8") << tag;
    }
}

TEST(Separatef, ATagOutOfRangeEndsItsTaskAlone) {
    TestSession session;
    session.input<std::int16_t>("tagged", {0, 1, 9, 2}), session.output("dest", {}, int16);
    session.input("source", countUp(5000));
    const PipeId copy = session.output("copy");
    addCall(session, "SEPARATEF (tagged, dest)");
    addCall(session, "ABS (source, copy)");
    const Report report = session.run();
    EXPECT_EQ(statesOf(report), (Lines{"exited exit 8", "waiting"}));
    EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(5000));
    EXPECT_EQ(report.console, (Lines{"*** Error: <SEPARATEF> destination tag out of range",
                                     "*** Error: <SEPARATEF> task terminating"}));
}

}  // namespace
}  // namespace libzepl
