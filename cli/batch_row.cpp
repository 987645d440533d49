#include "cli/batch_row.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <type_traits>

#include "cli/batch_frames.h"
#include "runtime/wording.h"

namespace cli {

namespace {

using namespace libzepl;

constexpr const char* between = "; ";

// With the shortest digits that read back.
template <class Number>
std::string digits(Number number) {
    if constexpr (std::is_floating_point_v<Number>)
        if (number != number) return "nan";
    std::array<char, 40> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

std::string textOf(const VariableReport& variable) {
    if (const auto* integer = std::get_if<std::int64_t>(&variable.value)) return digits(*integer);
    const double value = std::get<double>(variable.value);
    return variable.type == ElementType::float32 ? digits(static_cast<float>(value)) : digits(value);
}

// Values of several channels or pipes stand side by side in one cell.
std::string lastOf(const OutputReport& output) {
    std::vector<std::string> parts;
    for (const auto& value : output.last)
        parts.push_back(std::visit([](auto number) { return digits(number); }, value));
    return joined(parts, " ", " ");
}

void addCounts(const Report& report, BatchRow& row) {
    for (const OutputReport& output : report.outputs) {
        row.counts.emplace_back(output.channel + ".count", digits(output.count / output.channels));
        row.counts.emplace_back(output.channel + ".last", lastOf(output));
    }
}

using Columns = std::vector<std::pair<std::string, std::string>>;

void pack(const Columns& columns, std::vector<std::string>& texts) {
    for (const auto& [name, value] : columns) {
        texts.push_back(name);
        texts.push_back(value);
    }
}

}  // namespace

std::string reasonOf(const std::vector<Diagnostic>& diagnostics) {
    std::vector<std::string> reasons;
    for (const Diagnostic& each : diagnostics) {
        if (each.severity != Severity::error) continue;
        const std::string line = each.place.line > 0 ? "line " + std::to_string(each.place.line) + ": " : "";
        reasons.push_back(line + each.message);
    }
    return joined(reasons, between, between);
}

BatchRow badRow(std::string status, std::string reason) {
    BatchRow row;
    row.status = std::move(status);
    row.notes = std::move(reason);
    return row;
}

BatchRow rowOf(const BoundProcedure& bound, const Report& report) {
    BatchRow row;
    row.status = report.status == Report::Status::ok ? "ok" : "failed";
    std::vector<std::string> notes;
    if (!row.isGood()) {
        notes.push_back(reasonOf(diagnose(bound.procedure, report, bound.advice)));
        if (notes[0].empty()) notes[0] = report.reason.empty() ? "the run failed" : report.reason;
    }
    notes.insert(notes.end(), report.notes.begin(), report.notes.end());
    row.notes = joined(notes, between, between);
    if (!row.isGood()) return row;
    for (const VariableReport& variable : report.variables) row.values.emplace_back(variable.name, textOf(variable));
    addCounts(report, row);
    return row;
}

std::string packedRow(const BatchRow& row) {
    std::vector<std::string> texts{row.status, row.notes, row.seconds, std::to_string(row.values.size())};
    pack(row.values, texts);
    pack(row.counts, texts);
    return packed(texts);
}

std::optional<BatchRow> unpackedRow(std::string_view bytes) {
    const std::optional<std::vector<std::string>> texts = unpacked(bytes);
    if (!texts || texts->size() < 4 || texts->size() % 2 != 0) return std::nullopt;
    BatchRow row{(*texts)[0], (*texts)[1], (*texts)[2], {}, {}};
    std::size_t values = 0;
    std::from_chars((*texts)[3].data(), (*texts)[3].data() + (*texts)[3].size(), values);
    for (std::size_t at = 4; at < texts->size(); at += 2) {
        Columns& columns = (at - 4) / 2 < values ? row.values : row.counts;
        columns.emplace_back((*texts)[at], (*texts)[at + 1]);
    }
    return row;
}

std::string csvCell(const std::string& text) {
    const bool isPlain =
        text.find_first_of(",\"\r\n") == std::string::npos && !text.starts_with(' ') && !text.ends_with(' ');
    if (isPlain) return text;
    std::string cell = "\"";
    for (const char c : text) cell.append(c == '"' ? 2 : 1, c);
    return cell + "\"";
}

}  // namespace cli
