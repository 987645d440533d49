// What the documents promise: every procedure in them runs without a warning, every command has its page, the guide explains
// the codes of refused parameters, and the files that they name are there.

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include "tests/support/session_support.h"
#include "tests/support/unpaired.h"
#include "tool_support.h"

namespace libzepl {
namespace {

// The blocks between ```zp and ```.
std::vector<std::string> proceduresIn(const std::string& document) {
    std::vector<std::string> procedures;
    std::istringstream text(readTextFile(TEST_SOURCE_DIR "/" + document));
    bool inside = false;
    for (std::string line; std::getline(text, line);) {
        if (line == "```zp") procedures.emplace_back();
        if (line.starts_with("```"))
            inside = line == "```zp";
        else if (inside)
            procedures.back() += line + "\n";
    }
    return procedures;
}

// The indented lines at a page's end, which follow one that starts with the word Example.
std::string exampleOf(const std::filesystem::path& page) {
    std::string example;
    bool inside = false;
    std::istringstream text(readTextFile(page));
    for (std::string line; std::getline(text, line);) {
        inside = inside || line.starts_with("Example");
        if (inside && line.starts_with("    ")) example += line.substr(4) + "\n";
    }
    return example;
}

class Documents : public ToolTest {
 protected:
    Documents() {
        using enum std::filesystem::copy_options;
        std::filesystem::copy(TEST_SOURCE_DIR "/examples/data", at("data"), recursive | skip_existing);
        std::string rows = "time,x,y\n";
        for (int i = 0; i < 200; ++i) rows += std::to_string(i) + "e-3,0.5," + std::to_string(i % 7) + "\n";
        put("accel.csv", rows);
        put("marks.csv", "event,position\nassert,1024\nstatus,4095\n");
        put("taps.csv", "0.25\n0.5\n0.25\n");
    }

    // It passes the check, runs to a good end, and writes something to each of its files.
    void expectToRun(const std::string& document, const std::string& procedure) const {
        SCOPED_TRACE(document + "\n" + procedure);
        put("p.zp", procedure);
        const Called check = call("check p.zp");
        EXPECT_EQ(check.status, 0) << check.err;
        EXPECT_TRUE(check.err.ends_with("p.zp: ready to run\n")) << check.err;
        EXPECT_EQ(check.err.find(": warning: "), std::string::npos) << check.err;
        const Called run = call("run p.zp");
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err.find(": 0 "), std::string::npos) << run.err;
    }
};

TEST_F(Documents, EachProcedureOfTheGuideRuns) {
    for (const auto& [document, least] : {std::pair("README.md", 1U), {"docs/guide.md", 7U}}) {
        const std::vector<std::string> procedures = proceduresIn(document);
        EXPECT_GE(procedures.size(), least) << document;
        for (const std::string& procedure : procedures) expectToRun(document, procedure);
    }
}

TEST_F(Documents, EachPagesExampleRunsAndShowsItsCommand) {
    for (const auto& file : std::filesystem::directory_iterator(TEST_SOURCE_DIR "/docs/commands")) {
        const std::string name = file.path().stem(), example = exampleOf(file.path());
        EXPECT_TRUE(std::regex_search(example, std::regex("(^|\n)" + name + " *\\("))) << name << "\n" << example;
        expectToRun(name, example);
    }
}

// The members of ParamError, each as a row of the guide's table.
std::set<std::string> codeRows() {
    const std::string header = readTextFile(TEST_SOURCE_DIR "/src/host/codes.h");
    const std::size_t first = header.find("enum class ParamError");
    const std::string members = header.substr(first, header.find("};", first) - first);
    std::set<std::string> rows;
    const std::regex member(" = ([0-9]+), +// ([^\n]*)");
    for (std::sregex_iterator i(members.begin(), members.end(), member), end; i != end; ++i)
        rows.insert("| " + i->str(1) + " | " + i->str(2) + " |");
    return rows;
}

TEST(Guide, ExplainsTheCodesOfRefusedParameters) {
    std::set<std::string> rows;
    const std::string guide = readTextFile(TEST_SOURCE_DIR "/docs/guide.md"),
                      head = "| code | what is wrong |\n|---|---|\n";
    const std::size_t start = guide.find(head) + head.size();
    std::istringstream table(guide.substr(start, guide.find("\n\n", start) - start));
    for (std::string line; std::getline(table, line);) rows.insert(line);
    EXPECT_EQ(rows, codeRows());
    EXPECT_EQ(rows.size(), 10U);
}

// `runtime/session.h`, `frame/exact.h` or `tests/frame`, as files and folders of the tree are named.
std::set<std::string> pathsIn(const std::string& document) {
    const std::string text = readTextFile(TEST_SOURCE_DIR "/" + document);
    const std::regex path("`([.a-z0-9_]+(/[.a-z0-9_]+)+)`");
    std::set<std::string> paths;
    for (std::sregex_iterator i(text.begin(), text.end(), path), end; i != end; ++i) paths.insert(i->str(1));
    return paths;
}

TEST(Contributing, NamesFilesThatAreThere) {
    const std::set<std::string> paths = pathsIn("CONTRIBUTING.md");
    EXPECT_GE(paths.size(), 30U);
    const std::filesystem::path root = TEST_SOURCE_DIR;
    for (const std::string& path : paths)
        EXPECT_TRUE(std::filesystem::exists(root / path) || std::filesystem::exists(root / "src" / path)) << path;
}

TEST(CommandPages, EveryCommandHasAPageAndEveryPageACommand) {
    std::set<std::string> pages, commands;
    for (const auto& file : std::filesystem::directory_iterator(TEST_SOURCE_DIR "/docs/commands")) {
        pages.insert(file.path().stem());
        std::string page = readTextFile(file.path());
        if (page.starts_with("---\n")) page.erase(0, page.find("\n---\n") + 5);  // its cautions
        EXPECT_TRUE(page.starts_with(file.path().stem().string() + " - ")) << file.path().stem();
    }
    for (const Command& command : testLibrary().commands())
        if (command.module == testLibrary().modules()[0].name) commands.insert(command.name);
    EXPECT_EQ(unpaired(pages, commands), std::set<std::string>());
}

}  // namespace
}  // namespace libzepl
