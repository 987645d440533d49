#include "runtime/procedure/quantities.h"

#include <cmath>
#include <limits>

#include "runtime/files.h"

namespace libzepl {

namespace {

using Goes = Formula::Goes;
using Kind = Quantity::Kind;

constexpr std::int64_t noBound = std::numeric_limits<std::int64_t>::max();

}  // namespace

bool isElement(Goes goes) {
    return goes == Goes::start || goes == Goes::variableValue || goes == Goes::vectorValue ||
           goes == Goes::vectorValues;
}

Quantity quantityAt(Goes goes, ElementType type) {
    if (isElement(goes)) return {.kind = Kind::element, .type = type, .clause = {}};
    const auto count = [](std::string_view clause, std::int64_t most = noBound) {
        return Quantity{.kind = Kind::count, .clause = clause, .most = most};
    };
    switch (goes) {
        case Goes::rate:
        case Goes::fileRate:
        case Goes::sourceRate:
            return {.kind = Kind::rate, .clause = {}};
        case Goes::sourceTimeout:
        case Goes::fileTimeout:
            return {.kind = Kind::step, .clause = "timeout"};
        case Goes::every:
            return {.kind = Kind::step, .clause = "every"};
        case Goes::capacity:
            return count("capacity");
        case Goes::interleaved:
            return count("interleaved", maxChannels);
        case Goes::elements:
            return {.kind = Kind::elements, .clause = {}};
        case Goes::element:
        case Goes::columnElement:
            return {.kind = Kind::index, .clause = {}};
        case Goes::channel:
        case Goes::lastChannel:
            return count("channel");
        case Goes::column:
        case Goes::lastColumn:
            return count("column");
        case Goes::limit:
            return count("limit");
        default:
            return {};
    }
}

std::optional<Diagnostic> mistakeOf(const Quantity& quantity, const Number& number, std::string_view written) {
    const auto mistake = [&](std::string message) {
        return Diagnostic{Severity::error, number.place, std::move(message), {}};
    };
    const bool isCount = number.isInteger && number.integer >= 1 && number.integer <= quantity.most;
    const bool isRate = number.real > 0 && !std::isinf(number.real);
    if (quantity.kind == Kind::element && !holds(quantity.type, number)) return notHeld(quantity.type, number, written);
    if (quantity.kind == Kind::rate && !isRate)
        return mistake("a rate is a positive, finite number, not " + quoted(written));
    if (quantity.kind == Kind::step && !isRate)
        return mistake(quoted(quantity.clause) + " takes a positive, finite number, not " + quoted(written));
    if (quantity.kind == Kind::count && !isCount)
        return mistake(quoted(quantity.clause) + " takes an integer from 1" +
                       (quantity.most == noBound ? "" : " to " + std::to_string(quantity.most)) + ", not " +
                       quoted(written));
    if (quantity.kind == Kind::elements &&
        !(number.isInteger && number.integer >= 1 && number.integer <= maxArrayElements))
        return mistake("an array has 1 to " + std::to_string(maxArrayElements) + " elements, not " + quoted(written));
    if (quantity.kind == Kind::index && !number.isInteger)
        return mistake("an index is an integer, not " + quoted(written));
    return std::nullopt;
}

std::optional<Diagnostic> frameMistake(std::int64_t channels, std::uint64_t limit, const Place& place) {
    if (limit % static_cast<std::uint64_t>(channels) == 0) return std::nullopt;
    return Diagnostic{
        Severity::error, place,
        std::to_string(limit) + " elements are no whole frames of " + std::to_string(channels) + " channels",
        "give a multiple of " + std::to_string(channels)};
}

}  // namespace libzepl
