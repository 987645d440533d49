// How inputs arrive, and that results do not depend on it.

#include <numeric>

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

const std::vector<FeedPolicy> feeds{{},
                                    {.piece = 1},
                                    {.piece = 7},
                                    {.piece = 5000},
                                    {.kind = FeedPolicy::Kind::whole},
                                    {.kind = FeedPolicy::Kind::random, .seed = 0},
                                    {.kind = FeedPolicy::Kind::random, .seed = 1},
                                    {.kind = FeedPolicy::Kind::random, .seed = 0xFFFFFFFFFFFFFFFF}};

TEST(Inputs, EventsComeWithTheFramesUpToTheirPosition) {
    TestSession session({.feed = {.piece = 10}});
    const PipeId source = session.input("source", countUp(30));
    const TriggerId beat = session.addTrigger("beat");
    session.setInput(beat, {{true, 9}, {true, 10}, {false, 18}, {true, 19}, {true, 29}, {true, 30}, {false, 200}});
    session.script("open_read:2 open_read:3 4( task_switch ?pipe_num:2 ?trigger_num:3 ?trigger_get_status:3 )", source,
                   beat);
    const Report report = session.run();
    EXPECT_EQ(report.console, Lines({"10", "1", "9", "20", "3", "19", "30", "5", "200", "30", "5", "200"}));
    EXPECT_EQ(report.triggers[0].asserted, 5U);
}

TEST(Inputs, WithoutPipesEventsComeInTheOrderOfTheFileAndWaitForTheirReader) {
    TestSession session;
    const TriggerId beat = session.addTrigger("beat");
    std::vector<TriggerRow> rows;
    std::vector<std::uint32_t> positions(9000);
    std::iota(positions.begin(), positions.end(), 0xFFFFF000U);
    for (const std::uint32_t position : positions) rows.push_back({true, position});
    session.setInput(beat, rows);
    session.collect(beat);
    EXPECT_EQ(printed(session, {"open_read:2 12( task_switch ) ?trigger_num:2 *( trigger_get:2 )"}, beat),
              Lines({"4096"}));
    EXPECT_EQ(session.collectedEvents(beat), positions);
}

TEST(Inputs, SeveralChannelsMakeAFrame) {
    const std::vector<std::int32_t> samples = countUp(200);
    TestSession session({.feed = {.piece = 3}});
    const PipeId pairs = session.pipe("pairs"), copy = session.output("copy");
    session.feedMemory(pairs, samples.data(), samples.size(), 2);
    session.task("ABS", pairs, copy);
    session.script("open_read:2 task_pause:10 ?pipe_num:2 ?sys_get_time task_pause:90 ?sys_get_time", pairs);
    EXPECT_EQ(session.run().console, Lines({"21", "10000", "100000"}));
    EXPECT_EQ(session.collected<std::int32_t>(copy), samples);
}

// A source that states no length, and that can fail.
class UnknownLength : public Source {
 public:
    explicit UnknownLength(std::int32_t count, bool fails = false) : count_(count), fails_(fails) {}
    std::size_t read(void* to, std::size_t count) override {
        if (next_ == count_ && fails_) throw Problem("the recording is cut off", "record it again");
        const std::size_t n = std::min(count, static_cast<std::size_t>(count_ - next_));
        std::iota(static_cast<std::int32_t*>(to), static_cast<std::int32_t*>(to) + n, next_);
        next_ += static_cast<std::int32_t>(n);
        return n;
    }
    std::optional<std::uint64_t> length() const override { return {}; }
    int channels() const override { return 1; }
    std::optional<double> rate() const override { return 360; }

 private:
    std::int32_t next_ = 0, count_;
    bool fails_;
};

TEST(Inputs, ASourceOfUnknownLengthIsReadToItsEnd) {
    for (const FeedPolicy& feed : feeds) {
        TestSession session({.feed = feed});
        const PipeId source = session.pipe("source", 5), copy = session.pipe("copy");
        session.setInput(source, std::make_unique<UnknownLength>(5000));
        session.collect(copy, {}, 100);
        session.task("ABS", source, copy);
        EXPECT_EQ(session.run().status, Report::Status::ok);
        EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(5000));
    }
}

TEST(Inputs, ARecordingsRateIsTheClocks) {
    TestSession session({.feed = {.piece = 1}});
    const PipeId source = session.pipe("source");
    session.setInput(source, std::make_unique<UnknownLength>(5000));
    session.script("open_read:2 *( pipe_get:2 )", source);
    session.script("open_read:2 task_pause:1000 ?pipe_num:2", source);
    EXPECT_EQ(session.run().console, Lines({"360"}));
}

class FullSink : public LogSink {
 public:
    using LogSink::LogSink;
    void write(const void*, std::size_t) override { throw Problem("the disk is full", "make room"); }
};

TEST(Inputs, AFailingFileEndsTheRunWithItsReason) {
    for (const bool sourceFails : {true, false}) {
        TestSession session;
        const PipeId source = session.pipe("source"), copy = session.pipe("copy"), other = session.pipe("other");
        SinkLog log;
        session.setInput(source, std::make_unique<UnknownLength>(5000, sourceFails));
        session.setOutput(copy, std::make_unique<LogSink>(log));
        if (!sourceFails) session.setOutput(other, std::make_unique<FullSink>(log));
        session.task("ABS", source, copy);
        session.task("ABS", source, other);
        const Report report = session.run();
        EXPECT_EQ(report.status, Report::Status::failed);
        EXPECT_EQ(report.reason, sourceFails ? "the recording is cut off" : "the disk is full");
        EXPECT_EQ(report.remedy, sourceFails ? "record it again" : "make room");
        EXPECT_EQ(log.finished, 0);
    }
}

TEST(Inputs, AnInputThatNobodyReadsRunsThrough) {
    for (const FeedPolicy& feed : feeds) {
        TestSession session({.feed = feed});
        session.input("unread", countUp(20000));
        session.setInput(session.addTrigger("beat"), {{true, 5}, {true, 30000}});
        const PipeId copy = session.output("copy");
        session.task("ABS", session.input("read", countUp(10)), copy);
        const Report report = session.run();
        EXPECT_EQ(report.pipes[0].written, 20000U);
        EXPECT_EQ(report.triggers[0].asserted, 2U);
        EXPECT_EQ(session.collected<std::int32_t>(copy), countUp(10));
    }
}

}  // namespace
}  // namespace libzepl
