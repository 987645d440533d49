// What a batch's table has of one recording.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/binder.h"

namespace cli {

struct BatchRow {
    std::string status;  // ok, failed or crashed
    std::string notes;
    std::string seconds;
    std::vector<std::pair<std::string, std::string>> values;  // of a run that went well, by column: variables
    std::vector<std::pair<std::string, std::string>> counts;  // NAME.count and NAME.last of outputs

    bool isGood() const { return status == "ok"; }
};

// Of a run, in the terms of its bound procedure; a failed one has reasons, and no values.
BatchRow rowOf(const libzepl::BoundProcedure& bound, const libzepl::Report& report);
// Of a recording that the procedure could not be bound to, or that crashed.
BatchRow badRow(std::string status, std::string reason);
// The errors among them as a reason, each with its line.
std::string reasonOf(const std::vector<libzepl::Diagnostic>& diagnostics);

std::string packedRow(const BatchRow& row);
std::optional<BatchRow> unpackedRow(std::string_view bytes);

// A cell of CSV: in quotes where it has to be.
std::string csvCell(const std::string& text);

}  // namespace cli
