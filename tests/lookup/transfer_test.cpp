// TFUNCTION1 and TFUNCTION2: the ratio, its suppression, and the form of the results in each element type.

#include <cmath>
#include <complex>
#include <numbers>

#include "host/mathematics.h"
#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers1("TFUNCTION1"), covers2("TFUNCTION2");

template <class Element>
using Streams = std::vector<std::vector<Element>>;

// Runs the command over its input streams and options; gives `mag` and `phase`.
template <class Element>
Streams<Element> transferred(const std::string& command, const Streams<Element>& inputs,
                             const std::vector<Element>& options = {}) {
    std::string call = command + " (";
    std::vector<Input> given;
    for (const auto& input : inputs) {
        given.emplace_back("in" + std::to_string(given.size()), input);
        call += given.back().name + ", ";
    }
    call += typed<Element>("mag") + ", " + typed<Element>("phase");
    for (const Element option : options) call += ", " + written(option);
    const Call made(call + ")", given);
    EXPECT_EQ(made.report.status, Report::Status::ok);
    return {made.template taken<Element>("mag"), made.template taken<Element>("phase")};
}

using Doubles = Streams<double>;

TEST(Transfer, TheRatioIsTheComplexQuotient) {
    Doubles in;
    for (std::uint64_t seed = 1; seed <= 4; ++seed) in.push_back(randomSamples<double>(1000, seed));
    const Doubles out = transferred("TFUNCTION1", in);
    ASSERT_EQ(out[0].size(), 1000U);
    for (std::size_t i = 0; i < 1000; ++i) {
        const auto ratio = std::complex(in[2][i], in[3][i]) / std::complex(in[0][i], in[1][i]);
        EXPECT_NEAR(out[0][i], 20 * zepl::log10(std::abs(ratio)), 1e-9);
        EXPECT_NEAR(out[1][i], std::arg(ratio), 1e-12);
    }
}

TEST(Transfer, CrossOverAutoIsTakenOverTheAmplitude) {
    // Root 2 and cross 4 pass a ratio of 2; the result is 4 over 4 for all that.
    EXPECT_EQ(transferred<double>("TFUNCTION2", {{4, 4}, {4, 0}, {0, 8}}, {2, 2}),
              (Doubles{{0, 20 * zepl::log10(2.0)}, {0, std::numbers::pi / 2}}));
    EXPECT_EQ(transferred<double>("TFUNCTION2", {{4, 4}, {40, 40}, {0, 0}}, {2.5, 0}), (Doubles{{0, 0}, {0, 0}}));
    for (const auto& [limit, first] : {std::pair(3.0, 0.0), {2.5, 20 * zepl::log10(1.25)}})
        EXPECT_EQ(transferred<double>("TFUNCTION2", {{4, 4}, {5, 40}, {0, 0}}, {0, limit})[0],
                  (std::vector{first, 20.0}));
}

TEST(Transfer, LimitsAndTheScaleAct) {
    const Doubles in{{3, 3, 3}, {4, 4, 4}, {0, 0, 0}, {50, 49, 5}};  // amplitudes 5, and 50, 49 and 5
    const double angle = zepl::atan2(150, 200);
    const auto magnitudes = [&](const std::vector<double>& options) {
        return transferred("TFUNCTION1", in, options)[0];
    };
    using Row = std::vector<double>;
    EXPECT_EQ(magnitudes({5, 50}), (Row{20, 0, 0}));
    EXPECT_EQ(magnitudes({5.000001, 0}), (Row{0, 0, 0}));
    EXPECT_EQ(magnitudes({10}), (Row{200, 10 * (20 * zepl::log10(9.8)), 0}));
    EXPECT_EQ(magnitudes({-1}), magnitudes({0}));
    EXPECT_EQ(magnitudes({-1, 5, 50}), (Row{20, 0, 0}));
    EXPECT_EQ(magnitudes({2, 5, 50}), (Row{40, 0, 0}));
    EXPECT_EQ(magnitudes({2, 5.000001, 0}), (Row{0, 0, 0}));
    EXPECT_EQ(transferred("TFUNCTION1", in, {5, 50})[1], (Row{angle, 0, 0}));
}

TEST(Transfer, IntegerResultsAreTruncatedAndAnglesScaled) {
    const Streams<std::int16_t> in16{{-100, 100, 100, 1}, {0, 0, 0, 0}, {100, -100, 51, 32767}, {0, 0, 0, 0}};
    // The zero of -100 * 0 is negative, so the angle is -pi.
    EXPECT_EQ(transferred("TFUNCTION1", in16), (Streams<std::int16_t>{{0, 0, -5, 90}, {-32767, 32767, 0, 0}}));
    // 90.3 dB in thousandths keep 16 bits: 90308 - 65536.
    EXPECT_EQ(transferred("TFUNCTION1", in16, {1000})[0].at(3), 90308 - 65536);
    const Streams<std::int32_t> in32{{100, 100}, {0, 0}, {0, 0}, {-100, 100}};
    EXPECT_EQ(transferred("TFUNCTION1", in32)[1], (std::vector<std::int32_t>{-1073741823, 1073741823}));
    EXPECT_EQ(transferred<float>("TFUNCTION2", {{4}, {3}, {3}})[1].at(0), static_cast<float>(std::numbers::pi / 4));
}

TEST(Transfer, AStreamOrValueOfAnotherTypeIsRefused) {
    for (const auto& [command, pipes] : {std::pair("TFUNCTION1", 6), {"TFUNCTION2", 5}})
        for (int odd = 2; odd <= pipes + 2; ++odd) {
            std::string call = command;
            for (int i = 1; i <= pipes + 2; ++i) {
                const std::string type = i == odd ? "float" : "int32";
                call += (i == 1 ? " (" : ", ") + (i <= pipes ? type : "1:" + type);
            }
            expectRefused({call + ")"}, 3, odd);
        }
}

}  // namespace
}  // namespace libzepl
