// What the tool says of files with several channels, of rates, and of formats on standard streams.

#include <nlohmann/json.hpp>

#include "tool_support.h"

namespace libzepl {
namespace {

class ToolFiles : public ToolTest {
 protected:
    void saveAtRate(const std::string& name, double rate, std::size_t count, int channels = 1) const {
        WriteRequest request = writing<std::int16_t>(name);
        request.rate = rate;
        request.channels = channels;
        const auto sink = createSink(request);
        const std::vector<std::int16_t> samples(count, -2);
        sink->write(samples.data(), count);
        sink->finish();
    }
    // What a call of `run` and of `check` with the procedure says.
    std::string said(const std::string& procedure, const std::string& call_ = "run p.zp") const {
        put("p.zp", procedure);
        const Called called = call(call_);
        EXPECT_EQ(called.status, 0) << called.err;
        return called.err;
    }
};

TEST_F(ToolFiles, SeveralChannelsStaySeveralChannels) {
    saveAtRate("in.wav", 500, 400, 4);
    EXPECT_EQ(
        said("pipe a : int16 interleaved 4 from \"in.wav\"\npipe b : int16 interleaved 4 to \"out.wav\"\nABS (a, b)"),
        "wrote out.wav: 100 frames of `b`\n");
    const auto source = openSource(allOf("out.wav", 4));
    EXPECT_EQ(source->length(), 400U);
    EXPECT_EQ(source->rate(), 500);
    EXPECT_EQ(said("pipe a : int16 interleaved 4 from \"in.wav\" to \"out.csv\"\nvector v : int16 interleaved 4 from "
                   "\"in.wav\"\npipe b : int16 interleaved 3 to \"b.npy\"\nABS (a, b)"),
              "note: `b` ends with 1 sample of an incomplete frame of 3, not written\n"
              "wrote out.csv: 100 frames of `a`\nwrote b.npy: 133 frames of `b`\n");
    EXPECT_EQ(bytesOf("out.csv").substr(0, 38), "a[1],a[2],a[3],a[4]\n-2,-2,-2,-2\n-2,-2,");
    EXPECT_EQ(elementsOf<std::int16_t>(allOf("b.npy", 3)).size(), 399U);
}

TEST_F(ToolFiles, WhatAFileLacksIsSaidOnceForAnArray) {
    saveAtRate("in.wav", 500, 400, 4);
    const std::string bytes = bytesOf("in.wav");
    put("cut.wav", bytes.substr(0, bytes.size() - 8));
    EXPECT_EQ(
        said("pipe a[4] : int16 from \"cut.wav\" partial\npipe b : int16 to \"b.bin\"\nBMERGEF (a..., 9, b)"),
        "note: cut.wav: its header announces 100 frames, but it holds 99; `partial` took what is there\nwrote b.bin: 440 samples of `b`\n");
}

TEST_F(ToolFiles, AStreamIsTakenApartAsItComes) {
    put("p.zp", "pipe a[2] : int16 from \"-.csv\"\npipe m : int16 to -\nABS (a[2], m)\n");
    LiveTool tool(folder_, {"run", "p.zp", "--quiet"}, "1,2\n3");
    EXPECT_EQ(tool.read(2), std::string("\2\0", 2));
    tool.write(",4\n");
    EXPECT_EQ(tool.read(2), std::string("\4\0", 2));
    tool.closeInput();
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(ToolFiles, RatesThatDifferAreWarnedOf) {
    saveAtRate("a.wav", 500, 10);
    saveAtRate("b.wav", 250, 10);
    const std::string inputs =
        "pipe a : int16 from \"a.wav\"\npipe b : int16 from \"b.wav\"\npipe c : int16 to "
        "\"c.csv\"\nABS (a, c)\n";
    EXPECT_EQ(
        said(inputs, "check p.zp"),
        "p.zp:2:21: warning: b.wav states 250 frames a second, and a.wav 500\n  pipe b : int16 from \"b.wav\"\n"
        "                      ^~~~~~~\n  the run goes by the first, 500; state another one with `rate`\np.zp: ready "
        "to run\n");
    EXPECT_EQ(said("rate 250\n" + inputs, "run p.zp --report r.json"),
              "p.zp:2:21: warning: a.wav states 500 frames a second, and the procedure's `rate` is 250\n"
              "  pipe a : int16 from \"a.wav\"\n                      ^~~~~~~\n"
              "  the run goes by `rate 250`; correct it, or leave it out\n"
              "note: nobody reads `b`\nwrote c.csv: 10 samples of `c`\n");
    EXPECT_EQ(nlohmann::json::parse(bytesOf("r.json"))["notes"][0],
              "a.wav states 500 frames a second, and the procedure's `rate` is 250");
    EXPECT_EQ(said(inputs, "run p.zp --quiet"), "");
}

TEST_F(ToolFiles, ARateThatAnOutputDoesNotHaveIsNoted) {
    saveAtRate("a.wav", 360, 1000);
    saveAtRate("b.wav", 44100, 1500);
    const auto skipped = [&](const std::string& from, const std::string& to) {
        return said("pipe a : int16 from \"" + from + "\"\npipe b : int16\npipe c : int16 to " + to +
                    "\nABS (a, b)\nSKIP (b, 0, 1, 3, c)\n");
    };
    const std::string wrote = "wrote c.wav: 250 samples of `c`\n";
    EXPECT_EQ(skipped("a.wav", "\"c.wav\""),
              "note: c.wav states the rate of `a`, 360, and has one frame for 4 of its frames: "
              "`rate 90` after its name states its own\n" +
                  wrote);
    EXPECT_EQ(skipped("a.wav", "\"c.wav\" rate 90"), wrote);
    EXPECT_EQ(openSource(reading("c.wav"))->rate(), 90);
    EXPECT_EQ(said("pipe a : int16 from \"b.wav\"\npipe b : int16 to \"c.wav\"\nSKIP (a, 0, 1, 6, b)"),
              "note: c.wav states the rate of `a`, 44100, and has one frame for 7 of its frames: "
              "`rate 6300` after its name states its own\nwrote c.wav: 215 samples of `b`\n");
    // What is left unread of the input at the end of the run is no other rate.
    EXPECT_EQ(said("pipe a : int16 from \"b.wav\"\npipe b : int16 to \"c.wav\"\nAVERAGE (a, 800, b)").find("states"),
              std::string::npos);
    EXPECT_EQ(
        said("pipe a : int16 from \"in.csv\" to \"c.wav\""),
        "note: c.wav states 1000 frames a second, which is assumed, since no input states a rate: `rate R` in the "
        "procedure or after the file's name states the right one\nwrote c.wav: 3 samples of `a`\n");
}

TEST_F(ToolFiles, StandardStreamsTakeFormats) {
    saveAtRate("a.wav", 360, 1000);
    put("p.zp", "pipe a : int16 from -\npipe b : int16 to -\nABS (a, b)\n");
    const std::vector<std::int16_t> expected(1000, 2);
    for (const std::string ending : {"wav", "au", "flac", "csv", "bin"}) {
        const Called called = call("run p.zp --in a=-.wav --out b=-." + ending, "a.wav");
        EXPECT_EQ(called.err, "") << ending;
        if (ending == "wav") {
            EXPECT_EQ(called.out.substr(20, 2), std::string("\1\0", 2)) << "the tag of integers";
        }
        put("out." + ending, called.out);
        EXPECT_EQ(elementsOf<std::int16_t>("out." + ending), expected) << ending;
        if (ending == "wav" || ending == "au") {
            EXPECT_EQ(openSource(reading("out." + ending))->rate(), 360);
        }
        const Called back = call("run p.zp --in a=-." + ending + " --out b=b.npy", "out." + ending);
        EXPECT_EQ(back.err, "wrote b.npy: 1000 samples of `b`\n") << ending;
        EXPECT_EQ(elementsOf<std::int16_t>("b.npy"), expected) << ending;
    }
    EXPECT_EQ(call("run p.zp", "a.wav").err,
              "p.zp:1:6: error: standard input: it starts as WAV files do, and raw samples are expected\n"
              "  pipe a : int16 from -\n       ^\n"
              "  read it in that format, by `-.wav` for standard input or `format wav`; "
              "`format raw` takes it as samples all the same\n");
    EXPECT_EQ(call("run p.zp --in a=x --out b=b.npy --in a=-.wav", "a.wav").status, 2);
    put("p.zp", "pipe a : int16 from - format wav to \"out\" format csv\n");
    EXPECT_EQ(call("run p.zp", "a.wav").err, "wrote out: 1000 samples of `a`\n");
    EXPECT_EQ(bytesOf("out").substr(0, 5), "a\n-2\n");
    EXPECT_EQ(call("run p.zp --in a=in.csv --out a=-", "a.wav").out, std::string("a\n-1\n2\n-3\n"));
}

}  // namespace
}  // namespace libzepl
