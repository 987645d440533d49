// BMERGEF unpacked by hand.

#include "tests/routing/routing_support.h"

namespace libzepl {
namespace {

const Covers covers("BMERGEF");

using Streams = std::vector<Stream>;

// The whole blocks of each source, from records of a tag and `blockSize` samples. The tags 0, 1 and 2 of each type.
Streams unpacked(const Stream& merged, std::size_t blockSize, std::size_t sources) {
    const std::vector<std::uint64_t> tags = forType(merged.type, []<class Element> {
        return streamOf(std::vector<Element>{0, 1, 2}).bits;
    });
    Streams streams(sources, Stream{merged.type, {}});
    EXPECT_EQ(merged.bits.size() % (blockSize + 1), 0U);
    for (auto at = merged.bits.begin(); at != merged.bits.end(); at += static_cast<std::ptrdiff_t>(blockSize) + 1) {
        const auto source = static_cast<std::size_t>(std::find(tags.begin(), tags.end(), *at) - tags.begin());
        if (source >= sources) ADD_FAILURE() << "tag " << *at;
        if (source >= sources) break;
        streams[source].bits.insert(streams[source].bits.end(), at + 1,
                                    at + 1 + static_cast<std::ptrdiff_t>(blockSize));
    }
    return streams;
}

TEST(Bmergef, ABlockIsLostOrCutOrComesFromAnotherSource) {
    for (const ElementType type : allElementTypes) {
        for (const std::size_t blockSize : std::initializer_list<std::size_t>{1, 3, 1000, 5000}) {
            Streams sources{bitStream(type, 12000, 1), bitStream(type, 999, 2), bitStream(type, 7001, 3)};
            Streams whole = sources;
            for (Stream& stream : whole) stream.bits.resize(stream.bits.size() / blockSize * blockSize);
            sameForEveryArrival(
                blockSize,
                [&](FeedPolicy feed) {
                    TestSession session({.feed = feed});
                    const PipeId dest = session.output("dest", {}, type);
                    session.task("BMERGEF", inputOf(session, "a", sources[0]), inputOf(session, "b", sources[1]),
                                 inputOf(session, "c", sources[2]), int16Constant(static_cast<std::int16_t>(blockSize)),
                                 dest);
                    session.run();
                    const Streams restored = unpacked(outputOf(session, dest, type), blockSize, 3);
                    EXPECT_TRUE(restored == whole) << nameOf(type) << " by " << blockSize;
                    return restored;
                },
                3);
        }
    }
}

TEST(Bmergef, AListThatIsNotItsOwnPasses) {
    std::string most;
    for (int i = 0; i < 64; ++i) most += " f32";
    expectSetUps("BMERGEF",
                 "ready: i16 16384 i16; 6 at 2: i16 16385 i16; 6 at 3: i32 i32 0l i32; 6 at 2: f64 -1 f64;"
                 "6 at 2: f64 -2147483648l f64; 10 at 3: i16 0 5; 3 at 1: i32 i16 0 i16; 3 at 2: i16 f32 i32 0 i16;"
                 "3 at 2: i16 5 i16 i16; 10 at 3: i16 i16 i16 i16; refused at 3: i16 5; refused at 1: 5 5 i16;"
                 "ready:" +
                     most + " 5 f32; refused at 67:" + most + " f32 5 f32");
}

}  // namespace
}  // namespace libzepl
