// Generators, holds and faults beside a recording: none of them may stop it, or keep the run from its end.

#include "procedures_support.h"

namespace libzepl {
namespace {

using Generators = ProcedureTest;

const char* const rectify =
    "pipe ecg : int16 from \"data/ecg208.wav\"\n"
    "pipe size : int16 to \"size.bin\"\n"
    "ABS (ecg, size)\n";

TEST_F(Generators, AGeneratorAndARecordingBothComeToTheirEnds) {
    const std::vector<std::int16_t> sizes = rectified(recording());
    for (const std::size_t limit : {10000U, 300000U})
        for (const std::string feed : {"", "--feed 999", "--feed whole", "--block 7"}) {
            const Ran ran = run(rectify + std::string("pipe noise : int16 to \"noise.bin\" limit ") +
                                    std::to_string(limit) + "\nRANDOM (0, 1, noise)\n",
                                feed);
            EXPECT_EQ(ran.status, 0);
            EXPECT_TRUE(elementsOf<std::int16_t>("size.bin") == sizes) << limit << feed;
            EXPECT_TRUE(elementsOf<std::int16_t>("noise.bin") == randomFromOne(limit)) << limit << feed;
            EXPECT_EQ(ran.states(), Lines({"ABS waiting", "RANDOM running"}));
            EXPECT_EQ(ran.notes(), Lines());
        }
}

// The fourth sample makes a quotient that 32 bits do not hold. What came before it is kept, and the writer continues.
TEST_F(Generators, AReaderThatEndsByAFaultKeepsWhatCameBefore) {
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

// Each source keeps its order and the recording comes over whole, whatever comes between; the noise continues after it.
TEST_F(Generators, AMergeWithAGeneratorTakesAllOfTheRecording) {
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

}  // namespace
}  // namespace libzepl
