// Any bytes are parsed as a procedure and evaluated, and its mistakes rendered: nothing may crash, and what a terminal gets is harmless.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "runtime/procedure.h"

namespace {

using libzepl::Diagnostic;
using libzepl::Procedure;

void require(bool condition) {
    if (!condition) std::abort();
}

void requireHarmless(const std::string& rendered) {
    for (char c : rendered) {
        const auto byte = static_cast<unsigned char>(c);
        require((byte >= 0x20 && byte != 0x7F) || c == '\n' || c == '\t');
    }
}

std::string withCarriageReturns(const std::string& text) {
    std::string result;
    for (char c : text) result += c == '\n' ? "\r\n" : std::string(1, c);
    return result;
}

std::size_t statementsOf(const Procedure& p) {
    return p.pipes.size() + p.triggers.size() + p.variables.size() + p.vectors.size() + p.tables.size() +
           p.commands.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<Diagnostic> diagnostics;
    const Procedure procedure = libzepl::parseProcedure({"fuzz.zp", text}, diagnostics);
    require(diagnostics.size() <= 1001);
    requireHarmless(libzepl::render(diagnostics, procedure.source));
    for (const Diagnostic& diagnostic : diagnostics) {
        const std::string block = libzepl::render(diagnostic, procedure.source);
        require(diagnostic.place.line > 0 && block.find("\n  ") != std::string::npos);
    }
    libzepl::EvaluationSettings settings{.values = {}, .words = {}, .frames = {}, .maxValues = 64};
    settings.frames = [](const Procedure&, const libzepl::PipeDeclaration& pipe) -> std::uint64_t {
        if (!pipe.from) throw libzepl::Problem("no file");
        return 1000;
    };
    std::vector<Diagnostic> refused;
    const Procedure expanded = libzepl::expanded(libzepl::evaluated(procedure, settings, refused), refused);
    require(statementsOf(expanded) <= statementsOf(procedure) + 300000);
    requireHarmless(libzepl::render(refused, procedure.source));
    if (text.find('\r') == std::string::npos) {
        std::vector<Diagnostic> again;
        const Procedure other = libzepl::parseProcedure({"fuzz.zp", withCarriageReturns(text)}, again);
        require(again.size() == diagnostics.size() && statementsOf(other) == statementsOf(procedure));
    }
    return 0;
}
