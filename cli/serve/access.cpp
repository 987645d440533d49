#include "cli/serve/access.h"

#include <sys/random.h>

#include <array>
#include <charconv>
#include <utility>

#include "runtime/diagnostics.h"

namespace cli {

namespace {

// Takes as long wherever they differ.
bool areSame(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned char difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

std::string_view portOf(std::string_view hostAndPort) {
    const std::size_t colon = hostAndPort.rfind(':');
    return colon == std::string_view::npos ? std::string_view() : hostAndPort.substr(colon);
}

constexpr std::array<std::pair<std::string_view, Verdict>, 4> places{
    {{"/", Verdict::page}, {"/page.js", Verdict::script}, {"/page.css", Verdict::style}, {"/live", Verdict::live}}};

}  // namespace

ListenAddress listenAddressOf(const std::string& text) {
    const libzepl::Problem wrong(
        "--listen " + text + " is no address",
        "give a numeric address and a port, such as 127.0.0.1:8080 or [::1]:8080; port 0 takes a free one");
    ListenAddress address;
    const std::size_t colon = text.rfind(':');
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    if (colon != std::string::npos) address.host = text.substr(0, colon);
    if (address.host == "localhost") address.host = "127.0.0.1";
    const bool isBracketed = address.host.starts_with('[') && address.host.ends_with(']');
    if (isBracketed) address.host = address.host.substr(1, address.host.size() - 2);
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
    if (error != std::errc() || end != port.data() + port.size() || port.empty() || address.host.empty()) throw wrong;
    if (!isBracketed && address.host.find(':') != std::string::npos) throw wrong;
    return address;
}

std::string newToken() {
    std::array<unsigned char, 16> bits{};
    if (::getrandom(bits.data(), bits.size(), 0) != static_cast<ssize_t>(bits.size()))
        throw libzepl::Problem("the system gives no random bits for a token", "try again");
    std::string token;
    for (const unsigned char each : bits) {
        token += "0123456789abcdef"[each >> 4];
        token += "0123456789abcdef"[each & 15];
    }
    return token;
}

bool Access::isOwn(std::string_view host, std::string_view own, bool isLoopback) const {
    const std::string_view port = portOf(own);
    if (host == own) return true;
    if (isLoopback) return host == "localhost" + std::string(port);
    return host == computer_ + std::string(port);
}

// The order is that of what a stranger learns: of a request by another name, not even that the token is wrong.
Verdict Access::of(const Asked& asked, std::string_view own, bool isLoopback) const {
    if (!isOwn(asked.host, own, isLoopback)) return Verdict::wrongHost;
    if (!asked.origin.empty() && asked.origin != "http://" + std::string(asked.host)) return Verdict::wrongOrigin;
    const std::size_t question = asked.target.find('?');
    const std::string_view path = asked.target.substr(0, question);
    const std::string_view query = question == std::string_view::npos ? "" : asked.target.substr(question + 1);
    if (!areSame(query, "token=" + token_)) return Verdict::wrongToken;
    if (asked.method != "GET") return Verdict::wrongMethod;
    for (const auto& [place, verdict] : places)
        if (path == place) return (verdict == Verdict::live) == asked.isUpgrade ? verdict : Verdict::notThere;
    return Verdict::notThere;
}

}  // namespace cli
