// PIDLATCH against its two ways of working, and the words that choose between them.

#include "tests/control/control_support.h"

namespace libzepl {
namespace {

const Covers covers("PIDLATCH");

template <class Element>
struct Flow {
    std::vector<Element> setmon, ctrlmon, plntmon, fbset = {}, drive = {};
};

// One value of each input, and one mode word while there are some, goes to each pass.
template <class Element, class Mode>
Flow<Element> latched(Flow<Element> flow, const std::vector<Mode>& modes) {
    const Call call(
        "PIDLATCH (setmon, " + typed<Element>("fbset") + ", ctrlmon, " + typed<Element>("drive") + ", plntmon, mode)",
        {{"setmon", flow.setmon}, {"ctrlmon", flow.ctrlmon}, {"plntmon", flow.plntmon}, {"mode", modes}}, atOnce());
    EXPECT_EQ(call.report.status, Report::Status::ok);
    flow.fbset = call.template taken<Element>("fbset");
    flow.drive = call.template taken<Element>("drive");
    return flow;
}

TYPED_TEST_SUITE(Controller, Elements);

TYPED_TEST(Controller, PidlatchIsAPairOfWiresOrItsFilters) {
    const auto a = randomBits<TypeParam>(500, 1), b = randomBits<TypeParam>(500, 2);
    const auto wires = latched<TypeParam, std::int16_t>({{}, a, b}, {});
    EXPECT_EQ(bitsOf(wires.drive), bitsOf(a));
    EXPECT_EQ(bitsOf(wires.fbset), bitsOf(b));
    Flow<TypeParam> flow;
    for (int n = 0; n < 200; ++n) {
        flow.setmon.push_back(static_cast<TypeParam>(2000 - n * 11));
        flow.ctrlmon.push_back(static_cast<TypeParam>(1000 - n * 7919 % 97));
        flow.plntmon.push_back(static_cast<TypeParam>(500 + n));
    }
    flow = latched<TypeParam, std::int32_t>(flow, {1, 5, 0, 0, 0, 3, 0});
    double driveFilter = 0, controlFilter = 0;
    for (std::size_t n = 0; n < 200; ++n) {
        const auto control = static_cast<double>(flow.ctrlmon[n]), plant = static_cast<double>(flow.plntmon[n]);
        const auto wanted = static_cast<double>(flow.setmon[n]);
        if (n < 2 || n == 5) {
            driveFilter = control;
            controlFilter = plant;
            ASSERT_EQ(flow.drive[n], flow.ctrlmon[n]);
            ASSERT_EQ(flow.fbset[n], flow.plntmon[n]);
        } else {
            driveFilter = driveFilter * double{29.0F / 30} + wanted * double{1.0F / 30};
            ASSERT_EQ(flow.drive[n], static_cast<TypeParam>(driveFilter)) << n;
            ASSERT_EQ(flow.fbset[n], static_cast<TypeParam>(wanted + controlFilter - plant)) << n;
            controlFilter = control * double{0.05F} + controlFilter * double{0.95F};
        }
    }
}

// Whether the second pass is latched, behind a first one that is and one that is not, with this word between them.
template <class Mode>
std::string passesAfter(Mode word) {
    std::string passes;
    for (const Mode first : {Mode{1}, Mode{0}})
        passes += latched<double, Mode>({{7}, {1000, 1000}, {0, 0}}, {first, word}).drive[1] == 1000 ? 'L' : 'r';
    return passes;
}

TEST(Pidlatch, EachModeWordLatchesReleasesOrKeeps) {
    const std::int32_t least = -2147483647 - 1;
    const std::vector<std::pair<std::int32_t, std::string>> words = {{0, "rr"},
                                                                     {1, "LL"},
                                                                     {2, "LL"},
                                                                     {32767, "LL"},
                                                                     {32768, "Lr"},
                                                                     {65536, "Lr"},
                                                                     {65537, "LL"},
                                                                     {-1, "Lr"},
                                                                     {least, "rr"},
                                                                     {least + 1, "LL"},
                                                                     // As floats: -2, minus infinity, no number.
                                                                     {-1073741824, "rr"},
                                                                     {-8388608, "rr"},
                                                                     {-8323072, "Lr"}};
    for (const auto& [word, passes] : words) EXPECT_EQ(passesAfter(word), passes) << word;
    for (const auto& [word, passes] : {std::pair{0, "rr"}, {1, "LL"}, {32767, "LL"}, {-1, "Lr"}, {-32768, "Lr"}})
        EXPECT_EQ(passesAfter(static_cast<std::int16_t>(word)), passes) << word;
}

TEST(Pidlatch, AValueIsWrittenBeforeOneThatItDoesNotDependOnIsRead) {
    const auto shut = latched<double, std::int16_t>({{}, {}, {1, 2}}, {});
    EXPECT_EQ(shut.fbset, std::vector<double>({1}));
    EXPECT_EQ(shut.drive, std::vector<double>());
    const auto open = latched<double, std::int16_t>({{30}, {}, {}}, {0}),
               fed = latched<double, std::int16_t>({{30}, {}, {4}}, {0});
    EXPECT_EQ(open.drive.size(), 1U);
    EXPECT_EQ(fed.fbset, std::vector<double>({26}));
}

}  // namespace
}  // namespace libzepl
