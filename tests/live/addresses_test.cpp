#include "runtime/live/address.h"

#include <gtest/gtest.h>

#include "runtime/files.h"

namespace libzepl {
namespace {

TEST(Addresses, SayWhatIsMeantAndWhere) {
    using Kind = Address::Kind;
    struct Case {
        const char* text;
        Kind kind;
        const char* host;
        int port;
        const char* name;
    };
    for (const Case& each : {Case{"tcp://rig.local:5000", Kind::tcp, "rig.local", 5000, ""},
                             {"tcp://:65535", Kind::tcp, "127.0.0.1", 65535, ""},
                             {"tcp-listen://:0", Kind::tcpListen, "127.0.0.1", 0, ""},
                             {"tcp-listen://[::1]:7", Kind::tcpListen, "::1", 7, ""},
                             {"udp://0.0.0.0:5000", Kind::udp, "0.0.0.0", 5000, ""},
                             {"unix:///run/a:b.socket", Kind::unixSocket, "", 0, "/run/a:b.socket"},
                             {"alsa:plughw:CARD=Rig,DEV=0", Kind::alsa, "", 0, "plughw:CARD=Rig,DEV=0"}}) {
        SCOPED_TRACE(each.text);
        const Address address = parseAddress(each.text);
        EXPECT_EQ(address.kind, each.kind);
        EXPECT_EQ(address.host, each.host);
        EXPECT_EQ(address.port, each.port);
        EXPECT_EQ(address.name, each.name);
        EXPECT_TRUE(isAddress(each.text));
    }
    for (const char* file : {"ecg.wav", "-", "-.wav", "/dev/stdin", "./alsa:x.bin", "://x", "a b://c", "C:/a.wav"})
        EXPECT_FALSE(isAddress(file)) << file;
}

TEST(Addresses, ThatAreMalformedAreRefusedWithTheRightForm) {
    const std::string forms =
        "the addresses are tcp://HOST:PORT, tcp-listen://ADDRESS:PORT, udp://ADDRESS:PORT, unix:///PATH, alsa:DEVICE";
    const std::string tcp = "write tcp://HOST:PORT, as tcp://127.0.0.1:5000";
    struct Case {
        std::string text, message, remedy;
    };
    for (const Case& each :
         {Case{"gopher://a:1", "there are no addresses of the form `gopher://...`", forms},
          {"tpc://a:1", "there are no addresses of the form `tpc://...`", "did you mean `tcp://`?"},
          {"tcp://host", "the address has no port", tcp},
          {"tcp://[::1]", "the address has no port", tcp},
          {"tcp://::1:5", "an IPv6 address is written in brackets, as in [::1]:5000", tcp},
          {"tcp://a:65536", "`65536` is no port, which is a number from 0 to 65535", tcp},
          {"tcp://a:", "`` is no port, which is a number from 0 to 65535", tcp},
          {"tcp://a:+5", "`+5` is no port, which is a number from 0 to 65535", tcp},
          {"tcp://a/b:5", "`a/b` is no host", tcp},
          {"tcp://a:0", "nobody listens at port 0", "name the port that the other program listens at"},
          {"unix://run/a", "the path of a socket begins at the root", "write unix:///PATH, as unix:///run/rig.socket"},
          {"unix:///" + std::string(107, 'x'), "the path of a socket has at most 107 bytes, and this one 108",
           "name it by a shorter path, such as a link"},
          {"alsa:", "the address names no device", "`alsa:default` is the usual one"}}) {
        try {
            parseAddress(each.text);
            ADD_FAILURE() << each.text;
        } catch (const Problem& problem) {
            EXPECT_EQ(problem.what(), each.text + ": " + each.message);
            EXPECT_EQ(problem.remedy(), each.remedy) << each.text;
        }
    }
}

}  // namespace
}  // namespace libzepl
