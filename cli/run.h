// zepl run and zepl check.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/modules.h"
#include "runtime/binder.h"
#include "runtime/diagnostics.h"

namespace cli {

// What the exit status says.
enum ExitStatus {
    allWell = 0,
    runFailed = 1,  // a task or the run itself failed
    wrongCall = 2,  // the call or the procedure was wrong; 128 and a signal's number when that ended a run
};

struct RunArguments {
    std::string procedure;
    std::vector<std::string> in, out, set, info;
    ModuleArguments modules;
    std::string report;
    std::optional<std::string> capture{};  // the folder that keeps the run
    std::string feed;
    std::string pace;
    std::string memory;
    std::uint32_t block = 1024;
    std::uint32_t startTime = 0;
    std::uint64_t patience = libzepl::SessionOptions().patience;
    unsigned jobs = 0;  // engines at most; 0 is one on each processor
    bool allowLoss = false;
    bool quiet = false;
    bool plot = false;  // draws every output on standard error
    bool sync = true;
};

int run(const RunArguments& arguments);
int check(const RunArguments& arguments);

// What the options say of the session. Every one that cannot be read is added to `mistakes`.
libzepl::BindOptions bindOptions(const RunArguments& arguments, bool setUpOnly,
                                 std::vector<libzepl::Diagnostic>& mistakes);
// Also says so where samples were lost.
int exitStatus(const libzepl::Report& report, const RunArguments& arguments);

// The notes of the report, but for those that were warnings.
std::vector<std::string> notesOf(const libzepl::Report& report);

// Print what was found before the run, and how it ended.
void printDiagnostics(std::vector<libzepl::Diagnostic> diagnostics, const libzepl::Procedure& procedure, bool quiet);
void printEnd(const libzepl::Procedure& procedure, const libzepl::Report& report, bool quiet,
              const std::vector<std::string>& advice, bool checkOnly);
libzepl::BoundProcedure boundOf(const libzepl::Procedure& procedure, const libzepl::CommandLibrary& library,
                                const libzepl::BindOptions& options, std::vector<libzepl::Diagnostic>& diagnostics);

// What one of an output's is called.
std::string nameOfOne(libzepl::OutputReport::Unit unit);

// Prints the error of a call, with what to do.
void printProblem(const libzepl::Problem& problem);

}  // namespace cli
