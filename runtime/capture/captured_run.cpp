#include "runtime/capture/captured_run.h"

#include <bit>
#include <cstring>
#include <string_view>

#include "runtime/capture/sums.h"
#include "runtime/capture/varint.h"
#include "runtime/diagnostics.h"
#include "runtime/files/output_file.h"

namespace libzepl {

namespace {

constexpr std::string_view magic = "zepl capture\n";

// One walk over all fields serves writing and reading, so that they cannot differ.
template <class Archive>
void walk(Archive& archive, ReportModule& module) {
    archive(module.name, module.build, module.interfaceVersion);
}
template <class Archive>
void walk(Archive& archive, TriggerRow& row) {
    archive(row.asserts, row.position);
}
template <class Archive>
void walk(Archive& archive, CapturedInput& input) {
    archive(input.pipe, input.name, input.type, input.channels, input.length, input.rate, input.isMemory);
}
template <class Archive>
void walk(Archive& archive, CapturedRows& rows) {
    archive(rows.trigger, rows.name, rows.rows);
}
template <class Archive>
void walk(Archive& archive, CapturedVariable& variable) {
    archive(variable.name, variable.type, variable.cell, variable.isSet);
}
template <class Archive>
void walk(Archive& archive, CapturedVector& vector) {
    archive(vector.name, vector.type, vector.bytes);
}
template <class Archive>
void walk(Archive& archive, CapturedOutput::Member& member) {
    archive(member.channel, member.name, member.type, member.channels);
}
template <class Archive>
void walk(Archive& archive, CapturedOutput& output) {
    archive(output.kind, output.name, output.isTable, output.isKept, output.limit, output.members);
}
template <class Archive>
void walk(Archive& archive, CapturedRun& run) {
    archive(run.build, run.interfaceVersion, run.modules);
    archive(run.hasProcedure, run.procedure, run.textSum, run.feedGiven, run.values, run.inputFiles, run.outputFiles,
            run.lengths, run.vectors);
    SessionOptions& options = run.options;
    archive(options.feed.kind, options.feed.piece, options.feed.seed, options.block, options.memoryLimit, options.rate,
            options.info, options.startTime, options.patience);
    archive(run.shortcuts, run.inputs, run.rows, run.variables, run.outputs);
}

class Writer {
 public:
    template <class... Fields>
    void operator()(Fields&... fields) {
        (put(fields), ...);
    }
    const std::vector<std::byte>& bytes() const { return bytes_.bytes(); }

 private:
    template <class Number>
    requires(std::is_integral_v<Number>) void put(const Number& value) { bytes_.varint(value); }
    template <class Name>
    requires(std::is_enum_v<Name>) void put(const Name& value) { bytes_.byte(static_cast<std::uint8_t>(value)); }
    void put(const double& value) { bytes_.fixed(std::bit_cast<std::uint64_t>(value), sizeof value); }
    void put(const std::string& text) { bytes_.text(text); }
    void put(std::vector<std::byte>& bytes) {
        bytes_.varint(bytes.size());
        bytes_.raw(bytes.data(), bytes.size());
    }
    template <class Value>
    void put(std::optional<Value>& value) {
        bytes_.byte(value.has_value() ? 1 : 0);
        if (value) put(*value);
    }
    template <class Each>
    void put(std::vector<Each>& list) {
        bytes_.varint(list.size());
        for (Each& each : list) walk(*this, each);
    }
    template <class Key, class Value>
    void put(std::map<Key, Value>& map) {
        bytes_.varint(map.size());
        for (auto& [key, value] : map) {
            put(key);
            put(value);
        }
    }

    ByteWriter bytes_;
};

class Reader {
 public:
    Reader(const std::vector<std::byte>& bytes, std::size_t from, std::size_t until, const std::string& name)
        : next_(bytes.data() + from), end_(bytes.data() + until), name_(name) {}

    template <class... Fields>
    void operator()(Fields&... fields) {
        (take(fields), ...);
    }
    bool isAtEnd() const { return next_ == end_; }
    [[noreturn]] void damaged() const {
        throw Problem(name_ + ": it is damaged", "copy the capture's folder again, or capture the run again");
    }
    std::uint64_t varint() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const std::uint64_t next = byte();
            value |= (next & 0x7F) << shift;
            if (next < 0x80) return value;
        }
        damaged();
    }

