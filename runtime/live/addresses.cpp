#include "runtime/addresses.h"

#include "runtime/files/convert.h"
#include "runtime/files/formats.h"
#include "runtime/live/card_feeder.h"
#include "runtime/live/feeders.h"
#include "runtime/live/output_streams.h"

namespace libzepl {

namespace {

using Kind = Address::Kind;

constexpr std::size_t ringBytes = std::size_t{1} << 20, ringBytesWithoutWait = std::size_t{8} << 20;

bool isWithoutWait(const Address& address) { return address.kind == Kind::udp || address.kind == Kind::alsa; }

// What is there of a source that is only checked.
class UnreadSource final : public Source {
 public:
    UnreadSource(int channels, std::optional<double> rate) : channels_(channels), rate_(rate) {}
    std::size_t read(void*, std::size_t) override { return 0; }
    std::optional<std::uint64_t> length() const override { return std::nullopt; }
    int channels() const override { return channels_; }
    std::optional<double> rate() const override { return rate_; }

 private:
    int channels_;
    std::optional<double> rate_;
};

void checkSettings(const Address& address, const LiveSettings& settings) {
    if (settings.timeout && address.kind == Kind::alsa)
        throw address.problem("a sound card is there or not: `timeout` has no use", "leave it out");
    if (settings.fill && !isWithoutWait(address))
        throw address.problem("a connection waits, and loses nothing: `fill` has no use", "leave it out");
}

void checkFormat(const Address& address, FileKind kind) {
    if (kind != FileKind::raw && isWithoutWait(address))
        throw address.problem(address.kind == Kind::udp ? "datagrams hold raw samples, in the pipe's type"
                                                        : "a sound card has samples, and no format of a file",
                              "leave `format` out, or connect by tcp://");
}

// The channels that a source would have, where that is known without it.
int channelsUnread(const Address& address, const ReadRequest& request, FileKind kind) {
    if (address.kind == Kind::alsa && request.channel) return 1;
    if (kind == FileKind::raw) return rawChannels(request, address.text);
    return request.isSplit && request.elements == 0
               ? maxChannels
               : static_cast<int>(request.interleaved.value_or(request.isSplit ? request.elements : 1));
}

std::unique_ptr<Feeder> feederOf(const Address& address, const ReadRequest& request, const LiveSettings& settings) {
    if (address.kind == Kind::udp) return datagramFeeder(address, request, settings);
    if (address.kind == Kind::alsa) return cardFeeder(address, request, settings);
    return connectionFeeder(address, request, settings);
}

}  // namespace

std::unique_ptr<Source> openLiveSource(const ReadRequest& request, const LiveSettings& settings) {
    const Address address = parseAddress(request.path.string());
    const FileKind kind = kindOf(request.path, request.format);
    conversionOf(request);
    checkSettings(address, settings);
    checkFormat(address, kind);
    if (settings.checkOnly)
        return std::make_unique<UnreadSource>(channelsUnread(address, request, kind), settings.rate);
    const std::size_t width = widthOf(request.type);
    const std::size_t usual = (isWithoutWait(address) ? ringBytesWithoutWait : ringBytes) / width;
    std::unique_ptr<Feeder> feeder = feederOf(address, request, settings);
    const std::size_t frame = static_cast<std::size_t>(feeder->channels());
    const std::size_t capacity = std::max(settings.capacity > 0 ? settings.capacity : usual, frame);
    return std::make_unique<FedSource>(address.text, std::move(feeder), std::make_shared<LiveRing>(capacity, width));
}

std::shared_ptr<OutputStream> openLiveStream(const WriteRequest& request, const LiveSettings& settings) {
    const Address address = parseAddress(request.path.string());
    checkSettings(address, settings);
    checkFormat(address, kindOf(request.path, request.format));
    if (settings.checkOnly) return nullptr;
    const std::size_t frame = widthOf(request.type) * static_cast<std::size_t>(request.channels);
    if (address.kind == Kind::udp) return datagramStream(address, frame, settings);
    if (address.kind == Kind::alsa) return cardStream(address, request, settings);
    return connectionStream(address, settings);
}

}  // namespace libzepl
