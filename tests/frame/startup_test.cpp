// The module's start-up under hosts of every sort.

#include <algorithm>
#include <array>
#include <set>

#include "host/mathematics.h"
#include "tests/support/child_output.h"

namespace libzepl {
namespace {

using Lines = std::vector<std::string>;

const std::string module = "'" TEST_MODULE_FILE "' ";
const std::string startUpAlone = "'" TEST_BAD_MODULE_DIR "/start_up_alone.zlm' ";

Lines without(const std::string& prefix, Lines lines) {
    std::erase_if(lines, [&](const std::string& line) { return line.starts_with(prefix); });
    return lines;
}

std::string missing(const std::string& operation) {
    return "*** Error: module zcmds3 needs the host operation " + operation + ", which this host lacks\r";
}

// The host operations that the module's code calls, apart from those that its start-up rests on.
std::set<std::string> calledOperations() {
    std::set<std::string> called;
    for (const std::string& line : outputOf("nm -D --undefined-only " + module + "| c++filt")) {
        const std::size_t begin = line.find(" zepl::");
        if (begin != std::string::npos) called.insert(line.substr(begin + 7, line.find('(', begin) - begin - 7));
    }
    for (const char* own : {"ModuleOpen", "ModuleProcAddressGet", "ModuleClose", "printf", "terminate_msg"})
        EXPECT_EQ(called.erase(own), 1U) << own;
    return called;
}

TEST(StartUp, EveryOperationThatIsCalledIsLookedUp) {
    Lines expected{"ModuleOpen ZEPL"};
    for (const std::string& operation : calledOperations()) expected.push_back(missing(operation));
    expected.insert(expected.end(), {"terminate_msg", "ModuleClose 7", "not installed"});
    Lines lines = without("look up", sceneOf("install " + module + "'lack:*'"));
    std::sort(expected.begin() + 1, expected.end() - 3);
    ASSERT_EQ(lines.size(), expected.size());
    std::sort(lines.begin() + 1, lines.end() - 3);
    EXPECT_EQ(lines, expected);
}

TEST(StartUp, AMissingOperationIsNamed) {
    EXPECT_EQ(without("look up", sceneOf("install " + module + "lack:pbuf_get")),
              Lines({"ModuleOpen ZEPL", missing("pbuf_get"), "terminate_msg", "ModuleClose 7", "not installed"}));
    EXPECT_EQ(without("look up", sceneOf("install " + module + "lack:task_switch lack:CommandInstall")),
              Lines({"ModuleOpen ZEPL", missing("CommandInstall"), missing("task_switch"), "terminate_msg",
                     "ModuleClose 7", "not installed"}));
}

TEST(StartUp, AHostNeedNotHaveMathematicsOnArrays) {
    const Lines lines = sceneOf("install " + module + "lack:sin_array lack:pow_array");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "terminate_msg"), 0);
    EXPECT_EQ(lines.back(), "result 1");
}

TEST(StartUp, AHostMustHaveMathematics) {
    EXPECT_EQ(
        without("look up", sceneOf("install " + module + "lack:sin lack:pow")),
        Lines({"ModuleOpen ZEPL", missing("pow"), missing("sin"), "terminate_msg", "ModuleClose 7", "not installed"}));
}

TEST(StartUp, WithoutAHostNothingIsLookedUp) {
    const Lines lines = sceneOf("install " + module + "nohost");
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[0], "ModuleOpen ZEPL");
    EXPECT_TRUE(lines[1].starts_with("ABS: ")) << lines[1];
    EXPECT_EQ(lines.back(), "result 1");
}

// The six functions as a scene tells them, each as the scalar operation and on an array.
Lines valued(std::array<double, 6> scalar, std::array<double, 6> array) {
    constexpr const char* names[] = {"exp", "log10", "cos", "sin", "atan2", "pow"};
    Lines lines;
    for (std::size_t i = 0; i < 6; ++i) {
        char text[100];
        std::snprintf(text, sizeof text, "%s %a, array %a", names[i], scalar[i], array[i]);
        lines.emplace_back(text);
    }
    return lines;
}

TEST(StartUp, MathematicsIsTheHostsAndOnArraysTheScalarOneWhereItHasNone) {
    const auto bound = [](const std::string& traits) {
        return without("look up", without("Module", sceneOf("mathematics " + startUpAlone + traits)));
    };
    const std::array linked{zepl::exp(0.5), zepl::log10(0.5),       zepl::cos(0.5),
                            zepl::sin(0.5), zepl::atan2(0.5, 0.25), zepl::pow(0.5, 0.25)};
    const std::array scalar{1.5, 2.5, 3.5, 4.5, 5.25, 50.25}, array{-1.5, -2.5, -3.5, -4.5, -5.25, -50.25};
    EXPECT_EQ(bound("nohost"), valued(linked, linked));
    EXPECT_EQ(bound(""), valued(scalar, array));
    EXPECT_EQ(bound("lack:exp_array lack:log10_array lack:cos_array lack:sin_array lack:atan2_array lack:pow_array"),
              valued(scalar, scalar));
    EXPECT_EQ(bound("lack:cos_array"), valued(scalar, {-1.5, -2.5, 3.5, -4.5, -5.25, -50.25}));
}

}  // namespace
}  // namespace libzepl
