// The tool as its users call it: a process of its own in the test's folder.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "../runtime/files_support.h"

namespace libzepl {

// What a call came to.
struct Called {
    int status = -1;  // of its exit; -1 when it ended otherwise
    std::string out, err;
};

class ToolTest : public FilesTest {
 protected:
    ToolTest() {
        std::filesystem::create_directory(at("data"));
        std::filesystem::copy_file(TEST_SOURCE_DIR "/examples/data/ecg208.wav", at("data/ecg208.wav"));
        put("in.csv", "x\n-1\n2\n-3\n");
    }
    ~ToolTest() override { std::filesystem::remove_all(seen_); }

    // Calls the tool in the test's folder; the arguments are the shell's.
    Called call(const std::string& arguments, const std::string& input = "/dev/null") const {
        std::filesystem::create_directory(seen_);
        const std::string line = "cd '" + folder_.string() + "' && '" TEST_TOOL_FILE "' " + arguments + " < '" + input +
                                 "' > '" + (seen_ / "out").string() + "' 2> '" + (seen_ / "err").string() + "'";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readTextFile(seen_ / "out"), readTextFile(seen_ / "err")};
    }

    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_))
            names.insert(entry.path().filename().string());
        return names;
    }

    void remove(const std::string& name) const { std::filesystem::remove(at(name)); }

 private:
    std::filesystem::path seen_ = folder_.string() + "-seen";
};

}  // namespace libzepl
