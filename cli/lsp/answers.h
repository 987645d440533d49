// What the server answers about a document, in the protocol's form.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/lsp/check.h"
#include "cli/lsp/completion.h"
#include "cli/lsp/hover.h"
#include "cli/lsp/outline.h"

namespace cli::lsp {

using Json = nlohmann::json;

// What the editor can do with answers.
struct ClientAbilities {
    bool snippets = false;
    bool markdown = true;
    bool nestedSymbols = false;
};

Json asJson(const Range& range);
// Mistakes and warnings as such, and what is only worth knowing as information; each with its remedy in a line of its own.
Json diagnosticsOf(const CheckResult& result, const Text& text);
Json hoverOf(const Hover& hover, const Text& text, const ClientAbilities& client);
Json completionOf(const std::vector<Candidate>& candidates, const ClientAbilities& client);
Json symbolsOf(const std::string& uri, const Outline& outline, const Text& text, const ClientAbilities& client);
Json rangeOf(const Word& word, const Outline& outline, const Text& text);

}  // namespace cli::lsp
