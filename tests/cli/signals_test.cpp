// What signals leave of a run.

#include <sys/ioctl.h>
#include <sys/stat.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "tool_support.h"

namespace libzepl {
namespace {

const std::string samples(4, '\1');

class Signals : public ToolTest {
 protected:
    Signals() {
        put("p.zp",
            "pipe a : int16 from \"-\"\npipe b : int16 to \"-\"\npipe c : int16 to \"c.bin\"\nABS (a, b)\nABS (b, "
            "c)\n");
        put("c.bin", "yesterday");
        put("said", "");
        left_ = files();
    }
    std::set<std::string> left_;  // the files where no other is left
};

TEST_F(Signals, EachEndsARunThatWaitsForItsInputInOrder) {
    const std::pair<int, int> cases[] = {{SIGINT, 130}, {SIGTERM, 143}, {SIGHUP, 129}};
    for (const auto& [signal, status] : cases) {
        LiveTool tool(folder_, {"run", "p.zp", "--report", "r.json"});
        tool.write(samples);
        EXPECT_EQ(tool.read(4), samples);
        tool.send(signal);
        EXPECT_EQ(tool.wait(), status);
        EXPECT_EQ(bytesOf("said"), "note: the run was stopped on request\nwrote c.bin: 2 samples of `c`\n");
        EXPECT_EQ(bytesOf("c.bin"), samples);
        EXPECT_EQ(nlohmann::json::parse(bytesOf("r.json"))["status"], "interrupted");
        remove("r.json");
        EXPECT_EQ(files(), left_);
    }
}

TEST_F(Signals, ThatOneEventSendsSeveralTimesAreOne) {
    for (const int again : {SIGTERM, SIGHUP}) {
        LiveTool tool(folder_, {"run", "p.zp", "--quiet"});
        tool.write(samples);
        EXPECT_EQ(tool.read(4), samples);
        for (const int signal : {again, again, SIGINT}) tool.send(signal);
        EXPECT_GT(tool.wait(), 128);  // of whichever came first
        EXPECT_EQ(bytesOf("c.bin"), samples);
        put("c.bin", "yesterday");
    }
}

TEST_F(Signals, ASecondEndsARunAtOnceAndLeavesNoTemporaryFile) {
    constexpr int size = 4096;
    LiveTool tool(folder_, {"run", "p.zp", "--block", "16384"}, std::string(60000, '\1'),
                  [] { ::fcntl(STDOUT_FILENO, F_SETPIPE_SZ, size); });
    // The run waits for a reader that takes nothing.
    for (int there = 0; there < size;) ASSERT_EQ(::ioctl(tool.output(), FIONREAD, &there), 0);
    tool.send(SIGTERM);
    std::this_thread::sleep_for(std::chrono::milliseconds(350));
    tool.send(SIGINT);
    EXPECT_EQ(tool.wait(), 130);
    EXPECT_NE(bytesOf("said").find("a second signal: the run ends at once"), std::string::npos);
    EXPECT_EQ(files(), left_);
    EXPECT_EQ(bytesOf("c.bin"), "yesterday");
}

TEST_F(Signals, OneThatComesWhileTheReportIsWrittenChangesNothing) {
    ASSERT_EQ(::mkfifo(at("r.fifo").c_str(), 0600), 0);
    left_ = files();
    const int report = ::open(at("r.fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(::fcntl(report, F_SETPIPE_SZ, 4096), 4096);
    std::string procedure = bytesOf("p.zp");
    for (int i = 0; i < 200; ++i) procedure += "variable v" + std::to_string(i) + " : int16 = 1\n";
    put("p.zp", procedure);
    LiveTool tool(folder_, {"run", "p.zp", "--report", "r.fifo", "--quiet"}, samples);
    tool.closeInput();
    EXPECT_EQ(tool.read(4), samples);
    for (int there = 0; there < 4096;) ASSERT_EQ(::ioctl(report, FIONREAD, &there), 0);
    tool.send(SIGTERM);
    EXPECT_EQ(::fcntl(report, F_SETFL, 0), 0);
    std::string json;
    char piece[4096];
    for (ssize_t got = 1; got > 0;) {
        got = ::read(report, piece, sizeof piece);
        if (got > 0) json.append(piece, static_cast<std::size_t>(got));
    }
    ::close(report);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(nlohmann::json::parse(json)["status"], "ok");
    EXPECT_EQ(files(), left_);
    EXPECT_EQ(bytesOf("c.bin"), samples);
}

TEST_F(Signals, OneEndsSetUpsThatWaitForAFifo) {
    ASSERT_EQ(::mkfifo(at("taps.csv").c_str(), 0600) + ::mkfifo(at("b.csv").c_str(), 0600), 0);
    put("p.zp",
        "vector v : int16 from \"taps.csv\"\npipe a : int16 from \"in.csv\" to \"b.csv\"\npipe c : int16 to "
        "\"c.bin\"\n");
    left_ = files();
    for (const bool readsTaps : {true, false}) {
        for (const char* action : {"run", "check"}) {
            if (!readsTaps && action == std::string("check")) continue;  // does not wait for who reads
            LiveTool tool(folder_, {action, "p.zp"});
            const int taps = ::open(at("taps.csv").c_str(), O_WRONLY | O_CLOEXEC);
            if (!readsTaps) ::close(taps);
            tool.send(SIGTERM);
            EXPECT_EQ(tool.wait(), 143) << action;
            if (readsTaps) ::close(taps);
            EXPECT_EQ(files(), left_);
            EXPECT_EQ(bytesOf("c.bin"), "yesterday");
        }
    }
}

TEST_F(Signals, ATerminalThatClosesDoesNotEndWhatIgnoresIt) {
    LiveTool tool(folder_, {"run", "p.zp", "--quiet"}, {}, [] { std::signal(SIGHUP, SIG_IGN); });
    tool.write(samples);
    EXPECT_EQ(tool.read(4), samples);
    tool.send(SIGHUP);
    tool.write(samples);
    EXPECT_EQ(tool.read(4), samples);
    tool.closeInput();
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(bytesOf("c.bin"), samples + samples);
}

TEST_F(Signals, ALaterRunRemovesTheTemporaryFilesOfKilledOnesAlone) {
    for (const char* kept : {"c.bin.part", "c.bin.1-0-00000000.part", "c.bin.x.1-0.part"}) put(kept, "");
    left_ = files();
    const auto started = [&](LiveTool& tool) {
        tool.write(samples);
        EXPECT_EQ(tool.read(4), samples);
    };
    {
        LiveTool killed(folder_, {"run", "p.zp"});
        started(killed);
        killed.send(SIGKILL);
        EXPECT_EQ(killed.wait(), -1);
        EXPECT_EQ(files().size(), left_.size() + 1);
    }
    LiveTool living(folder_, {"run", "p.zp"});
    started(living);
    EXPECT_EQ(files().size(), left_.size() + 1);
    put("raw", samples + samples);
    left_.insert("raw");
    EXPECT_EQ(call("run p.zp", "raw").status, 0);
    EXPECT_EQ(files().size(), left_.size() + 1);
    living.closeInput();
    EXPECT_EQ(living.wait(), 0);
    EXPECT_EQ(files(), left_);
    EXPECT_EQ(bytesOf("c.bin"), samples);
}

TEST_F(Signals, AReaderThatHasGoneAndAFileThatGrowsTooLargeAreErrors) {
    LiveTool tool(folder_, {"run", "p.zp"});
    tool.closeOutput();
    tool.write(samples);
    EXPECT_EQ(tool.wait(), 1);
    EXPECT_TRUE(bytesOf("said").starts_with("p.zp:2:6: error: standard output: its reader has closed it\n"))
        << bytesOf("said");
    put("raw", std::string(100000, '\1'));
    const Called called = call("run p.zp", "raw", "> /dev/null", "ulimit -f 8 &&");
    EXPECT_EQ(called.status, 1);
    EXPECT_TRUE(called.err.starts_with("p.zp:3:6: error: c.bin: cannot be written: File too large\n")) << called.err;
    EXPECT_EQ(bytesOf("c.bin"), "yesterday");
}

TEST_F(Signals, ALiveStreamComesThroughAtOnceHoweverItIsCut) {
    LiveTool tool(folder_, {"run", "p.zp", "--quiet"});
    for (const int pieces : {1, 3, 2}) {
        tool.write(std::string(static_cast<std::size_t>(pieces), '\1'));
        EXPECT_EQ(tool.read(static_cast<std::size_t>(pieces) / 2 * 2).size(), static_cast<std::size_t>(pieces) / 2 * 2);
    }
    tool.closeInput();
    EXPECT_EQ(tool.read(9), "\1\1");
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(Signals, LinesComeThroughAFifoAtOnce) {
    ASSERT_EQ(::mkfifo(at("a.csv").c_str(), 0600), 0);
    LiveTool tool(folder_, {"run", "p.zp", "--quiet", "--in", "a=a.csv"});
    const int a = ::open(at("a.csv").c_str(), O_WRONLY | O_CLOEXEC);
    for (const std::string line : {"a\n257\n", "-257\n25", "7\n"}) {
        ASSERT_EQ(::write(a, line.data(), line.size()), static_cast<ssize_t>(line.size()));
        EXPECT_EQ(tool.read(2), "\1\1");
    }
    ::close(a);
    EXPECT_EQ(tool.wait(), 0);
}

}  // namespace
}  // namespace libzepl
