// Addresses in procedures and on the command line, by the tool.

#include <atomic>
#include <thread>

#include "../cli/tool_support.h"
#include "peers.h"

namespace libzepl {
namespace {

class LiveAddresses : public ToolTest {
 protected:
    std::string socket() const { return "unix://" + at("s").string(); }
    std::string procedure(const std::string& from, const std::string& to) const {
        return "pipe x : int16 from " + from + "\npipe y : int16 to " + to + "\nOFFSET (x, 5, y)\n";
    }
    // What the tool says.
    std::string said() const { return bytesOf("said"); }
};

TEST_F(LiveAddresses, FeedAProcedureAndTakeWhatItWrites) {
    std::vector<std::int16_t> samples(10000, 7), expected(10000, 12);
    put("x.zp",
        procedure("\"" + socket() + "\" rate 500 timeout 100", "\"unix://" + at("t").string() + "\" format wav"));
    const Peer in = Peer::listening(at("s")), out = Peer::listening(at("t"));
    LiveTool tool(folder_, {"run", "x.zp"});
    Peer to = out.accept(), from = in.accept();
    from.send(textOf(samples));
    from.close();
    const std::string wave = to.receiveAll();
    EXPECT_EQ(tool.wait(), 0) << said();
    EXPECT_EQ(wave.substr(44), textOf(expected));
    EXPECT_EQ(wave.substr(24, 4), std::string("\xF4\x01\0\0", 4)) << "the rate that was said of the input";
}

TEST_F(LiveAddresses, OfTheCommandLineTakeTheSameClauses) {
    put("x.zp", procedure("\"a.bin\"", "\"b.bin\""));
    const Peer in = Peer::listening(at("s"));
    LiveTool tool(folder_, {"run", "x.zp", "--in", "x=" + socket() + " format csv timeout 100"});
    Peer from = in.accept();
    from.send("level\n1\n2\n");
    from.close();
    EXPECT_EQ(tool.wait(), 0) << said();
    EXPECT_EQ(bytesOf("b.bin"), textOf(std::vector<std::int16_t>{6, 7}));
    const std::pair<const char*, const char*> wrong[] = {
        {"--in 'x=tcp://:5 formt csv'", "--in x: `formt` is no clause of an address"},
        {"--in 'x=tcp://:5 fill partial format csv fill'", "--in x: `fill` is given twice"},
        {"--in x=b.bin --out 'y=tcp://:5 partial'", "--out y: `partial` is no clause of an address"}};
    for (const auto& [option, message] : wrong) {
        const Called called = call(std::string("run x.zp ") + option);
        EXPECT_EQ(called.status, 2);
        EXPECT_NE(called.err.find(message), std::string::npos) << called.err;
    }
}

TEST_F(LiveAddresses, AreCheckedWithoutAConnection) {
    put("x.zp",
        "pipe x[2] : int16 from \"tcp://127.0.0.1:1\" format wav\npipe y : int16 from \"alsa:none\" rate 8000\n"
        "pipe z : int16 to \"tcp-listen://:1\"\npipe u[2] : int16 to \"udp://:9\"\nOFFSET (y, 1, z)\n"
        "OFFSET (x, 1, u)\n");
    const Called checked = call("check x.zp");
    EXPECT_EQ(checked.status, 0) << checked.err;
    put("x.zp", procedure("\"tcp://a\"", "\"unix://b\""));
    const Called refused = call("check x.zp");
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("x.zp:1:21: error: tcp://a: the address has no port"), std::string::npos) << refused.err;
}

TEST_F(LiveAddresses, ThatFailInARunAreNamedWithTheirPlace) {
    put("x.zp", procedure("\"" + socket() + "\" timeout 0.01", "\"b.bin\""));
    const Called absent = call("run x.zp");
    EXPECT_EQ(absent.status, 1);
    EXPECT_NE(absent.err.find("x.zp:1:6: error: " + socket() + ": no connection within 0.01 seconds"),
              std::string::npos)
        << absent.err;
}

TEST_F(LiveAddresses, AreForPipesAlone) {
    put("x.zp", "trigger t from \"tcp://:5\" format csv\nvector v : int16 from \"tcp://:5\"\n");
    const Called refused = call("run x.zp");
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("x.zp:1:16: error: tcp://:5: is an address, and only pipes are read from one"),
              std::string::npos)
        << refused.err;
    EXPECT_NE(refused.err.find("x.zp:2:23: error: tcp://:5: is an address"), std::string::npos) << refused.err;
}

TEST_F(LiveAddresses, HaveClausesThatFilesHaveNot) {
    struct Case {
        std::string line, message;
    };
    for (const Case& each :
         {Case{"pipe x : int16 from \"a.wav\" fill", "`fill` goes after an address that is read"},
          {"pipe x : int16 from \"a.wav\" timeout 5", "`timeout` goes after an address"},
          {"pipe x : int16 from \"tcp://:5\" timeout 0", "`timeout` takes a positive, finite number, not `0`"},
          {"pipe x : int16 from \"a.wav\" rate 5", "`rate` without `to` and a file"},
          {"pipe x : int16 from \"tcp://:5\" rate 5 rate 6", "`rate` is given twice for one file"}}) {
        put("x.zp", each.line + "\n");
        const Called refused = call("check x.zp");
        EXPECT_EQ(refused.status, 2);
        EXPECT_NE(refused.err.find(each.message), std::string::npos) << refused.err;
    }
}

// The tool is held by an output that nobody takes from, until far more has been sent than anything between can keep.
TEST_F(LiveAddresses, ThatLoseSamplesFailTheRunUnlessThatIsAllowed) {
    constexpr std::size_t wanted = std::size_t{9} << 20;  // samples: more than the 8 MiB that wait
    put("x.zp",
        "pipe x : int16 from \"udp://127.0.0.1:0\" to \"" + socket() + "\" limit " + std::to_string(wanted) + "\n");
    for (const bool allowed : {false, true}) {
        const Peer out = Peer::listening(at("s"));
        LiveTool tool(folder_, {"run", "x.zp", "--report", "r.json", allowed ? "--allow-loss" : "--memory=1G"});
        const Peer to = out.accept();
        while (said().find('\n') == std::string::npos) std::this_thread::yield();
        const Peer sender = Peer::local(SOCK_DGRAM, portOf(said().substr(0, said().find('\n'))));
        const std::string datagram(60000, 'x');
        for (int i = 0; i < 1000; ++i) sender.sendDatagram(datagram);
        std::atomic<bool> isDone{false};
        std::thread taker([&] {
            EXPECT_EQ(to.receiveAll().size(), 2 * wanted);
            isDone = true;
        });
        while (!isDone) sender.sendDatagram(datagram);
        taker.join();
        EXPECT_EQ(tool.wait(), allowed ? 0 : 1) << said();
        EXPECT_EQ(said().find("zepl: error: samples of `x` are lost") == std::string::npos, allowed) << said();
        EXPECT_NE(said().find(" lost, "), std::string::npos) << said();
        EXPECT_NE(bytesOf("r.json").find("\"gaps\": ["), std::string::npos);
        remove("s");
    }
}

}  // namespace
}  // namespace libzepl
