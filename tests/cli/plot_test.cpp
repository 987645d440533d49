// zepl plot: what is kept of many samples, what the axes are, what levels say, and what is refused.

#include <algorithm>
#include <cmath>
#include <sstream>

#include "cli/plot/reduction.h"
#include "tool_support.h"

namespace libzepl {
namespace {

constexpr std::size_t columns = 100, buckets = cli::Reduction::maxBuckets;

TEST(Reduction, APeakIsSeenWhereverItIsAndHoweverManySamplesThereAre) {
    for (const std::size_t count :
         {std::size_t{1}, 2 * columns, 2 * columns + 1, buckets - 1, buckets, buckets + 1, 5 * buckets + 7})
        for (const std::size_t peak : {std::size_t{0}, count / 3, count - 1}) {
            SCOPED_TRACE(std::to_string(count) + " samples, peak at " + std::to_string(peak));
            cli::Reduction reduction;
            for (std::size_t i = 0; i < count; ++i) reduction.add(static_cast<double>(i), i == peak ? 5 : -1);
            const cli::Curve curve = reduction.curve(columns);
            EXPECT_EQ(curve.isReduced, count > 2 * columns);
            EXPECT_EQ(curve.bands.size(), count > 2 * columns ? columns : count);
            std::size_t peaks = 0;
            for (std::size_t i = 0; i < curve.bands.size(); ++i) {
                const cli::Band& band = curve.bands[i];
                const double half = static_cast<double>(count) / static_cast<double>(curve.bands.size());
                if (i > 0) {
                    EXPECT_LT(curve.bands[i - 1].x, band.x);
                }
                if (band.high == 5) {
                    ++peaks;
                    EXPECT_NEAR(band.x, static_cast<double>(peak), half);
                }
                EXPECT_EQ(band.low, count == 1 || (!curve.isReduced && i == peak) ? 5 : -1);
            }
            EXPECT_EQ(peaks, 1U);
        }
}

TEST(Reduction, WhatIsNotFiniteHidesNothingBesideIt) {
    cli::Reduction reduction;
    for (const double y : std::initializer_list<double>{NAN, 1, INFINITY, -INFINITY, 3}) reduction.add(0, y);
    for (std::size_t i = 0; i < 2 * buckets; ++i) reduction.add(static_cast<double>(i), i % 2 == 0 ? NAN : -2);
    const cli::Curve curve = reduction.curve(columns);
    ASSERT_EQ(curve.bands.size(), columns);
    EXPECT_EQ(std::pair(curve.bands[0].low, curve.bands[0].high), std::pair(-2.0, 3.0));
    EXPECT_EQ(std::pair(curve.bands[50].low, curve.bands[50].high), std::pair(-2.0, -2.0));
}

class Plot : public ToolTest {
 protected:
    Plot() {
        put("table.csv", "level,seconds,other\n1,0,7\n2,0.5,8\n3,1,9\n");
        put("lines.csv", "hertz,power\n0,1\n10,2\n");
        put("numbers.csv", "1,2\n3,4\n");
        put("marks.csv", "event,position\nassert,1\nstatus,3\n");
        put("empty.csv", "x\n");
        put("raw.bin", std::string(8, 'a'));
    }
    std::string tone(double frequency) const {
        std::string text = "tone\n";
        for (int i = 0; i < 4096; ++i) text += std::to_string(10 * std::cos(2 * M_PI * frequency * i)) + "\n";
        return text;
    }
};

TEST_F(Plot, AColumnOfSecondsIsTheAxisAndThePictureIsTheSameEachTime) {
    EXPECT_EQ(call("plot table.csv --to a.svg").err, "wrote a.svg\n");
    EXPECT_EQ(call("plot table.csv --to b.svg").status, 0);
    const std::string svg = bytesOf("a.svg");
    EXPECT_EQ(svg, bytesOf("b.svg"));
    for (const char* text : {">time (s)<", ">level<", ">other<", ">value<"})
        EXPECT_NE(svg.find(text), std::string::npos) << text;
    EXPECT_EQ(svg.find(">seconds<"), std::string::npos);
    const std::string text = call("plot table.csv --channel other --unit mV").out;
    for (const char* part : {" other (mV)\n", "7 ┤", "9 ┤", "time (s)"})
        EXPECT_NE(text.find(part), std::string::npos) << text;
}

TEST_F(Plot, TheTextFitsTheWidthAndHasColoursOnATerminalAlone) {
    put("a_name_that_is_longer_than_a_narrow_screen\033.csv", "x\n1\n2\n3\n");
    for (const int width : {20, 40, 80, 200}) {
        const Called called = call("plot table.csv a_name* marks.csv --title a_title_that_is_too_long_for_it --rate 1",
                                   "/dev/null", {}, "COLUMNS=" + std::to_string(width));
        EXPECT_EQ(called.status, 0) << called.err;
        std::istringstream lines(called.out);
        for (std::string line; std::getline(lines, line);) {
            const auto isFirst = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
            EXPECT_LE(std::count_if(line.begin(), line.end(), isFirst), width) << line;
            EXPECT_FALSE(line.ends_with(' ')) << line;
        }
        EXPECT_EQ(called.out.find('\033'), std::string::npos);
    }
}

TEST_F(Plot, ASineOfAmplitudeTenIsTwentyDecibelsAndSoIsAConstant) {
    put("sine.csv", tone(0.125));
    put("constant.csv", tone(0));
    // Of blocks of 16 samples, one line alone: the picture is as high as its level.
    for (const auto& [file, range] : {std::pair("sine.csv", "1.9..2.1"), {"constant.csv", "-0.1..0.1"}}) {
        const std::string text =
            call(std::string("plot ") + file + " --spectrum --rate 16 --block 16 --range " + range).out;
        const std::size_t line = text.find(" 20 ┤");
        ASSERT_NE(line, std::string::npos) << text;
        EXPECT_NE(text.substr(line, text.find('\n', line) - line).find("\xE2\xA0"), std::string::npos) << text;
        EXPECT_NE(text.find("amplitude (dB re 1)"), std::string::npos);
        EXPECT_NE(text.find("frequency (Hz)"), std::string::npos);
    }
}

TEST_F(Plot, AStreamIsDrawnWhereverItsNameIsInTheCall) {
    const std::string drawn = call("plot table.csv --channel 1").out;
    EXPECT_NE(drawn.find("time (s)"), std::string::npos);
    for (const char* arguments : {"-.csv --channel 1", "--channel 1 -.csv"})
        EXPECT_EQ(call(std::string("plot ") + arguments, "table.csv").out, drawn);
    EXPECT_TRUE(call("plot -.csv --to -.svg", "table.csv").out.starts_with("<?xml"));
}

TEST_F(Plot, EventsAreMarkedAtTheirTimes) {
    put("x.csv", "x\n1\n2\n3\n");
    const std::string text = call("plot x.csv marks.csv --rate 2", "/dev/null", {}, "COLUMNS=51").out;
    EXPECT_NE(text.find("\n" + std::string(10 + 20, ' ') + "▾\n"), std::string::npos) << text;
    EXPECT_NE(text.find("▾ marks.csv\n"), std::string::npos) << text;
}

TEST_F(Plot, WhatCannotBeDrawnIsRefusedWithTheWayOut) {
    const std::pair<const char*, const char*> cases[] = {
        {"none.csv", "none.csv: there is no such file\n  check the name"},
        {"x.txt", "x.txt: its name does not say which format it is\n  the endings are .npy, .csv"},
        {"raw.bin", "raw.bin: raw samples do not say of which type they are\n  say it with --type int16"},
        {"raw.bin --type int8", "--type int8 is not a type of samples\n  say it with --type int16"},
        {"empty.csv", "empty.csv: there is nothing to draw: it has no finite samples\n"},
        {"table.csv --range 2..3", "table.csv: there is nothing to draw in --range 2..3\n"},
        {"table.csv --range 3..2", "--range 3..2 is no range\n  write --range FROM..TO"},
        {"table.csv --channel leval",
         "table.csv: there is no channel or column `leval`\n  give a number, 1 to 3, or one of"},
        {"table.csv lines.csv", "lines.csv: its x axis is hertz, and that of table.csv is seconds\n"},
        {"table.csv marks.csv",
         "marks.csv: its positions count frames, and the x axis is in seconds\n  give the frames"},
        {"lines.csv --spectrum", "lines.csv: its column `hertz` says that it holds spectra\n"},
        {"numbers.csv --spectrum", "numbers.csv: its 2 samples are fewer than a spectrum's block of 16\n"},
        {"numbers.csv --spectrogram", "a spectrogram shows one channel of one file\n"},
        {"numbers.csv --spectrum --xy", "--spectrum, --spectrogram and --xy are different pictures\n"},
        {"numbers.csv --to x.pdf", "--to x.pdf does not end in .svg or .png\n"},
    };
    for (const auto& [arguments, said] : cases) {
        const Called called = call(std::string("plot ") + arguments);
        EXPECT_EQ(called.status, 2) << arguments;
        EXPECT_TRUE(called.err.starts_with(std::string("zepl: error: ") + said)) << arguments << "\n" << called.err;
    }
    const Called called = call("plot numbers.csv --to x.svg", "/dev/null", {}, "PATH=/none");
    EXPECT_TRUE(
        called.err.starts_with("zepl: error: gnuplot, which draws .svg and .png files, is not installed\n  install it"))
        << called.err;
    EXPECT_FALSE(files().contains("x.svg"));
}

TEST_F(Plot, ANameThatLooksLikeACommandIsOnlyAName) {
    const std::string name = "`touch bad`'\\$(touch bad)\".csv";
    std::filesystem::rename(at("numbers.csv"), at(name));
    const Called called = call("plot --to x.svg '`touch bad`'\"'\"'\\$(touch bad)\".csv'");
    EXPECT_EQ(called.status, 0) << called.err;
    EXPECT_FALSE(files().contains("bad"));
    EXPECT_NE(bytesOf("x.svg").find("`touch bad`'\\$(touch bad)"), std::string::npos);
}

TEST_F(Plot, ARunDrawsWhatItWrote) {
    put("p.zp",
        "pipe x : int16 from \"in.csv\"\npipe y : int16 to \"y.csv\"\npipe z : int16 to \"z.bin\"\nABS (x, y)\nABS (y, z)\n");
    const Called called = call("run p.zp --plot --quiet");
    EXPECT_EQ(called.status, 0) << called.err;
    for (const char* part : {" y.csv\n", " y\n", " z.bin\n", "3 ┤"})
        EXPECT_NE(called.err.find(part), std::string::npos) << called.err;
}

}  // namespace
}  // namespace libzepl
