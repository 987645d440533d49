// How a session stands, asked while it runs, and runs that keep to the wall clock.

#include <condition_variable>
#include <cstring>
#include <limits>
#include <mutex>
#include <thread>

#include "runtime/live.h"
#include "tests/support/session_support.h"
#include "tests/support/system_calls.h"

namespace libzepl {
namespace {

using Phase = Snapshot::Phase;
using TaskState = Snapshot::Task::State;

TEST(Snapshots, ASleepingSessionAnswers) {
    const std::int32_t one = 1;
    TestSession session;
    const PipeId source = session.pipe("source", 64), copy = session.output("copy");
    const TriggerId beat = session.addTrigger("beat");
    const VariableId gain = session.addVariable("gain", ElementType::int32, &one);
    LiveInput& input = session.feedLive(source);
    session.script(
        "open_read:2 open_write:3 open_write:4 5( move:2,3 trigger_put:4,9 ) pbuf_open:2,10 pbuf_set_min_cnt:2,10 "
        "pbuf_get:2",
        source, copy, beat);
    EXPECT_EQ(session.snapshot().phase, Phase::unstarted);
    Tap tap = session.watch(copy, {.elements = 10});
    session.start();
    input.push(countUp(7));
    session.setValue(gain, 3);
    for (std::uint64_t seen = 0; seen < 5;) seen = tap.take().seen;
    Snapshot state = session.snapshot();
    while (state.tasks[0].state != TaskState::waitingForElements) state = session.snapshot();
    EXPECT_EQ(state.phase, Phase::running);
    EXPECT_TRUE(state.isCurrent);
    EXPECT_EQ(state.tasks[0].text, "waits for 10 samples of `source`, 2 are there");
    EXPECT_EQ(state.tasks[0].read, 5U);
    EXPECT_EQ(state.tasks[0].written, 10U);
    EXPECT_EQ(state.pipes[0].written, 7U);
    EXPECT_EQ(state.pipes[0].unread, 2U);
    EXPECT_EQ(state.pipes[0].capacity, 64U);
    EXPECT_EQ(state.triggers[0].asserted, 5U);
    EXPECT_EQ(std::get<std::int64_t>(state.variables[0].value), 3);
    EXPECT_EQ(state.frames, 7U);
    input.finish();
    session.wait();
    EXPECT_EQ(session.snapshot().phase, Phase::ended);
}

TEST(Snapshots, OneThatIsAskedForAtOnceHasTheRateOfTheRun) {
    for (int i = 0; i < 100; ++i) {
        TestSession session({.rate = 48000});
        session.task("ABS", session.input("source", countUp(10)), session.output("copy"));
        session.start();
        const Snapshot first = session.snapshot(std::chrono::seconds(60));
        EXPECT_EQ(first.rate, 48000);
        EXPECT_NE(first.phase, Phase::unstarted);
        session.wait();
    }
}

TEST(Snapshots, ManyThreadsLookWhileItRunsAndChangeNothing) {
    const auto run = [](bool isLookedAt) {
        TestSession session;
        const PipeId source = session.input("source", countUp(20000)), copy = session.output("copy");
        session.task("ABS", source, copy);
        session.script("open_read:2 *( pipe_get:2 task_pause:3 )", copy);
        session.start();
        std::vector<std::thread> lookers;
        for (int i = 0; isLookedAt && i < 3; ++i)
            lookers.emplace_back([&] {
                std::uint64_t written = 0;
                for (Snapshot state; state.phase != Phase::ended;) {
                    state = session.snapshot();
                    EXPECT_GE(state.pipes[1].written, written);
                    written = state.pipes[1].written;
                }
                EXPECT_EQ(written, 20000U);
            });
        const Report report = session.wait();
        for (std::thread& looker : lookers) looker.join();
        return std::pair(session.snapshot().round, report.pipes[1].unread);
    };
    EXPECT_EQ(run(true), run(false));
}

// It would wait for itself.
TEST(Snapshots, OneThatTheSessionsOwnThreadAsksForIsMadeAtOnce) {
    struct Asking final : Source {
        explicit Asking(TestSession& asked) : session(asked) {}
        std::size_t read(void*, std::size_t) override {
            seen = session.snapshot(std::chrono::hours(1));
            return 0;
        }
        std::optional<std::uint64_t> length() const override { return std::nullopt; }
        int channels() const override { return 1; }
        std::optional<double> rate() const override { return std::nullopt; }
        TestSession& session;
        Snapshot seen;
    };
    TestSession session;
    auto source = std::make_unique<Asking>(session);
    const Asking& asking = *source;
    const PipeId pipe = session.pipe("x");
    session.setInput(pipe, std::move(source));
    session.task("ABS", pipe, session.output("copy"));
    session.run();
    EXPECT_TRUE(asking.seen.isCurrent);
    EXPECT_EQ(asking.seen.phase, Phase::running);
    EXPECT_EQ(asking.seen.tasks.size(), 1U);
}

TEST(Snapshots, OneThatIsNotAnsweredInTimeIsTheLastThatWas) {
    std::mutex mutex;
    std::condition_variable changed;
    bool printed = false, released = false;
    TestSession session({.console = [&](std::string_view) {
        std::unique_lock lock(mutex);
        printed = true;
        changed.notify_all();
        changed.wait(lock, [&] { return released; });
    }});
    session.script("printf:1");
    EXPECT_TRUE(session.snapshot().isCurrent);
    session.start();
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return printed; });
    const Snapshot state = session.snapshot(std::chrono::milliseconds(0));
    EXPECT_FALSE(state.isCurrent);
    EXPECT_EQ(state.tasks.size(), 1U);
    released = true;
    changed.notify_all();
    lock.unlock();
    session.wait();
}

