// Standard input, output and error of the tool.
#pragma once

#include <string_view>

#include "runtime/diagnostics.h"

namespace cli {

// Standard output did not take what was written to it.
class LostOutput : public libzepl::Problem {
 public:
    using Problem::Problem;
};

// To be called before any file is opened, so that none gets the number of a standard stream: one that the caller closed is
// opened on /dev/null. Whoever wants to read or write the closed one still gets an error; messages are dropped.
void openClosedStreams();

// Writes to standard output; LostOutput is thrown where that is not possible, at the latest by flush().
void print(std::string_view text);
void flush();

// Whether a message got lost because standard error cannot be written.
bool messagesLost();

}  // namespace cli
