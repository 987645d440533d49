// The end of a run, or of a module's start-up, in which a module damaged the memory of the process.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/output_files.h"
#include "runtime/procedure.h"
#include "runtime/report.h"

namespace cli {

// Says on standard error what happened, removes temporary files, writes the report and ends the process with exit status 1.
// All texts are made beforehand, since that happens in a signal's handler.
class CrashNotice {
 public:
    // `file` is the report's, to which nothing was written yet, or null; `modules` are those that it names.
    CrashNotice(const libzepl::Procedure& procedure, libzepl::TextFile* file,
                std::vector<libzepl::ReportModule> modules);

    CrashNotice(const CrashNotice&) = delete;
    CrashNotice& operator=(const CrashNotice&) = delete;

    [[noreturn]] void end(libzepl::Report& report, std::size_t task);

 private:
    bool writeReport(const libzepl::Report& report);

    struct Parts {
        std::string_view before, after;  // what is shown before and after what happened
    };

    std::string blocks_;
    std::vector<Parts> parts_;  // of `blocks_`, for each task
    std::string procedure_;
    libzepl::TextFile* file_;
    std::vector<libzepl::ReportModule> modules_;
};

// Says that `module` did `what` while it was loaded, and ends the process with exit status 2.
[[noreturn]] void endOfLoading(const std::string& module, const char* what);

}  // namespace cli
