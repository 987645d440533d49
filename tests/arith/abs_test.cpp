// ABS against its plain definition, over every bit pattern that matters, and call by call.

#include <bit>

#include "tests/arith/arith_support.h"
#include "tests/support/child_output.h"

namespace libzepl {
namespace {

const Covers covers("ABS");

template <class Element>
Element absolute(Element x) {
    if constexpr (std::is_integral_v<Element>) {
        if (x == least<Element>) return most<Element>;
        return x < 0 ? static_cast<Element>(-x) : x;
    } else {
        using Bits = BitsOf<Element>;
        const auto positive = std::bit_cast<Element>(static_cast<Bits>(std::bit_cast<Bits>(x) << 1 >> 1));
        if (sizeof(Element) == 8 || x == x) return positive;
        return std::bit_cast<Element>(std::bit_cast<Bits>(positive) | Bits{0x400000});  // in float a NaN becomes quiet
    }
}

template <class Element>
class Abs : public testing::Test {};
TYPED_TEST_SUITE(Abs, Elements);

TYPED_TEST(Abs, EveryBitPatternLosesItsSign) {
    expectEach<TypeParam>("ABS (in, out)", edgeSamples<TypeParam>(), absolute<TypeParam>);
}

// Among them the greatest count that comes at once, for all commands of one source.
TEST(AbsBlocks, TheHostIsCalledInOrder) {
    Lines calls = sceneOf("abs '" TEST_MODULE_FILE "'");
    calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), "param_process 9: 2 to 2, masks a0c0 a0c0"));
    Lines expected{"param_process 9: 2 to 2, masks a0c0 a0c0",
                   "param_type 9 at 1",
                   "param_type 9 at 2",
                   "pipe_open 22 mode 1",
                   "pbuf_open 22 capacity 1000",
                   "pbuf_get_data_ptr 122",
                   "pipe_open 21 mode 0",
                   "pbuf_open 21 capacity 0",
                   "pbuf_set_min_cnt 121: 1",
                   "pbuf_set_max_cnt 121: 1000",
                   "pbuf_set_data_ptr 121: area 122 + 0",
                   "param_type 9 at 1"};
    const auto refill = [&] {
        expected.insert(expected.end(), {"task_switch", "pbuf_get_data_ptr 121", "pbuf_get 121"});
    };
    refill();
    for (const char* put : {"pbuf_put_set_cnt 122: 3, 1 2 32767", "", "pbuf_put_set_cnt 122: 1, 5"}) {
        expected.emplace_back("pbuf_get_data_ptr 122");
        if (*put != '\0') expected.emplace_back(put);
        refill();
    }
    expected.emplace_back("stopped");
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(sceneOf("abs_of_triggers '" TEST_MODULE_FILE "'").back(), "returned 0");
}

}  // namespace
}  // namespace libzepl
