#include "runtime/live/connect.h"

#include <fcntl.h>
#include <linux/sock_diag.h>
#include <netinet/tcp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <charconv>
#include <cstring>
#include <thread>
#include <utility>

#include "runtime/files/stream_wait.h"
#include "runtime/live/wake.h"

namespace libzepl {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using asio::ip::udp;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

Deadline deadlineOf(std::optional<double> seconds) {
    if (!seconds) return std::nullopt;
    constexpr double most = 1e9;  // past which it makes no difference
    return Clock::now() +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(std::min(*seconds, most)));
}

std::string secondsText(double seconds) {
    std::array<char, 32> text;
    return std::string(text.data(), std::to_chars(text.data(), text.data() + text.size(), seconds).ptr) +
           (seconds == 1 ? " second" : " seconds");
}

// One asynchronous operation after the other: each ends when it is done, when its time is up, and, with Interrupted, when a
// stop is requested.
class Operations {
 public:
    explicit Operations(const Address& address) : address_(address) {}

    asio::io_context& context() { return context_; }

    // `start` begins the operation, with the function to be called at its end; `cancel` ends it early.
    template <class Start, class Cancel>
    error_code await(const Deadline& deadline, Start start, Cancel cancel) {
        error_code result;
        bool stopped = false, isLate = false;
        asio::steady_timer timer(context_);
        std::vector<asio::posix::stream_descriptor> stops;
        for (const int descriptor : stopDescriptors()) {
            if (descriptor < 0) continue;
            stops.emplace_back(context_, ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
            stops.back().async_wait(asio::posix::descriptor_base::wait_read, [&](error_code error) {
                if (error) return;
                stopped = true;
                cancel();
            });
        }
        if (deadline) {
            timer.expires_at(*deadline);
            timer.async_wait([&](error_code error) {
                if (error) return;
                isLate = true;
                cancel();
            });
        }
        start([&](error_code error) {
            result = error;
            timer.cancel();
            error_code ignored;
            for (auto& stop : stops) stop.cancel(ignored);
        });
        context_.restart();
        context_.run();
        if (stopped) throw Interrupted(address_.text);
        return isLate && result == asio::error::operation_aborted ? error_code(asio::error::timed_out) : result;
    }

    // Waits for a while, but not past the time.
    void pause(const Deadline& deadline) {
        constexpr std::chrono::milliseconds between(20);
        asio::steady_timer timer(context_,
                                 deadline ? std::min(*deadline, Clock::now() + between) : Clock::now() + between);
        await(
            {}, [&](auto done) { timer.async_wait(done); }, [&] { timer.cancel(); });
    }

 private:
    const Address& address_;
    asio::io_context context_;
};

// Names are looked up on a thread that nobody has to wait for: the system's own call cannot be ended.
struct Lookup {
    std::vector<asio::ip::address> found;
    error_code error;
    std::atomic<bool> isDone{false};
    Wake done;
};

std::vector<asio::ip::address> addressesOf(const Address& address, const Deadline& deadline) {
    error_code error;
    const asio::ip::address numeric = asio::ip::make_address(address.host, error);
    if (!error) return {numeric};
    const auto lookup = std::make_shared<Lookup>();
    lookup->done.arm();
    std::thread([lookup, host = address.host] {
        asio::io_context context;
        for (const auto& each : tcp::resolver(context).resolve(host, "", lookup->error))
            lookup->found.push_back(each.endpoint().address());
        lookup->isDone.store(true, std::memory_order_seq_cst);
        lookup->done.notify();
    }).detach();
    std::vector<pollfd> awaited{{lookup->done.descriptor(), POLLIN, 0}};
    const bool isInTime = awaitEvents(awaited, deadline);
    endIfStopped(address.text);
    if (!isInTime) throw address.problem("the host's address was not found in time", "check the name and the network");
    if (lookup->error || lookup->found.empty())
        throw address.problem("there is no host " + quoted(address.host), "check the name, or give its number");
    return std::move(lookup->found);
}

// Whether somebody who comes later can mend it.
bool mayPass(const error_code& error) {
    namespace errors = boost::system::errc;
    for (const auto passing :
         {errors::connection_refused, errors::no_such_file_or_directory, errors::host_unreachable,
          errors::network_unreachable, errors::connection_reset, errors::resource_unavailable_try_again})
        if (error == passing) return true;
    return false;
}

Problem connectProblem(const Address& address, const error_code& error, double timeout) {
    if (address.kind == Address::Kind::unixSocket && error == boost::system::errc::permission_denied)
        return address.problem("you are not permitted to connect to it", "change the socket's permissions");
    const bool isPassing = mayPass(error) || error == asio::error::timed_out;
    const std::string within = isPassing ? " within " + secondsText(timeout) : "";
    const bool isAbsent = error == boost::system::errc::no_such_file_or_directory;
    const std::string reason = isAbsent                                   ? "there is no such socket"
                               : error == asio::error::connection_refused ? "nobody listens there"
                               : error == asio::error::timed_out          ? "nobody answers"
                                                                          : error.message();
    return address.problem("no connection" + within + ": " + reason,
                           "start the program that listens there; `timeout SECONDS` after the address waits longer");
}

// A connection of which nothing is heard is asked after 30 seconds, and is lost when it does not answer for 30 more.
Descriptor kept(int descriptor) {
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    const auto set = [&](int level, int option, int value) {
        ::setsockopt(descriptor, level, option, &value, sizeof value);
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 30);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 10);
    set(IPPROTO_TCP, TCP_KEEPCNT, 3);
    return Descriptor(descriptor);
}

