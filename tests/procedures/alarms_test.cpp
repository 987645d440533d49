// ALARM with a reset: its time against the recording's.

#include "procedures_support.h"

namespace libzepl {
namespace {

using Alarms = ProcedureTest;

// "1001:1" for each change: at what frame which value.
Lines changesOf(const Ran& ran) {
    Lines lines;
    for (const auto& change : ran.report["digital"])
        lines.push_back(std::to_string(change["frame"].get<std::uint64_t>()) + ":" +
                        std::to_string(change["value"].get<int>()));
    return lines;
}

std::vector<std::int16_t> quietBut(std::size_t count, std::initializer_list<std::size_t> loud) {
    std::vector<std::int16_t> samples(count, 0);
    for (const std::size_t at : loud) samples[at] = 7;
    return samples;
}

TEST_F(Alarms, AResetThatIsDueAfterTheRecordingHappens) {
    putSamples("levels.bin", quietBut(1000, {900}));
    for (const char* reset : {"45", "200000", "3000000"}) {
        const Ran ran = run(std::string("pipe levels : int16 from \"levels.bin\"\npipe size : int16 to \"size.bin\"\n"
                                        "ABS (levels, size)\nALARM (levels, inside, 5, 10, 3, ") +
                                reset + ")\n",
                            "--feed 1");
        EXPECT_EQ(ran.status, 0);
        EXPECT_EQ(ran.notes(), Lines());
        EXPECT_EQ(changesOf(ran), Lines({"0:0", "901:1", std::to_string(901 + std::stoi(reset)) + ":0"}));
    }
}

// 20 ms are 20,000 frames here, more than the pipes hold by themselves.
TEST_F(Alarms, TheFramesOfChangesStayWithTheRecording) {
    putSamples("levels.bin", quietBut(300000, {1000, 150000, 250000}));
    for (const char* capacity : {"", "capacity 10", "capacity 300000"}) {
        const std::string room = std::string("pipe level : int16 ") + capacity + "\n";
        const Ran ran = run("rate 1000000\npipe levels : int16 from \"levels.bin\"\n" + room +
                                "ABS (levels, level)\nALARM (level, inside, 5, 10, 3, 45)\n",
                            "--feed 1");
        EXPECT_EQ(changesOf(ran), Lines({"0:0", "1001:1", "46001:0", "150001:1", "195001:0", "250001:1", "295001:0"}))
            << capacity;
    }
}

// Noise that is loud now and then, and its alarm, by the time that the noise's output moves.
TEST_F(Alarms, WithoutInputsAPauseEndsAtItsElement) {
    const Ran ran =
        run("pipe noise : int16 to \"noise.bin\" limit 5000\nRANDOM (0, 1, noise)\n"
            "ALARM (noise, outside, -29000, 29000, 3, 45)\n");
    const Lines changes = changesOf(ran);
    ASSERT_GT(changes.size(), 5U);
    for (std::size_t i = 1; i + 1 < changes.size(); i += 2)
        EXPECT_EQ(std::stoi(changes[i + 1]), std::stoi(changes[i]) + 45) << i;
}

}  // namespace
}  // namespace libzepl
