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

// With blocks of `bsize`; negative: with headers on `tags`. The last of the positions is a status.
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

struct Record {
    std::uint32_t start;
    std::uint32_t continues;
    Samples samples;
    bool operator==(const Record&) const = default;
};

// The records behind stamped headers.
std::vector<Record> recordsIn(const Passed& all) {
    const bool tagged = !all.tags.empty();
    Samples headers = all.samples;
    if (tagged) {
        headers.resize(2 * all.tags.size());
        std::memcpy(headers.data(), all.tags.data(), 2 * headers.size());
    }
    std::vector<Record> records;
    const auto half = [&](std::size_t at) { return static_cast<std::uint16_t>(headers.at(at)); };
    for (std::size_t header = 0, sample = 0; header < headers.size(); header = tagged ? header + 4 : sample) {
        const std::uint32_t length = half(header), start = half(header + 2) | std::uint32_t{half(header + 3)} << 16;
        if (!tagged) sample += 4;
        const auto first = all.samples.begin() + static_cast<std::ptrdiff_t>(sample);
        EXPECT_LE(sample += length, all.samples.size());
        records.push_back({start, half(header + 1), {first, first + static_cast<std::ptrdiff_t>(length)}});
    }
    return records;
}

Samples between(const Samples& source, std::size_t on, std::size_t off) {
    return {source.begin() + static_cast<std::ptrdiff_t>(on), source.begin() + static_cast<std::ptrdiff_t>(off)};
}

// For blocks of 16: windows below, at and above a block and its multiples, of one sample, and of none; then the status.
const Positions windows{3,   7,   8,   9,   60,  75,  76,  92,  93,  110, 200, 463,
                        500, 540, 541, 557, 558, 559, 600, 600, 700, 732, 999};

// What lies in each window, up to `most` samples.
std::vector<Record> plainRecords(const Samples& source, std::uint32_t most) {
    std::vector<Record> records;
    for (std::size_t i = 0; i + 1 < windows.size(); i += 2)
        records.push_back({windows[i], 0, between(source, windows[i], std::min(windows[i + 1], windows[i] + most))});
    return records;
}

TEST(Toggwt, TheStreamLacksASampleOfAWindowOrHasOneOfNone) {
    const Samples source = randomBits<std::int16_t>(1000, 1);
    Samples expected;
    for (const Record& record : plainRecords(source, 1000))
        expected.insert(expected.end(), record.samples.begin(), record.samples.end());
    const auto all =
        sameForEveryArrival(16, [&](FeedPolicy feed) { return passed("FORMAT=STREAM", 16, source, windows, feed); });
    EXPECT_EQ(all.samples, expected);
}

// How a window is cut hangs on what its trigger tells when; put together again, its records make it up.
TEST(Toggwt, TheRecordsOfASpannedWindowDontMakeItUp) {
    const Samples source = randomBits<std::int16_t>(1000, 2);
    std::vector<Record> expected = plainRecords(source, 1000);
    std::erase_if(expected, [](const Record& record) { return record.samples.empty(); });
    for (const std::int16_t bsize : {std::int16_t{16}, std::int16_t{-16}})
        for (std::uint64_t seed = 0; seed <= 10; ++seed) {
            const FeedPolicy feed = seed == 0 ? whole : FeedPolicy{.kind = FeedPolicy::Kind::random, .seed = seed};
            std::vector<Record> joined;
            bool goesOn = false;
            for (const Record& record :
                 recordsIn(passed("FORMAT=BLOCKS STAMPED SPANNED", bsize, source, windows, feed))) {
                ASSERT_TRUE(!record.samples.empty() && record.samples.size() <= 16);
                if (goesOn && record.start == joined.back().start + joined.back().samples.size()) {
                    Samples& window = joined.back().samples;
                    window.insert(window.end(), record.samples.begin(), record.samples.end());
                } else {
                    joined.push_back({record.start, 0, record.samples});
                }
                goesOn = record.continues == 1;
            }
            ASSERT_EQ(joined, expected) << seed;
        }
}

TEST(Toggwt, ASingleRecordIsNotTheStartOfItsWindow) {
    const Samples source = randomBits<std::int16_t>(1000, 3);
    for (const std::int16_t bsize : {std::int16_t{16}, std::int16_t{-16}}) {
        const auto all = sameForEveryArrival(
            64, [&](FeedPolicy feed) { return passed("FORMAT=BLOCKS SINGLE STAMPED", bsize, source, windows, feed); });
        EXPECT_EQ(recordsIn(all), plainRecords(source, 16));
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
    EXPECT_EQ(passed("FORMAT=BLOCKS SINGLE", 4, source, {1, 4}).samples, Samples{});
    EXPECT_EQ(passed("FORMAT=BLOCKS SINGLE", 4, source, {1, 5}).samples, (Samples{4, 0, 11, 12, 13, 14}));
}

TEST(Toggwt, ThePositionsDontWrap) {
    const Samples source = randomBits<std::int16_t>(100, 4);
    const Positions positions{0xFFFFFFF5, 3, 20, 30, 99};
    Samples stream = between(source, 0, 14);
    stream.insert(stream.end(), source.begin() + 20, source.begin() + 30);
    EXPECT_EQ(passed("FORMAT=STREAM", 12, source, positions).samples, stream);
    const Record first{0xFFFFFFF5, 0, between(source, 0, 12)}, last{20, 0, between(source, 20, 30)};
    EXPECT_EQ(recordsIn(passed("FORMAT=BLOCKS STAMPED SINGLE", 12, source, positions)),
              (std::vector<Record>{first, last}));
    EXPECT_EQ(recordsIn(passed("FORMAT=BLOCKS STAMPED", 12, source, positions)),
              (std::vector<Record>{{first.start, 1, first.samples}, {1, 0, between(source, 12, 14)}, last}));
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

// A recording that both read, through a pipe too small for a record and in either order of the tasks.
TEST(ToggwtWithToggle, TheGatePassesOtherThanWhatToggleMarks) {
    Samples source = randomBits<std::int16_t>(20000, 6), expected;
    bool on = false;
    for (std::size_t i = 1; i < source.size(); ++i) {
        source[i] = static_cast<std::int16_t>((source[i - 1] * 15 + source[i]) / 16);
        on = on ? source[i] < -500 || source[i] > 500 : source[i] > 4000;
        if (on) expected.push_back(source[i]);
    }
    source[0] = 0;
    for (const bool toggleFirst : {false, true})
        for (const char* format : {"FORMAT=STREAM", "FORMAT=BLOCKS SINGLE"}) {
            const auto all = sameForEveryArrival(100, [&](FeedPolicy feed) {
                TestSession session({.feed = feed, .block = 100});
                const PipeId from = session.input("from", source, 128),
                             to = session.output("to", {}, ElementType::int16), tags = session.output("tags");
                const TriggerId gate = session.addTrigger("gate");
                const auto toggle = [&] {
                    session.task("TOGGLE", from, hostWord(1), int16Constant(-32768), int16Constant(4000), hostWord(0),
                                 int16Constant(-500), int16Constant(500), gate);
                };
                if (toggleFirst) toggle();
                session.task("TOGGWT", from, gate, to, int16Constant(3000), textConstant(format), tags);
                if (!toggleFirst) toggle();
                EXPECT_EQ(session.run().status, Report::Status::ok);
                return session.collected<std::int16_t>(to);
            });
            // A record waits for the end of its window, which the last may lack.
            EXPECT_FALSE(on);
            EXPECT_EQ(all, expected) << format;
        }
}

}  // namespace
}  // namespace libzepl
