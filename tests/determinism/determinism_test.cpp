// Each command under random arrivals of its input: in pieces of all sizes, with default blocks of all sizes, through pipes
// of all capacities. What it makes of the input must be the same.
//
// The environment's ARRIVALS chooses the seeds of the arrivals: FIRST-LAST, or a single one. What was run of each command is
// recorded with the test's result, for tests/conformance. Where OUTPUTS names a folder, what each case gives under the usual
// arrival goes there, for tests/architectures.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>

#include "runtime/engine/context.h"
#include "tests/determinism/areas.h"
#include "tests/support/unpaired.h"

namespace libzepl {
namespace {

// Sanitized runs take ten times as long: a tenth of the arrivals reaches each way of arriving, which is what they are for.
#if defined(LIBZEPL_ADDRESS_SANITIZER)
constexpr std::uint64_t usualArrivals = 20;
#else
constexpr std::uint64_t usualArrivals = 200;
#endif

struct Seeds {
    std::uint64_t first = 1, last = usualArrivals;
};

Seeds chosenSeeds() {
    Seeds seeds;
    const char* text = std::getenv("ARRIVALS");
    if (text == nullptr) return seeds;
    char* rest = nullptr;
    seeds.first = seeds.last = std::strtoull(text, &rest, 10);
    if (*rest == '-') seeds.last = std::strtoull(rest + 1, &rest, 10);
    if (rest == text || *rest != '\0' || seeds.last < seeds.first)
        throw std::invalid_argument("ARRIVALS is FIRST-LAST, as in 1-200, or one seed");
    return seeds;
}

std::set<std::string> varyingOutputs(const Procedure& procedure) {
    std::set<std::string> names;
    for (const PipeDeclaration& pipe : procedure.pipes)
        if (pipe.to && pipe.to->path == "varies") names.insert(pipe.name);
    for (const TriggerDeclaration& trigger : procedure.triggers)
        if (trigger.to && trigger.to->path == "varies") names.insert(trigger.name);
    return names;
}

void expectSame(const Bytes& expected, const Bytes& outputs, const std::set<std::string>& varying) {
    ASSERT_EQ(outputs.size(), expected.size());
    for (const auto& [name, bytes] : outputs) {
        const std::string& wanted = expected.at(name);
        if (bytes == wanted || varying.count(name) != 0) continue;
        const auto differing = std::mismatch(bytes.begin(), bytes.end(), wanted.begin(), wanted.end()).first;
        ADD_FAILURE() << "`" << name << "` has " << bytes.size() << " bytes instead of " << wanted.size()
                      << " and differs from byte " << differing - bytes.begin() << " on";
    }
}

// The default arrival's run, once it is known to show something.
Run shownBy(const RepeatedProcedure& repeated, const Case& one, const std::set<std::string>& varying) {
    Run run = repeated.run(Arrival());
    EXPECT_NE(run.report.status, Report::Status::refused) << statesOf(run.report)[0];
    EXPECT_FALSE(run.outputs.empty() && one.holds == nullptr) << "nothing is compared";
    EXPECT_TRUE(varying.empty() || (one.holds != nullptr && one.why != "")) << "nothing is checked of what varies";
    for (const auto& [name, bytes] : run.outputs) EXPECT_NE(bytes, "") << "nothing came on `" << name << "`";
    if (one.holds != nullptr) one.holds(run);
    return run;
}

int failuresSoFar() { return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count(); }

// What was run of a command.
struct Record {
    std::uint64_t cases = 0, runs = 0;
    std::uint64_t digest = 14695981039346656037U;  // of all that must be the same, by FNV-1a
    std::set<std::string> types{}, why{};

    void add(const Case& one, const Procedure& procedure, const Bytes& outputs, const std::set<std::string>& varying) {
        for (const PipeDeclaration& pipe : procedure.pipes)
            if (pipe.from || pipe.to || !pipe.starts.empty()) types.insert(std::string(nameOf(pipe.type)));
        if (one.why != "") why.insert(one.why);
        ++cases;
        for (const auto& [name, bytes] : outputs) {
            if (varying.count(name) != 0) continue;
            for (const char byte : bytes) digest = (digest ^ static_cast<unsigned char>(byte)) * 1099511628211U;
        }
    }
};

// A file for each output that must be the same: COMMAND-CASE-OUTPUT.TYPE, with the type of a pipe's elements.
void writeOutputs(const std::string& caseName, const Procedure& procedure, const Bytes& outputs,
                  const std::set<std::string>& varying) {
    const char* folder = std::getenv("OUTPUTS");
    if (folder == nullptr) return;
    for (const auto& [name, bytes] : outputs) {
        if (varying.count(name) != 0) continue;
        std::string type = "bytes";
        for (const PipeDeclaration& pipe : procedure.pipes)
            if (pipe.name == name) type = nameOf(pipe.type);
        std::ofstream file(std::string(folder) + "/" + caseName + "-" + name + "." + type, std::ios::binary);
        EXPECT_TRUE(file << bytes << std::flush) << folder;
    }
}

std::string joined(const std::set<std::string>& words) {
    std::string line;
    for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
    return line;
}

void expectNoDifference(const Case& one, const std::string& text, Seeds seeds, Record& record) {
    SCOPED_TRACE(text);
    const RepeatedProcedure repeated(text);
    const std::set<std::string> varying = varyingOutputs(repeated.procedure());
    const Run expected = shownBy(repeated, one, varying);
    record.add(one, repeated.procedure(), expected.outputs, varying);
    writeOutputs(one.command + "-" + std::to_string(record.cases), repeated.procedure(), expected.outputs, varying);
    const int failures = failuresSoFar();
    for (std::uint64_t seed = seeds.first; seed <= seeds.last && failuresSoFar() == failures; ++seed) {
        SCOPED_TRACE("to run it again: ARRIVALS=" + std::to_string(seed));
        const Run run = repeated.run(Arrival(seed));
        expectSame(expected.outputs, run.outputs, varying);
        if (one.holds != nullptr) one.holds(run);
        ++record.runs;
    }
}

class Determinism : public testing::TestWithParam<Area> {};

TEST_P(Determinism, TheResultDoesNotDependOnArrival) {
    const Seeds seeds = chosenSeeds();
    std::map<std::string, Record> records;
    for (const Case& one : GetParam().cases) {
        const bool typed = one.text.find("TYPE") != std::string::npos;
        for (const std::string& type : typed ? one.types : std::vector<std::string>{""})
            expectNoDifference(one, withType(one.text, type), seeds, records[one.command]);
    }
    for (const auto& [command, record] : records) {
        RecordProperty(command + " runs", std::to_string(record.runs));
        RecordProperty(command + " digest", std::to_string(record.digest));
        RecordProperty(command + " types", joined(record.types));
        RecordProperty(command + " why", joined(record.why));
    }
}

INSTANTIATE_TEST_SUITE_P(Areas, Determinism, testing::ValuesIn(areas),
                         [](const auto& tested) { return tested.param.name; });

TEST(DeterminismCases, EveryCommandHasACase) {
    std::set<std::string> covered, installed;
    for (const Area& area : areas)
        for (const Case& one : area.cases) {
            covered.insert(one.command);
            EXPECT_NE(one.text.find("\n" + one.command + " "), std::string::npos) << one.command << one.text;
        }
    for (const Command& command : testLibrary().commands())
        if (command.module == testLibrary().modules()[0].name) installed.insert(command.name);
    EXPECT_EQ(unpaired(covered, installed), std::set<std::string>());
}

}  // namespace
}  // namespace libzepl