template <class Socket, class Endpoint>
Descriptor connected(const Address& address, const std::vector<Endpoint>& endpoints, double timeout,
                     const Deadline& deadline) {
    Operations operations(address);
    for (;;) {
        error_code error;
        for (const Endpoint& endpoint : endpoints) {
            Socket socket(operations.context());
            error = operations.await(
                deadline, [&](auto done) { socket.async_connect(endpoint, done); },
                [&] {
                    error_code ignored;
                    socket.cancel(ignored);
                });
            if (error) continue;
            return kept(socket.release());
        }
        if (!mayPass(error) || Clock::now() >= *deadline) throw connectProblem(address, error, timeout);
        operations.pause(deadline);
    }
}

// A path that is something else than a socket will not become one.
void checkSocket(const Address& address) {
    struct stat status {};
    if (::stat(address.name.c_str(), &status) == 0 && !S_ISSOCK(status.st_mode))
        throw address.problem("is no socket", "name the socket of the program that listens");
}

Problem bindProblem(const Address& address, const error_code& error) {
    if (error == asio::error::address_in_use)
        return address.problem("the port is in use",
                               "end the program that has it, or take another; port 0 takes a free one");
    if (error == asio::error::access_denied)
        return address.problem("you are not permitted to use that port", "take one above 1023");
    if (error == boost::system::errc::address_not_available)
        return address.problem("this machine has no such address",
                               "give one of its own; without an address it is 127.0.0.1, and 0.0.0.0 is all of them");
    return address.problem("cannot listen there: " + error.message());
}

// As a step of opening it.
template <class Step>
void must(const Address& address, Step step) {
    error_code error;
    step(error);
    if (error) throw bindProblem(address, error);
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    Descriptor old(std::exchange(number_, other.release()));
    return *this;
}

Descriptor::~Descriptor() {
    if (number_ >= 0) ::close(number_);
}

int Descriptor::release() noexcept { return std::exchange(number_, -1); }

Descriptor connectTo(const Address& address, std::optional<double> given) {
    const double timeout = given.value_or(connectTimeout);
    const Deadline deadline = deadlineOf(timeout);
    if (address.kind == Address::Kind::unixSocket) {
        checkSocket(address);
        const std::vector<asio::local::stream_protocol::endpoint> endpoints{{address.name}};
        return connected<asio::local::stream_protocol::socket>(address, endpoints, timeout, deadline);
    }
    std::vector<tcp::endpoint> endpoints;
    for (const auto& each : addressesOf(address, deadline)) endpoints.emplace_back(each, address.port);
    return connected<tcp::socket>(address, endpoints, timeout, deadline);
}

struct Listener::Acceptor {
    explicit Acceptor(const Address& address) : operations(address), acceptor(operations.context()) {}
    Operations operations;
    tcp::acceptor acceptor;
};

