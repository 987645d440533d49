// What an editor knows of a procedure: its text, its parsed form, the mistakes in that, and its names.
#pragma once

#include <string>
#include <vector>

#include "cli/lsp/document.h"
#include "cli/lsp/names.h"
#include "runtime/procedure.h"

namespace cli::lsp {

struct Outline {
    explicit Outline(std::string text) : procedure(libzepl::parseProcedure({{}, std::move(text)}, mistakes)) {}
    Outline(const Outline&) = delete;
    Outline& operator=(const Outline&) = delete;

    std::vector<libzepl::Diagnostic> mistakes;
    libzepl::Procedure procedure;
    Names names{procedure.source.text};
};

}  // namespace cli::lsp
