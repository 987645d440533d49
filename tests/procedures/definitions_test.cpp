// Pipes that expressions define.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>

#include "procedures_support.h"

namespace libzepl {
namespace {

using Definitions = ProcedureTest;

constexpr const char* feeds[] = {"--feed 1",     "--feed 7",        "--feed 5000",
                                 "--feed whole", "--feed random:3", "--feed lockstep"};

// The sample `k` before, or what is before the first.
double past(const std::vector<double>& x, std::size_t n, std::size_t k, double before = 0) {
    return n >= k ? x[n - k] : before;
}

// Results over several blocks and over the storage of pipes, however the input is cut.
TEST_F(Definitions, EachSampleIsThatOfAPlainLoopForEveryFeed) {
    const std::vector<double> a = randomSamples(5003, -100.0, 100.0), b = randomSamples(6000, -3.0, 3.0);
    putSamples("a.bin", a);
    putSamples("b.bin", b);
    struct Case {
        const char* expression;
        std::function<double(std::size_t n, const std::vector<double>& y)> value;
    };
    const std::vector<Case> cases{
        {"a - b", [&](std::size_t n, const auto&) { return a[n] - b[n]; }},
        {"3 - a * 2 + 0 * b", [&](std::size_t n, const auto&) { return 3 - a[n] * 2 + 0 * b[n]; }},
        {"(a * 2 - b) * (b - a * b) + (3 + b * 0.1 + (b * b + a) * 7)",
         [&](std::size_t n, const auto&) {
             const double x = a[n], y = b[n];
             return (x * 2 - y) * (y - x * y) + (3 + y * 0.1 + (y * y + x) * 7);
         }},
        {"if(a > 5, 1, -1) + if(a <= b, 2, 3) * 10 + if(b == 7, a, 4) * 100 + if(a * 2 != -8, 5, 6)",
         [&](std::size_t n, const auto&) {
             const double x = a[n], y = b[n];
             return (x > 5 ? 1 : -1) + (x <= y ? 2 : 3) * 10.0 + (y == 7 ? x : 4) * 100 + (x * 2 != -8 ? 5 : 6);
         }},
        {"sqrt(a ^ 2 + b ^ 3 * a) / (a - a)",
         [&](std::size_t n, const auto&) { return std::sqrt(a[n] * a[n] + b[n] * b[n] * b[n] * a[n]) / 0.0; }},
        {"if(abs(a) > 20 * b, a % b, -max(a, b, 1))",
         [&](std::size_t n, const auto&) {
             return std::fabs(a[n]) > 20 * b[n] ? std::fmod(a[n], b[n]) : -std::max({a[n], b[n], 1.0});
         }},
        {"a[-3000] + b", [&](std::size_t n, const auto&) { return past(a, n, 3000) + b[n]; }},
        {"a - a[-1] + 0.995 * y[-1] + 0 * b",
         [&](std::size_t n, const auto& y) { return a[n] - past(a, n, 1) + 0.995 * past(y, n, 1, 2) + 0 * b[n]; }},
        {"0.5 * y[-1] - y[-2] * 0.25 + b * a[-2]",
         [&](std::size_t n, const auto& y) {
             return 0.5 * past(y, n, 1, 2) - (n == 1 ? 2 : past(y, n, 2, 1)) * 0.25 + b[n] * past(a, n, 2);
         }},
        {"max(abs(a), 0.9 * y[-1]) + 0 * b",
         [&](std::size_t n, const auto& y) { return std::max(std::fabs(a[n]), 0.9 * past(y, n, 1, 2)) + 0 * b[n]; }},
        {"a + 0.5 * y[-40] * b",
         [&](std::size_t n, const auto& y) {
             return a[n] + 0.5 * (n >= 40 ? y[n - 40] : n == 39 ? 2 : n == 38 ? 1 : 0) * b[n];
         }},
    };
    for (const Case& each : cases) {
        std::vector<double> expected;
        for (std::size_t n = 0; n < a.size(); ++n) expected.push_back(each.value(n, expected));
        for (const char* feed : feeds) {
            EXPECT_EQ(
                run(std::string("pipe a : double from \"a.bin\"\npipe b : double from \"b.bin\"\npipe y : double = ") +
                        each.expression + " starts [1, 2] to \"y.bin\"\n",
                    feed)
                    .status,
                0);
            const auto found = elementsOf<double>("y.bin");
            ASSERT_EQ(found.size(), expected.size()) << each.expression << " " << feed;
            for (std::size_t n = 0; n < found.size(); ++n)
                ASSERT_TRUE(found[n] == expected[n] || (std::isnan(found[n]) && std::isnan(expected[n])))
                    << each.expression << " " << feed << " sample " << n << ": " << found[n] << " " << expected[n];
        }
    }
}

TEST_F(Definitions, ResultsAreStoredRoundedAndSaturated) {
    const std::vector<double> x{0.5, 1.5, -2.5, 32767.4, 32768, -32768.5, -1e300, 1e300, 3e9};
    putSamples("x.bin", x);
    EXPECT_EQ(
        run("pipe x : double from \"x.bin\"\npipe i : int16 = x to \"i.bin\"\npipe j : int32 = x to \"j.bin\"\npipe f : float = x to \"f.bin\"\n")
            .status,
        0);
    const std::vector<std::int16_t> i{0, 2, -2, 32767, 32767, -32768, -32768, 32767, 32767};
    const std::vector<std::int32_t> j{0, 2, -2, 32767, 32768, -32768, INT32_MIN, INT32_MAX, INT32_MAX};
    constexpr float most = std::numeric_limits<float>::max();
    const std::vector<float> f{0.5f, 1.5f, -2.5f, 32767.4f, 32768, -32768.5f, -most, most, 3e9f};
    EXPECT_EQ(elementsOf<std::int16_t>("i.bin"), i);
    EXPECT_EQ(elementsOf<std::int32_t>("j.bin"), j);
    EXPECT_EQ(elementsOf<float>("f.bin"), f);
}

// Neither the plant nor what it controls has a sample before the other, but for the dead time.
TEST_F(Definitions, ALoopOfPlantAndControllerRunsWithoutStarts) {
    std::vector<double> y, drive;
    for (std::size_t n = 0; n < 500; ++n) {
        y.push_back(0.05 * past(drive, n, 5) + 0.95 * past(y, n, 1));
        drive.push_back(20 - y[n]);
    }
    for (const char* feed : feeds) {
        EXPECT_EQ(
            run("pipe y : double = 0.05 * drive[-5] + 0.95 * y[-1] to \"y.bin\" limit 500\npipe drive : double = 20 - y\n",
                feed)
                .status,
            0);
        EXPECT_EQ(elementsOf<double>("y.bin"), y) << feed;
    }
}

// The loop takes one sample of an input in each turn, and so each set point acts on its own sample: what the controller gives
// is what it gives without the loop for the same temperatures.
TEST_F(Definitions, ALoopInLockstepHasTheClockOfItsInputs) {
    std::string targets, rooms;
    std::vector<double> room, heat, temperature;
    for (std::size_t n = 0; n < 300; ++n) {
        targets += n < 100 ? "60\n" : n < 200 ? "90\n" : "20.5\n";
        room.push_back(static_cast<double>(n % 17) / 8);
        rooms += std::to_string(room[n]) + "\n";
    }
    put("target.csv", targets);
    put("room.csv", rooms);
    const std::string controller =
        "feed lockstep\npipe target : double from \"target.csv\"\npipe gains : float starts [0.5, 12, 8, 1]\n"
        "PID (target, temperature, gains, 1.0, drive, 0.0, 100.0)\n";
    const std::string loop = controller +
                             "pipe room : double from \"room.csv\"\npipe drive : double to \"drive.bin\"\n"
                             "pipe heat : double = 0.03 * drive[-5] + 0.975 * heat[-1]\n"
                             "pipe temperature : double = room + heat to \"t.bin\"\n";
    std::vector<double> drive;
    for (const char* block : {"1024", "1", "7", "5000"}) {
        ASSERT_EQ(run(loop, std::string("--block ") + block).status, 0);
        const std::vector<double> now = elementsOf<double>("drive.bin");
        EXPECT_TRUE(drive.empty() || now == drive) << block;
        drive = now;
    }
    for (std::size_t n = 0; n < room.size(); ++n) {
        heat.push_back(0.03 * past(drive, n, 5) + 0.975 * past(heat, n, 1));
        temperature.push_back(room[n] + heat[n]);
    }
    EXPECT_EQ(elementsOf<double>("t.bin"), temperature);
    const std::string alone =
        controller + "pipe temperature : double from \"t.bin\"\npipe drive : double to \"alone.bin\"\n";
    ASSERT_EQ(run(alone, "--quiet").status, 0);
    EXPECT_EQ(elementsOf<double>("alone.bin"), drive);
}

TEST_F(Definitions, AVariableThatATaskChangesMakesThemDependOnTheArrival) {
    put("in.csv", "1\n2\n3\n");
    const std::string start =
        "pipe a : int16 from \"in.csv\"\nvariable gain : int16 = 2\npipe y : double = gain * a to \"y.csv\"\n";
    const auto depends = [&](const std::string& text) {
        const nlohmann::json cautions = run(text).report["cautions"];
        return std::any_of(cautions.begin(), cautions.end(), [](const nlohmann::json& each) {
            return each["command"] == "y = gain * a" &&
                   each["text"].get<std::string>().starts_with("`gain` is read once a block");
        });
    };
    EXPECT_FALSE(depends(start));
    EXPECT_TRUE(depends(start + "PVALUE (a, gain)\n"));
}

TEST_F(Definitions, ADelayOfAMillionSamplesIsKept) {
    std::vector<double> x(1000100);
    for (std::size_t n = 0; n < x.size(); ++n) x[n] = static_cast<double>(n) + 0.5;
    putSamples("x.bin", x);
    ASSERT_EQ(run("pipe x : double from \"x.bin\"\npipe y : double = x - x[-1000000] to \"y.bin\"\n").status, 0);
    for (std::size_t n = 0; n < 1000000; ++n) x[x.size() - 1 - n] -= past(x, x.size() - 1 - n, 1000000);
    EXPECT_EQ(elementsOf<double>("y.bin"), x);
}

}  // namespace
}  // namespace libzepl
