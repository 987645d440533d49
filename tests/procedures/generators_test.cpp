// Generators, holds and faults beside a recording: none of them may stop it, or keep the run from its end.

#include "procedures_support.h"

namespace libzepl {
namespace {

using Generators = ProcedureTest;

const std::string rectify =
    "pipe ecg : int16 from \"data/ecg208.wav\"\n"
    "pipe size : int16 to \"size.bin\"\n"
    "ABS (ecg, size)\n";

TEST_F(Generators, RandomBesideARecording) {
    const std::vector<std::int16_t> sizes = rectified(recording());
    for (const std::size_t limit : {10000U, 300000U})
        for (const std::string feed : {"", "--feed 999", "--feed whole", "--block 7"}) {
            const Ran ran = run(rectify + "pipe noise : int16 to \"noise.bin\" limit " + std::to_string(limit) +
                                    "\nRANDOM (0, 1, noise)\n",
                                feed);
            EXPECT_EQ(ran.status, 0);
            EXPECT_TRUE(elementsOf<std::int16_t>("size.bin") == sizes) << limit << feed;
            EXPECT_TRUE(elementsOf<std::int16_t>("noise.bin") == randomFromOne(limit)) << limit << feed;
            EXPECT_EQ(ran.states(), Lines({"ABS waiting", "RANDOM running"}));
            EXPECT_EQ(ran.notes(), Lines());
        }
}

TEST_F(Generators, AChirpThatNobodyReads) {
    const std::string chirp =
        "pipe sweep : float\n"
        "CHIRP (\"LOG\", \"BIDIR\", 0.5, 24000, 480, 10, 0.0, sweep)\n";
    for (const bool beside : {false, true}) {
        const Ran ran = run(beside ? rectify + chirp : chirp);
        EXPECT_EQ(ran.status, 0);
        EXPECT_EQ(ran.states().back(), "CHIRP waiting");
        EXPECT_EQ(ran.notes(), Lines({"nobody reads `sweep`"}));
        EXPECT_TRUE(!beside || elementsOf<std::int16_t>("size.bin") == rectified(recording()));
    }
}

TEST_F(Generators, AFaultBesideARunningTask) {
    const Ran ran =
        run("pipe ecg : int16 from \"data/ecg208.wav\"\n"
            "pipe lost : int16 to \"lost.bin\"\n"
            "pipe kept : int16 to \"kept.bin\"\n"
            "variable divisor : int16 = 0\n"
            "SCALE (ecg, 0, 3, divisor, lost)\n"
            "SCALE (ecg, 0, 3, 2, kept)\n");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.report["status"], "failed");
    EXPECT_EQ(ran.states(), Lines({"SCALE fault", "SCALE waiting"}));
    EXPECT_EQ(ran.report["tasks"][0]["text"], "integer division by zero");
    EXPECT_EQ(ran.notes(), Lines());
    EXPECT_EQ(bytesOf("lost.bin"), "");
    std::vector<std::int16_t> expected = recording();
    for (std::int16_t& sample : expected) sample = static_cast<std::int16_t>(std::clamp(sample * 3 / 2, -32768, 32767));
    EXPECT_TRUE(elementsOf<std::int16_t>("kept.bin") == expected);
}

// The fourth sample makes a quotient that 32 bits don't hold. What came before it stays, and the writer goes on.
TEST_F(Generators, AReaderThatEndsByAFaultOnItsWay) {
    putSamples<std::int16_t>("in.bin", {1, 32767, -32767, -32768, 5});
    const Ran ran =
        run("pipe source : int16 from \"in.bin\"\n"
            "pipe middle : int16 capacity 1\n"
            "pipe first : int16 to \"first.bin\"\n"
            "pipe none : int16 to \"none.bin\"\n"
            "ABS   (source, middle)\n"
            "SCALE (source, -32768, -32768, -1, first)\n"
            "SCALE (middle, 0, 1, 0, none)\n",
            "--feed 1");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.states(), Lines({"ABS waiting", "SCALE fault", "SCALE fault"}));
    EXPECT_EQ(ran.written("middle"), 5U);
    EXPECT_EQ(ran.notes(), Lines({"nobody reads `middle` any more"}));
    // (x - 32768) * -32768 in 32 bits, negated, and held within 16 bits.
    EXPECT_EQ(elementsOf<std::int16_t>("first.bin"), std::vector<std::int16_t>({-32768, -32768, -32768}));
}

// Each source keeps its order and the recording comes over whole, whatever stands between; the noise goes on behind it.
TEST_F(Generators, RandomMergedWithARecording) {
    const std::vector<std::int16_t> samples = recording();
    for (const std::string feed : {"", "--feed whole", "--feed random:5"}) {
        const Ran ran =
            run("pipe ecg : int16 from \"data/ecg208.wav\"\n"
                "pipe noise : int16 capacity 8\n"
                "pipe link : int16 to \"link.bin\"\n"
                "RANDOM (0, 1, noise)\n"
                "MERGEF (ecg, noise, link)\n",
                "--block 8 " + feed);
        EXPECT_EQ(ran.status, 1);
        EXPECT_EQ(ran.notes(), Lines({"RANDOM (line 4) was still running by itself when the inputs had ended",
                                      "MERGEF (line 5) was still running by itself when the inputs had ended"}));
        EXPECT_EQ(ran.unread("ecg"), 0U);
        const std::vector<std::int16_t> link = elementsOf<std::int16_t>("link.bin");
        ASSERT_EQ(link.size() % 2, 0U);
        std::vector<std::int16_t> sources[2];
        for (std::size_t i = 0; i < link.size(); i += 2) {
            ASSERT_TRUE(link[i] == 0 || link[i] == 1) << i;
            sources[link[i]].push_back(link[i + 1]);
        }
        EXPECT_TRUE(sources[0] == samples) << feed;
        EXPECT_TRUE(sources[1] == randomFromOne(sources[1].size())) << feed;
        EXPECT_EQ(link[link.size() - 2], 1) << "the noise ended before the recording";
    }
}

TEST_F(Generators, AGeneratorWithoutInputsEndsWithItsLastOutput) {
    const Ran ran =
        run("pipe tone : int16\n"
            "pipe wave : int16 to \"wave.bin\" limit 5000\n"
            "variable ask : int16 = 0\n"
            "trigger mark to \"mark.csv\" limit 5\n"
            "RANDOM (0, 1, tone)\n"
            "SCALE (tone, 0, 1, 1, wave)\n"
            "PCASSERT (ask, mark)\n");
    EXPECT_EQ(ran.status, 0);
    EXPECT_TRUE(elementsOf<std::int16_t>("wave.bin") == randomFromOne(5000));
    EXPECT_EQ(bytesOf("mark.csv"), "event,position\nstatus,5000\n");
    EXPECT_EQ(ran.notes(), Lines({"RANDOM (line 5) was still running by itself when nothing more could come of it",
                                  "SCALE (line 6) was still running by itself when nothing more could come of it",
                                  "the output of `mark` has 0 events of the 5 asked for"}));
}

}  // namespace
}  // namespace libzepl
