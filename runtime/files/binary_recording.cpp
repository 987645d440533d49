#include "runtime/files/binary_recording.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>
#include <utility>

#include "runtime/diagnostics.h"
#include "runtime/files/sound_layout.h"

namespace libzepl {

namespace {

// Multi-byte samples and elements are copied from and to little-endian files as they lie in memory.
static_assert(std::endian::native == std::endian::little);

template <class Stored, class Sample>
void widen(const std::byte* from, std::size_t count, SampleBlock& block) {
    auto& samples = samplesIn<Sample>(block, count);
    if constexpr (std::is_same_v<Stored, Sample>) {
        if (count > 0) std::memcpy(samples.data(), from, count * sizeof(Sample));
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            Stored stored;
            std::memcpy(&stored, from + i * sizeof(Stored), sizeof(Stored));
            samples[i] = stored;
        }
    }
}

void widenUnsigned(const std::byte* from, std::size_t count, int bits, SampleBlock& block) {
    if (bits == 8) return widen<std::uint8_t, std::int64_t>(from, count, block);
    if (bits == 16) return widen<std::uint16_t, std::int64_t>(from, count, block);
    if (bits == 32) return widen<std::uint32_t, std::int64_t>(from, count, block);
    widen<std::int64_t, std::int64_t>(from, count, block);
}

void widenAll(const std::byte* from, std::size_t count, SampleFormat format, SampleBlock& block) {
    if (format.kind == SampleFormat::Kind::unsignedInteger) return widenUnsigned(from, count, format.bits, block);
    if (format.kind == SampleFormat::Kind::real) {
        if (format.bits == 32) return widen<float, float>(from, count, block);
        return widen<double, double>(from, count, block);
    }
    if (format.bits == 8) return widen<std::int8_t, std::int64_t>(from, count, block);
    if (format.bits == 16) return widen<std::int16_t, std::int16_t>(from, count, block);
    if (format.bits == 32) return widen<std::int32_t, std::int32_t>(from, count, block);
    widen<std::int64_t, std::int64_t>(from, count, block);
}

constexpr std::size_t maxFrame = std::size_t{1} << 20;  // bytes that are read together

}  // namespace

std::string incompleteSample(std::uint64_t rest, const RecordingFacts& facts) {
    return "it ends with " + counted(rest, "byte") + " of an incomplete " +
           (facts.channels == 1
                ? describe(facts.format) + " sample"
                : "frame of " + std::to_string(facts.channels) + " " + describe(facts.format) + " samples");
}

BinaryRecording::BinaryRecording(std::unique_ptr<InputFile> file, const RecordingFacts& facts, bool bigEndian,
                                 Completeness complete)
    : Recording(facts),
      file_(std::move(file)),
      width_(static_cast<std::size_t>(facts.format.bits) / 8),
      unit_(width_ * static_cast<std::size_t>(facts.channels)),
      bigEndian_(bigEndian),
      complete_(std::move(complete)) {
    if (unit_ > maxFrame) unit_ = width_;
    bytes_.resize(std::max<std::size_t>(blockSize * width_ / unit_, 1) * unit_);
    if (facts.frames) left_ = *facts.frames * static_cast<std::uint64_t>(facts.channels);
}

// Reads on, byte by byte, while what came of a stream could be the beginning of a header.
std::size_t BinaryRecording::restOfStart(std::size_t got) {
    const auto* start = reinterpret_cast<const char*>(bytes_.data());
    std::size_t more = 0;
    while (got > 0 && got + more < bytes_.size() && mayBecomeStart({start, got + more}) &&
           file_->read(bytes_.data() + got + more, 1) == 1)
        ++more;
    return more;
}

// The bytes of the next whole frames: what is there, so that a stream is held up neither for a full block nor by a frame of
// which a part has come.
std::size_t BinaryRecording::readBytes() {
    if (ended_) return 0;
    const std::uint64_t samples = bytes_.size() / width_;
    const auto wanted = static_cast<std::size_t>(std::min(left_.value_or(samples), samples) * width_);
    std::memmove(bytes_.data(), bytes_.data() + given_, rest_);
    std::size_t got = rest_;
    while (got < std::min(unit_, wanted) && !ended_) {
        std::size_t more = file_->readSome(bytes_.data() + got, wanted - got);
        if (std::exchange(refusesHeaders_, false)) {
            more += restOfStart(more);
            refuseHeader(file_->name(), bytes_.data(), more);
        }
        ended_ = more == 0;
        got += more;
    }
    ended_ |= wanted == 0;
    rest_ = got % unit_;
    given_ = got - rest_;
    if (left_ && ended_ && wanted > rest_)
        complete_.lacks("it ends " + counted(*left_ - given_ / width_, "sample") +
                        " before the end that its header announces");
    else if (ended_ && rest_ != 0)
        complete_.lacks(incompleteSample(rest_, facts()));
    if (left_) *left_ -= given_ / width_;
    return given_;
}

void BinaryRecording::read(SampleBlock& block) {
    const std::size_t got = readBytes();
    if (bigEndian_)
        for (std::size_t at = 0; at < got; at += width_) std::reverse(bytes_.data() + at, bytes_.data() + at + width_);
    widenAll(bytes_.data(), got / width_, facts().format, block);
}

void refuseHeader(const std::string& name, const std::byte* start, std::size_t count) {
    const std::string_view format = formatStartingWith({reinterpret_cast<const char*>(start), count});
    if (format.empty()) return;
    std::string word(format);
    for (char& letter : word) letter = static_cast<char>(std::tolower(letter));
    throw fileProblem(name, "it starts as " + std::string(format) + " files do, and raw samples are expected",
                      "read it in that format, by `-." + word + "` for standard input or `format " + word +
                          "`; `format raw` takes it as samples all the same");
}

}  // namespace libzepl
