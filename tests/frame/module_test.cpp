// The module as a host sees it: its exports, its versions, and the commands that it offers.

#include <dlfcn.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <sstream>

#include "module/version.h"
#include "runtime/signature.h"
#include "tests/support/child_output.h"
#include "tests/support/covered.h"
#include "tests/support/session_support.h"
#include "tests/support/unpaired.h"

namespace libzepl {
namespace {

const std::string module = "'" TEST_MODULE_FILE "' ";

struct Row {
    std::string name, entry, signature;
    const char* space;  // on the stack, beyond the usual
};

const std::vector<Row> rows{
#define COMMAND(name, entry, signature) {name, #entry, #signature, "0"},
#define COMMAND_WITHOUT_SIGNATURE(name, entry) {name, #entry, "", "0"},
#include "module/commands.def"
#define FFT_COMMAND(name, entry, signature) {name, #entry, #signature, "4000"},
#include "module/commands.def"
};

// The commands of the first release in the order in which they are offered, first those with the usual stack. Later ones may
// come between them.
const char* const releasedMain =
    "ABS ALARM AVERAGE BAVERAGE BINTEGRATE BIRAMP BMERGEF BOUND CANGLE CHIRP CMAG COMPRESS CTCOUNT CTRATE DECIBEL "
    "DELTA DEXPAND DFT DISCARD FINDMAX FIRFILTER FIRLOWPASS FREQUENCY HIGH INTERP INTEGRATE LOADING LOW MERGEF "
    "MRBLOCK MTSFILT NTH OFFSET PCASSERT PCOUNT PID PID1 PIDLATCH PIDRAMP PIDSCRAM POLAR PULSECOUNT PVALUE PWM "
    "QDCOUNT QDECODE RANDOM RANGE RAVERAGE REPLICATE RMS RSUM SCALE SEPARATE SEPARATEF SKIP SQRT STDDEV TCOLLATE "
    "TFUNCTION1 TFUNCTION2 THERMO TAND TGEN TOGGLE TOGGWT TOR TRIGRECV TRIGSCALE TRIGSEND TSTAMP VARIANCE "
    "COSINEWAVE SAWTOOTH SINEWAVE SQUAREWAVE TRIANGLE";
const char* const releasedTransforms = "CORRELATE CROSSPOWER FFT MIXRFFT";

template <class Function>
Function* entryOf(const char* name) {
    static void* const handle = ::dlopen(TEST_MODULE_FILE, RTLD_LAZY | RTLD_LOCAL);
    void* address = handle != nullptr ? ::dlsym(handle, name) : nullptr;
    EXPECT_NE(address, nullptr) << name;
    return reinterpret_cast<Function*>(address);
}

// What a host must note of the offers.
Lines offers() {
    Lines lines;
    for (const Row& row : rows)
        lines.push_back(row.name + ": context 89abcdef, record 16, space " + row.space + ", attributes 80000000, " +
                        (row.signature.empty() ? "no signature" : "signature"));
    lines.emplace_back("result 1");
    return lines;
}

TEST(Module, TakesHostsUpToItsOwnVersions) {
    auto* check = entryOf<std::uint32_t(std::uint32_t, std::uint32_t, std::uint32_t)>("ModuleCompatibilityCheck");
    ASSERT_NE(check, nullptr);
    struct Case {
        std::uint32_t build, interfaceVersion, answer;
    };
    for (const Case& c : {Case{199, 104, 1}, Case{200, 104, 0}, Case{199, 105, 0}, Case{200, 105, 0}, Case{0, 0, 1},
                          Case{0xffffffff, 0, 0}, Case{0, 0x80000000, 0}})
        for (const std::uint32_t reserved : {0u, 1u, 0xffffffffu})
            EXPECT_EQ(check(c.build, c.interfaceVersion, reserved), c.answer) << c.build << " " << c.interfaceVersion;
}

TEST(Module, AVersionRecordIsFilledWhereItIsLargeEnough) {
    auto* tell = entryOf<std::uint32_t(zepl::VersionRecord*)>("ModuleVersion");
    ASSERT_NE(tell, nullptr);
    for (const std::uint32_t size : {0u, 11u, 12u, 13u, 0xffffffffu}) {
        struct {
            zepl::VersionRecord record;
            std::uint32_t behind;
        } host{{size, 7, 8}, 9};
        const bool fits = size >= 12;
        EXPECT_EQ(tell(&host.record), fits ? 1U : 0U) << size;
        EXPECT_EQ(host.record.recordSize, size);
        EXPECT_EQ(host.record.buildVersion, fits ? 152U : 7U) << size;
        EXPECT_EQ(host.record.interfaceVersion, fits ? 104U : 8U) << size;
        EXPECT_EQ(host.behind, 9U) << size;
    }
}

TEST(Module, CommandsAreOfferedInTheirOrder) {
    Lines offered = sceneOf("install " + module);
    std::erase_if(offered,
                  [](const std::string& line) { return line.starts_with("look up") || line.starts_with("Module"); });
    EXPECT_EQ(offered, offers());
}

TEST(Module, TheFirstReleasesCommandsKeepOrderAndStack) {
    auto row = rows.begin();
    for (const auto& [released, space] : {std::pair(releasedMain, "0"), {releasedTransforms, "4000"}}) {
        std::istringstream names(released);
        for (std::string name; names >> name; ++row) {
            row = std::find_if(row, rows.end(), [&name](const Row& other) { return other.name == name; });
            ASSERT_NE(row, rows.end()) << name;
            EXPECT_STREQ(row->space, space) << name;
        }
    }
}

TEST(Module, ARowNamesItsCommandsOwnEntryAndSignature) {
    const std::map<std::string, std::string> sharing{
        {"BINTEGRATE", ""},         {"INTEGRATE", ""},          {"PID1", ""},
        {"DELTA", "abs"},           {"RMS", "average"},         {"TOR", "tcollate"},
        {"SAWTOOTH", "cosinewave"}, {"SINEWAVE", "cosinewave"}, {"SQUAREWAVE", "cosinewave"},
        {"TRIANGLE", "cosinewave"}};
    for (const Row& row : rows) {
        std::string entry = row.name;
        for (char& letter : entry) letter = static_cast<char>(std::tolower(letter));
        EXPECT_EQ(row.entry, entry);
        const auto shared = sharing.find(row.name);
        const std::string owner = shared == sharing.end() ? entry : shared->second;
        EXPECT_EQ(row.signature, owner.empty() ? "" : owner + "Signature") << row.name;
    }
}

TEST(Module, OffersContinueAfterARefusal) {
    const auto row = [](const std::string& name, const std::string& space, const std::string& signature) {
        return name + ": context 5, record 16, space " + space + ", attributes 80000000, " + signature;
    };
    Lines expected{row("FIRST", "0", "signature"),      row("BARE", "0", "no signature"),
                   row("THIRD", "0", "signature"),      row("LARGE", "4000", "signature"),
                   row("LAST", "4000", "no signature"), "result 1"};
    EXPECT_EQ(sceneOf("table -"), expected);
    expected.back() = "result 0";
    for (const char* refused : {"refuse:FIRST", "refuse:THIRD", "refuse:LAST", "refuse:BARE refuse:LARGE"})
        EXPECT_EQ(sceneOf(std::string("table - ") + refused), expected) << refused;
}

TEST(Module, ExportsItsEntriesAlone) {
    std::set<std::string> names;
    for (const std::string& line : outputOf("nm -D --defined-only " + module))
        names.insert(line.substr(line.rfind(' ') + 1));
    EXPECT_EQ(names, std::set<std::string>({"ModuleCompatibilityCheck", "ModuleInstall", "ModuleVersion"}));
}

TEST(Module, ThePublicNoteHasTheModulesVersions) {
    const auto text = [](std::uint32_t hundredths) {
        const std::string digits = std::to_string(1000 + hundredths);
        return std::to_string(hundredths / 100) + "." + digits.substr(digits.size() - 2);
    };
    Lines words;
    for (const std::string& line : outputOf("readelf -p .note.zcmds3 " + module))
        if (line.find('=') != std::string::npos) words.push_back(line.substr(line.find("]  ") + 3));
    EXPECT_EQ(words,
              Lines({"InternalName=zcmds3", "BuildVersion=" + text(zcmds::buildVersion),
                     "InterfaceVersion=" + text(zcmds::interfaceVersion), "FileVersion=1.03", "ProductVersion=1.03"}));
    const Lines notes = outputOf("readelf -n " + module + "2>&1");
    const auto owned = [](const std::string& line) { return line.find("ZEPL") != std::string::npos; };
    EXPECT_EQ(std::count_if(notes.begin(), notes.end(), owned), 1);
    for (const std::string& line : notes) EXPECT_EQ(line.find("arning"), std::string::npos) << line;
}

// The commands of the module, without those of the tests' own.
std::set<std::string> installed() {
    std::set<std::string> names;
    for (const Command& command : testLibrary().commands())
        if (command.module == testLibrary().modules()[0].name) names.insert(command.name);
    return names;
}

TEST(Module, EveryCommandHasTests) { EXPECT_EQ(unpaired(Covers::all(), installed()), std::set<std::string>()); }

TEST(Module, NoCommandRunsWithoutParameters) {
    for (const std::string& name : installed()) {
        TestSession session;
        session.task(name);
        const Report report = session.run();
        EXPECT_EQ(report.status, Report::Status::refused) << name;
        EXPECT_EQ(report.tasks[0].index, 1) << name << ": " << report.tasks[0].text;
    }
}

TEST(Module, NoCommandRunsOnOnePipeAgainstItsSignature) {
    for (const std::string& name : installed()) {
        const Command& command = *testLibrary().find(name);
        for (const ElementType type : allElementTypes) {
            const ResolvedArgument argument{
                .kind = ResolvedArgument::Kind::pipe, .type = type, .number = {}, .text = {}};
            if (command.signature && matchSignature(*command.parsed, {argument})) continue;
            TestSession session;
            session.task(name, session.pipe("only", {}, type));
            EXPECT_EQ(session.run().status, Report::Status::refused) << name << " of " << nameOf(type);
        }
    }
}

}  // namespace
}  // namespace libzepl
