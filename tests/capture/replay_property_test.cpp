// Random procedures whose inputs threads push at random moments, while other threads set values, are captured and replayed.

#include <cstdlib>
#include <thread>

#include "runtime/capture.h"
#include "runtime/live.h"
#include "tests/runtime/files_support.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

using Random = std::mt19937_64;

// A session that a seed draws, as often as it is asked for: of commands whose results depend on what came when.
class DrawnSession {
 public:
    explicit DrawnSession(std::uint64_t seed) : random_(seed), session(optionsOf(random_)) {
        for (std::int64_t i = 0; i < 2; ++i) variables.push_back(addVariable(i));
        for (std::uint64_t n = 1 + random_() % 3; n > 0; --n) inputs.push_back(newPipe());
        if (random_() % 3 == 0) addTriggerInput();
        for (std::uint64_t n = 2 + random_() % 6; n > 0; --n) addTask();
        for (std::size_t i = inputs.size(); i < pipes_.size(); ++i)
            if (random_() % 3 != 0) addOutput(pipes_[i]);
        if (outputs.empty()) addOutput(pipes_.back());
        if (random_() % 3 == 0)
            session.setCollectedOutput({.name = "table", .isTable = true, .members = {{pick(), 1}, {pick(), 1}}},
                                       nullptr);
    }

 private:
    Random random_;
    std::vector<PipeId> pipes_;

 public:
    TestSession session;
    std::vector<PipeId> inputs, outputs;
    std::vector<VariableId> variables;
    std::vector<std::pair<TriggerId, std::vector<TriggerRow>>> rows;

 private:
    static SessionOptions optionsOf(Random& random) {
        SessionOptions options;
        options.feed.kind = static_cast<FeedPolicy::Kind>(random() % 4);
        options.feed.seed = random();
        options.block = 1 + static_cast<std::uint32_t>(random() % 64);
        return options;
    }
    PipeId newPipe() {
        pipes_.push_back(session.pipe("p" + std::to_string(pipes_.size()), 1 + random_() % 300));
        return pipes_.back();
    }
    PipeId pick() { return pipes_[random_() % pipes_.size()]; }
    VariableId addVariable(std::int64_t i) {
        return session.addVariable("v" + std::to_string(i), ElementType::int32, &i);
    }
    void addTriggerInput() {
        const TriggerId trigger = session.addTrigger("beat");
        std::vector<TriggerRow> positions;
        for (std::uint32_t at = 0; at < 200; at += 1 + static_cast<std::uint32_t>(random_() % 20))
            positions.push_back({.asserts = random_() % 3 != 0, .position = at});
        rows.emplace_back(trigger, std::move(positions));
        session.script("open_read:2 open_write:3 *( trigger_get:2 pipe_put:3,$ )", trigger, newPipe());
    }
    void addTask() {
        const PipeId from = pick(), also = pick();
        const VariableId variable = variables[random_() % 2];
        switch (random_() % 8) {
            case 0:
                return session.task("OFFSET", from, variable, newPipe());
            case 1:
                return from == also ? session.task("ABS", from, newPipe())
                                    : session.task("MERGEF", from, also, newPipe());
            case 2:
                return session.script("open_read:2 open_write:3 *( pipe_num:2 pipe_put:3,$ pipe_get:2 )", from,
                                      newPipe());
            case 3:
                return session.script("open_read:2 open_write:3 *( pipe_get:2 value:4 pipe_put:3,$ )", from, newPipe(),
                                      variable);
            case 4:
                return session.script("open_read:2 open_write:3 *( move:2,3 task_pause:3 )", from, newPipe());
            case 5:
                return session.script(
                    "open_read:2 open_write:3 *( pipe_get:2 sys_get_time pipe_put:3,$ task_pause:40 )", from,
                    newPipe());
            case 6:
                return session.script("open_read:2 open_read:3 open_write:4 *( pipe_num:3 pipe_put:4,$ move:2,4 )",
                                      from, also, newPipe());
            default:
                return session.task("SKIP", from, int32Constant(1), int32Constant(2), int32Constant(1), newPipe());
        }
    }
    void addOutput(PipeId pipe) {
        std::optional<std::uint64_t> limit;
        if (random_() % 4 == 0) limit = random_() % 500;
        session.collect(pipe, limit);
        outputs.push_back(pipe);
    }
};

