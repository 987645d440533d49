// TOGGWT against the windows cut out of the whole stream, and its records taken apart.

#include "tests/events/events_support.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("TOGGWT");

using Samples = std::vector<std::int16_t>;

struct Passed {
    Samples samples;
    std::vector<std::int32_t> tags;
    bool operator==(const Passed&) const = default;
};

// With blocks of `bsize`, or, below 0, of -`bsize` and with headers on `tags`. The last of the positions is a status.
Passed passed(const std::string& format, std::int16_t bsize, const Samples& source, const Positions& positions,
              FeedPolicy feed = whole) {
    TestSession session({.feed = feed, .block = 64});
    session.input("from", source);
    const PipeId to = session.output("to", {}, ElementType::int16), tags = session.output("tags");
    const TriggerId onOff = session.addTrigger("onoff");
    Rows rows;
    for (const std::uint32_t position : positions) rows.push_back({.asserts = true, .position = position});
    rows.back().asserts = false;
    session.setInput(onOff, rows);
    addCall(session, "TOGGWT (from, onoff, to, " + std::to_string(std::abs(bsize)) + ", \"" + format + "\"" +
                         (bsize < 0 ? ", tags)" : ")"));
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

TEST(Toggwt, StreamsAndSingleRecordsAreTheirWindows) {
    const Samples source = randomBits<std::int16_t>(1000, 1);
    const auto arriving = [&](const char* format) {
        return sameForEveryArrival(16, [&](FeedPolicy feed) { return passed(format, -16, source, windows, feed); });
    };
    EXPECT_EQ(arriving("FORMAT=STREAM").samples, windowsOf(source, 1000).samples);
    EXPECT_EQ(arriving("FORMAT=BLOCKS SINGLE STAMPED"), windowsOf(source, 16));
}

// The windows 0 to 4 and 6 to 8 at blocks of 4; the last position is the status.
TEST(Toggwt, EachFormSendsItsHeaders) {
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

TEST(Toggwt, AnOpenWindowPassesWhatTheStatusCovers) {
    const Samples source{10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    EXPECT_EQ(passed("FORMAT=STREAM", 4, source, {1, 4}).samples, (Samples{11, 12, 13, 14}));
    EXPECT_EQ(passed("FORMAT=BLOCKS SPANNED", 4, source, {1, 4}).samples, (Samples{2, 1, 11, 12}));
    EXPECT_EQ(passed("FORMAT=BLOCKS SPANNED", 4, source, {1, 3}).samples, (Samples{1, 1, 11}));
    EXPECT_EQ(passed("FORMAT=BLOCKS SPANNED", 4, source, {1, 2}).samples, Samples{});
    EXPECT_EQ(passed("FORMAT=BLOCKS SINGLE", 4, source, {1, 4}).samples, Samples{});
    EXPECT_EQ(passed("FORMAT=BLOCKS SINGLE", 4, source, {1, 5}).samples, (Samples{4, 0, 11, 12, 13, 14}));
}

TEST(Toggwt, PositionsWrap) {
    const Samples source{10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    const Positions positions{0xFFFFFFFD, 2, 7, 8, 8};
    EXPECT_EQ(passed("FORMAT=STREAM", 4, source, positions).samples, (Samples{10, 11, 12, 13, 14, 17}));
    EXPECT_EQ(passed("FORMAT=BLOCKS STAMPED SINGLE", 4, source, positions).samples,
              (Samples{4, 0, -3, -1, 10, 11, 12, 13, 1, 0, 7, 0, 17}));
    EXPECT_EQ(passed("FORMAT=BLOCKS STAMPED", -4, source, positions),
              (Passed{{10, 11, 12, 13, 14, 17}, {0x10004, -3, 1, 1, 1, 7}}));
}

TEST(ToggwtErrors, ATextThatIsNotUnderstoodIsRefused) {
    const std::string late = std::string(51, ' ') + "FORMAT=STREAM";
    for (const char* text : {late.c_str(), "", " ", "FORMAT", "FORMAT=", "FORMAT STREAM", "FORMAT=STREAM ",
                             "FORMAT=STREAM x", "FORMAT=BLOCKS", "FORMAT=BLOCKS ", "FORMAT=BLOCKS STAMPED ",
                             "FORMAT=BLOCKS SINGLE ", "FORMAT=BLOCKS SINGLE SPANNED",
                             "FORMAT=BLOCKS STAMPED SINGLE STAMPED", "FORMAT=SINGLE", "FORMAT=BLOCKS STAMPED STAMPED"})
        for (const std::string before : {"", "9, "})
            expectRefused({"TOGGWT (int16, trigger, int16, " + before + "\"" + text + "\")"}, 6,
                          before.empty() ? 4 : 5);
}

}  // namespace
}  // namespace libzepl
