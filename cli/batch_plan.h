// What a batch is to do: which recordings, and which files each of them writes.
#pragma once

#include <string>
#include <vector>

#include "cli/batch.h"
#include "runtime/binder.h"

namespace cli {

struct BatchRecording {
    std::vector<std::string> inputs;   // a file for each of the plan's inputs
    std::vector<std::string> outputs;  // and of its outputs
};

struct BatchPlan {
    libzepl::Procedure procedure;
    libzepl::BindOptions options;  // of every recording, without its own files
    ModuleArguments modules;
    std::vector<std::string> inputs;   // names of what --each gives
    std::vector<std::string> outputs;  // names of what --out gives
    std::vector<BatchRecording> recordings;
    std::vector<std::string> notes;  // for the user
    std::string table;
    std::string journal;  // the file beside the table that --resume goes by

    libzepl::BindOptions optionsOf(const BatchRecording& recording) const;
};

// Makes the plan from what the call says; `options` are those of the session. Every mistake is added to `diagnostics`:
// outputs of the procedure without a file for each recording, and files that would be written over, among them.
BatchPlan planOf(const BatchArguments& arguments, libzepl::Procedure procedure, libzepl::BindOptions options,
                 std::vector<libzepl::Diagnostic>& diagnostics);

// The files that all recordings share: those that the procedure or --in names, as far as they are no streams.
std::vector<std::string> sharedFiles(const BatchPlan& plan);

}  // namespace cli