void wait(Random& random) {
    for (std::uint64_t turns = random() % 6; turns > 0; --turns) std::this_thread::yield();
}

void push(LiveInput& input, std::uint64_t seed) {
    Random random(seed);
    const std::vector<std::int32_t> samples = randomBits<std::int32_t>(random() % 2000, seed);
    for (std::size_t at = 0; at < samples.size() && !input.ended();) {
        const std::size_t n = std::min<std::size_t>(1 + random() % 100, samples.size() - at);
        at += input.pushAll(samples.data() + at, n);
        wait(random);
    }
    input.finish();
}

// Feeds the session from threads, changes its values, and, now and then, stops it.
void runLive(DrawnSession& drawn, std::uint64_t seed) {
    Random random(seed * 7919 + 1);
    std::vector<std::thread> threads;
    std::vector<LiveInput*> live;
    for (const PipeId input : drawn.inputs) {
        if (random() % 4 == 0)
            drawn.session.feed<std::int32_t>(input, randomBits<std::int32_t>(random() % 2000, seed));
        else
            live.push_back(&drawn.session.feedLive(input, 1 + random() % 500));
    }
    for (const auto& [trigger, rows] : drawn.rows) drawn.session.setInput(trigger, rows);
    if (random() % 2 == 0) drawn.session.setValue(drawn.variables[0], 77);
    const bool isStopped = random() % 8 == 0;
    drawn.session.start();
    for (std::size_t i = 0; i < live.size(); ++i)
        threads.emplace_back([input = live[i], pushed = seed * 31 + i] { push(*input, pushed); });
    threads.emplace_back([&drawn, isStopped, random]() mutable {
        for (std::uint64_t n = random() % 30; n > 0; --n) {
            drawn.session.setValue(drawn.variables[random() % 2], static_cast<std::int32_t>(random()));
            wait(random);
        }
        if (isStopped) drawn.session.requestStop();
    });
    drawn.session.wait();
    for (std::thread& thread : threads) thread.join();
}

std::uint64_t numberOf(const char* variable, std::uint64_t otherwise) {
    const char* text = std::getenv(variable);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

class ReplayProperty : public FilesTest {};

// tests/capture/replay_property sets both.
TEST_F(ReplayProperty, ACapturedRunGivesTheSameBytesAgain) {
    const std::uint64_t runs = numberOf("ZEPL_REPLAYS", 40), first = numberOf("ZEPL_REPLAY_SEED", 1);
    std::uint64_t elements = 0, rounds = 0;
    for (std::uint64_t seed = first; seed < first + runs && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const std::filesystem::path folder = at("run" + std::to_string(seed));
        DrawnSession drawn(seed);
        Capture capture(folder);
        capture.attach(drawn.session);
        runLive(drawn, seed);
        ASSERT_FALSE(capture.failure());
        DrawnSession again(seed);
        Replay replay(folder);
        replay.attach(again.session, {});
        again.session.run();
        EXPECT_TRUE(replay.result().isSame);
        EXPECT_EQ(replay.result().lastRound, replay.lastRound());
        for (std::size_t i = 0; i < drawn.outputs.size(); ++i) {
            const auto was = drawn.session.collected<std::int32_t>(drawn.outputs[i]);
            EXPECT_EQ(again.session.collected<std::int32_t>(again.outputs[i]), was) << "output " << i;
            elements += was.size();
        }
        rounds += replay.lastRound();
        std::filesystem::remove_all(folder);
    }
    EXPECT_GT(elements, runs);
    RecordProperty("elements", std::to_string(elements));
    if (std::getenv("ZEPL_REPLAYS") != nullptr)
        std::printf("%llu runs, %llu rounds, %llu elements of outputs\n", static_cast<unsigned long long>(runs),
                    static_cast<unsigned long long>(rounds), static_cast<unsigned long long>(elements));
}

}  // namespace
}  // namespace libzepl
