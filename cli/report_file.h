// The file of --report.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/binder.h"
#include "runtime/output_files.h"

namespace cli {

// The modules that a report names.
std::vector<libzepl::ReportModule> reportModules(const libzepl::CommandLibrary& library);

// Opened before the run, so that a wrong name costs none; it appears under its name when it is whole.
class ReportFile {
 public:
    // An empty name means no report. A Problem for a file that the run itself uses or that cannot be written.
    ReportFile(const std::string& name, const libzepl::Procedure& procedure, const libzepl::CommandLibrary& library,
               const libzepl::BindOptions& options);

    libzepl::TextFile* file() { return file_.get(); }  // null when there is none
    void write(const libzepl::Report& report, const libzepl::CommandLibrary& library);

 private:
    std::unique_ptr<libzepl::TextFile> file_;
};

}  // namespace cli