 private:
    std::uint8_t byte() {
        if (next_ == end_) damaged();
        return static_cast<std::uint8_t>(*next_++);
    }
    // No list has more items than bytes are left, so that a damaged count asks for no memory.
    std::size_t count() {
        const std::uint64_t n = varint();
        if (n > static_cast<std::uint64_t>(end_ - next_)) damaged();
        return n;
    }
    template <class Number>
    requires(std::is_integral_v<Number>) void take(Number& value) {
        const std::uint64_t read = varint();
        value = static_cast<Number>(read);
        if (static_cast<std::uint64_t>(value) != read) damaged();
    }
    void take(ElementType& type) {
        type = static_cast<ElementType>(byte());
        for (const ElementType each : allElementTypes)
            if (each == type) return;
        damaged();
    }
    void take(FeedPolicy::Kind& kind) {
        kind = static_cast<FeedPolicy::Kind>(byte());
        if (kind > FeedPolicy::Kind::lockstep) damaged();
    }
    void take(CapturedOutput::Kind& kind) {
        kind = static_cast<CapturedOutput::Kind>(byte());
        if (kind > CapturedOutput::Kind::trigger) damaged();
    }
    void take(double& value) {
        std::uint64_t word = 0;
        for (unsigned shift = 0; shift < 64; shift += 8) word |= std::uint64_t{byte()} << shift;
        value = std::bit_cast<double>(word);
    }
    void take(std::string& text) {
        const std::size_t n = count();
        text.assign(reinterpret_cast<const char*>(next_), n);
        next_ += n;
    }
    void take(std::vector<std::byte>& bytes) {
        const std::size_t n = count();
        bytes.assign(next_, next_ + n);
        next_ += n;
    }
    template <class Value>
    void take(std::optional<Value>& value) {
        if (byte() != 0) take(value.emplace());
    }
    template <class Each>
    void take(std::vector<Each>& list) {
        for (std::size_t n = count(); n > 0; --n) walk(*this, list.emplace_back());
    }
    template <class Key, class Value>
    void take(std::map<Key, Value>& map) {
        for (std::size_t n = count(); n > 0; --n) {
            Key key{};
            take(key);
            take(map[key]);
        }
    }

    const std::byte* next_;
    const std::byte* end_;
    const std::string& name_;
};

bool areSound(const CapturedRun& run) {
    for (const CapturedInput& input : run.inputs)
        if (input.channels < 1 || input.channels > maxChannels || (input.isMemory && !input.length)) return false;
    for (const CapturedOutput& output : run.outputs) {
        if (output.members.empty() || (output.kind != CapturedOutput::Kind::frames && output.members.size() > 1))
            return false;
        for (const CapturedOutput::Member& member : output.members)
            if (member.channels < 1 || member.channels > maxChannels) return false;
    }
    return true;
}

}  // namespace

void writeRun(const std::filesystem::path& file, const CapturedRun& run) {
    Writer fields;
    CapturedRun copy = run;
    walk(fields, copy);
    ByteWriter start, end;
    start.raw(magic.data(), magic.size());
    start.varint(CapturedRun::formatVersion);
    end.fixed(sumOf(fields.bytes().data(), fields.bytes().size()), sizeof(std::uint64_t));
    OutputFile written(file, {.sync = false});
    for (const auto* part : {&start.bytes(), &fields.bytes(), &end.bytes()}) written.write(part->data(), part->size());
    written.finish();
}

CapturedRun parseRun(const std::vector<std::byte>& bytes, const std::string& name) {
    if (bytes.size() < magic.size() || std::memcmp(bytes.data(), magic.data(), magic.size()) != 0)
        throw Problem(name + ": this is no capture", "give the folder of a zepl run --capture");
    Reader start(bytes, magic.size(), bytes.size(), name);
    if (const std::uint64_t version = start.varint(); version != CapturedRun::formatVersion)
        throw Problem(name + ": the capture is of format " + std::to_string(version) +
                          ", and this program reads format " + std::to_string(CapturedRun::formatVersion),
                      "replay it with the version of zepl that captured it");
    constexpr std::size_t sumBytes = sizeof(std::uint64_t);
    const std::size_t from = magic.size() + 1;  // the version is one byte
    if (bytes.size() < from + sumBytes) start.damaged();
    const std::size_t until = bytes.size() - sumBytes;
    std::uint64_t sum;
    std::memcpy(&sum, bytes.data() + until, sumBytes);
    if (sum != sumOf(bytes.data() + from, until - from)) start.damaged();
    Reader reader(bytes, from, until, name);
    CapturedRun run;
    walk(reader, run);
    if (!reader.isAtEnd() || !areSound(run)) reader.damaged();
    return run;
}

std::vector<std::byte> bytesOfFile(const std::filesystem::path& file) {
    const std::string text = readTextFile(file);
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

}  // namespace libzepl
