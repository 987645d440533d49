// The binary frames: what a page draws. docs/page.md has their layout.
#pragma once

#include <optional>
#include <string>

#include "cli/serve/messages.h"
#include "cli/serve/watching.h"

namespace cli {

// The stretch that the look is at, in columns; nothing where it waits for an event that has not come.
std::optional<std::string> pictureOf(const Look& look, Watching& watching);
// The last samples of the pipes whose samples are looked at.
std::string samplesOf(const Look& look, Watching& watching);

}  // namespace cli
