#include "runtime/live/address.h"

#include <sys/un.h>

#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

namespace libzepl {

namespace {

using Kind = Address::Kind;

struct Scheme {
    std::string_view start;
    Kind kind;
    std::string_view form;
};

constexpr std::array<Scheme, 5> schemes{{
    {"tcp://", Kind::tcp, "tcp://HOST:PORT"},
    {"tcp-listen://", Kind::tcpListen, "tcp-listen://ADDRESS:PORT"},
    {"udp://", Kind::udp, "udp://ADDRESS:PORT"},
    {"unix://", Kind::unixSocket, "unix:///PATH"},
    {"alsa:", Kind::alsa, "alsa:DEVICE"},
}};

const Scheme* schemeOf(std::string_view text) {
    for (const Scheme& scheme : schemes)
        if (text.starts_with(scheme.start)) return &scheme;
    return nullptr;
}

Problem unknownScheme(const Address& address) {
    std::vector<std::string> starts;
    std::string forms;
    for (const Scheme& scheme : schemes) {
        starts.emplace_back(scheme.start);
        forms += (forms.empty() ? "" : ", ") + std::string(scheme.form);
    }
    const std::string given = address.text.substr(0, address.text.find("://") + 3);
    const std::string near = suggestion(given, starts);
    return address.problem("there are no addresses of the form " + quoted(given + "..."),
                           near.empty() ? "the addresses are " + forms : near);
}

std::optional<std::uint16_t> portOf(std::string_view text) {
    std::uint16_t port = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), port);
    if (text.empty() || result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
    return port;
}

// HOST:PORT, with the brackets of an IPv6 address.
void takeHost(Address& address, std::string_view rest, std::string_view form) {
    const auto refuse = [&](const std::string& reason) {
        throw address.problem(reason, "write " + std::string(form) + ", as " +
                                          std::string(form.substr(0, form.find("://") + 3)) + "127.0.0.1:5000");
    };
    const std::size_t colon = rest.rfind(':');
    if (colon == std::string_view::npos || rest.substr(colon).find(']') != std::string_view::npos)
        refuse("the address has no port");
    std::string_view host = rest.substr(0, colon);
    const std::optional<std::uint16_t> port = portOf(rest.substr(colon + 1));
    if (!port) refuse(quoted(rest.substr(colon + 1)) + " is no port, which is a number from 0 to 65535");
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    else if (host.find_first_of(":[]") != std::string_view::npos)
        refuse("an IPv6 address is written in brackets, as in [::1]:5000");
    if (host.find_first_of("/ ?#@") != std::string_view::npos) refuse(quoted(host) + " is no host");
    address.host = host.empty() ? "127.0.0.1" : std::string(host);
    address.port = *port;
}

void takePath(Address& address, std::string_view path) {
    constexpr std::size_t most = sizeof(sockaddr_un::sun_path) - 1;
    if (!path.starts_with('/'))
        throw address.problem("the path of a socket begins at the root",
                              "write unix:///PATH, as unix:///run/rig.socket");
    if (path.size() > most)
        throw address.problem("the path of a socket has at most " + std::to_string(most) + " bytes, and this one " +
                                  std::to_string(path.size()),
                              "name it by a shorter path, such as a link");
    address.name = path;
}

}  // namespace

Address parseAddress(const std::string& text) {
    Address address;
    address.text = text;
    const Scheme* scheme = schemeOf(text);
    if (scheme == nullptr) throw unknownScheme(address);
    address.kind = scheme->kind;
    const std::string_view rest = std::string_view(text).substr(scheme->start.size());
    if (text.find('\0') != std::string::npos) throw address.problem("the address has a NUL character");
    switch (address.kind) {
        case Kind::unixSocket:
            takePath(address, rest);
            break;
        case Kind::alsa:
            if (rest.empty()) throw address.problem("the address names no device", "`alsa:default` is the usual one");
            address.name = rest;
            break;
        default:
            takeHost(address, rest, scheme->form);
            if (address.port == 0 && address.kind == Kind::tcp)
                throw address.problem("nobody listens at port 0", "name the port that the other program listens at");
    }
    return address;
}

}  // namespace libzepl
