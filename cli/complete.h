// Completion of words on the command line: what the shells' scripts in cli/completion ask.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace cli {

// Prints what the last of the words, which follow the tool's name, can become, one a line; or "@files" and the ending of
// the files that can stand there. Names of channels, variables and constants come from the procedure on the line.
int complete(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace cli
