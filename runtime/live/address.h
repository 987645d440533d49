// The addresses of live sources and sinks, taken apart.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/diagnostics.h"

namespace libzepl {

struct Address {
    enum class Kind { tcp, tcpListen, udp, unixSocket, alsa };
    Kind kind = Kind::tcp;
    std::string text;        // as it is written
    std::string host;        // without brackets; "127.0.0.1" where none is given
    std::uint16_t port = 0;  // of the kinds that have a host
    std::string name;        // the socket's path, or the sound card's device

    // A Problem about it.
    Problem problem(const std::string& reason, std::string remedy = {}) const {
        return Problem(text + ": " + reason, std::move(remedy));
    }
};

// A Problem that says what an address looks like, where the text is none.
Address parseAddress(const std::string& text);

}  // namespace libzepl
