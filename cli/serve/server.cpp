#include "cli/serve/server.h"

#include <unistd.h>

#include <utility>

// Asio needs <utility> before it.
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <set>

#include "cli/serve/bundle.h"
#include "cli/serve/page_client.h"

namespace cli {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;
using Error = boost::system::error_code;
using HttpRequest = http::request<http::empty_body>;

constexpr std::size_t mostRequests = 64;  // that are read or answered at a time
constexpr std::size_t mostPages = 16;
constexpr std::size_t mostAsked = 8192;  // bytes of a request's head, or of a page's message
constexpr std::chrono::seconds patience(10), silence(30);
constexpr std::chrono::microseconds tick(16'667);
constexpr int sendBuffer = 262144;  // bytes on their way to a page; more would only be older

std::string textOf(const tcp::endpoint& endpoint) {
    const std::string host = endpoint.address().to_string();
    return (endpoint.address().is_v6() ? "[" + host + "]" : host) + ":" + std::to_string(endpoint.port());
}

std::string nameOfComputer() {
    char name[256] = "";
    return ::gethostname(name, sizeof name - 1) == 0 ? name : "";
}

struct Reply {
    http::status status;
    std::string type;
    std::string body;
};

Reply replyFor(Verdict verdict, const Bundle& bundle) {
    const auto text = [](http::status status, std::string body) {
        return Reply{status, "text/plain; charset=utf-8", std::move(body) + "\n"};
    };
    switch (verdict) {
        case Verdict::page:
            return {http::status::ok, "text/html; charset=utf-8", bundle.page};
        case Verdict::script:
            return {http::status::ok, "text/javascript; charset=utf-8", bundle.script};
        case Verdict::style:
            return {http::status::ok, "text/css; charset=utf-8", bundle.style};
        case Verdict::wrongHost:
            return text(http::status::misdirected_request, "This server has another name.");
        case Verdict::wrongOrigin:
            return text(http::status::forbidden, "Pages of other servers get nothing here.");
        case Verdict::wrongToken:
            return text(http::status::forbidden,
                        "The token is missing or is not that of this run.\n"
                        "Open the whole address that `zepl serve` has printed.");
        case Verdict::wrongMethod:
            return text(http::status::method_not_allowed, "GET is all that is answered.");
        default:
            return text(http::status::not_found, "There is no such place.");
    }
}

}  // namespace

struct Server::Impl {
    asio::io_context io{1};
    tcp::acceptor acceptor{io};
    asio::steady_timer ticker{io};
    asio::steady_timer pause{io};
    asio::posix::stream_descriptor stopped{io};
    Access access{newToken(), nameOfComputer()};
    Bundle bundle{loadBundle(access.token())};
    std::string procedure;
    LiveRun* runs = nullptr;
    std::size_t requests = 0;
    class Page;
    std::set<std::shared_ptr<Page>> pages;
    std::uint64_t pictureVersion = 0;

    class HttpConnection;
    void listen(const ListenAddress& address);
    void accept();
    void onTick();
    void end();
    Verdict verdictOf(const HttpRequest& request, const tcp::socket& socket) const;
};

// A page's WebSocket: one message is on its way at a time.
class Server::Impl::Page : public std::enable_shared_from_this<Page> {
 public:
    Page(Impl& server, beast::tcp_stream stream)
        : server_(server), socket_(std::move(stream)), client_(*server.runs, server.procedure) {}

    void begin(const HttpRequest& request) {
        beast::get_lowest_layer(socket_).expires_never();
        websocket::stream_base::timeout times{};
        times.handshake_timeout = patience;
        times.idle_timeout = silence;
        times.keep_alive_pings = true;
        socket_.set_option(times);
        socket_.read_message_max(mostAsked);
        socket_.auto_fragment(false);
        Error ignored;
        beast::get_lowest_layer(socket_).socket().set_option(asio::socket_base::send_buffer_size(sendBuffer), ignored);
        beast::get_lowest_layer(socket_).socket().set_option(tcp::no_delay(true), ignored);
        server_.pages.insert(shared_from_this());
        socket_.async_accept(request, [self = shared_from_this()](Error error) {
            if (error) return self->leave();
            self->isOpen_ = true;
            self->read();
            self->pump();
        });
    }

    // Sends what is due, unless something is on its way.
    void pump() {
        if (!isOpen_ || isWriting_) return;
        std::optional<Message> message = client_.next(PageClient::Clock::now(), server_.pictureVersion);
        if (!message) return;
        isWriting_ = true;
        out_ = std::move(*message);
        socket_.binary(out_.isBinary);
        socket_.async_write(asio::buffer(out_.bytes), [self = shared_from_this()](Error error, std::size_t) {
            self->isWriting_ = false;
            if (error) return self->leave();
            self->pump();
        });
    }

    void cutOff() {
        isOpen_ = false;
        Error ignored;
        beast::get_lowest_layer(socket_).socket().close(ignored);
    }

 private:
    void read() {
        socket_.async_read(in_, [self = shared_from_this()](Error error, std::size_t) {
            if (error) return self->leave();
            const std::string text = beast::buffers_to_string(self->in_.data());
            self->in_.consume(self->in_.size());
            if (!self->socket_.got_text() || !self->client_.receive(text, PageClient::Clock::now())) {
                self->cutOff();
                return self->leave();
            }
            self->pump();
            self->read();
        });
    }

    void leave() {
        isOpen_ = false;
        server_.pages.erase(shared_from_this());
    }

