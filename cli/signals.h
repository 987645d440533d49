// The signals that end a run.
#pragma once

#include <memory>

#include "runtime/stop_request.h"

namespace cli {

// From now on SIGINT, SIGTERM and SIGHUP ask for an end in order, the first time; the second one ends the process at once, and
// no temporary file stays. A SIGHUP that is ignored, as under nohup, stays so.
std::shared_ptr<libzepl::StopRequest> catchSignals();

// The exit status that names the signal which came first; 0 while none has come.
int statusOfSignal();

}  // namespace cli
