// What standard output is, and long texts on it.
#pragma once

#include <string>

namespace cli {

struct Screen {
    int width = 80;       // columns
    bool styled = false;  // whether bold and colour are wanted: on a terminal, unless $NO_COLOR is set or $TERM is dumb
};

// Of standard output or error: as wide as the terminal, or as $COLUMNS says where that is a number from 20.
Screen screen(int descriptor = 1);

// Prints the text: by $PAGER, else less, where standard output is a terminal that it does not fit on.
void printPaged(const std::string& text);

}  // namespace cli
