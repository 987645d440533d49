// Chains of triggers, from the clock, from a generator that runs ahead, or from a file.

#include <set>
#include <tuple>

#include "procedures_support.h"

namespace libzepl {
namespace {

using Events = ProcedureTest;

// TGEN asserts at 99, 199, ..., of which NTH passes 299, 599, ...: the gate is open from 299 to 599, from 899 to 1199, ...
TEST_F(Events, AGateOpensAndClosesAtEveryThirdTick) {
    const std::vector<std::int16_t> x = recording();
    std::vector<std::int16_t> expected;
    for (std::size_t i = 299; i < x.size(); ++i)
        if ((i - 299) / 300 % 2 == 0) expected.push_back(x[i]);
    expectOfEveryFeed<std::int16_t>(
        "pipe ecg : int16 from \"data/ecg208.wav\"\ntrigger tick\ntrigger gate\npipe cut : int16 to \"cut.bin\"\n"
        "TGEN (100, tick)\n"
        "NTH (tick, 3, gate)\n"
        "TOGGWT (ecg, gate, cut)\n",
        {"TGEN (line 5) waits for room in `tick`", "NTH (line 6) waits for room in `gate`",
         "TOGGWT (line 7) waits for 1 sample of `ecg`, 0 are there"},
        {{"cut.bin", expected}});
}

std::string requests(const std::string& divider) {
    return "pipe ask : int16 from \"ask.bin\"\n"
           "trigger mark to \"mark.csv\"\n"
           "PCASSERT (ask, mark" +
           divider + ")\n";
}

// The clock counts the frames of `ask` itself; at each step of the count one request is served. PCASSERT sees with the first
// frame that the clock runs, and looks at the count with the second.
TEST_F(Events, OneRequestIsServedAtEachStepOfTheClock) {
    putSamples("ask.bin", std::vector<std::int16_t>(1000, 1));
    for (const auto& [divider, first, last] :
         {std::tuple("", 2U, 1000U), {", 1", 2U, 1000U}, {", 10", 1U, 100U}, {", 999", 1U, 1U}}) {
        const Ran ran = run(requests(divider), "--feed 1");
        std::vector<std::uint32_t> expected;
        for (std::uint32_t count = first; count <= last; ++count) expected.push_back(count);
        EXPECT_EQ(eventsOf("mark.csv"), expected) << divider;
        const std::size_t left = 1000 - expected.size();
        EXPECT_EQ(ran.unread("ask"), left) << divider;
        EXPECT_EQ(ran.notes(), Lines({"PCASSERT (line 3) left " + std::to_string(left) +
                                      (left == 1 ? " sample" : " samples") + " of `ask` unread"}))
            << divider;
    }
}

// In larger pieces the count takes larger steps. None is made for nothing, and no request is lost.
TEST_F(Events, RequestsThatComeFasterThanTheClockAreNotLost) {
    putSamples("ask.bin", std::vector<std::int16_t>(1000, 1));
    for (const char* feed : someFeeds) {
        const Ran ran = run(requests(""), feed);
        const std::vector<std::uint32_t> events = eventsOf("mark.csv");
        EXPECT_EQ(std::set<std::uint32_t>(events.begin(), events.end()).size(), events.size()) << feed;
        EXPECT_TRUE(std::is_sorted(events.begin(), events.end())) << feed;
        EXPECT_EQ(events.size() + ran.unread("ask"), 1000U) << feed;
        EXPECT_TRUE(bytesOf("mark.csv").ends_with("status,1000\n")) << feed;
        EXPECT_EQ(ran.states(), Lines({"PCASSERT running"}));
    }
}

// Every second event of the file, at half its position, joined with a tick in 500, up to where the file's status leads.
TEST_F(Events, EventsPassFiveCommandsHoweverFast) {
    std::mt19937 generator(7);
    std::string rows = "event,position\n";
    std::set<std::uint32_t> expected;
    std::uint32_t position = 0;
    for (int n = 1; n <= 20000; ++n) {
        position += 2 + static_cast<std::uint32_t>(generator() % 60);
        rows += "assert," + std::to_string(position) + "\n";
        if (n % 2 == 0) expected.insert(position / 2);
    }
    put("beat.csv", rows + "status," + std::to_string(position + 1001) + "\n");
    const std::uint32_t last = (position + 1002) / 2 - 1;
    for (std::uint32_t tick = 499; tick <= last; tick += 500) expected.insert(tick);
    expectOfEveryFeed<std::int32_t>(
        "trigger beat from \"beat.csv\"\ntrigger second\ntrigger half\ntrigger tick\ntrigger either\n"
        "pipe stamps : int32 to \"stamps.bin\"\n"
        "TSTAMP (either, stamps)\n"
        "TOR (half, tick, either)\n"
        "TGEN (500, tick)\n"
        "TRIGSCALE (second, 0, 1, 2, half)\n"
        "NTH (beat, 2, second)\n",
        {"TGEN (line 9) waits for room in `tick`"}, {{"stamps.bin", {expected.begin(), expected.end()}}});
}

// Each sample comes out after the tags of its way, in the order of its source.
TEST_F(Events, TwoMergesInARowKeepTheOrderOfEachSource) {
    const std::vector<std::int16_t> x = recording(), y = randomSamples<std::int16_t>(5000, -32768, 32767);
    putSamples("y.bin", y);
    expectOfEveryFeed<std::int16_t>(
        "pipe x : int16 from \"data/ecg208.wav\"\npipe y : int16 from \"y.bin\"\n"
        "pipe inner : int16 capacity 3\npipe outer : int16 capacity 3\npipe link : int16\n"
        "pipe first : int16 to \"first.bin\"\npipe second : int16 to \"second.bin\"\npipe third : int16 to "
        "\"third.bin\"\n"
        "MERGEF (x, y, inner)\n"
        "MERGEF (y, inner, outer)\n"
        "SEPARATEF (outer, first, link)\n"
        "SEPARATEF (link, second, third)\n",
        {}, {{"first.bin", y}, {"second.bin", x}, {"third.bin", y}});
}

}  // namespace
}  // namespace libzepl
