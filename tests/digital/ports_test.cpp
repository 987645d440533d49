// DEXPAND and COMPRESS against their plain definitions.

#include <cstdlib>
#include <random>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers coversExpand("DEXPAND"), coversCompress("COMPRESS");

using Words = std::vector<std::int16_t>;

std::string wordOf(const Words& vector) {
    std::string word;
    for (const std::int16_t element : vector) word += (word.empty() ? "[" : ", ") + std::to_string(element);
    return word + "]:int16";
}

enum class Encoding { four, unipolar, two };

// The ports take turns, over the ends of blocks as well.
Words plainlyExpanded(const Words& samples, const Words& ports, Encoding encoding) {
    std::vector<int> words;
    if (encoding == Encoding::two) words.push_back(0xFFFF);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const int port = ports[i % ports.size()] << 8;
        int x = static_cast<std::uint16_t>(samples[i]), high = x >> 8;
        if (encoding == Encoding::unipolar) {
            // Twice the sample, offset binary in the high byte alone; below 0 it counts as 0.
            x = samples[i] < 0 ? 0 : 2 * x;
            high = (x >> 8) ^ 0x80;
        }
        const int low = x & 0xFF;
        if (encoding == Encoding::two)
            words.insert(words.end(), {0x4000 | high, 0xC000 | port | low});
        else
            words.insert(words.end(), {0xC000 | port | high, port | high, port | low, 0x8000 | port | low});
    }
    return Words(words.begin(), words.end());
}

TEST(DExpand, WordsAreThePlainDefinition) {
    const Words samples = edgeSamples<std::int16_t>();
    for (const auto& [mode, board, encoding] : {std::tuple("", 0U, Encoding::four),
                                                {", 0", 0U, Encoding::four},
                                                {", \"ASERIES\"", 0U, Encoding::four},
                                                {", 1", 1U, Encoding::four},
                                                {", 1", 0U, Encoding::unipolar},
                                                {", \"SI\"", 0U, Encoding::two}}) {
        const SessionOptions options{.info = {{4, board}}};
        for (const auto& [some, ports] : {std::pair(samples, Words{5, 63, 0}), {samples, {5}}, {{}, {5}}})
            EXPECT_EQ(resultOf<std::int16_t>("DEXPAND (in, " + wordOf(ports) + ", out" + mode + ")", some, options),
                      plainlyExpanded(some, ports, encoding))
                << mode;
    }
}

TEST(DExpand, ModesAndPortsAreRefusedAtTheFirstMistake) {
    expectRefused({"DEXPAND (int16, [64]:int16, int16, \"SERIES\")", "DEXPAND (int16, [64]:int16, int16, 2)",
                   "DEXPAND (int16, [64]:int16, int16, -1)"},
                  6, 4);
    const Input empty("[ports]", Words{});
    EXPECT_EQ(Call("DEXPAND (int16, ports, int16)", {empty}).state, "error code 5 at 2");
    expectRefused({"DEXPAND (int16, [1, 64]:int16, int16)", "DEXPAND (int16, [-1]:int16, int16, \"SI\")"}, 5, 2);
    expectReady({"DEXPAND (int16, [63, 0]:int16, int16, 1)"});
}

// A record of each first value, and of each that has moved from its channel's last record by the threshold or more.
Words plainlyCompressed(const Words& samples, const Words& thresholds) {
    const std::size_t channels = thresholds.size();
    Words last(channels), records;
    for (std::size_t i = 0; i < samples.size() / channels * channels; ++i) {
        const std::size_t channel = i % channels, frame = i / channels;
        if (frame > 0 && std::abs(samples[i] - last[channel]) < thresholds[channel]) continue;
        last[channel] = samples[i];
        for (const std::size_t word : {channel, static_cast<std::size_t>(samples[i]), frame & 0xFFFF, frame >> 16})
            records.push_back(static_cast<std::int16_t>(word));
    }
    return records;
}

TEST(Compress, RecordsAreThePlainDefinition) {
    std::mt19937 random(10);
    Words samples, many;
    for (int value = 0; samples.size() < 70001; value += static_cast<int>(random() % 5) - 2)
        samples.push_back(
            static_cast<std::int16_t>(samples.size() % 1000 < 3 ? random() : static_cast<unsigned>(value)));
    for (int i = 0; i < 300; ++i) many.push_back(static_cast<std::int16_t>(i % 7));
    for (const auto& [given, thresholds] : {std::pair(std::string("1, 5"), Words{5}),
                                            {"1, 32767", {32767}},
                                            {"1, 0", {0}},
                                            {"1, -5", {-5}},
                                            {"4, 3", {3, 3, 3, 3}},
                                            {"3, 1, 2, 3", {1, 2, 3}},
                                            {"3, [1, 2, 3]:int16", {1, 2, 3}},
                                            {"300, " + wordOf(many), many}})
        for (const Words& some : {samples, Words{1, 2}})
            EXPECT_EQ(resultOf<std::int16_t>("COMPRESS (in, " + given + ", out)", some),
                      plainlyCompressed(some, thresholds))
                << given;
}

TEST(Compress, ListsAreRefusedAtTheFirstMistake) {
    expectReady({"COMPRESS (int16, 16" + more(16, "1") + ", int16)", "COMPRESS (int16, 1024, 1, int16)",
                 "COMPRESS (int16, 2, 1, 1, int16)"});
    expectRefused({"COMPRESS (int16, 17" + more(16, "1") + ", 1, int16)"}, 0, 19);
    expectRefused(
        {"COMPRESS (int16, 1025, 1, int16)", "COMPRESS (int16, 0, 1, int16)", "COMPRESS (int16, -1, 1, int16)"}, 5, 2);
    expectRefused({"COMPRESS (int16, 1, 1, 1, int16)"}, 9, 5);
    expectRefused({"COMPRESS (int16, 3, 1, 1, int16)"}, 8, 6);
    expectRefused({"COMPRESS (int16, 2, 1, int16, int16)", "COMPRESS (int16, 1, 1, 1)"}, 10, 4);
    expectRefused({"COMPRESS (int16, 2, [0]:int16, int16)", "COMPRESS (int16, 2, [0, 0, 0]:int16, int16)"}, 1, 3);
}

}  // namespace
}  // namespace libzepl
