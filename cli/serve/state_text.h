// The texts that a page is sent, as JSON. docs/page.md has the protocol.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "cli/serve/live_run.h"

namespace cli {

std::string helloText(std::string_view procedure);
std::string stateText(const RunState& state);
std::string consoleText(std::string_view printed);
std::string errorText(std::string_view text);
// The events of a trigger by their numbers, from `from` to before `to`, which are kept.
std::string eventsText(const Watching& watching, std::size_t trigger, std::uint64_t from, std::uint64_t to);

}  // namespace cli
