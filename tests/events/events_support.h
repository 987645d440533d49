// Triggers from lists of events. Positions stand as counts that don't wrap, so that a test's own search needs no modular
// arithmetic; what commands give is compared in 32 bits.
#pragma once

#include <algorithm>
#include <random>

#include "tests/support/arrivals.h"
#include "tests/support/call.h"
#include "tests/support/covered.h"

namespace libzepl {

using Counts = std::vector<std::int64_t>;
using Positions = std::vector<std::uint32_t>;

constexpr std::int64_t wrapCount = std::int64_t{1} << 32;

inline Positions wrapped(const Counts& counts) {
    Positions positions;
    for (const std::int64_t count : counts) positions.push_back(static_cast<std::uint32_t>(count));
    return positions;
}

// Events between 0 and `end`, one in `spacing` on the average, with a stretch of every other and with repeats.
inline Counts randomEvents(std::uint64_t seed, std::int64_t end, int spacing) {
    std::mt19937_64 random(seed);
    Counts events;
    for (std::int64_t at = 0; at < end;
         at += static_cast<std::int64_t>(random() % 8 == 0 ? 0 : random() % (2 * static_cast<unsigned>(spacing))))
        events.push_back(at);
    return events;
}

// The same events around the wrap of the count, behind some that lead there.
inline Counts aroundTheWrap(const Counts& events) {
    Counts moved;
    for (std::int64_t at = wrapCount / 8 - 1; at < wrapCount - 1000; at += wrapCount / 8) moved.push_back(at);
    for (const std::int64_t event : events) moved.push_back(event + wrapCount - 500);
    return moved;
}

// The rows of a trigger file, with a status before some of the events, and one at the end.
inline std::vector<TriggerRow> rowsOf(const Counts& events, std::int64_t end) {
    std::vector<TriggerRow> rows;
    const auto row = [&](bool asserts, std::int64_t at) {
        rows.push_back({.asserts = asserts, .position = static_cast<std::uint32_t>(at)});
    };
    for (std::int64_t last = -1; const std::int64_t at : events) {
        if (at % 3 != 0 && at - 1 > last) row(false, at - 1);
        row(true, last = at);
    }
    row(false, end);
    return rows;
}

// What became of a trigger.
struct Outcome {
    Positions events;
    std::uint32_t status;
    bool operator==(const Outcome&) const = default;
};

using Rows = std::vector<TriggerRow>;
constexpr FeedPolicy whole{.kind = FeedPolicy::Kind::whole};

// Runs a call whose sources are `s1`, `s2`, ...
inline Report runCall(TestSession& session, const std::string& call, const std::vector<Rows>& sources) {
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const TriggerId source = session.addTrigger("s" + std::to_string(i + 1));
        session.setInput(source, sources[i]);
    }
    addCall(session, call);
    Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok) << call;
    return report;
}

// "s1, s2, s3": so many sources.
inline std::string sourceList(std::size_t count) {
    std::string text = "s1";
    for (std::size_t i = 2; i <= count; ++i) text += ", s" + std::to_string(i);
    return text;
}

// What becomes of the trigger `out`.
inline Outcome outcomeOf(const std::string& call, const std::vector<Rows>& sources, FeedPolicy feed = whole) {
    TestSession session({.feed = feed});
    const TriggerId result = session.addTrigger("out");
    session.collect(result);
    const std::uint32_t status = runCall(session, call, sources).triggers[0].status;
    return {session.collectedEvents(result), status};
}

// What the call writes to the pipe `out`.
template <class Element>
std::vector<Element> writtenBy(const std::string& call, const Rows& source, FeedPolicy feed = whole) {
    TestSession session({.feed = feed});
    const PipeId result = session.output("out", {}, elementTypeOf<Element>());
    runCall(session, call, {source});
    return session.collected<Element>(result);
}

// Runs it with lists of events that arrive in every way; `search` gives the events expected of it.
template <class Search>
void expectFoundUntil(std::int64_t end, const std::string& call, const std::vector<Counts>& sources, Search search) {
    std::vector<Rows> rows;
    for (const Counts& events : sources) rows.push_back(rowsOf(events, end));
    const Outcome outcome = sameForEveryArrival(16, [&](FeedPolicy feed) { return outcomeOf(call, rows, feed); });
    EXPECT_EQ(outcome.events, wrapped(search(sources))) << call << " until " << end;
    EXPECT_EQ(outcome.status, static_cast<std::uint32_t>(end)) << call << " until " << end;
}

// The same for events before 1500, and then for them around the wrap.
template <class Search>
void expectFound(const std::string& call, const std::vector<Counts>& sources, Search search) {
    expectFoundUntil(2000, call, sources, search);
    std::vector<Counts> moved;
    for (const Counts& events : sources) moved.push_back(aroundTheWrap(events));
    expectFoundUntil(wrapCount + 1500, call, moved, search);
}

}  // namespace libzepl
