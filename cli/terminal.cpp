#include "cli/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/standard_streams.h"

namespace cli {

namespace {

constexpr int minWidth = 20;

bool isSet(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

winsize sizeOfTerminal(int descriptor) {
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0) size = {};
    return size;
}

// Whether the pager took the text. One that is not there, or that fails at once, has shown nothing.
bool showByPager(const std::string& text) {
    ::setenv("LESS", "FRX", 0);
    const std::string pager = isSet("PAGER") ? std::getenv("PAGER") : "less";
    if (std::system(("command -v " + pager.substr(0, pager.find(' ')) + " >/dev/null 2>&1").c_str()) != 0) return false;
    FILE* const to = ::popen(pager.c_str(), "w");
    if (to == nullptr) return false;
    // A pager that is left before the end takes no more.
    std::fwrite(text.data(), 1, text.size(), to);
    ::pclose(to);
    return true;
}

}  // namespace

Screen screen(int descriptor) {
    const bool isTerminal = ::isatty(descriptor) != 0;
    const char* const term = std::getenv("TERM");
    Screen result;
    result.styled = isTerminal && !isSet("NO_COLOR") && (term == nullptr || std::strcmp(term, "dumb") != 0);
    if (const int columns = isTerminal ? sizeOfTerminal(descriptor).ws_col : 0; columns > 0) result.width = columns;
    if (const char* const given = std::getenv("COLUMNS"); given != nullptr && std::atoi(given) >= minWidth)
        result.width = std::atoi(given);
    result.width = std::max(result.width, minWidth);
    return result;
}

void printPaged(const std::string& text) {
    const bool isTerminal = ::isatty(STDOUT_FILENO) != 0 && ::isatty(STDIN_FILENO) != 0;
    const auto lines = std::count(text.begin(), text.end(), '\n');
    if (isTerminal && lines >= sizeOfTerminal(STDOUT_FILENO).ws_row && showByPager(text)) return;
    print(text);
}

}  // namespace cli
