// Live sources and sinks: connections, datagrams and sound cards, each named by an address.
//
//     tcp://host:port             connects to a program that listens there
//     tcp-listen://address:port   listens for one program that connects; port 0 takes a free one
//     udp://address:port          receives datagrams there, or sends them to there
//     unix:///path                connects to the socket of that name
//     alsa:DEVICE                 records or plays by a sound card, as `arecord -L` lists them
//
// An empty host or address is 127.0.0.1, so that nothing listens to other machines unless it is told to. IPv6 addresses
// stand in brackets.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "files.h"

namespace libzepl {

struct LiveSettings {
    // Seconds until somebody must be there: until a connection, or the first datagram. Else 10 where it connects, and without
    // end where it listens.
    std::optional<double> timeout{};
    std::optional<double> rate{};  // frames a second: a sound card's, and what the source states
    bool fill = false;             // a source that cannot wait gives zeros for what it loses
    bool checkOnly = false;        // neither connects nor opens anything
    std::size_t capacity = 0;      // elements that can wait for the session; 0 is as many as do in some MiB
    // Called with the address when it listens at a port that the system chose.
    std::function<void(const std::string&)> listening{};
};

// Elements from the address that the request names; raw, in the type asked for, unless its format is given. It begins with
// start(), and reads on a thread of its own. A format with a header, though, waits for that here. What cannot be, such as a
// malformed address or a device that is not there, is a Problem here; what goes wrong later, a Problem of read().
std::unique_ptr<Source> openLiveSource(const ReadRequest& request, const LiveSettings& settings);

// Takes the bytes of an output, for OutputOptions; the request is that of the output. start() waits for whoever takes them.
std::shared_ptr<OutputStream> openLiveStream(const WriteRequest& request, const LiveSettings& settings);

}  // namespace libzepl
