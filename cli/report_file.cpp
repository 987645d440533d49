#include "cli/report_file.h"

#include "runtime/diagnostics.h"
#include "runtime/stop_request.h"

namespace cli {

using libzepl::Problem;

std::vector<libzepl::ReportModule> reportModules(const libzepl::CommandLibrary& library) {
    std::vector<libzepl::ReportModule> modules;
    for (const libzepl::LoadedModule& module : library.modules())
        modules.push_back({module.name, module.buildVersion, module.interfaceVersion});
    return modules;
}

ReportFile::ReportFile(const std::string& name, const libzepl::Procedure& procedure,
                       const libzepl::CommandLibrary& library, const libzepl::BindOptions& options) {
    if (name.empty()) return;
    const std::string use = libzepl::useOfFile(procedure, library, options, name);
    if (!use.empty())
        throw Problem("--report " + name + ": " + (name == "-" ? "standard output " : "that file ") + use,
                      "name a file of its own");
    try {
        file_ = std::make_unique<libzepl::TextFile>(name, options.sync);
    } catch (const libzepl::Interrupted&) {
        throw;
    } catch (const Problem& problem) {
        throw Problem(std::string("--report: ") + problem.what(), problem.remedy());
    }
}

void ReportFile::write(const libzepl::Report& report, const libzepl::CommandLibrary& library) {
    if (file_ == nullptr) return;
    try {
        libzepl::writeJson(report, reportModules(library), *file_);
        file_->finish();
    } catch (const Problem& problem) {
        throw Problem(std::string("--report: ") + problem.what(), problem.remedy());
    }
}

}  // namespace cli