TEST(Pace, AHeldRunTakesValuesAndAnswersAndStops) {
    const std::int32_t one = 1;
    TestSession session({.rate = 1000, .pace = 1e-6});
    const PipeId source = session.input("source", countUp(5000)), copy = session.output("copy");
    const VariableId gain = session.addVariable("gain", ElementType::int32, &one);
    session.task("ABS", source, copy);
    session.start();
    Snapshot state = session.snapshot();
    while (state.pipes[1].written == 0) state = session.snapshot();
    EXPECT_EQ(state.pipes[1].written, 1U) << "steps are no longer than a picture";
    session.setValue(gain, 2);
    while (std::get<std::int64_t>(state.variables[0].value) != 2) state = session.snapshot();
    EXPECT_EQ(state.pipes[1].written, 1U);
    session.requestStop();
    EXPECT_EQ(session.wait().status, Report::Status::interrupted);
}

TEST(Pace, ResultsAreThoseOfARunThatIsNotHeld) {
    const auto run = [](double pace, FeedPolicy feed) {
        TestSession session({.feed = feed, .rate = 1000, .pace = pace});
        const PipeId source = session.input("source", countUp(3000)), copy = session.output("copy");
        session.task("ABS", source, copy);
        session.script("open_read:2 8( task_pause:100 ?pipe_num:2 ?sys_get_time )", source);
        Lines lines = session.run().console;
        lines.push_back(std::to_string(session.snapshot().round));
        EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(3000));
        return lines;
    };
    for (const FeedPolicy& feed : {FeedPolicy{.piece = 7}, FeedPolicy{.kind = FeedPolicy::Kind::random, .seed = 2},
                                   FeedPolicy{.kind = FeedPolicy::Kind::lockstep}, FeedPolicy{}})
        EXPECT_EQ(run(1e5, feed), run(0, feed));
}

TEST(Pace, HoldsAtTheEndWhatAGeneratorGaveAtOnce) {
    const auto before = std::chrono::steady_clock::now();
    TestSession session({.rate = 1000, .pace = 1});
    const PipeId wave = session.output("wave", 50);
    session.script("open_write:2 50( pipe_put:2,1 )", wave);
    EXPECT_EQ(session.run().reason, "");
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
}

// Gives each of its frames in so many seconds of the clock that stands still otherwise.
class SlowSource final : public Source {
 public:
    SlowSource(StandingClock& clock, double seconds, std::uint64_t frames)
        : clock_(clock), seconds_(seconds), left_(frames) {}
    std::size_t read(void* to, std::size_t count) override {
        count = std::min(count, left_);
        std::memset(to, 0, count * sizeof(std::int32_t));
        clock_.moveOn(seconds_ * static_cast<double>(count));
        left_ -= count;
        return count;
    }
    std::optional<std::uint64_t> length() const override { return std::nullopt; }
    int channels() const override { return 1; }
    std::optional<double> rate() const override { return std::nullopt; }

 private:
    StandingClock& clock_;
    double seconds_;
    std::size_t left_;
};

TEST(Pace, ThatIsNotKeptIsNotedAtTheEnd) {
    struct Case {
        double pace, seconds;
        Lines notes;
    };
    for (const Case& each :
         {Case{1, 0.001, {}},
          {1, 0.001033, {}},  // a tenth of a second less a millisecond
          {1, 0.001034, {"the run did not keep the pace: at 1 times its rate 3 s were to take 3 s, and took 3.1 s"}},
          {10,
           0.0002,
           {"the run did not keep the pace: at 10 times its rate 3 s were to take 0.3 s, and took 0.6 s"}}}) {
        StandingClock clock;
        TestSession session({.rate = 1000, .pace = each.pace});
        const PipeId source = session.pipe("source");
        session.setInput(source, std::make_unique<SlowSource>(clock, each.seconds, 3000));
        session.task("ABS", source, session.output("copy"));
        EXPECT_EQ(session.run().notes, each.notes) << each.pace << " " << each.seconds;
    }
}

TEST(Pace, OneThatHoldsNothingIsRefused) {
    for (const double pace : {-1.0, std::numeric_limits<double>::infinity()})
        EXPECT_THROW(TestSession({.pace = pace}), Problem);
    EXPECT_THROW(TestSession({.feed = {.kind = FeedPolicy::Kind::whole}, .pace = 1}), Problem);
}

}  // namespace
}  // namespace libzepl
