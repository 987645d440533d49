// TOGGWT against the windows cut out of the whole stream, and its records taken apart.

#include "tests/support/arrivals.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

const Covers covers("TOGGWT");

using Samples = std::vector<std::int16_t>;
using Positions = std::vector<std::uint32_t>;
constexpr FeedPolicy whole{.kind = FeedPolicy::Kind::whole};

struct Passed {
    Samples samples;
    std::vector<std::int32_t> tags;
    bool operator==(const Passed&) const = default;
};

// With blocks of `bsize`, or, below 0, of -`bsize` and with headers on `tags`. The last of the positions is a status.
Passed passed(const std::string& format, std::int16_t bsize, const Samples& source, const Positions& positions,
              FeedPolicy feed = whole) {
    TestSession session({.feed = feed, .block = 64});
    const PipeId from = session.input("from", source), to = session.output("to", {}, ElementType::int16),
                 tags = session.output("tags");
    const TriggerId onOff = session.addTrigger("onoff");
    std::vector<TriggerRow> rows;
    for (const std::uint32_t position : positions) rows.push_back({.asserts = true, .position = position});
    rows.back().asserts = false;
    session.setInput(onOff, rows);
    if (bsize < 0)
        session.task("TOGGWT", from, onOff, to, int16Constant(static_cast<std::int16_t>(-bsize)), textConstant(format),
                     tags);
    else
        session.task("TOGGWT", from, onOff, to, int16Constant(bsize), textConstant(format));
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return {session.collected<std::int16_t>(to), session.collected<std::int32_t>(tags)};
}

// For blocks of 16: windows below, at and above a block and its multiples, of one sample, and of none; then the status.
const Positions windows{3,   7,   8,   9,   60,  75,  76,  92,  93,  110, 200, 463,
                        500, 540, 541, 557, 558, 559, 600, 600, 700, 732, 999};

// Up to `most` samples of each window, with its length and start as tags.
Passed windowsOf(const Samples& source, std::uint32_t most) {
    Passed all;
    for (std::size_t i = 0; i + 1 < windows.size(); i += 2) {
        const std::uint32_t on = windows[i], length = std::min(windows[i + 1] - on, most);
        for (std::uint32_t at = on; at < on + length; ++at) all.samples.push_back(source[at]);
        all.tags.push_back(static_cast<std::int32_t>(length));
        all.tags.push_back(static_cast<std::int32_t>(on));
    }
    return all;
}

TEST(Toggwt, TheStreamOrASingleRecordDiffersFromItsWindow) {
    const Samples source = randomBits<std::int16_t>(1000, 1);
    const auto arriving = [&](const char* format) {
        return sameForEveryArrival(16, [&](FeedPolicy feed) { return passed(format, -16, source, windows, feed); });
    };
    EXPECT_EQ(arriving("FORMAT=STREAM").samples, windowsOf(source, 1000).samples);
    EXPECT_EQ(arriving("FORMAT=BLOCKS SINGLE STAMPED"), windowsOf(source, 16));
}

// How a window is cut hangs on when its trigger tells what; its records make it up all the same.
TEST(Toggwt, TheRecordsOfASpannedWindowDontMakeItUp) {
    const Samples source = randomBits<std::int16_t>(1000, 2);
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const auto [samples, tags] = passed("FORMAT=BLOCKS STAMPED SPANNED", -16, source, windows,
                                            {.kind = FeedPolicy::Kind::random, .seed = seed});
        EXPECT_EQ(samples, windowsOf(source, 1000).samples);
        auto next = samples.begin();
        for (std::size_t i = 0; i + 1 < tags.size(); i += 2) {
            const std::int32_t length = tags[i] & 0xFFFF, continues = tags[i] >> 16, start = tags[i + 1];
            ASSERT_TRUE(length >= 1 && length <= 16 && samples.end() - next >= length);
            ASSERT_TRUE(std::equal(next, next + length, source.begin() + start)) << start;
            next += length;
            const auto end = std::find(windows.begin(), windows.end(), static_cast<std::uint32_t>(start + length));
            ASSERT_TRUE(continues == 1 || (continues == 0 && end != windows.end())) << start;
        }
        EXPECT_EQ(next, samples.end());
    }
}

