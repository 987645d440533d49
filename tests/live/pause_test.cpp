// Runs that another thread pauses and lets continue.

#include <thread>

#include "runtime/live.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

using Phase = Snapshot::Phase;

// A loaded computer still answers.
constexpr std::chrono::seconds enough(60);

// source -> ABS -> copy, fed live and started. The input has room for 64 elements.
struct Live {
    Live() {
        source = session.pipe("source", 64);
        copy = session.output("copy");
        session.task("ABS", source, copy);
        gain = session.addVariable("gain", ElementType::int32, &one);
        input = &session.feedLive(source, 64);
    }
    Snapshot pausedAt(std::uint64_t written) {
        while (session.snapshot(enough).pipes[1].written < written) continue;
        session.setPaused(true);
        return session.snapshot(enough);
    }

    const std::int32_t one = 1;
    TestSession session;
    PipeId source, copy;
    VariableId gain{};
    LiveInput* input;
};

TEST(Pauses, NothingMovesAndWhatComesWaits) {
    Live live;
    live.session.start();
    live.input->pushAll(countUp(10));
    const Snapshot before = live.pausedAt(10);
    EXPECT_EQ(before.phase, Phase::paused);
    EXPECT_EQ(live.input->push(countUp(100, 10)), 64U) << "the session takes nothing";
    live.session.setValue(live.gain, 7);
    const Snapshot held = live.session.snapshot(enough);
    EXPECT_EQ(held.round, before.round);
    EXPECT_EQ(held.pipes[1].written, 10U);
    EXPECT_EQ(std::get<std::int64_t>(held.variables[0].value), 7) << "a value takes effect at once";
    std::thread pusher([&] { live.input->pushAll(countUp(100, 74)); });
    live.session.setPaused(false);
    pusher.join();
    live.input->finish();
    EXPECT_EQ(live.session.wait().status, Report::Status::ok);
    EXPECT_EQ(live.session.collected<std::int32_t>(live.copy), countUp(174));
}

TEST(Pauses, AStopEndsAPausedRunWithWholeOutputs) {
    for (const bool isDestroyed : {false, true}) {
        Live live;
        live.session.start();
        live.input->pushAll(countUp(10));
        EXPECT_EQ(live.pausedAt(10).phase, Phase::paused);
        if (isDestroyed) continue;
        live.session.requestStop();
        EXPECT_EQ(live.session.wait().status, Report::Status::interrupted);
        EXPECT_EQ(live.session.snapshot(enough).phase, Phase::ended);
        EXPECT_EQ(live.session.collected<std::int32_t>(live.copy), countUp(10));
    }
}

// A generator's round, an input from memory, and one that keeps to the wall clock take different ways through the dispatcher.
TEST(Pauses, ResultsAreThoseOfARunThatIsNotPaused) {
    const auto run = [](bool isPaused, double pace, bool isFed) {
        TestSession session({.rate = 1000, .pace = pace});
        const PipeId source = isFed ? session.input("source", countUp(200'000)) : session.pipe("source");
        const PipeId copy = session.output("copy", isFed ? std::nullopt : std::optional<std::uint64_t>(200'000));
        if (!isFed) session.script("open_write:2 *( pipe_put:2,1 )", source);
        session.task("ABS", source, copy);
        session.start();
        for (int i = 0; isPaused && i < 50; ++i) {
            session.setPaused(true);
            const Snapshot held = session.snapshot(enough), later = session.snapshot(enough);
            EXPECT_NE(held.phase, Phase::running);
            if (later.phase == Phase::paused) {
                EXPECT_EQ(held.round, later.round);
            }
            session.setPaused(false);
        }
        EXPECT_EQ(session.wait().status, Report::Status::ok);
        return std::pair(session.collected<std::int32_t>(copy), session.snapshot(enough).round);
    };
    for (const double pace : {0.0, 1e3})
        for (const bool isFed : {true, false}) EXPECT_EQ(run(true, pace, isFed), run(false, pace, isFed));
}

TEST(Pauses, APaceContinuesFromWhereItWas) {
    constexpr double rate = 1000, held = 0.3;
    TestSession session({.rate = rate, .pace = 1});
    session.task("ABS", session.input("source", countUp(100'000)), session.output("copy"));
    session.setPaused(true);
    session.start();
    Snapshot state = session.snapshot(enough);
    while (state.phase != Phase::paused) state = session.snapshot(enough);
    const double began = state.seconds;
    session.setPaused(false);
    while (state.frames < 50) state = session.snapshot(enough);
    session.setPaused(true);
    const Snapshot paused = session.snapshot(enough);
    while (session.snapshot(enough).seconds < paused.seconds + held) continue;
    session.setPaused(false);
    while (state.frames < paused.frames + 50) state = session.snapshot(enough);
    EXPECT_LE(static_cast<double>(state.frames) / rate, state.seconds - began - held + 0.05);
    session.requestStop();
    session.wait();
}

}  // namespace
}  // namespace libzepl
