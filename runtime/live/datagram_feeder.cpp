#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>

#include "runtime/files/formats.h"
#include "runtime/files/stream_wait.h"
#include "runtime/live/feeders.h"
#include "runtime/live/loss.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

struct Datagram {
    std::size_t bytes = 0;
    std::uint32_t dropped = 0;  // datagrams that the system has dropped before this one, in all
};

class DatagramFeeder final : public Feeder {
 public:
    DatagramFeeder(const Address& address, const ReadRequest& request, const LiveSettings& settings)
        : address_(address),
          settings_(settings),
          width_(widthOf(request.type)),
          channels_(static_cast<std::size_t>(rawChannels(request, address.text))),
          socket_(DatagramSocket::receiving(address)),
          buffer_(std::size_t{1} << 16) {
        if (address.port == 0 && settings.listening) settings.listening(listeningText(address, socket_.port()));
    }

    int channels() const override { return static_cast<int>(channels_); }
    std::optional<double> rate() const override { return settings_.rate; }

    void feed(LiveRing& ring) override {
        feed_ = std::make_unique<LossyFeed>(ring, width_, channels_, settings_.fill);
        awaitFirst();
        Datagram last;
        try {
            while (!ring.closed.load(std::memory_order_seq_cst)) {
                const Datagram next = receive();
                const std::uint64_t frames = framesOf(next.bytes);
                loseBetween(last, next.dropped, frames);
                if (frames == 0) return;
                feed_->push(buffer_.data(), frames);
                last = next;
            }
        } catch (const Interrupted&) {
            // No other datagram comes to say what was dropped.
            loseBetween(last, socket_.dropped(), 0);
            throw;
        }
    }

    Losses losses(std::uint64_t framesTaken) const override {
        return feed_ == nullptr ? Losses{} : feed_->before(framesTaken);
    }

 private:
    // What was dropped after a datagram is taken to have been like it.
    void loseBetween(const Datagram& last, std::uint32_t dropped, std::uint64_t framesOfNext) {
        feed_->lose((dropped - last.dropped) * (last.bytes > 0 ? framesOf(last.bytes) : framesOfNext), true);
    }

    void awaitFirst() {
        if (!settings_.timeout) return;
        std::vector<pollfd> awaited{{socket_.descriptor(), POLLIN, 0}};
        const auto due = std::chrono::duration<double>(std::min(*settings_.timeout, 1e9));
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(due);
        if (!awaitEvents(awaited, deadline))
            throw address_.problem("no datagram came in time",
                                   "start the program that sends; `timeout SECONDS` after the address waits longer");
    }

    std::uint64_t framesOf(std::size_t bytes) const {
        const std::size_t frame = width_ * channels_;
        if (bytes % frame == 0) return bytes / frame;
        throw address_.problem("a datagram of " + counted(bytes, "byte") + " is no whole number of frames, of " +
                                   counted(frame, "byte") + " each",
                               "send whole frames; the pipe's type and channels say how long they are");
    }

    Datagram receive() {
        for (;;) {
            awaitReadable(socket_.descriptor(), address_.text);
            iovec piece{buffer_.data(), buffer_.size()};
            alignas(cmsghdr) std::byte control[CMSG_SPACE(sizeof(std::uint32_t))];
            msghdr message{};
            message.msg_iov = &piece;
            message.msg_iovlen = 1;
            message.msg_control = control;
            message.msg_controllen = sizeof control;
            const ssize_t got = ::recvmsg(socket_.descriptor(), &message, MSG_DONTWAIT);
            if (got < 0 && errno != EAGAIN && errno != EINTR)
                throw address_.problem("cannot be received: " + std::generic_category().message(errno));
            if (got >= 0) return {static_cast<std::size_t>(got), droppedOf(message)};
        }
    }

    // The system says it with each datagram once it has dropped one.
    static std::uint32_t droppedOf(msghdr& message) {
        std::uint32_t dropped = 0;
        for (cmsghdr* each = CMSG_FIRSTHDR(&message); each != nullptr; each = CMSG_NXTHDR(&message, each))
            if (each->cmsg_level == SOL_SOCKET && each->cmsg_type == SO_RXQ_OVFL)
                std::memcpy(&dropped, CMSG_DATA(each), sizeof dropped);
        return dropped;
    }

    Address address_;
    LiveSettings settings_;
    std::size_t width_, channels_;
    DatagramSocket socket_;
    std::vector<std::byte> buffer_;
    std::unique_ptr<LossyFeed> feed_;
};

}  // namespace

std::unique_ptr<Feeder> datagramFeeder(const Address& address, const ReadRequest& request,
                                       const LiveSettings& settings) {
    return std::make_unique<DatagramFeeder>(address, request, settings);
}

}  // namespace libzepl
