// Who may have the page: requests that name this server as their host, come from its own page, and have the token.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

struct ListenAddress {
    std::string host = "127.0.0.1";  // a numeric address
    std::uint16_t port = 8080;
};

// "127.0.0.1:8080", "[::1]:0", "localhost:8080" or "8080".
ListenAddress listenAddressOf(const std::string& text);

// 128 random bits, in hexadecimal.
std::string newToken();

// Of one request, as it came. The texts are empty where the header is not there.
struct Asked {
    std::string_view method, target, host, origin;
    bool isUpgrade = false;  // to a WebSocket
};

// What is given to whom.
enum class Verdict { page, script, style, live, wrongHost, wrongOrigin, wrongToken, wrongMethod, notThere };

class Access {
 public:
    // `own` is the address and port that the request came to, such as "127.0.0.1:8080" or "[::1]:8080"; of a loopback
    // address, "localhost" with the port is the same.
    Access(std::string token, std::string computer) : token_(std::move(token)), computer_(std::move(computer)) {}

    Verdict of(const Asked& asked, std::string_view own, bool isLoopback) const;
    const std::string& token() const { return token_; }

 private:
    bool isOwn(std::string_view host, std::string_view own, bool isLoopback) const;

    std::string token_;
    std::string computer_;  // its name, by which others may call a server that they reach
};

}  // namespace cli