// The windows 0 to 4 and 6 to 8 at blocks of 4; the last position is the status.
TEST(Toggwt, AFormIsTakenForAnotherOrSendsOtherHeaders) {
    const Samples source{10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    const Samples stream{10, 11, 12, 13, 14, 16, 17, 18}, single{4, 0, 10, 11, 12, 13, 3, 0, 16, 17, 18},
        spanned{4, 1, 10, 11, 12, 13, 1, 0, 14, 3, 0, 16, 17, 18},
        stampedSingle{4, 0, 0, 0, 10, 11, 12, 13, 3, 0, 6, 0, 16, 17, 18},
        stampedSpanned{4, 1, 0, 0, 10, 11, 12, 13, 1, 0, 4, 0, 14, 3, 0, 6, 0, 16, 17, 18};
    const std::pair<std::string, Samples> cases[] = {
        {"FORMAT=STREAM", stream},
        {"  format =  Stream", stream},
        {"FORMAT=BLOCKSSPANNED", spanned},
        {"Format = blocks single", single},
        {"FORMAT=BLOCKS STAMPED", stampedSpanned},
        {"FORMAT=BLOCKS STAMPED SPANNED", stampedSpanned},
        {"FORMAT=BLOCKS SPANNED STAMPED", stampedSpanned},
        {"FORMAT=BLOCKSSTAMPEDSINGLE", stampedSingle},
        {"FORMAT=BLOCKS  SINGLE  STAMPED", stampedSingle},
        // 63 characters count, those in front of the words too.
        {std::string(50, ' ') + "FORMAT=STREAM x", stream},
        {std::string(43, ' ') + "FORMAT=BLOCKS SINGLE STAMPED", single},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(passed(text, 4, source, {0, 5, 6, 9, 9}).samples, expected) << text;
    EXPECT_EQ(passed("FORMAT=BLOCKS SPANNED", -4, source, {0, 5, 6, 9, 9}).tags,
              (std::vector<std::int32_t>{0x10004, 1, 3}));
}

TEST(Toggwt, AnOpenWindowPassesMoreOrLessThanTheStatusCovers) {
    const Samples source{10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    EXPECT_EQ(passed("FORMAT=STREAM", 4, source, {1, 4}).samples, (Samples{11, 12, 13, 14}));
    EXPECT_EQ(passed("FORMAT=BLOCKS SPANNED", 4, source, {1, 4}).samples, (Samples{2, 1, 11, 12}));
    EXPECT_EQ(passed("FORMAT=BLOCKS SPANNED", 4, source, {1, 3}).samples, (Samples{1, 1, 11}));
    EXPECT_EQ(passed("FORMAT=BLOCKS SPANNED", 4, source, {1, 2}).samples, Samples{});
    EXPECT_EQ(passed("FORMAT=BLOCKS SINGLE", 4, source, {1, 4}).samples, Samples{});
    EXPECT_EQ(passed("FORMAT=BLOCKS SINGLE", 4, source, {1, 5}).samples, (Samples{4, 0, 11, 12, 13, 14}));
}

TEST(Toggwt, ThePositionsDontWrap) {
    const Samples source{10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    const Positions positions{0xFFFFFFFD, 2, 7, 8, 8};
    EXPECT_EQ(passed("FORMAT=STREAM", 4, source, positions).samples, (Samples{10, 11, 12, 13, 14, 17}));
    EXPECT_EQ(passed("FORMAT=BLOCKS STAMPED SINGLE", 4, source, positions).samples,
              (Samples{4, 0, -3, -1, 10, 11, 12, 13, 1, 0, 7, 0, 17}));
    EXPECT_EQ(passed("FORMAT=BLOCKS STAMPED", -4, source, positions),
              (Passed{{10, 11, 12, 13, 14, 17}, {0x10004, -3, 1, 1, 1, 7}}));
}

// What becomes of TOGGWT with these behind `dest`: "tags" for an int32 pipe, a number, else a string.
std::string outcome(const std::vector<std::string>& further) {
    TestSession session;
    const auto made = [&](const std::string& word) {
        if (word.starts_with("tags")) return session.use(session.pipe(word));
        const bool number = !word.empty() && (word[0] == '-' || std::isdigit(word[0]) != 0);
        return number ? int16Constant(static_cast<std::int16_t>(std::stoi(word))) : textConstant(word);
    };
    TaskSettings task{.command = "TOGGWT",
                      .arguments = {session.use(session.pipe("from", {}, ElementType::int16)),
                                    session.use(session.addTrigger("onoff")),
                                    session.use(session.pipe("to", {}, ElementType::int16))}};
    for (const std::string& word : further) task.arguments.push_back(made(word));
    session.addTask(std::move(task));
    return statesOf(session.run()).at(0);
}

TEST(ToggwtErrors, ATextThatIsNotUnderstoodPasses) {
    for (const std::string text :
         {"", " ", "FORMAT", "FORMAT=", "FORMAT STREAM", "FORMAT=STREAM ", "FORMAT=STREAM x", "FORMAT=BLOCKS",
          "FORMAT=BLOCKS ", "FORMAT=BLOCKS STAMPED ", "FORMAT=BLOCKS SINGLE ", "FORMAT=BLOCKS SINGLE SPANNED",
          "FORMAT=BLOCKS STAMPED SINGLE STAMPED", "FORMAT=SINGLE", "FORMAT=BLOCKS STAMPED STAMPED"}) {
        EXPECT_EQ(outcome({text}), "error code 6 at 4") << text;
        EXPECT_EQ(outcome({"9", text}), "error code 6 at 5") << text;
    }
    EXPECT_EQ(outcome({std::string(51, ' ') + "FORMAT=STREAM"}), "error code 6 at 4");
}

TEST(ToggwtErrors, AnotherCodeOrPositionIsTold) {
    const std::string text = "FORMAT=STREAM";
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, "waiting"},
        {{"16384", text, "tags"}, "waiting"},
        {{text, "tags", "tags2"}, "waiting"},  // one more than is used
        {{"0"}, "error code 5 at 4"},
        {{"16385", "tags"}, "error code 5 at 4"},
        {{"1", "tags"}, "error code 8 at 5"},
        {{"none", text}, "error code 10 at 5"},
        {{"tags"}, "refused at 4"},
        {{"9", text, text}, "refused at 6"},
    };
    for (const auto& [further, state] : cases) EXPECT_EQ(outcome(further), state) << testing::PrintToString(further);
}

// A recording that both read, through a pipe too small for a record.
TEST(ToggwtWithToggle, TheGatePassesOtherThanWhatToggleMarks) {
    Samples source = randomBits<std::int16_t>(20000, 6), expected;
    source[0] = 0;
    bool on = false;
    for (std::size_t i = 1; i < source.size(); ++i) {
        source[i] = static_cast<std::int16_t>((source[i - 1] * 15 + source[i]) / 16);
        on = on ? source[i] < -500 || source[i] > 500 : source[i] > 4000;
        if (on) expected.push_back(source[i]);
    }
    ASSERT_FALSE(on);  // a record waits for the end of its window
    for (const char* format : {"FORMAT=STREAM", "FORMAT=BLOCKS SINGLE"}) {
        const auto all = sameForEveryArrival(100, [&](FeedPolicy feed) {
            TestSession session({.feed = feed, .block = 100});
            const PipeId from = session.input("from", source, 128), to = session.output("to", {}, ElementType::int16),
                         tags = session.output("tags");
            const TriggerId gate = session.addTrigger("gate");
            session.task("TOGGWT", from, gate, to, int16Constant(3000), textConstant(format), tags);
            session.task("TOGGLE", from, hostWord(1), int16Constant(-32768), int16Constant(4000), hostWord(0),
                         int16Constant(-500), int16Constant(500), gate);
            EXPECT_EQ(session.run().status, Report::Status::ok);
            return session.collected<std::int16_t>(to);
        });
        EXPECT_EQ(all, expected) << format;
    }
}

}  // namespace
}  // namespace libzepl
