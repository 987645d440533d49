// Sessions that other threads feed, change and stop while they run.

#include <condition_variable>
#include <mutex>
#include <thread>

#include "runtime/live.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

// Pushes in pieces of random sizes, whatever fits of each.
template <class Element>
void pushInPieces(LiveInput& input, const std::vector<Element>& samples, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    for (std::size_t at = 0; at < samples.size();) {
        const std::size_t piece = std::min<std::size_t>(random() % 3000, samples.size() - at);
        at += random() % 4 == 0 ? input.push(samples.data() + at, piece) : input.pushAll(samples.data() + at, piece);
    }
    input.finish();
}

// A sink that another thread can wait at until it has so many elements.
class AwaitedSink : public Sink {
 public:
    struct Log {
        void await(std::size_t count) {
            std::unique_lock lock(mutex);
            grown.wait(lock, [&] { return elements.size() >= count; });
        }
        std::mutex mutex;
        std::condition_variable grown;
        std::vector<std::int32_t> elements;
    };
    explicit AwaitedSink(Log& log) : log_(log) {}
    void write(const void* from, std::size_t count) override {
        const std::lock_guard lock(log_.mutex);
        const auto* first = static_cast<const std::int32_t*>(from);
        log_.elements.insert(log_.elements.end(), first, first + count);
        log_.grown.notify_all();
    }
    void finish() override {}

 private:
    Log& log_;
};

// source -> ABS -> sink, fed live and started.
struct LiveAbs {
    explicit LiveAbs(SessionOptions options = {}, std::size_t capacity = 4096) : session(std::move(options)) {
        source = session.pipe("source");
        result = session.pipe("result");
        session.task("ABS", source, result);
        input = &session.feedLive(source, capacity);
        session.setOutput(result, std::make_unique<AwaitedSink>(log));
    }

    AwaitedSink::Log log;
    TestSession session;
    PipeId source, result;
    LiveInput* input;
};

std::string problemOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Problem& problem) {
        return problem.what();
    }
    return "nothing refused";
}

template <class Element>
class LiveElements : public testing::Test {};
TYPED_TEST_SUITE(LiveElements, Elements);

TYPED_TEST(LiveElements, WhatAThreadPushesGivesTheBytesThatMemoryGives) {
    for (const std::size_t capacity : {1UL, 7UL, 4096UL}) {
        const std::vector<TypeParam> samples = randomSamples<TypeParam>(100 * capacity, capacity);
        const auto resultOf = [&](bool isLive) {
            TestSession session({.feed = {.kind = FeedPolicy::Kind::random, .seed = capacity}});
            const PipeId source = session.pipe("source", {}, elementTypeOf<TypeParam>());
            const PipeId result = session.output("result", {}, elementTypeOf<TypeParam>());
            session.task("ABS", source, result);
            std::thread pusher;
            if (isLive)
                pusher = std::thread(
                    [&, input = &session.feedLive(source, capacity)] { pushInPieces(*input, samples, capacity); });
            else
                session.feed<TypeParam>(source, samples);
            EXPECT_EQ(session.run().status, Report::Status::ok);
            if (isLive) pusher.join();
            return session.template collected<TypeParam>(result);
        };
        EXPECT_EQ(bitsOf(resultOf(true)), bitsOf(resultOf(false)));
    }
}

TEST(LiveSession, ASleepingSessionTakesEachPieceAndSleepsAgain) {
    LiveAbs live;
    live.session.start();
    for (std::int32_t n = 1; n <= 100; ++n) {
        live.input->push(std::vector<std::int32_t>{-n});
        live.log.await(static_cast<std::size_t>(n));
    }
    live.input->finish();
    EXPECT_EQ(live.session.wait().status, Report::Status::ok);
    EXPECT_EQ(live.log.elements, countUp(100, 1));
}

TEST(LiveSession, AStopWakesWhoSleepsAndWhoWaitsForRoom) {
    for (const bool isShared : {false, true}) {
        auto stop = std::make_shared<StopRequest>();
        LiveAbs live({.stop = stop}, 4);
        live.session.start();
        live.input->push(std::vector<std::int32_t>{7});
        live.log.await(1);
        isShared ? stop->request() : live.session.requestStop();
        EXPECT_EQ(live.session.wait().status, Report::Status::interrupted);
        EXPECT_EQ(stop->requested(), isShared) << "a session stops itself alone";
        EXPECT_EQ(live.input->push(std::vector<std::int32_t>{8}), 0U);
    }
    // Nobody reads what is pushed.
    TestSession session;
    const PipeId source = session.pipe("source", 8);
    LiveInput& input = session.feedLive(source, 4);
    session.script("open_read:2 *( task_switch )", source);
    std::size_t pushed = 0;
    std::thread pusher([&] { pushed = input.pushAll(countUp(1000)); });
    session.start();
    session.requestStop();
    session.wait();
    pusher.join();
    EXPECT_LT(pushed, 1000U);
    EXPECT_TRUE(input.ended());
}

