// Procedures with their expressions evaluated, as tests look at them.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "runtime/procedure.h"

namespace libzepl {

struct Evaluated {
    Procedure procedure;
    std::string mistakes;  // "line:column message | remedy" each, closed with a line feed
};

inline std::string textOf(const std::vector<Diagnostic>& diagnostics) {
    std::string text;
    for (const Diagnostic& each : diagnostics)
        text += std::to_string(each.place.line) + ":" + std::to_string(each.place.column) + " " + each.message +
                (each.remedy.empty() ? "" : " | " + each.remedy) + "\n";
    return text;
}

inline Evaluated evaluate(const std::string& text, std::map<std::string, std::string> values = {}) {
    std::vector<Diagnostic> diagnostics;
    Procedure parsed = parseProcedure({"test.zp", text}, diagnostics);
    EvaluationSettings settings{.values = std::move(values), .words = {"pi", "inside"}, .frames = {}};
    settings.frames = [](const Procedure&, const PipeDeclaration&) { return std::uint64_t{1000}; };
    Procedure result = evaluated(std::move(parsed), settings, diagnostics);
    return {std::move(result), textOf(diagnostics)};
}

}  // namespace libzepl
