// What live sources read: connections, datagrams.
#pragma once

#include "runtime/addresses.h"
#include "runtime/live/connect.h"
#include "runtime/live/fed_source.h"

namespace libzepl {

// Bytes of a connection, in any format. One with a header is read at once.
std::unique_ptr<Feeder> connectionFeeder(const Address& address, const ReadRequest& request,
                                         const LiveSettings& settings);

// Datagrams of whole frames in the pipe's type. An empty one ends them.
std::unique_ptr<Feeder> datagramFeeder(const Address& address, const ReadRequest& request,
                                       const LiveSettings& settings);

// "tcp-listen://127.0.0.1:43210", for the port that the system chose.
std::string listeningText(const Address& address, std::uint16_t port);

}  // namespace libzepl
