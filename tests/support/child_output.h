// The output of other programs: of the host that records its calls, and of the tools that look into a module's file.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace libzepl {

// What the shell command prints, line by line. One that does not end with status 0 fails the test.
inline std::vector<std::string> outputOf(const std::string& command) {
    std::vector<std::string> lines;
    std::FILE* stream = ::popen(command.c_str(), "r");
    std::string line;
    for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) {
        if (c != '\n') {
            line += static_cast<char>(c);
            continue;
        }
        lines.push_back(line);
        line.clear();
    }
    EXPECT_EQ(line, "") << "behind the last line feed of " << command;
    EXPECT_EQ(::pclose(stream), 0) << command;
    return lines;
}

// What the recording host notes in a scene.
inline std::vector<std::string> sceneOf(const std::string& arguments) {
    return outputOf("'" TEST_STARTUP_HOST "' " + arguments);
}

}  // namespace libzepl
