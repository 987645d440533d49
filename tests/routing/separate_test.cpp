// SEPARATE against a plain rotation over values.

#include "tests/routing/routing_support.h"

namespace libzepl {
namespace {

const Covers covers("SEPARATE");

using Streams = std::vector<Stream>;
constexpr ElementType int16 = ElementType::int16, int32 = ElementType::int32, single = ElementType::float32,
                      wide = ElementType::float64;

std::size_t bitsIn(ElementType type) { return type == int16 ? 16 : type == wide ? 64 : 32; }

// Integers that stand for a value's raw bytes have its lowest ones first; of a wider one an int16 gets the low bits.
Streams dealt(const Stream& source, const std::vector<ElementType>& types) {
    Streams streams;
    for (const ElementType type : types) streams.push_back({type, {}});
    for (std::size_t at = 0, turn = 0;; ++turn) {
        Stream& stream = streams[turn % streams.size()];
        const std::size_t width = bitsIn(source.type), need = std::max<std::size_t>(1, bitsIn(stream.type) / width);
        if (at + need > source.bits.size()) return streams;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < need; ++i) value |= source.bits[at++] << (width * i);
        stream.bits.push_back(stream.type == int16 ? value & 0xffff : value);
    }
}

TEST(Separate, ValuesAreDealtInRotation) {
    const std::vector<std::vector<ElementType>> lists{{int16},
                                                      {wide},
                                                      {int16, int16},
                                                      {int16, wide, int32},
                                                      {single, int16, int16, wide, int32},
                                                      std::vector<ElementType>(64, int16),
                                                      std::vector<ElementType>(64, wide)};
    for (const ElementType type : {int16, int32}) {
        for (const auto& types : lists) {
            const Stream source = bitStream(type, 30003, 4);
            EXPECT_TRUE(sameForEveryArrival(
                            512, [&](FeedPolicy feed) { return separated("SEPARATE", source, types, feed); }, 5) ==
                        dealt(source, types))
                << nameOf(type) << " to " << types.size();
        }
    }
}

TEST(Separate, FloatingSamplesAreConvertedToTheDestination) {
    const std::vector<double> source{1.9, -1.9, 70000.9, 3e9, -3e9, NAN, INFINITY, -2147483648.9, 2147483647.9, 0.1};
    constexpr std::int32_t least = -2147483647 - 1;
    const std::vector<std::int16_t> low{1, -1, 4464, 0, 0, 0, 0, 0, -1, 0};
    EXPECT_EQ(separated("SEPARATE", streamOf(source), {int16})[0], streamOf(low));
    EXPECT_EQ(separated("SEPARATE", streamOf(source), {int32})[0],
              streamOf(std::vector<std::int32_t>{1, -1, 70000, least, least, least, least, least, 2147483647, 0}));
    EXPECT_EQ(separated("SEPARATE", streamOf(source), {single})[0],
              streamOf(std::vector<float>(source.begin(), source.end())));
    EXPECT_EQ(separated("SEPARATE", streamOf(source), {wide})[0], streamOf(source));
    const Stream singles = bitStream(single, 1000, 6);  // also NaNs that signal
    EXPECT_EQ(separated("SEPARATE", singles, {single})[0], singles);
    EXPECT_EQ(separated("SEPARATE", streamOf(std::vector<float>{0.1F, -70000.5F}), {wide, int16}),
              (Streams{streamOf(std::vector<double>{0.1F}), streamOf(std::vector<std::int16_t>{-4464})}));
}

TEST(Separate, ListsAreRefusedAtTheFirstMistake) {
    for (const std::string command : {"SEPARATE", "SEPARATEF"}) {
        const std::string most = command + " (int16" + more(64, "int16");
        expectReady({command + " (double, int32, int16, float, double)", most + ")"});
        expectRefused({command + " (float, double, int32, int16)"}, 3, 3);
        expectRefused({command + " (int16)", command + " (int16, 1)"}, 0, 2);
        expectRefused({most + ", int16)"}, 0, 66);
    }
}

}  // namespace
}  // namespace libzepl
