#include "cli/report_file.h"

#include "runtime/binder_files.h"
#include "runtime/files/stream_wait.h"

namespace cli {

using libzepl::Problem;

ReportFile::ReportFile(const std::string& name, const libzepl::Procedure& procedure,
                       const libzepl::CommandLibrary& library, const libzepl::BindOptions& options) {
    if (name.empty()) return;
    const std::string use = libzepl::useOfFile(procedure, library, options, name);
    if (!use.empty())
        throw Problem("--report " + name + ": " + (name == "-" ? "standard output " : "that file ") + use,
                      "name a file of its own");
    try {
        file_ = std::make_unique<libzepl::OutputFile>(name, libzepl::OutputOptions{.sync = options.sync});
    } catch (const libzepl::Interrupted&) {
        throw;
    } catch (const Problem& problem) {
        throw Problem(std::string("--report: ") + problem.what(), problem.remedy());
    }
}

void ReportFile::write(const libzepl::Report& report, const libzepl::CommandLibrary& library) {
    if (file_ == nullptr) return;
    const libzepl::LoadedModule& module = library.modules().front();
    try {
        file_->write(libzepl::toJson(report, {module.name, module.buildVersion, module.interfaceVersion}));
        file_->finish();
    } catch (const Problem& problem) {
        throw Problem(std::string("--report: ") + problem.what(), problem.remedy());
    }
}

}  // namespace cli
