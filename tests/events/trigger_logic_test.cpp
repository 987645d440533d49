// TAND, TOR and TCOLLATE against a search over the whole lists of events.

#include <numeric>

#include "tests/events/events_support.h"
#include "tests/support/child_output.h"

namespace libzepl {
namespace {

const Covers tand("TAND"), tor("TOR"), tcollate("TCOLLATE");

std::vector<Counts> randomSources(std::uint64_t seed, std::size_t n, int spacing) {
    std::vector<Counts> sources;
    for (std::size_t i = 0; i < n; ++i) sources.push_back(randomEvents(seed * 100 + i, 1500, spacing));
    return sources;
}

Counts unionOf(const std::vector<Counts>& sources) {
    std::set<std::int64_t> all;
    for (const Counts& events : sources) all.insert(events.begin(), events.end());
    return {all.begin(), all.end()};
}

// Takes the first of each list where they are within `tol`, and drops those that are too early for the latest.
Counts coincidences(std::vector<Counts> sources, std::int64_t tol) {
    for (Counts& events : sources) std::reverse(events.begin(), events.end());
    const auto nextIsEarlier = [](const Counts& a, const Counts& b) { return a.back() < b.back(); };
    Counts found;
    while (std::none_of(sources.begin(), sources.end(), [](const Counts& events) { return events.empty(); })) {
        const auto [least, most] = std::minmax_element(sources.begin(), sources.end(), nextIsEarlier);
        const std::int64_t latest = most->back();
        const bool match = latest - least->back() <= tol;
        if (match) found.push_back(least->back());
        for (Counts& events : sources)
            if (match || events.back() < latest - tol) events.pop_back();
    }
    return found;
}

Counts rotation(const std::vector<Counts>& sources) {
    Counts found{-1};
    for (std::size_t i = 0;; i = (i + 1) % sources.size()) {
        const auto next = std::upper_bound(sources[i].begin(), sources[i].end(), found.back());
        if (next == sources[i].end()) break;
        found.push_back(*next);
    }
    found.erase(found.begin());
    return found;
}

TEST(TriggerLogic, FindsWhatASearchOfTheListsFinds) {
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        const auto sources = randomSources(seed, 1 + seed % 4, seed % 2 == 0 ? 4 : 30);
        const std::string all = " (" + sourceList(sources.size()) + ", out";
        expectFound("TOR" + all + ")", sources, unionOf);
        for (const int tol : {0, 1, 5, 40})
            expectFound("TAND" + all + ", " + std::to_string(tol) + ")", sources,
                        [&](const auto& events) { return coincidences(events, tol); });
        if (sources.size() > 1) expectFound("TCOLLATE" + all + ")", sources, rotation);
    }
}

TEST(TriggerLogic, ServesTheGreatestNumberOfSources) {
    std::vector<Counts> sources(64, Counts{7, 9, 30});
    expectFound("TOR (" + sourceList(64) + ", out)", sources, unionOf);
    expectFound("TAND (" + sourceList(64) + ", out)", sources,
                [](const auto& events) { return coincidences(events, 0); });
    sources.resize(16);
    for (std::int64_t i = 0; i < 16; ++i) sources[static_cast<std::size_t>(i)] = {3 * i, 100 + i};
    expectFoundUntil(200, "TCOLLATE (" + sourceList(16) + ", out)", sources, rotation);
}

// How far the status comes where the sources stand at different positions: as far as nothing more can be asserted.
TEST(TriggerLogic, TheStatusGoesAsFarAsNothingMoreCanBeAsserted) {
    constexpr std::uint32_t top = 0xFFFFFFFF;
    const struct {
        const char* call;
        Counts first;
        std::int64_t firstStatus;
        Counts second;
        std::int64_t secondStatus;
        Outcome outcome;
    } cases[] = {
        // clang-format off
        {"TOR (s1, s2, out)", {5}, 9, {5}, 7, {{5}, 7}},
        {"TOR (s1, s2, out)", {}, 5, {5}, 5, {{5}, 5}},  // the first source has only come as far
        {"TOR (s1, s2, out)", {5}, 5, {}, 5, {{5}, 5}},
        {"TOR (s1, s2, out)", {}, 5, {6}, 6, {{}, 5}},
        {"TOR (s1, s2, out)", {0}, 0, {}, -1, {{}, top}},
        {"TOR (s1, s2, out)", {3, 3, 4}, 4, {3, 4, 4}, 9, {{3, 4}, 4}},
        {"TAND (s1, s2, out)", {10}, 99, {11}, 99, {{}, 99}},
        {"TAND (s1, s2, out, 1)", {10}, 99, {11}, 99, {{10}, 99}},
        {"TAND (s1, s2, out)", {10, 11}, 99, {11}, 99, {{11}, 99}},
        {"TAND (s1, s2, out, 5)", {10, 20}, 20, {15, 20}, 20, {{10, 20}, 20}},
        {"TAND (s1, s2, out, 4)", {10, 20}, 20, {15, 20}, 20, {{20}, 20}},
        {"TAND (s1, s2, out)", {}, 4, {4}, 4, {{}, 3}},  // one short of the assertion held
        {"TAND (s1, s2, out, 5)", {}, 4, {4}, 4, {{}, 3}},
        {"TAND (s1, s2, out)", {}, 3, {4}, 4, {{}, 3}},
        {"TAND (s1, s2, out, 1)", {}, 0, {0}, 0, {{}, top}},
        {"TAND (s1, s2, out, 10)", {}, -1, {9}, 9, {{}, top}},
        {"TAND (s1, s2, out, 5)", {}, 9, {4}, 20, {{}, 3}},  // the status can stay within the tolerance
        {"TAND (s1, s2, out, 5)", {}, 10, {4}, 20, {{}, 10}},
        {"TAND (s1, s2, out, 5)", {}, 7, {}, 9, {{}, 7}},
        {"TCOLLATE (s1, s2, out)", {5, 6}, 8, {7}, 9, {{5, 7}, 8}},
        {"TCOLLATE (s1, s2, out)", {5}, 5, {5, 6}, 6, {{5, 6}, 6}},
        {"TCOLLATE (s1, s2, out)", {}, 3, {1, 2, 9}, 9, {{}, 3}},
        {"TCOLLATE (s1, s2, out)", {4}, 8, {1, 4}, 6, {{4}, 6}},
        {"TCOLLATE (s1, s2, out)", {5}, 5, {0x80000005}, 0x80000005, {{5, 0x80000005}, 5}},
        {"TCOLLATE (s1, s2, out)", {5}, 5, {0x80000006}, 0x80000006, {{5}, 5}},  // more than half the count away is earlier
        // clang-format on
    };
    for (const auto& c : cases) {
        const Outcome outcome = outcomeOf(c.call, {rowsOf(c.first, c.firstStatus), rowsOf(c.second, c.secondStatus)});
        EXPECT_EQ(outcome.events, c.outcome.events) << "case " << &c - cases << ", " << c.call;
        EXPECT_EQ(outcome.status, c.outcome.status) << "case " << &c - cases << ", " << c.call;
    }
}

// A host may take a status that does not move on for an error.
TEST(TriggerLogic, ACoincidenceSendsNoStatusThatDoesNotAdvance) {
    Lines sent = sceneOf("coincidences '" TEST_MODULE_FILE "'");
    std::erase_if(sent, [](const std::string& line) {
        return !line.starts_with("trigger_put") && !line.starts_with("trigger_set_status");
    });
    EXPECT_EQ(sent, Lines({"trigger_set_status 33: 5", "trigger_put 33: 10"}));
}

}  // namespace
}  // namespace libzepl
