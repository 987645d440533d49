// Every procedure in the documents is one that runs.

#include <filesystem>
#include <set>
#include <sstream>

#include "tests/support/session_support.h"
#include "tool_support.h"

namespace libzepl {
namespace {

using Documents = ToolTest;

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

TEST_F(Documents, AProcedureInADocumentDoesNotBind) {
    put("accel.csv", "time,x,y\n0,0.5,1\n0.001,0.25,2\n");
    put("marks.csv", "event,position\nassert,1024\nstatus,4095\n");
    put("taps.csv", "0.25\n0.5\n0.25\n");
    for (const auto& [document, least] : {std::pair("README.md", 1U), {"docs/guide.md", 7U}}) {
        const std::vector<std::string> procedures = proceduresIn(document);
        EXPECT_GE(procedures.size(), least) << document;
        for (const std::string& procedure : procedures) {
            put("p.zp", procedure);
            const Called called = call("check p.zp");
            EXPECT_EQ(called.status, 0) << document << "\n" << procedure;
            EXPECT_TRUE(called.err.ends_with("p.zp: ready to run\n")) << called.err << procedure;
            EXPECT_EQ(called.err.find(": warning: "), std::string::npos) << called.err << procedure;
        }
    }
}

TEST(CommandPages, ACommandHasNoPageOrAPageHasNoCommand) {
    std::set<std::string> pages, commands;
    for (const auto& file : std::filesystem::directory_iterator(TEST_SOURCE_DIR "/docs/commands")) {
        pages.insert(file.path().stem());
        std::string page = readTextFile(file.path());
        if (page.starts_with("---\n")) page.erase(0, page.find("\n---\n") + 5);  // its cautions
        EXPECT_TRUE(page.starts_with(file.path().stem().string() + " - ")) << file.path().stem();
    }
    for (const Command& command : testLibrary().commands())
        if (command.module == testLibrary().modules()[0].name) commands.insert(command.name);
    EXPECT_EQ(pages, commands);
}

}  // namespace
}  // namespace libzepl
