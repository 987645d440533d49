#include "runtime/binder.h"

#include "../support/session_support.h"
#include "files_support.h"
#include "host/host.h"

namespace libzepl {
namespace {

class Binder : public FilesTest {
 protected:
    // Parses and binds; the procedure is kept for what is asked about it later.
    BoundProcedure bind(const std::string& text, const CommandLibrary& library = testLibrary()) {
        diagnostics_.clear();
        procedure_ = parseProcedure({at("p.zp").string(), text}, diagnostics_);
        EXPECT_TRUE(diagnostics_.empty()) << text;
        return bindProcedure(procedure_, library, {}, diagnostics_);
    }
    Lines told() const {
        Lines lines;
        for (const Diagnostic& each : diagnostics_)
            lines.push_back(std::to_string(each.place.line) + ":" + std::to_string(each.place.column) + " " +
                            each.message);
        return lines;
    }

    Procedure procedure_;
    std::vector<Diagnostic> diagnostics_;
};

TEST_F(Binder, AMistakeHidesAnotherOrCreatesAnOutput) {
    const BoundProcedure bound = bind(
        "pipe a : int16 to \"a.csv\"\n"
        "vector v : float from \"none.npy\"\n"
        "AB (x)\n"
        "ABS (x, a, y)\n");
    EXPECT_EQ(bound.session, nullptr);
    EXPECT_EQ(filesInAll(), 0U);
    EXPECT_EQ(told(), (Lines{"2:23 " + at("none.npy").string() + ": there is no such file", "3:1 unknown command `AB`",
                             "4:6 unknown name `x`", "4:12 unknown name `y`"}));
    const Report report = refusalReport(procedure_, diagnostics_);
    EXPECT_EQ(statesOf(report), (Lines{"refused", "refused"}));
    EXPECT_EQ(report.notes.at(1), "line 3: unknown command `AB`");
}

TEST_F(Binder, AnArgumentIsPassedAsAnotherKind) {
    const std::pair<const char*, zepl::ParamMask> arguments[] = {
        {"-32768", zepl::constantInt16}, {"32768", zepl::constantInt32},   {"2147483648", zepl::constantDouble},
        {"0.5", zepl::constantDouble},   {"5:int32", zepl::constantInt32}, {"5:float", zepl::constantFloat},
        {"\"5\"", zepl::stringKind},     {"inside", zepl::hostKeyword},    {"outside", zepl::variableInt32},
        {"HALF", zepl::declaredKeyword}, {"samples", zepl::pipeInt16},     {"taps", zepl::vectorDouble},
    };
    for (const auto& [argument, kind] : arguments) {
        const BoundProcedure bound = bind(
            "variable outside : int32 = 1\npipe samples : int16\nvector taps : double = [1]\nSCRIPT (\"?kind:2\", " +
            std::string(argument) + ")\n");
        ASSERT_NE(bound.session, nullptr) << argument;
        EXPECT_EQ(bound.session->run().console, Lines{std::to_string(kind)}) << argument;
    }
}

// Goes on with whatever parameters it got.
std::uint32_t takeAll(zepl::ParamList) {
    for (;;) zepl::task_switch();
}

TEST_F(Binder, AListThatTheSignatureLacksIsAcceptedInSilence) {
    CommandLibrary library;
    ASSERT_TRUE(library.install(
        "ODD", takeAll, {.recordSize = 16, .taskSpace = 0, .attributes = 0, .signature = "( in pipe int16 a )"}));
    for (const auto& [argument, count] : {std::pair("p", 0U), {"7", 1U}}) {
        const BoundProcedure bound = bind("pipe p : int16 starts [1]\nODD (" + std::string(argument) + ")\n", library);
        ASSERT_NE(bound.session, nullptr);
        const std::vector<Diagnostic> said = diagnose(procedure_, bound.session->run(), bound.advice);
        ASSERT_EQ(said.size(), count) << argument;
        if (count == 0) continue;
        EXPECT_EQ(render(said, {"p.zp", procedure_.source.text}),
                  "p.zp:2:1: warning: ODD took a list that its signature does not describe\n  ODD (7)\n  ^~~\n"
                  "    1 a: a pipe of int16; but given 7, a whole number\n");
    }
}

}  // namespace
}  // namespace libzepl
