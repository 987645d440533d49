// The binder: all mistakes of a procedure at once, kinds of arguments, and what a failed or odd run is explained with.

#include "runtime/binder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

TEST_F(Binder, AllMistakesAreReportedAndNoOutputIsCreated) {
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

// What uses a refused name is no mistake of its own, and nothing that the binder trips over.
TEST_F(Binder, ADefinitionOfWhatIsRefusedIsLeftOut) {
    put("one.csv", "1\n2\n");
    const std::pair<const char*, Lines> cases[] = {
        {"pipe a[2] : double from \"one.csv\"\npipe f : double = a[2] * 2 to \"f.csv\"\n", {"1:25 "}},
        {"pipe a[2] : double from \"one.csv\"\npipe f[2] : double = a * 2 to \"f.csv\"\n", {"1:25 "}},
        {"pipe a : double from \"none.csv\"\npipe f : double = a * 2\npipe g : double = f + a to \"g.csv\"\n",
         {"1:22 "}},
    };
    for (const auto& [text, places] : cases) {
        EXPECT_EQ(bind(text).session, nullptr) << text;
        Lines told = this->told();
        for (std::string& line : told) line.resize(5);
        EXPECT_EQ(told, places) << text;
    }
}

TEST_F(Binder, OneStreamFeedsOneChannel) {
    ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600), 0);
    const int writer = ::open(at("fifo").c_str(), O_RDWR | O_CLOEXEC);  // so that nobody waits
    std::filesystem::create_symlink("fifo", at("same"));
    EXPECT_EQ(bind("pipe a : int16 from \"fifo\"\npipe b : int16 from \"same\"\nABS (a, b)\n").session, nullptr);
    EXPECT_EQ(told(), (Lines{"2:21 " + at("same").string() +
                             ": another channel reads this stream, and each would miss what the other takes"}));
    ::close(writer);
}

TEST_F(Binder, AnArgumentIsPassedAsTheKindThatItsTextSays) {
    const std::pair<const char*, zepl::ParamMask> arguments[] = {
        {"-32768", zepl::constantInt16}, {"32768", zepl::constantInt32},   {"2147483648", zepl::constantDouble},
        {"0.5", zepl::constantDouble},   {"5:int32", zepl::constantInt32}, {"5:float", zepl::constantFloat},
        {"\"5\"", zepl::stringKind},     {"inside", zepl::hostKeyword},    {"outside", zepl::variableInt32},
        {"HALF", zepl::declaredKeyword}, {"samples", zepl::pipeInt16},     {"taps", zepl::vectorDouble},
    };
    for (const auto& [argument, kind] : arguments) {
        const BoundProcedure bound = bind(
            "variable outside : int32 = 1\npipe samples : int16\nvector taps : double = [1]\nSCRIPT "
            "(\"?param_type:2\", " +
            std::string(argument) + ")\n");
        ASSERT_NE(bound.session, nullptr) << argument;
        EXPECT_EQ(bound.session->run().console, Lines{std::to_string(kind)}) << argument;
    }
}

TEST_F(Binder, AMistakeInAnOptionIsReportedOnce) {
    const std::string text = "variable fs : int16 = 5\npipe a : int16 starts [1]\npipe b : int16\nOFFSET (a, fs, b)\n";
    for (const char* value : {"20*5120", "40000", "0.5"}) {
        diagnostics_.clear();
        procedure_ = parseProcedure({at("p.zp").string(), text}, diagnostics_);
        BindOptions options;
        options.values = {{"fs", value}};
        EXPECT_EQ(bindProcedure(procedure_, testLibrary(), options, diagnostics_).session, nullptr);
        EXPECT_EQ(diagnostics_.size(), 1U) << render(diagnostics_, procedure_.source);
    }
}

// Statements of one kind, each with a mistake, up to the bound and past it.
TEST_F(Binder, ReportingStopsAfterAThousandMistakes) {
    for (const char* statement : {"ABBS (a, b)\n", "ABS (a, b)\n", "pipe @ : int16 from \"none.wav\"\n"}) {
        std::string text;
        for (int i = 0; i < 2000; ++i) {
            text += statement;
            if (const std::size_t name = text.rfind('@'); name != std::string::npos)
                text.replace(name, 1, "p" + std::to_string(i));
        }
        EXPECT_EQ(bind(text).session, nullptr);
        ASSERT_EQ(diagnostics_.size(), 1001U) << statement;
        EXPECT_EQ(diagnostics_.back().message, "too many mistakes: the rest is not checked");
        EXPECT_LE(diagnostics_.back().place.line, 1001);
    }
}

TEST_F(Binder, ATaskThatNeverBeganIsNotWarnedOfItsList) {
    bind("pipe p : int16 starts [1]\nABS (p, 7)\nSCRIPT (\"exit:1\", p)\n");
    Report report;
    report.status = Report::Status::failed;
    report.tasks.resize(2);
    report.tasks[1].state = TaskReport::State::fault;
    report.tasks[1].text = "no stack";
    EXPECT_EQ(diagnose(procedure_, report, {"advice", ""}).size(), 1U);
}

TEST_F(Binder, ATaskThatEndsBeforeItWritesIsTheOneMistake) {
    const BoundProcedure bound =
        bind("pipe a : int16 starts [1]\npipe b : int16\npipe c : int16\nSCRIPT (\"exit:1\", b)\nABS (b, c)\n");
    const std::vector<Diagnostic> said = diagnose(procedure_, bound.session->run(), bound.advice);
    ASSERT_EQ(said.size(), 1U) << render(said, procedure_.source);
    EXPECT_EQ(said[0].message, "SCRIPT: ended itself with code 1");
}

// Goes on with whatever parameters it got.
std::uint32_t takeAll(zepl::ParamList) {
    for (;;) zepl::task_switch();
}

TEST_F(Binder, AListThatTheSignatureDoesNotDescribeIsWarnedOf) {
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
