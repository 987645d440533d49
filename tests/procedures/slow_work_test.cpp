// One block that becomes very much for a command that takes it value by value is finite work, and is finished.

#include "procedures_support.h"

namespace libzepl {
namespace {

using SlowWork = ProcedureTest;
using Samples = std::vector<std::int16_t>;

Samples repeated(const Samples& samples, std::size_t times) {
    Samples all;
    for (const std::int16_t sample : samples) all.insert(all.end(), times, sample);
    return all;
}

// What comes of each case is taken by PID1, which gives 5 less it.
TEST_F(SlowWork, IsFinishedHoweverTheInputArrives) {
    const Samples few = randomSamples<std::int16_t>(300, -1000, 1000);
    putSamples("few.bin", few);
    putSamples("frames.bin", Samples(100000, 1));
    put("quiet.csv", "event,position\nassert,70000\nstatus,99999\n");
    Samples sizes(few), counts(100000, 0);
    for (std::int16_t& size : sizes) size = static_cast<std::int16_t>(std::abs(size));
    counts[70000] = 1;
    const struct {
        const char* procedure;
        Samples taken;
    } cases[] = {
        {"pipe few : int16 from \"few.bin\"\nREPLICATE (few, 800, much)\n", repeated(few, 800)},
        {"trigger quiet from \"quiet.csv\"\nFREQUENCY (quiet, 1, much)\n", counts},
        {"trigger quiet from \"quiet.csv\"\npipe words : int32\ntrigger again\n"
         "TRIGSEND (quiet, 1, words)\nTRIGRECV (words, again)\nFREQUENCY (again, 1, much)\n",
         counts},
        // By the clock, which the frames of another branch move.
        {"pipe frames : int16 from \"frames.bin\"\nvariable ask : int16 = 0\ntrigger mark\n"
         "DISCARD (frames)\nPCASSERT (ask, mark)\nFREQUENCY (mark, 1, much)\n",
         Samples(100001, 0)},
        // Paired with a generator, from which as many are taken.
        {"pipe few : int16 from \"few.bin\"\npipe noise : int16\npipe zero : int16\npipe size : int16\n"
         "RANDOM (0, 1, noise)\nSCALE (noise, 0, 0, 1, zero)\nCMAG (few, zero, size)\nREPLICATE (size, 800, much)\n",
         repeated(sizes, 800)},
        // Out of a loop.
        {"pipe few : int16 from \"few.bin\"\npipe back : int16\npipe link : int16\npipe once : int16\n"
         "MERGEF (few, back, link)\nSEPARATEF (link, back, once)\nREPLICATE (once, 800, much)\n",
         repeated(few, 800)},
    };
    for (const auto& [procedure, taken] : cases) {
        Samples expected;
        for (const std::int16_t sample : taken) expected.push_back(static_cast<std::int16_t>(5 - sample));
        for (const std::string feed : {"", "--feed 7", "--feed whole", "--feed random:1"}) {
            const Ran ran = run(std::string(procedure) +
                                    "pipe much : int16\npipe drive : int16 to \"drive.bin\"\n"
                                    "variable level : int16 = 5\nPID1 (much, level, 100, 0, 0, drive)\n",
                                feed);
            EXPECT_EQ(ran.status, 0) << procedure << feed;
            EXPECT_TRUE(elementsOf<std::int16_t>("drive.bin") == expected) << procedure << feed;
        }
    }
}

TEST_F(SlowWork, AnOutputWithALimitIsServedBesideAShortRecording) {
    putSamples("few.bin", Samples{1, 2, 3});
    const Ran ran = run(
        "pipe few : int16 from \"few.bin\"\npipe copy : int16 to \"copy.bin\"\nABS (few, copy)\n"
        "pipe noise : int16\npipe slow : int16\npipe rare : int16 to \"rare.bin\" limit 3\nvariable level : int16 = 0\n"
        "RANDOM (0, 1, noise)\nPID1 (noise, level, -100, 0, 0, slow)\nSKIP (slow, 0, 1, 79999, rare)\n");
    EXPECT_EQ(ran.status, 0);
    const Samples noise = randomFromOne(160001);
    EXPECT_EQ(elementsOf<std::int16_t>("rare.bin"), Samples({noise[0], noise[80000], noise[160000]}));
}

TEST_F(SlowWork, AnOutputByTheClockOfARecordingNeedsNoLimit) {
    for (const char* feed : someFeeds) {
        const Ran ran =
            run("pipe ecg : int16 from \"data/ecg208.wav\"\npipe size : int16 to \"size.bin\"\n"
                "variable ask : int16 = 0\ntrigger mark to \"mark.csv\"\nABS (ecg, size)\nPCASSERT (ask, mark)\n",
                feed);
        EXPECT_EQ(ran.status, 0) << feed;
        EXPECT_EQ(bytesOf("mark.csv"), "event,position\nstatus,108000\n") << feed;
    }
}

const std::string goesOn = "was still running by itself when the inputs had ended";

// Each of these continues by itself after the inputs, so that nobody asked for the length of its output.
TEST_F(SlowWork, AnOutputThatGoesOnByItselfNeedsALimit) {
    putSamples("few.bin", Samples{1, 2, 3});
    put("alarm.csv", "event,position\nassert,0\n");
    const std::string held =
        "pipe few : int16 from \"few.bin\"\ntrigger alarm from \"alarm.csv\"\npipe driven : int16\n"
        "PIDSCRAM (few, driven, 10, 4, \"LINEAR\", alarm)\nABS (driven, size)\n";
    const std::string merged =
        "pipe few : int16 from \"few.bin\"\npipe noise : int16 capacity 8\nRANDOM (0, 1, noise)\n"
        "MERGEF (few, noise, size)\n";
    const struct {
        std::string procedure, options, writer, reason;
    } cases[] = {
        {held, "--patience 5000", "PIDSCRAM (line 4) wrote ",
         " samples of `driven` without taking anything, more than --patience allows"},
        {merged, "", "RANDOM (line 3) continues by itself after the inputs have ended: it wrote ",
         " samples of `noise`"},
    };
    for (const auto& [procedure, options, writer, reason] : cases) {
        const Ran cut = run(procedure + "pipe size : int16 to \"size.bin\"\n", options);
        EXPECT_EQ(cut.status, 1);
        EXPECT_EQ(cut.report["status"], "failed");
        const auto text = cut.report["reason"].get<std::string>();
        const std::string begin = "the output of `size` has no limit, and " + writer;
        EXPECT_TRUE(text.starts_with(begin) && text.ends_with(reason)) << text;
        EXPECT_GT(std::stoul(text.substr(begin.size())), 5000U);
        const Ran limited = run(procedure + "pipe size : int16 to \"size.bin\" limit 300000\n", options);
        EXPECT_EQ(limited.status, 0);
        EXPECT_EQ(elementsOf<std::int16_t>("size.bin").size(), 300000U);
    }
}

TEST_F(SlowWork, WhatGoesOnWithNoWayToAnOutputLeavesTheRunWell) {
    const Ran ran =
        run("pipe ecg : int16 from \"data/ecg208.wav\"\npipe size : int16 to \"size.bin\"\nABS (ecg, size)\n"
            "pipe noise : int16\nvariable last : int16 = 0\nRANDOM (0, 1, noise)\nPVALUE (noise, last)\n");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.notes(), Lines({"RANDOM (line 6) " + goesOn, "PVALUE (line 7) " + goesOn}));
    EXPECT_TRUE(elementsOf<std::int16_t>("size.bin") == rectified(recording()));
}

}  // namespace
}  // namespace libzepl
