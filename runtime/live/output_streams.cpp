#include "runtime/live/output_streams.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "runtime/files/stream_wait.h"
#include "runtime/live/card.h"
#include "runtime/live/connect.h"
#include "runtime/live/feeders.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

class ConnectionStream final : public OutputStream {
 public:
    ConnectionStream(const Address& address, const LiveSettings& settings) : address_(address), settings_(settings) {
        if (address.kind == Address::Kind::tcpListen) listener_ = std::make_unique<Listener>(address);
        if (listener_ != nullptr && address.port == 0 && settings.listening)
            settings.listening(listeningText(address, listener_->port()));
    }

    void start() override {
        connection_ =
            listener_ != nullptr ? listener_->accept(settings_.timeout) : connectTo(address_, settings_.timeout);
        // What is flushed is not held back for more.
        const int isOn = 1;
        ::setsockopt(connection_.number(), IPPROTO_TCP, TCP_NODELAY, &isOn, sizeof isOn);
    }

    void write(const std::byte* from, std::size_t count) override {
        if (!connection_.isOpen()) return;  // the run failed before it began
        while (count > 0) {
            const ssize_t sent = ::send(connection_.number(), from, count, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent >= 0) {
                from += sent;
                count -= static_cast<std::size_t>(sent);
            } else if (errno == EAGAIN) {
                awaitWritable(connection_.number(), address_.text);
            } else if (errno != EINTR) {
                fail(errno);
            }
        }
    }

    // What the other side sends is not wanted, but unread, or sent to a connection that is closed, it would end the connection
    // before ours has arrived.
    void complete() override {
        if (!connection_.isOpen()) return;
        ::shutdown(connection_.number(), SHUT_WR);
        awaitDone([&] { return hasArrived(); }, address_.text);
        connection_ = Descriptor();
    }

 private:
    // Whether the other side's system has all.
    bool hasArrived() {
        std::array<std::byte, 4096> unwanted;
        ssize_t got = 1;
        while (got > 0) got = ::recv(connection_.number(), unwanted.data(), unwanted.size(), MSG_DONTWAIT);
        if (got < 0 && errno != EAGAIN && errno != EINTR) fail(errno);
        int error = 0, unsent = 0;
        socklen_t size = sizeof error;
        if (::getsockopt(connection_.number(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error != 0) fail(error);
        return address_.kind == Address::Kind::unixSocket || ::ioctl(connection_.number(), SIOCOUTQ, &unsent) != 0 ||
               unsent == 0;
    }

    [[noreturn]] void fail(int error) {
        connection_ = Descriptor();
        if (error == EPIPE || error == ECONNRESET)
            throw address_.problem("its reader has closed the connection", "start the reader again, and the run");
        throw address_.problem("cannot be written: " + std::generic_category().message(error));
    }

    Address address_;
    LiveSettings settings_;
    std::unique_ptr<Listener> listener_;
    Descriptor connection_;
};

class DatagramStream final : public OutputStream {
 public:
    DatagramStream(const Address& address, std::size_t frameBytes, const LiveSettings& settings)
        : address_(address),
          most_(std::max(usual / frameBytes, std::size_t{1}) * frameBytes),
          socket_(DatagramSocket::sending(address, settings.timeout)) {
        if (most_ > 65507)
            throw address.problem(
                "a frame of " + std::to_string(frameBytes) + " bytes fits in no datagram, of 65507 bytes",
                "send fewer channels to one address, or by tcp://");
    }

    void write(const std::byte* from, std::size_t count) override {
        for (std::size_t n = 0; count > 0; from += n, count -= n) send(from, n = std::min(count, most_));
    }
    void complete() override { send(nullptr, 0); }

 private:
    static constexpr std::size_t usual = 1472;  // bytes: what an Ethernet frame holds

    void send(const std::byte* from, std::size_t count) {
        while (!socket_.send(from, count)) awaitWritable(socket_.descriptor(), address_.text);
    }

    Address address_;
    std::size_t most_;
    DatagramSocket socket_;
};

class CardStream final : public OutputStream {
 public:
    CardStream(const Address& address, const CardRequest& request, const AlsaCalls& alsa)
        : address_(address), card_(address, request, alsa) {}

    // It plays from a full half of its buffer on, or when nothing more comes for now.
    void write(const std::byte* from, std::size_t count) override {
        for (std::size_t left = count / card_.frameBytes(); left > 0;) {
            const std::size_t took = card_.write(from, left);
            from += took * card_.frameBytes();
            left -= took;
            written_ += took;
            if (written_ >= card_.bufferFrames() / 2) card_.start();
            if (took == 0) card_.await();
        }
    }
    void flush() override {
        if (written_ > 0) card_.start();
    }
    void complete() override {
        flush();
        if (written_ > 0) card_.drain();
    }
    std::vector<std::string> notes() const override {
        if (card_.underruns() == 0) return {};
        return {address_.text + ": the sound broke off " + counted(card_.underruns(), "time") +
                ", since the run did not keep pace"};
    }

 private:
    Address address_;
    Card card_;
    std::uint64_t written_ = 0;  // frames
};

}  // namespace

std::shared_ptr<OutputStream> connectionStream(const Address& address, const LiveSettings& settings) {
    return std::make_shared<ConnectionStream>(address, settings);
}

std::shared_ptr<OutputStream> datagramStream(const Address& address, std::size_t frameBytes,
                                             const LiveSettings& settings) {
    return std::make_shared<DatagramStream>(address, frameBytes, settings);
}

std::shared_ptr<OutputStream> cardStream(const Address& address, const WriteRequest& request,
                                         const LiveSettings& settings, const AlsaCalls& alsa) {
    const CardRequest asked{.toRecord = false,
                            .type = request.type,
                            .converts = false,
                            .channels = request.channels,
                            .rate = settings.rate};
    return std::make_shared<CardStream>(address, asked, alsa);
}

}  // namespace libzepl
