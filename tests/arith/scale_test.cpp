// SCALE against the processor's own division, element by element.

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("SCALE");

__extension__ using Int128 = __int128;

// The sum and the product modulo the width, which 128 bits hold, then the quotient.
template <class Element>
Element scaled(Element x, Int128 offset, Int128 mul, Int128 div) {
    using Word = std::conditional_t<sizeof(Element) == 2, std::int32_t, std::int64_t>;
    const auto product = static_cast<Word>((x + offset) * mul);
    const Int128 quotient = static_cast<Word>(product / div);
    return static_cast<Element>(std::clamp<Int128>(quotient, least<Element>, most<Element>));
}

template <class Element>
void expectScaled(Element offset, Element mul, Element div) {
    std::vector<Element> source = edgeSamples<Element>();
    // What faults is told of below.
    if (sizeof(Element) == 2 && div == -1)
        std::erase_if(source, [&](Element x) {
            return static_cast<std::int32_t>((std::int64_t{x} + offset) * mul) == least<std::int32_t>;
        });
    expectEach<Element>("SCALE " + list("in", offset, mul, div, "out"), source,
                        [&](Element x) { return scaled(x, offset, mul, div); });
}

TEST(Scale, QuotientsOf32BitsAreTheProcessorsOwn) {
    using Word = std::int16_t;
    for (const Word div : std::initializer_list<Word>{1, -1, 2, -2, 3, 7, -10, 641, 4095, 32767, -32767, -32768}) {
        expectScaled<Word>(0, 1, div);
        expectScaled<Word>(-77, div, div);
        expectScaled<Word>(1234, 32767, div);
        expectScaled<Word>(-32768, -32768, div);
    }
}

TEST(Scale, QuotientsOf64BitsAreTheProcessorsOwn) {
    using Word = std::int32_t;
    for (const Word div : {1, -1, 2, -3, 7, 65536, 1000003, -16777217, most<Word>, least<Word>})
        for (const Word mul : {0, 1, -1, 300, div, 19999999, most<Word>, least<Word>})
            for (const Word offset : {0, -123456789, least<Word>}) expectScaled(offset, mul, div);
}

TEST(Scale, AQuotientJustBelowAWholeOneIsRoundedDown) {
    // Products of a divisor, and their neighbours, near every magnitude.
    constexpr std::int32_t div = 46337, greatest = most<std::int32_t>;
    std::vector<std::int32_t> source, large;
    for (std::int32_t k = 1; k < 46340; k += 7)
        for (std::int32_t by = -1; by <= 1; ++by) source.insert(source.end(), {k * div + by, -k * div - by});
    expectEach<std::int32_t>("SCALE " + list("in", 0, 1, div, "out"), source, [](std::int32_t x) { return x / div; });
    // Of 62 bits: x + x / (greatest - 1).
    for (std::int32_t k = 0; k < 3000; ++k) large.insert(large.end(), {greatest - k, k - greatest});
    expectEach<std::int32_t>("SCALE " + list("in", 0, greatest, greatest - 1, "out"), large,
                             [](std::int32_t x) { return scaled(x, 0, greatest, greatest - 1); });
}

template <class Real>
class ScaleReals : public testing::Test {};
using Reals = testing::Types<float, double>;
TYPED_TEST_SUITE(ScaleReals, Reals);

TYPED_TEST(ScaleReals, EachStepIsRoundedToTheType) {
    const auto offset = TypeParam(0.1), mul = TypeParam(0.3);
    for (const TypeParam div : {TypeParam(7), TypeParam(0)})
        expectEach<TypeParam>("SCALE " + list("in", offset, mul, div, "out"), randomSamples<TypeParam>(5000, 5),
                              [=](TypeParam x) {
                                  const volatile TypeParam sum = x + offset, product = sum * mul;
                                  return product / div;
                              });
}

TEST(ScaleVariable, AChangedVariableActsFromTheNextSample) {
    using Out = std::vector<std::int32_t>;
    const char* const script = "pass set,3 pass";
    EXPECT_EQ(withVariable("SCALE (in, v, 1:int32, 1:int32, out)", {12, 12}, script), Out({14, 15}));
    EXPECT_EQ(withVariable("SCALE (in, 0:int32, v, 1:int32, out)", {12, 12}, script), Out({24, 36}));
    EXPECT_EQ(withVariable("SCALE (in, 0:int32, 1:int32, v, out)", {12, 12}, script), Out({6, 4}));
}

TEST(ScaleFaults, AZeroDivisorFaultsAfterWhatWasSent) {
    EXPECT_EQ(
        withVariable("SCALE (in, 0:int32, 1:int32, v, out)", {12, 12}, "pass set,0 pass", "fault code 3221225620"),
        std::vector<std::int32_t>{6});
}

TEST(ScaleFaults, AnInt16FaultEndsItsTaskAlone) {
    std::vector<std::int16_t> source(1500, 5);
    source[1400] = -32768;  // by -32768 the product is 2^31, which wraps; by -1 its quotient is one too many
    for (const auto& [div, state, sent] :
         {std::tuple(-1, "fault code 3221225621", 1000u), {0, "fault code 3221225620", 0u}}) {
        TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}});
        session.input("in", source);
        const PipeId out = session.output("out", {}, ElementType::int16);
        const PipeId copy = session.output("copy", {}, ElementType::int16);
        addCall(session, "SCALE (in, -32768, -32768, " + std::to_string(div) + ", out)");
        addCall(session, "ABS (in, copy)");
        EXPECT_EQ(statesOf(session.run()), Lines({state, "waiting"}));
        EXPECT_EQ(session.collected<std::int16_t>(out).size(), sent);  // the blocks before the fault's
        EXPECT_EQ(session.collected<std::int16_t>(copy).size(), 1500u);
    }
}

}  // namespace
}  // namespace libzepl
