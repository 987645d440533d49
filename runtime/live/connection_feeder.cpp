#include "runtime/files/formats.h"
#include "runtime/files/stream_wait.h"
#include "runtime/live/feeders.h"

namespace libzepl {

namespace {

class ConnectionFeeder final : public Feeder {
 public:
    ConnectionFeeder(const Address& address, const ReadRequest& request, const LiveSettings& settings)
        : address_(address), request_(request), settings_(settings), channels_(1) {
        const bool isRaw = kindOf(request.path, request.format) == FileKind::raw;
        if (isRaw) channels_ = channelsOfRaw();
        if (address.kind == Address::Kind::tcpListen) listener_ = std::make_unique<Listener>(address);
        if (listener_ != nullptr && address.port == 0 && settings.listening)
            settings.listening(listeningText(address, listener_->port()));
        if (!isRaw) open();
    }

    int channels() const override { return channels_; }
    std::optional<double> rate() const override {
        return source_ != nullptr && source_->rate() ? source_->rate() : settings_.rate;
    }
    std::vector<std::string> notes() const override {
        return source_ == nullptr ? std::vector<std::string>() : source_->notes();
    }

    void feed(LiveRing& ring) override {
        constexpr std::size_t piece = 8192;  // elements
        if (source_ == nullptr) open();
        const std::size_t width = widthOf(request_.type);
        std::vector<std::byte> elements(piece * width);
        while (const std::size_t n = source_->read(elements.data(), piece))
            if (!pushAll(ring, elements.data(), n, width)) return;
    }

 private:
    int channelsOfRaw() const {
        const int channels = rawChannels(request_, address_.text);
        return request_.channel && request_.elements != 0 ? 1 : channels;
    }

    void open() {
        Descriptor connection =
            listener_ != nullptr ? listener_->accept(settings_.timeout) : connectTo(address_, settings_.timeout);
        listener_.reset();
        ReadRequest request = request_;
        request.descriptor = connection.release();
        source_ = openSource(request);
        channels_ = source_->channels();
    }

    Address address_;
    ReadRequest request_;
    LiveSettings settings_;
    std::unique_ptr<Listener> listener_;
    std::unique_ptr<Source> source_;
    int channels_;
};

}  // namespace

std::string listeningText(const Address& address, std::uint16_t port) {
    return address.text.substr(0, address.text.rfind(':') + 1) + std::to_string(port);
}

std::unique_ptr<Feeder> connectionFeeder(const Address& address, const ReadRequest& request,
                                         const LiveSettings& settings) {
    return std::make_unique<ConnectionFeeder>(address, request, settings);
}

}  // namespace libzepl
