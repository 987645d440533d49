// The other side of a connection, which does what it is told to and when.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace libzepl {

class Peer {
 public:
    Peer() = default;
    explicit Peer(int descriptor) : descriptor_(descriptor) { EXPECT_GE(descriptor, 0) << std::strerror(errno); }
    Peer(Peer&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Peer& operator=(Peer&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Peer() { close(); }

    static Peer listening(const std::filesystem::path& path) {
        Peer peer(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(peer.descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(peer.descriptor_, 4), 0);
        return peer;
    }
    // A socket of this machine alone, connected to the port, or bound where that is 0.
    static Peer local(int type, int port) {
        Peer peer(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
        sockaddr_in address = localAddress(port);
        const auto call = port == 0 ? ::bind : ::connect;
        EXPECT_EQ(call(peer.descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        return peer;
    }
    Peer accept() const { return Peer(::accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC)); }
    int port() const {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        EXPECT_EQ(::getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size), 0);
        return ntohs(address.sin_port);
    }

    // Whether the other side took all of it.
    bool send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent < 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }
    void sendDatagram(std::string_view bytes) const { ::send(descriptor_, bytes.data(), bytes.size(), 0); }
    // One piece; empty at the end.
    std::string receive() const {
        std::string piece(65536, '\0');
        const ssize_t got = ::recv(descriptor_, piece.data(), piece.size(), 0);
        piece.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        return piece;
    }
    std::string receiveAll() const {
        std::string all;
        for (std::string piece = receive(); !piece.empty(); piece = receive()) all += piece;
        return all;
    }
    void close() {
        if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
    }

 private:
    static sockaddr_in localAddress(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    int descriptor_ = -1;
};

inline int portOf(const std::string& address) { return std::stoi(address.substr(address.rfind(':') + 1)); }

template <class Element>
std::string textOf(const std::vector<Element>& elements) {
    return {reinterpret_cast<const char*>(elements.data()), elements.size() * sizeof(Element)};
}

}  // namespace libzepl
