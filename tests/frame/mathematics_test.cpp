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

}  // namespace
}  // namespace libzepl
