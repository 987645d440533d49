// Markdown, as the documents are written in it, for a terminal.
#pragma once

#include <string>
#include <string_view>

#include "cli/terminal.h"

namespace cli {

// Headings, paragraphs, lists and tables are fitted to the screen's width, code keeps its lines; where the screen is not
// styled, code in a sentence keeps its backticks. A table that does not fit becomes a list of its rows.
std::string rendered(std::string_view markdown, const Screen& screen);

// The text in lines of at most `width` columns, each after `indent`, the first after `first` instead.
std::string wrapped(std::string_view text, int width, const std::string& first, const std::string& indent);

}  // namespace cli
