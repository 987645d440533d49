// Where the module's and the library's mathematics come from: the host's operations, and the C library's nowhere.

#include <set>

#include "tests/runtime/files_support.h"
#include "tests/support/child_output.h"

namespace libzepl {
namespace {

using Lines = std::vector<std::string>;

std::set<std::string> importsOf(const std::filesystem::path& file) {
    std::set<std::string> names;
    for (const std::string& line : outputOf("nm -D --undefined-only '" + file.string() + "'")) {
        const std::string name = line.substr(line.find_last_of(' ') + 1);
        names.insert(name.substr(0, name.find('@')));
    }
    return names;
}

// The functions whose last bit depends on the C library's choice, in all precisions and in vectors.
bool isInexact(std::string name) {
    static const std::set<std::string> functions{
        "acos",  "acosh", "asin", "asinh", "atan", "atan2", "atanh",  "cbrt",   "cos",  "cosh",
        "erf",   "erfc",  "exp",  "exp10", "exp2", "expm1", "hypot",  "lgamma", "log",  "log10",
        "log1p", "log2",  "pow",  "sin",   "sinh", "tan",   "tanh",   "sincos", "cexp", "clog",
        "cpow",  "csin",  "ccos", "cabs",  "carg", "j0",    "tgamma", "y0"};
    if (name.starts_with("_ZGV")) return true;
    if (name.starts_with("__") && name.ends_with("_finite")) name = name.substr(2, name.size() - 9);
    if (functions.contains(name)) return true;
    const char last = name.empty() ? ' ' : name.back();
    return (last == 'f' || last == 'l') && functions.contains(name.substr(0, name.size() - 1));
}

TEST(Imports, NeitherTheModuleNorTheLibraryCallsTheCLibrarysMathematics) {
    for (const char* name : {"sin", "cosf", "powl", "sincos", "__exp_finite", "_ZGVbN2v_sin"})
        EXPECT_TRUE(isInexact(name));
    for (const char* name : {"floor", "sqrtf", "ceil", "memcpy", "f", ""}) EXPECT_FALSE(isInexact(name));
    const std::filesystem::path module = TEST_MODULE_FILE;
    for (const std::filesystem::path& file : {module, module.parent_path() / "libzepl.so"}) {
        const std::set<std::string> imports = importsOf(file);
        EXPECT_GT(imports.size(), 10U) << file << ": no list of imports";
        for (const std::string& name : imports) EXPECT_FALSE(isInexact(name)) << file << ": " << name;
    }
}

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

using HostWithoutArrays = FilesTest;

TEST_F(HostWithoutArrays, GivesTheSameBytes) {
    const std::string call = "'" TEST_SCALAR_HOST "' '" TEST_MODULE_FILE "' '" + at("p.zp").string() + "'";
    for (const std::string type : {"int32", "float", "double"}) {
        std::string text = everyUse;
        for (std::size_t place; (place = text.find("TYPE")) != std::string::npos;) text.replace(place, 4, type);
        put("p.zp", text);
        EXPECT_EQ(outputOf(call), Lines{});
        std::map<std::string, std::string> expected;
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            if (const std::string name = entry.path().filename(); name.ends_with(".bin"))
                expected[name] = bytesOf(name);
        ASSERT_EQ(expected.size(), 19U);
        EXPECT_EQ(outputOf(call + " without"),
                  Lines({"exp_array", "log10_array", "cos_array", "sin_array", "atan2_array", "pow_array"}));
        for (const auto& [name, bytes] : expected)
            EXPECT_TRUE(!bytes.empty() && bytesOf(name) == bytes) << type << " " << name;
    }
}

}  // namespace
}  // namespace libzepl
