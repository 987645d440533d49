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
    expectEach<Element>("SCALE", source, {constant(offset), constant(mul), constant(div)},
                        [&](Element x) { return scaled(x, offset, mul, div); });
}

TEST(Scale, AQuotientDiffersFromTheProcessors) {
    using Word = std::int16_t;
    for (const Word div : std::initializer_list<Word>{1, -1, 2, -2, 3, 7, -10, 641, 4095, 32767, -32767, -32768}) {
        expectScaled<Word>(0, 1, div);
        expectScaled<Word>(-77, div, div);
        expectScaled<Word>(1234, 32767, div);
        expectScaled<Word>(-32768, -32768, div);
    }
}

TEST(Scale, AQuotientOf64BitsDiffersFromTheProcessors) {
    using Word = std::int32_t;
    for (const Word div : {1, -1, 2, -3, 7, 65536, 1000003, -16777217, most<Word>, least<Word>}) {
        for (const Word mul : {0, 1, -1, 300, div, 19999999, most<Word>, least<Word>}) {
            expectScaled<Word>(0, mul, div);
            expectScaled<Word>(-123456789, mul, div);
            expectScaled<Word>(least<Word>, mul, div);
        }
    }
}

TEST(Scale, AQuotientJustBelowAWholeOneIsRoundedUp) {
    // Products of a divisor, and their neighbours, near every magnitude: (x + 0) * 1 / div.
    std::vector<std::int32_t> source;
    const std::int32_t div = 46337;
    for (std::int32_t k = 1; k < 46340; k += 7)
        for (std::int32_t by = -1; by <= 1; ++by)
            for (const std::int32_t sign : {-1, 1}) source.push_back(sign * (k * div + by));
    expectEach<std::int32_t>("SCALE", source, {int32Constant(0), int32Constant(1), int32Constant(div)},
                             [](std::int32_t x) { return x / div; });
}

TEST(ScaleReals, AStepIsNotRoundedToTheType) {
    expectEach<float>("SCALE", randomSamples<float>(5000, 5),
                      {floatConstant(0.1F), floatConstant(0.3F), floatConstant(7)}, [](float x) {
                          const volatile float sum = x + 0.1F, product = sum * 0.3F;
                          return product / 7;
                      });
    expectEach<double>("SCALE", randomSamples<double>(5000, 5),
                       {doubleConstant(0.1), doubleConstant(0.3), doubleConstant(7)},
                       [](double x) { return (x + 0.1) * 0.3 / 7; });
}

TEST(ScaleEdges, TheyDifferFromWhatIsPromised) {
    const auto one = [](auto x, auto offset, auto mul, auto div) {
        return after<decltype(x)>("SCALE", {x}, {constant(offset), constant(mul), constant(div)}).at(0);
    };
    using Word = std::int16_t;
    EXPECT_EQ(one(Word{-3}, Word{0}, Word{3}, Word{2}), -4);
    EXPECT_EQ(one(Word{-32768}, Word{-32768}, Word{-32768}, Word{1}), -32768);
    EXPECT_EQ(one(2000000000, 0, 65536, 65536), 2000000000);
    EXPECT_EQ(one(1.0F, 0.0F, 1.0F, 0.0F), INFINITY);
    // The product 2^63 wraps, and so does its quotient.
    EXPECT_EQ(one(least<int>, least<int>, least<int>, 3), least<int>);
    EXPECT_EQ(one(least<int>, least<int>, least<int>, -1), least<int>);
}

TEST(ScaleVariable, AChangeWaitsOrReachesSamplesBeforeIt) {
    using Out = std::vector<std::int32_t>;
    const char* const script = "pass set,3 pass";
    EXPECT_EQ(withVariable("SCALE", {12, 12}, script, {{}, 1, 1}), Out({14, 15}));
    EXPECT_EQ(withVariable("SCALE", {12, 12}, script, {0, {}, 1}), Out({24, 36}));
    EXPECT_EQ(withVariable("SCALE", {12, 12}, script, {0, 1, {}}), Out({6, 4}));
}

TEST(ScaleFaults, AZeroDivisorIsNoFaultOrLosesWhatWasSent) {
    EXPECT_EQ(withVariable("SCALE", {12, 12}, "pass set,0 pass", {0, 1, {}}, "fault code 3221225620"),
              std::vector<std::int32_t>{6});
}

TEST(ScaleFaults, TheMostNegativeQuotientIsNoFaultOrEndsOthers) {
    TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}});
    std::vector<std::int16_t> source(1500, 5);
    source[1400] = -32768;  // the product is 2^31, which wraps
    const PipeId in = session.input("in", source), out = session.output("out", {}, ElementType::int16);
    const PipeId copy = session.output("copy", {}, ElementType::int16);
    session.task("SCALE", in, int16Constant(-32768), int16Constant(-32768), int16Constant(-1), out);
    session.task("ABS", in, copy);
    EXPECT_EQ(statesOf(session.run()), Lines({"fault code 3221225621", "waiting"}));
    EXPECT_EQ(session.collected<std::int16_t>(out).size(), 1000u);  // the block before the fault's
    EXPECT_EQ(session.collected<std::int16_t>(copy).size(), 1500u);
}

}  // namespace
}  // namespace libzepl
