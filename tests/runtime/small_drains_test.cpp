// Outputs that get a few elements in each round, which they take at once and write later.

#include "tests/support/rows_sink.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

constexpr const char* oneByOne = "open_read:2 open_write:3 5000( move:2,3 task_switch )";

// Has room for so many elements.
class SmallSink : public Sink {
 public:
    SmallSink(std::vector<std::int32_t>& taken, std::size_t room) : taken_(taken), room_(room) {}
    void write(const void* from, std::size_t count) override {
        const auto* first = static_cast<const std::int32_t*>(from);
        taken_.insert(taken_.end(), first, first + std::min(count, room_ - taken_.size()));
        if (taken_.size() == room_) throw Problem("the sink is full", "use a larger one");
    }
    void finish() override {}

 private:
    std::vector<std::int32_t>& taken_;
    std::size_t room_;
};

// While the run continues, and where what fails comes with its last elements.
TEST(SmallDrains, ASinkThatFailsEndsTheRunAndKeepsWhatItTook) {
    for (const std::size_t count : {10UL, 5000UL}) {
        std::vector<std::int32_t> taken;
        TestSession session;
        const PipeId source = session.input("source", countUp(count)), copy = session.pipe("copy");
        session.script(oneByOne, source, copy);
        session.setOutput(copy, std::make_unique<SmallSink>(taken, 10));
        const Report report = session.run();
        EXPECT_EQ(report.status, Report::Status::failed) << count;
        EXPECT_EQ(report.reason, "the sink is full") << count;
        EXPECT_EQ(taken, countUp(10)) << count;
    }
}

// 5000 elements are more than are kept, and not a multiple of it; the second reader takes longer.
TEST(SmallDrains, EveryElementIsWrittenOnceAndInOrder) {
    for (const std::uint64_t limit : {std::uint64_t{0}, std::uint64_t{3000}}) {
        SinkLog log;
        std::string rows;
        TestSession session;
        const PipeId source = session.input("source", countUp(5000), 16), copy = session.pipe("copy", 4);
        const PipeId late = session.pipe("late", 8);
        session.script(oneByOne, source, copy);
        session.script("open_read:2 open_write:3 5000( move:2,3 task_switch task_switch )", copy, late);
        session.setOutput(copy, std::make_unique<LogSink>(log),
                          limit == 0 ? std::nullopt : std::optional<std::uint64_t>(limit));
        session.setOutput({.name = "t", .isTable = true, .members = {{copy}, {late}}},
                          std::make_unique<RowsSink>(rows, std::vector<std::size_t>{4, 4}));
        const Report report = session.run();
        EXPECT_EQ(log.elements, countUp(limit == 0 ? 5000 : 3000));
        EXPECT_EQ(log.finished, 1);
        ASSERT_EQ(rows.size(), 5000 * 8U);
        for (std::int32_t n = 0; n < 5000; ++n) {
            std::int32_t pair[2];
            std::memcpy(pair, rows.data() + 8 * n, sizeof pair);
            ASSERT_EQ(pair[0], n);
            ASSERT_EQ(pair[1], n);
        }
        EXPECT_EQ(std::get<std::int64_t>(report.outputs[0].last.at(0)), limit == 0 ? 4999 : 2999);
    }
}

}  // namespace
}  // namespace libzepl
