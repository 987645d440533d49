// Connections: streams of bytes between programs, as descriptors.
#pragma once

#include <memory>
#include <optional>

#include "runtime/live/address.h"

namespace libzepl {

inline constexpr double connectTimeout = 10;  // seconds, unless the caller says otherwise

// A descriptor that is closed with its owner.
class Descriptor {
 public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    int number() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    int release() noexcept;

 private:
    int number_ = -1;
};

// Connects to whoever listens at the address (tcp or unix), and tries again until somebody does, for so many seconds. A Problem
// when nobody came, Interrupted when a stop is requested.
Descriptor connectTo(const Address& address, std::optional<double> timeout);

// Listens at an address (tcp-listen) from its construction on.
class Listener {
 public:
    explicit Listener(const Address& address);
    ~Listener();

    std::uint16_t port() const;
    // The first that connects; nobody else can after that. Without a time-out it waits without end.
    Descriptor accept(std::optional<double> timeout);
    // Who has connected by now, if anybody.
    Descriptor acceptNow();

 private:
    struct Acceptor;
    Address address_;
    std::unique_ptr<Acceptor> acceptor_;
};

// A socket for datagrams: bound to the address, to receive, or to send to it.
class DatagramSocket {
 public:
    static DatagramSocket receiving(const Address& address);
    static DatagramSocket sending(const Address& address, std::optional<double> timeout);

    int descriptor() const { return descriptor_.number(); }
    std::uint16_t port() const { return port_; }
    // Sends one datagram; false where the system has no room for it now. A reader that is not there is no mistake.
    bool send(const void* bytes, std::size_t count) const;
    // Datagrams that the system has dropped for want of room, in all, also those that came after what was received last.
    std::uint32_t dropped() const;

 private:
    Address address_;
    Descriptor descriptor_;
    std::uint16_t port_ = 0;
    std::vector<std::byte> peer_;  // the system's form of the address that is sent to
};

}  // namespace libzepl
