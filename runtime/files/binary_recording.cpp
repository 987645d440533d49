#include "runtime/files/binary_recording.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "runtime/diagnostics.h"

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

}  // namespace

Problem incompleteSample(const std::string& name, std::uint64_t rest, SampleFormat format) {
    return fileProblem(name,
                       "it ends with " + counted(rest, "byte") + " of an incomplete " + describe(format) + " sample",
                       "check the type and that the file is whole");
}

BinaryRecording::BinaryRecording(std::unique_ptr<InputFile> file, const RecordingFacts& facts, bool bigEndian)
    : Recording(facts),
      file_(std::move(file)),
      width_(static_cast<std::size_t>(facts.format.bits) / 8),
      bigEndian_(bigEndian),
      bytes_(blockSize * width_) {
    if (facts.frames) left_ = *facts.frames * static_cast<std::uint64_t>(facts.channels);
}

// The bytes of the next whole samples: what is there, so that a stream is not held up for a full block.
std::size_t BinaryRecording::readBytes() {
    const std::uint64_t wanted = std::min<std::uint64_t>(left_.value_or(blockSize), blockSize) * width_;
    std::size_t got = file_->readSome(bytes_.data(), static_cast<std::size_t>(wanted));
    if (got % width_ != 0) got += file_->read(bytes_.data() + got, width_ - got % width_);
    if (got % width_ != 0) throw incompleteSample(file_->name(), got % width_, facts().format);
    if (left_ && got == 0 && wanted > 0)
        throw fileProblem(file_->name(),
                          "it ends " + counted(*left_, "sample") + " before the end that its header tells of",
                          "check that the file is whole");
    if (left_) *left_ -= got / width_;
    return got;
}

void BinaryRecording::read(SampleBlock& block) {
    const std::size_t got = readBytes();
    if (bigEndian_)
        for (std::size_t at = 0; at < got; at += width_) std::reverse(bytes_.data() + at, bytes_.data() + at + width_);
    widenAll(bytes_.data(), got / width_, facts().format, block);
}

}  // namespace libzepl
