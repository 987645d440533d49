// What `zepl check` finds in a text that an editor has open.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "runtime/commands.h"
#include "runtime/procedure.h"

namespace cli::lsp {

struct CheckRequest {
    std::string uri;
    std::int64_t edition = 0;  // of the document's text
    std::string path;          // of the document, beside which the files are that it names
    std::string text;
};

struct CheckResult {
    std::vector<libzepl::Diagnostic> found;
    std::vector<std::string> notes;
    std::map<std::string, std::uint64_t> lengths;  // of recordings that expressions took, in frames, by their pipes
};

// Checks in a process of its own, since a command may damage its memory and a file may keep its reader waiting.
class CheckProcess {
 public:
    // The calling process must have one thread.
    CheckProcess(CheckRequest request, const libzepl::CommandLibrary& library);
    // Ends the process.
    ~CheckProcess();
    CheckProcess(const CheckProcess&) = delete;
    CheckProcess& operator=(const CheckProcess&) = delete;

    const CheckRequest& request() const { return request_; }
    // Readable when there is something for read().
    int descriptor() const { return descriptor_; }
    // Takes what is there. The result, when it is complete.
    std::optional<CheckResult> read();
    // What is to be said when it has taken too long.
    static CheckResult tooLong();

 private:
    CheckRequest request_;
    int descriptor_ = -1;
    int process_ = -1;
    std::string bytes_;
};

inline constexpr int maxCheckSeconds = 20;

}  // namespace cli::lsp
