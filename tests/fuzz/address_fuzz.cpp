// Every text is an address that is complete, or is refused with what to write.

#include <cstdlib>

#include "runtime/live/address.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    using Kind = libzepl::Address::Kind;
    try {
        const libzepl::Address address = libzepl::parseAddress({reinterpret_cast<const char*>(bytes), count});
        const bool hasHost = address.kind == Kind::tcp || address.kind == Kind::tcpListen || address.kind == Kind::udp;
        if (hasHost == address.host.empty() || hasHost != address.name.empty()) std::abort();
    } catch (const libzepl::Problem&) {
    }
    return 0;
}
