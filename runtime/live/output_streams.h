// Where live outputs go: connections, datagrams and sound cards.
#pragma once

#include "runtime/addresses.h"
#include "runtime/live/address.h"
#include "runtime/live/alsa.h"

namespace libzepl {

std::shared_ptr<OutputStream> connectionStream(const Address& address, const LiveSettings& settings);
// Datagrams of whole frames of so many bytes; an empty one at the end.
std::shared_ptr<OutputStream> datagramStream(const Address& address, std::size_t frameBytes,
                                             const LiveSettings& settings);
std::shared_ptr<OutputStream> cardStream(const Address& address, const WriteRequest& request,
                                         const LiveSettings& settings, const AlsaCalls& alsa = alsaCalls());

}  // namespace libzepl
