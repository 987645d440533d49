// zepl serve: runs a procedure, and serves a page to look at it.
#pragma once

#include <string>

#include "cli/run.h"

namespace cli {

struct ServeArguments {
    RunArguments run;
    std::string listen = "127.0.0.1:8080";
};

// Serves until a signal asks for the end.
int serve(const ServeArguments& arguments);

}  // namespace cli
