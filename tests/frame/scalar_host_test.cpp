// What the commands give on a host that has only what it must, and on ours: the same.

#include <map>

#include "tests/runtime/files_support.h"
#include "tests/support/child_output.h"

namespace libzepl {
namespace {

using Lines = std::vector<std::string>;

// Every command that uses mathematics, in blocks that are no multiple of what is computed together.
constexpr const char* everyUse = R"(
vector selected : int16 = [0, 1, 2, 3, 5, 8, 13, 21, 34]
pipe re    : TYPE
pipe im    : TYPE
pipe level : TYPE to "level.bin" limit 3001
pipe angle : TYPE to "angle.bin" limit 3001
pipe size  : TYPE to "size.bin" limit 3001
pipe turn  : TYPE to "turn.bin" limit 3001
pipe gain  : TYPE to "gain.bin" limit 3001
pipe shift : TYPE to "shift.bin" limit 3001
pipe cross : TYPE to "cross.bin" limit 3001
pipe delay : TYPE to "delay.bin" limit 3001
pipe sine  : TYPE to "sine.bin" limit 3001
pipe table : TYPE to "table.bin" limit 3001
pipe sweep : TYPE to "sweep.bin" limit 3001
pipe large : TYPE to "large.bin" limit 3000
pipe phase : TYPE to "phase.bin" limit 3000
pipe half  : TYPE to "half.bin" limit 3000
pipe first : TYPE to "first.bin" limit 3000
pipe term  : TYPE to "term.bin" limit 999
pipe late  : TYPE to "late.bin" limit 999
pipe slow  : TYPE to "slow.bin" limit 3001
pipe curve : TYPE to "curve.bin" limit 3001
RANDOM (0, 11, re)
RANDOM (0, 12, im)
DECIBEL (re, 3, 20, level)
CANGLE (re, im, angle)
POLAR (re, im, size, turn)
TFUNCTION1 (re, im, im, re, gain, shift, 100)
TFUNCTION2 (re, re, im, cross, delay)
SINEWAVE (1000, 33.7183, sine)
COSINEWAVE (1000, 301, table)
CHIRP ("LOG", "BIDIR", 1000, 701, 200, 5, 0.5, sweep)
MIXRFFT (750, BLACKMAN, re, im, FULL, POLAR, large, phase)
MIXRFFT (750, REVERSE, HAMMING, re, HALF, POLAR, half, first)
DFT (6, 300, 4, selected, re, term, late)
PIDRAMP (re, slow, 301, "EXPONENTIAL")
PIDRAMP (re, curve, 301, "HYPERBOLIC")
)";

// A host that has only what it must.
struct ScalarHost : FilesTest {
    // Runs the procedure with its pipes of that type; gives the outputs' bytes by file.
    std::map<std::string, std::string> outputs(std::string text, const std::string& type, bool isScalar) {
        for (std::size_t place; (place = text.find("TYPE")) != std::string::npos;) text.replace(place, 4, type);
        put("p.zp", text);
        const std::string call = "'" TEST_SCALAR_HOST "' '" TEST_MODULE_FILE "' '" + at("p.zp").string() + "'";
        const Lines lacking{"exp_array",   "log10_array", "cos_array",   "sin_array",
                            "atan2_array", "pow_array",   "turns_alone", "turns_done"};
        EXPECT_EQ(outputOf(call + (isScalar ? " without" : "")), isScalar ? lacking : Lines{});
        std::map<std::string, std::string> bytes;
        for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
            const std::string name = entry.path().filename();
            if (!name.ends_with(".bin") && name != "rows.csv") continue;
            bytes[name] = bytesOf(name);
            std::filesystem::remove(entry);
        }
        return bytes;
    }
};

TEST_F(ScalarHost, GivesTheSameBytesOfMathematics) {
    for (const std::string type : {"int32", "float", "double"}) {
        const auto expected = outputs(everyUse, type, false);
        EXPECT_EQ(expected.size(), 19U);
        for (const auto& [name, bytes] : outputs(everyUse, type, true))
            EXPECT_TRUE(!bytes.empty() && expected.at(name) == bytes) << type << " " << name;
    }
}

// What a loop has, and what reads its drive.
struct LoopCase {
    const char* name;
    const char* text;
};
constexpr LoopCase loops[]{
    {"set points that come late",
     "pipe drive : TYPE to \"a.bin\"\npipe sets : TYPE capacity 5 from \"other.csv\"\n"
     "PID (sets, room, gains, 1.0, drive)\n"},
    {"one set point",
     "pipe drive : TYPE to \"a.bin\"\npipe once : TYPE starts [7]\nPID (once, room, gains, 1.0, drive)\n"},
    {"a set point with each sample", "pipe drive : TYPE to \"a.bin\"\nPID (other, room, gains, 0.5, drive, -90, 90)\n"},
    {"seldom set points, gains that change",
     "pipe drive : TYPE to \"a.bin\"\npipe sets : TYPE from \"few.csv\"\npipe changing : float from \"few.csv\"\n"
     "PID (sets, room, changing, 1.0, drive)\n"},
    {"two that read the drive",
     "pipe drive : TYPE\npipe size : TYPE to \"a.bin\"\npipe mean : TYPE to \"b.bin\"\nPID (other, room, gains, 1.0, drive)\n"
     "ABS (drive, size)\nAVERAGE (drive, 10, mean)\n"},
    {"a limit, and a table",
     "pipe drive : TYPE to \"a.bin\" limit 777\npipe wide : TYPE\ntable \"rows.csv\" : wide, room\n"
     "PID (other, room, gains, 1.0, drive)\nPID (other, room, gains, 2.0, wide)\n"},
    {"a small pipe that nobody reads until late",
     "pipe drive : TYPE capacity 3 to \"a.bin\"\npipe kept : TYPE to \"b.bin\"\nPID (other, room, gains, 1.0, drive)\n"
     "SKIP (drive, 100, 5, 3, kept)\n"},
    {"whole numbers",
     "pipe low : int16 from \"room.csv\"\npipe drive : int16 to \"a.bin\"\nvariable goal : int16 = 40\n"
     "PID1 (low, goal, 50, 30, 20, drive, -60, 60)\n"},
};

TEST_F(ScalarHost, GivesTheSameBytesOfLoops) {
    std::string few, room, other;
    for (int i = 0; i < 48; ++i) few += std::to_string(i % 4 == 0 ? i + 1 : 1) + "\n";
    for (int i = 0; i < 3000; ++i) room += std::to_string(i * i % 151 - 70) + "\n";
    for (int i = 0; i < 2900; ++i) other += std::to_string(i / 100) + "\n";
    put("few.csv", few);
    put("room.csv", room);
    put("other.csv", other);
    for (const LoopCase& loop : loops)
        for (const std::string type : {"int16", "float", "double"}) {
            const std::string text =
                std::string("pipe room : TYPE from \"room.csv\"\npipe other : TYPE from \"other.csv\"\n") +
                "pipe gains : float starts [0.5, 12, 8, 1]\n" + loop.text;
            const auto expected = outputs(text, type, false);
            EXPECT_FALSE(expected.empty()) << loop.name;
            for (const auto& [name, bytes] : outputs(text, type, true))
                EXPECT_TRUE(bytes.size() > 500 && expected.at(name) == bytes)
                    << loop.name << " " << type << " " << name;
        }
}

}  // namespace
}  // namespace libzepl