TEST(LiveSession, ADestroyedSessionStopsItsRun) {
    AwaitedSink::Log log;
    std::optional<Tap> tap;
    {
        TestSession session;
        const PipeId source = session.pipe("source"), result = session.pipe("result");
        session.task("ABS", source, result);
        LiveInput& input = session.feedLive(source);
        session.setOutput(result, std::make_unique<AwaitedSink>(log));
        tap.emplace(session.watch(result, {.elements = 4}));
        session.start();
        input.push(std::vector<std::int32_t>{-5});
        log.await(1);
    }
    const Watched seen = tap->take();
    EXPECT_EQ(seen.as<std::int32_t>(), std::vector<std::int32_t>{5});
    EXPECT_TRUE(seen.ended);
}

TEST(LiveSession, WaitGivesWhatRunWould) {
    TestSession session({.console = [](std::string_view) { throw std::runtime_error("the console is full"); }});
    session.script("printf:3");
    session.start();
    EXPECT_THROW(session.wait(), std::runtime_error);
    EXPECT_EQ(problemOf([&] { session.wait(); }),
              "the session is waited for, and was not started, or was waited for before");
    EXPECT_EQ(problemOf([&] { session.start(); }), "the session has run: it takes nothing more and runs once");
}

TEST(LiveSession, AMisuseOfALiveInputIsRefused) {
    TestSession session;
    const PipeId source = session.pipe("source");
    LiveInput& input = session.feedLive(source);
    EXPECT_EQ(problemOf([&] { input.push(std::vector<double>{1}); }), "`source` is a pipe of int32, and not of double");
    input.finish();
    EXPECT_EQ(problemOf([&] { input.push(std::vector<std::int32_t>{1}); }), "more is pushed to `source` after its end");
    EXPECT_EQ(problemOf([&] { session.feedLive(source); }), "`source` has an input already");
    EXPECT_EQ(problemOf([&] { session.feedLive(session.pipe("other"), 0); }),
              "the live input of `other` is to hold 0 elements");
    EXPECT_FALSE(session.findPipe("nobody") || session.findTrigger("source") || session.findVariable("source"));
    EXPECT_EQ(session.findPipe("source"), source);
}

// Values

TEST(LiveValues, TheyTakeEffectAtTheEndOfTheRound) {
    const std::int32_t one = 1;
    TestSession* running = nullptr;
    VariableId gain{};
    TestSession session({.console = [&](std::string_view text) {
        if (text == "1\n") running->setValue(gain, 7);
    }});
    running = &session;
    gain = session.addVariable("gain", ElementType::int32, &one);
    session.script("?value:2 ?value:2 task_switch ?value:2", gain);
    EXPECT_EQ(session.run().console, Lines({"1", "1", "7"}));
}

TEST(LiveValues, TheyComeInTheOrderOfTheCallsAndWakeTheSession) {
    const std::int32_t one = 1;
    std::mutex mutex;
    std::condition_variable changed;
    Lines values;  // each as it is first seen
    TestSession session({.console = [&](std::string_view text) {
        const std::lock_guard lock(mutex);
        if (values.empty() || values.back() != text) values.emplace_back(text);
        changed.notify_all();
    }});
    const PipeId source = session.pipe("source");
    const VariableId gain = session.addVariable("gain", ElementType::int32, &one);
    LiveInput& input = session.feedLive(source);
    session.script("open_read:2 *( ?value:3 task_switch )", source, gain);
    session.setValue(gain, 1000);
    Lines expected{"1000\n"};
    session.start();
    for (std::int32_t n = 0; n < 50; ++n) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return !values.empty() && values.back() == expected.back(); });
        lock.unlock();
        session.setValue(gain, -1);
        session.setValue(gain, n);
        expected.push_back(std::to_string(n) + "\n");
    }
    input.finish();
    session.wait();
    std::erase(values, "-1\n");
    EXPECT_EQ(values, expected);
}

TEST(LiveValues, WhatATypeDoesNotHoldIsRefused) {
    TestSession session;
    const std::int16_t zero = 0;
    const float nought = 0;
    const VariableId narrow = session.addVariable("narrow", ElementType::int16, &zero);
    const VariableId real = session.addVariable("real", ElementType::float32, &nought);
    const std::vector<std::pair<std::string, std::function<void()>>> cases{
        {"nothing refused", [&] { session.setValue(narrow, -32768); }},
        {"nothing refused", [&] { session.setValue(real, 7); }},
        {"the value of `narrow`: `32768` is out of range: int16 holds -32768 to 32767",
         [&] { session.setValue(narrow, 32768U); }},
        {"the value of `narrow`: `1.5` is not an integer, which int16 takes", [&] { session.setValue(narrow, 1.5); }},
        {"the value of `real`: `1e+39` is out of range: float holds up to 3.4028235e38 and inf",
         [&] { session.setValue(real, 1e39); }},
    };
    for (const auto& [expected, action] : cases) EXPECT_EQ(problemOf(action), expected);
    EXPECT_EQ(problemOf([&] { session.setValue(narrow, std::uint64_t{1} << 63); }).substr(0, 23),
              "the value of `narrow`: ");
    session.run();
    EXPECT_EQ(session.valueOf<std::int16_t>(narrow), -32768);
    EXPECT_EQ(session.valueOf<float>(real), 7);
    session.setValue(real, 8);
    EXPECT_EQ(session.valueOf<float>(real), 7) << "the run has ended";
}

}  // namespace
}  // namespace libzepl