    Impl& server_;
    websocket::stream<beast::tcp_stream> socket_;
    PageClient client_;
    beast::flat_buffer in_;
    Message out_;
    bool isOpen_ = false;
    bool isWriting_ = false;
};

// One request and its answer.
class Server::Impl::HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
    HttpConnection(Impl& server, tcp::socket socket) : server_(server), stream_(std::move(socket)) {
        ++server_.requests;
        parser_.header_limit(mostAsked);
        parser_.body_limit(0);
    }
    ~HttpConnection() { --server_.requests; }

    void begin() {
        stream_.expires_after(patience);
        http::async_read(stream_, buffer_, parser_, [self = shared_from_this()](Error error, std::size_t) {
            if (!error) self->answer();
        });
    }

 private:
    void answer() {
        const HttpRequest& request = parser_.get();
        const Verdict verdict = server_.verdictOf(request, stream_.socket());
        if (verdict == Verdict::live) {
            if (server_.pages.size() >= mostPages)
                return send({http::status::service_unavailable, "text/plain", "Too many pages are open.\n"});
            return std::make_shared<Page>(server_, std::move(stream_))->begin(request);
        }
        send(replyFor(verdict, server_.bundle));
    }

    void send(Reply reply) {
        // The page runs its own script alone, talks to this server alone, and stands in no other page.
        const std::string host(parser_.get()[http::field::host]);
        const std::string policy =
            "default-src 'none'; script-src 'self'; style-src 'self' 'unsafe-inline'; img-src 'self' data: blob:; "
            "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; connect-src 'self'" +
            (reply.status == http::status::ok ? " ws://" + host : std::string());
        response_.result(reply.status);
        response_.set(http::field::content_type, reply.type);
        response_.set(http::field::cache_control, "no-store");
        response_.set("Content-Security-Policy", policy);
        response_.set("X-Content-Type-Options", "nosniff");
        response_.set("Referrer-Policy", "no-referrer");
        response_.set("Cross-Origin-Resource-Policy", "same-origin");
        response_.set("Cross-Origin-Opener-Policy", "same-origin");
        response_.body() = std::move(reply.body);
        response_.keep_alive(false);
        response_.prepare_payload();
        stream_.expires_after(patience);
        http::async_write(stream_, response_, [self = shared_from_this()](Error, std::size_t) {
            Error ignored;
            self->stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
        });
    }

    Impl& server_;
    beast::tcp_stream stream_;
    beast::flat_buffer buffer_{mostAsked};
    http::request_parser<http::empty_body> parser_;
    http::response<http::string_body> response_;
};

void Server::Impl::listen(const ListenAddress& address) {
    const auto refused = [&](const Error& error) {
        return libzepl::Problem(
            "cannot listen on " + address.host + " port " + std::to_string(address.port) + ": " + error.message(),
            "give another address with --listen; port 0 takes a free one");
    };
    Error error;
    const tcp::endpoint endpoint(asio::ip::make_address(address.host, error), address.port);
    if (error) throw refused(error);
    acceptor.open(endpoint.protocol(), error);
    if (!error) acceptor.set_option(asio::socket_base::reuse_address(true), error);
    if (!error) acceptor.bind(endpoint, error);
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error) throw refused(error);
}

Verdict Server::Impl::verdictOf(const HttpRequest& request, const tcp::socket& socket) const {
    const auto text = [](auto view) { return std::string_view(view.data(), view.size()); };
    Error gone;
    const tcp::endpoint own = socket.local_endpoint(gone);
    // A header that is there twice is not to be read as either.
    const bool isPlain = request.count(http::field::host) == 1 && request.count(http::field::origin) <= 1;
    if (gone || !isPlain) return Verdict::wrongHost;
    return access.of({.method = text(request.method_string()),
                      .target = text(request.target()),
                      .host = text(request[http::field::host]),
                      .origin = text(request[http::field::origin]),
                      .isUpgrade = websocket::is_upgrade(request)},
                     textOf(own), own.address().is_loopback());
}

void Server::Impl::accept() {
    acceptor.async_accept([this](Error error, tcp::socket socket) {
        if (!acceptor.is_open()) return;
        // Where the system has no more descriptors, some time has to pass.
        if (error) {
            pause.expires_after(std::chrono::milliseconds(100));
            return pause.async_wait([this](Error) { accept(); });
        }
        if (requests < mostRequests) std::make_shared<HttpConnection>(*this, std::move(socket))->begin();
        accept();
    });
}

void Server::Impl::onTick() {
    const std::shared_ptr<Watching> watching = runs->watching();
    if (watching != nullptr && watching->poll()) ++pictureVersion;
    // One that leaves is taken from the set.
    const std::vector<std::shared_ptr<Page>> now(pages.begin(), pages.end());
    for (const std::shared_ptr<Page>& page : now) page->pump();
    ticker.expires_after(tick);
    ticker.async_wait([this](Error error) {
        if (!error) onTick();
    });
}

void Server::Impl::end() {
    Error ignored;
    acceptor.close(ignored);
    for (const std::shared_ptr<Page>& page : std::exchange(pages, {})) page->cutOff();
    io.stop();
}

Server::Server(const ListenAddress& address) : impl_(std::make_unique<Impl>()) { impl_->listen(address); }
Server::~Server() = default;

std::string Server::address() const {
    return "http://" + textOf(impl_->acceptor.local_endpoint()) + "/?token=" + impl_->access.token();
}

bool Server::isLoopback() const { return impl_->acceptor.local_endpoint().address().is_loopback(); }

void Server::run(LiveRun& runs, const std::string& procedure, const libzepl::StopRequest& stop) {
    impl_->runs = &runs;
    impl_->procedure = procedure;
    impl_->stopped.assign(::dup(stop.descriptor()));
    impl_->stopped.async_wait(asio::posix::stream_descriptor::wait_read, [this](Error) { impl_->end(); });
    impl_->accept();
    impl_->onTick();
    impl_->io.run();
}

}  // namespace cli
