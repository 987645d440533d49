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

TEST(Bmergef, EachSourceGivesABlockInItsTurn) {
    for (const ElementType type : allElementTypes)
        for (const std::size_t blockSize : std::initializer_list<std::size_t>{1, 3, 1000, 5000}) {
            const Streams sources{bitStream(type, 12000, 1), bitStream(type, 999, 2), bitStream(type, 7001, 3)};
            TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}});
            const PipeId dest = session.output("dest", {}, type);
            inputOf(session, "a", sources[0]), inputOf(session, "b", sources[1]), inputOf(session, "c", sources[2]);
            addCall(session, "BMERGEF (a, b, c, " + std::to_string(blockSize) + ", dest)");
            session.run();
            EXPECT_TRUE(outputOf(session, dest, type) == mergedBlocks(sources, blockSize))
                << nameOf(type) << " by " << blockSize;
        }
}

TEST(Bmergef, ListsAreRefusedAtTheFirstMistake) {
    const std::string most = "BMERGEF (float" + more(63, "float");
    expectReady({most + ", 5, float)"});
    expectRefused({most + ", float, 5, float)"}, 0, 67);
    expectReady({"BMERGEF (int16, 16384, int16)"});
    expectRefused({"BMERGEF (int16, 16385, int16)", "BMERGEF (double, -1, double)",
                   "BMERGEF (double, -2147483648:int32, double)"},
                  6, 2);
    expectRefused({"BMERGEF (int32, int32, 0:int32, int32)"}, 6, 3);
    expectRefused({"BMERGEF (int16, 0, 5)", "BMERGEF (int16, int16, int16, int16)"}, 10, 3);
    expectRefused({"BMERGEF (int32, int16, 0, int16)"}, 3, 1);
    expectRefused({"BMERGEF (int16, float, int32, 0, int16)", "BMERGEF (int16, 5, int16, int16)"}, 3, 2);
    expectRefused({"BMERGEF (int16, 5)"}, 0, 3);
    expectRefused({"BMERGEF (5, 5, int16)"}, 0, 1);
}

}  // namespace
}  // namespace libzepl