Listener::Listener(const Address& address) : address_(address), acceptor_(std::make_unique<Acceptor>(address_)) {
    const tcp::endpoint endpoint(addressesOf(address_, {}).front(), address_.port);
    tcp::acceptor& acceptor = acceptor_->acceptor;
    must(address_, [&](error_code& error) { acceptor.open(endpoint.protocol(), error); });
    ::fcntl(acceptor.native_handle(), F_SETFD, FD_CLOEXEC);
    must(address_, [&](error_code& error) { acceptor.set_option(tcp::acceptor::reuse_address(true), error); });
    must(address_, [&](error_code& error) { acceptor.bind(endpoint, error); });
    must(address_, [&](error_code& error) { acceptor.listen(1, error); });
}

Listener::~Listener() = default;

std::uint16_t Listener::port() const { return acceptor_->acceptor.local_endpoint().port(); }

Descriptor Listener::accept(std::optional<double> timeout) {
    tcp::socket socket(acceptor_->operations.context());
    const error_code error = acceptor_->operations.await(
        deadlineOf(timeout), [&](auto done) { acceptor_->acceptor.async_accept(socket, done); },
        [&] { acceptor_->acceptor.cancel(); });
    if (error == asio::error::timed_out)
        throw address_.problem("nobody connected within " + secondsText(*timeout),
                               "start the other program; `timeout SECONDS` after the address waits longer");
    if (error) throw address_.problem("cannot be connected to: " + error.message());
    acceptor_->acceptor.close();
    return kept(socket.release());
}

Descriptor Listener::acceptNow() {
    error_code error;
    acceptor_->acceptor.non_blocking(true, error);
    tcp::socket socket(acceptor_->operations.context());
    acceptor_->acceptor.accept(socket, error);
    return error ? Descriptor() : Descriptor(socket.release());
}

DatagramSocket DatagramSocket::receiving(const Address& address) {
    constexpr int bufferBytes = 4 << 20;  // the system gives what it allows
    const udp::endpoint endpoint(addressesOf(address, {}).front(), address.port);
    asio::io_context context;
    udp::socket socket(context);
    must(address, [&](error_code& error) { socket.open(endpoint.protocol(), error); });
    error_code ignored;
    socket.set_option(asio::socket_base::receive_buffer_size(bufferBytes), ignored);
    const int counts = 1;
    ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RXQ_OVFL, &counts, sizeof counts);
    must(address, [&](error_code& error) { socket.bind(endpoint, error); });
    DatagramSocket result;
    result.address_ = address;
    result.port_ = socket.local_endpoint().port();
    result.descriptor_ = Descriptor(socket.release());
    ::fcntl(result.descriptor(), F_SETFD, FD_CLOEXEC);
    return result;
}

DatagramSocket DatagramSocket::sending(const Address& address, std::optional<double> timeout) {
    if (address.port == 0) throw address.problem("nobody receives at port 0", "name the port of the other program");
    const udp::endpoint endpoint(addressesOf(address, deadlineOf(timeout)).front(), address.port);
    asio::io_context context;
    udp::socket socket(context);
    must(address, [&](error_code& error) { socket.open(endpoint.protocol(), error); });
    DatagramSocket result;
    result.address_ = address;
    const auto* bytes = reinterpret_cast<const std::byte*>(endpoint.data());
    result.peer_.assign(bytes, bytes + endpoint.size());
    result.descriptor_ = Descriptor(socket.release());
    ::fcntl(result.descriptor(), F_SETFD, FD_CLOEXEC);
    return result;
}

std::uint32_t DatagramSocket::dropped() const {
    std::array<std::uint32_t, SK_MEMINFO_VARS> facts{};
    socklen_t size = sizeof facts;
    ::getsockopt(descriptor_.number(), SOL_SOCKET, SO_MEMINFO, facts.data(), &size);
    return facts[SK_MEMINFO_DROPS];
}

bool DatagramSocket::send(const void* bytes, std::size_t count) const {
    for (;;) {
        const auto* peer = reinterpret_cast<const sockaddr*>(peer_.data());
        const ssize_t sent = ::sendto(descriptor(), bytes, count, MSG_DONTWAIT | MSG_NOSIGNAL, peer,
                                      static_cast<socklen_t>(peer_.size()));
        if (sent >= 0 || errno == ECONNREFUSED) return true;
        if (errno == EAGAIN || errno == ENOBUFS) return false;
        if (errno != EINTR)
            throw address_.problem("cannot be sent to: " +
                                   error_code(errno, boost::system::system_category()).message());
    }
}

}  // namespace libzepl
