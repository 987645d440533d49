// BMERGEF against blocks taken by turns.

#include "tests/routing/routing_support.h"

namespace libzepl {
namespace {

const Covers covers("BMERGEF");

using Streams = std::vector<Stream>;

// Where all samples are there from the start, each source gives a block in its turn.
Stream mergedBlocks(const Streams& sources, std::size_t blockSize) {
    const ElementType type = sources[0].type;
    const auto tags = forType(type, []<class Element> { return streamOf(std::vector<Element>{0, 1, 2}).bits; });
    Stream merged{type, {}};
    for (std::size_t end = blockSize; end <= sources[0].bits.size(); end += blockSize)
        for (std::size_t i = 0; i < sources.size(); ++i) {
            if (end > sources[i].bits.size()) continue;
            const std::uint64_t* const behind = sources[i].bits.data() + end;
            merged.bits.push_back(tags[i]);
            merged.bits.insert(merged.bits.end(), behind - blockSize, behind);
        }
    return merged;
}

TEST(Bmergef, ABlockIsLostOrCutOrComesFromAnotherSource) {
    for (const ElementType type : allElementTypes)
        for (const std::size_t blockSize : std::initializer_list<std::size_t>{1, 3, 1000, 5000}) {
            const Streams sources{bitStream(type, 12000, 1), bitStream(type, 999, 2), bitStream(type, 7001, 3)};
            TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}});
            const PipeId dest = session.output("dest", {}, type);
            session.task("BMERGEF", inputOf(session, "a", sources[0]), inputOf(session, "b", sources[1]),
                         inputOf(session, "c", sources[2]), int16Constant(static_cast<std::int16_t>(blockSize)), dest);
            session.run();
            EXPECT_TRUE(outputOf(session, dest, type) == mergedBlocks(sources, blockSize))
                << nameOf(type) << " by " << blockSize;
        }
}

TEST(Bmergef, AListThatIsNotItsOwnPasses) {
    const std::string most = repeated("f32", 64);
    expectSetUps("BMERGEF",
                 "ready: i16 16384 i16; 6 at 2: i16 16385 i16; 6 at 3: i32 i32 0l i32; 6 at 2: f64 -1 f64;"
                 "6 at 2: f64 -2147483648l f64; 10 at 3: i16 0 5; 3 at 1: i32 i16 0 i16; 3 at 2: i16 f32 i32 0 i16;"
                 "3 at 2: i16 5 i16 i16; 10 at 3: i16 i16 i16 i16; refused at 3: i16 5; refused at 1: 5 5 i16;"
                 "ready:" +
                     most + " 5 f32; refused at 67:" + most + " f32 5 f32");
}

}  // namespace
}  // namespace libzepl
