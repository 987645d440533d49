#include "cli/option_values.h"

#include <cmath>
#include <limits>

#include "runtime/diagnostics.h"
#include "runtime/number.h"

namespace cli {

namespace {

using libzepl::Problem;

// A whole number from 0 to `most`.
std::optional<std::uint64_t> wholeNumber(const std::string& text, std::uint64_t most) {
    const std::optional<libzepl::Number> number = libzepl::parseNumber(text);
    if (!number || !number->isInteger || number->integer < 0) return std::nullopt;
    const auto value = static_cast<std::uint64_t>(number->integer);
    return value <= most ? std::optional(value) : std::nullopt;
}

constexpr std::uint64_t defaultBlockSelector = 17;
constexpr std::uint64_t word = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t large = std::numeric_limits<std::int64_t>::max();

}  // namespace

libzepl::FeedPolicy feedOf(const std::string& text) {
    libzepl::FeedPolicy feed;
    if (text == "whole" || text == "lockstep") {
        feed.kind = text == "whole" ? libzepl::FeedPolicy::Kind::whole : libzepl::FeedPolicy::Kind::lockstep;
        return feed;
    }
    const bool random = text.rfind("random:", 0) == 0;
    const std::optional<std::uint64_t> number = wholeNumber(random ? text.substr(7) : text, large);
    if (!number || (!random && *number == 0))
        throw Problem("--feed " + text + " is not a feed policy",
                      "give --feed N (samples, at least 1), whole, lockstep, or random:SEED");
    feed.kind = random ? libzepl::FeedPolicy::Kind::random : libzepl::FeedPolicy::Kind::pieces;
    (random ? feed.seed : feed.piece) = *number;
    return feed;
}

double paceOf(const std::string& text, const libzepl::FeedPolicy& feed) {
    if (text.empty()) return 0;
    const std::optional<libzepl::Number> pace = libzepl::parseNumber(text);
    if (!pace || !(pace->real > 0 && std::isfinite(pace->real)))
        throw Problem("--pace " + text + " is not a pace",
                      "give a positive number: 1 keeps to the wall clock, 10 is ten times as fast");
    if (feed.kind == libzepl::FeedPolicy::Kind::whole)
        throw Problem("--feed whole gives all input at once, so that --pace has nothing to hold",
                      "leave out one of the two");
    return pace->real;
}

std::uint64_t sizeOf(const std::string& text) {
    constexpr std::pair<char, int> units[] = {{'K', 10}, {'M', 20}, {'G', 30}};
    int shift = 0;
    for (const auto& [letter, bits] : units)
        if (!text.empty() && text.back() == letter) shift = bits;
    const std::string digits = shift > 0 ? text.substr(0, text.size() - 1) : text;
    const std::optional<std::uint64_t> number = wholeNumber(digits, large >> shift);
    if (!number || *number == 0)
        throw Problem("--memory " + text + " is not a size",
                      "give a number of bytes, or one with K, M or G, such as 512M");
    return *number << shift;
}

std::map<std::string, std::string> pairsOf(const std::string& form, const std::vector<std::string>& texts) {
    const std::string option = form.substr(0, form.find(' '));
    std::map<std::string, std::string> pairs;
    for (const std::string& text : texts) {
        const std::size_t equals = text.find('=');
        if (equals == 0 || equals == std::string::npos || equals + 1 == text.size())
            throw Problem(option + " " + text + " is not " + form.substr(option.size() + 1), "write " + form);
        if (!pairs.emplace(text.substr(0, equals), text.substr(equals + 1)).second)
            throw Problem(option + " " + text + ": " + libzepl::quoted(text.substr(0, equals)) + " is given twice",
                          "give it once");
    }
    return pairs;
}

std::map<std::uint32_t, std::uint32_t> infoOf(const std::vector<std::string>& texts) {
    std::map<std::uint32_t, std::uint32_t> info;
    for (const auto& [selector, value] : pairsOf("--info SELECTOR=VALUE", texts)) {
        const std::optional<std::uint64_t> key = wholeNumber(selector, word), answer = wholeNumber(value, word);
        if (!key || !answer)
            throw Problem("--info " + selector + "=" + value + " is no pair of 32-bit numbers",
                          "write --info SELECTOR=VALUE, such as --info 30=0");
        if (*key == defaultBlockSelector && (*answer < 1 || *answer > libzepl::maxBlock))
            throw Problem("--info " + selector + "=" + value + ": the default block is 1 to " +
                              std::to_string(libzepl::maxBlock) + " samples",
                          "--block N sets the block, which commands can ask for");
        info.emplace(static_cast<std::uint32_t>(*key), static_cast<std::uint32_t>(*answer));
    }
    return info;
}

}  // namespace cli
