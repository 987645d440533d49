// Scenes that use the frame's own sources, built into this program so that they call its operations.

#include <string_view>

#include "frame/checks.cpp"
#include "frame/cursors.cpp"
#include "frame/exact.h"
#include "recording_host.h"

namespace recording {

namespace {

using namespace zcmds;

constexpr PipeHandle pipe{5};
constexpr PbufHandle pbuf{105};

void show(const StreamReader& reader) {
    note("pipe %u pbuf %u count %d at %s", static_cast<unsigned>(reader.pipe), static_cast<unsigned>(reader.pbuf),
         reader.count, place(reader.ptr).c_str());
}

void show(const StreamWriter& writer) {
    note("pipe %u pbuf %u pending %d at %s", static_cast<unsigned>(writer.pipe), static_cast<unsigned>(writer.pbuf),
         writer.pending, place(writer.ptr).c_str());
}

// A writer whose data area holds what was written before, with its pointer behind the elements pending.
StreamWriter writerWith(std::int32_t pending) {
    StreamWriter writer{.pipe = pipe, .pbuf = zepl::pbuf_open(pipe, 10), .pending = pending, .ptr = nullptr};
    std::int16_t* area = host.areas[pbuf];
    for (std::int16_t i = 0; i < 3; ++i) area[i] = static_cast<std::int16_t>(i + 7);
    writer.ptr = area + 3;
    return writer;
}

void flush(std::int32_t pending) {
    StreamWriter writer = writerWith(pending);
    writer.flush();
    show(writer);
}

void flushAndRefillBoth(std::int32_t pending) {
    StreamWriter writer = writerWith(pending);
    StreamReader reader{.pipe = PipeHandle{6}, .pbuf = zepl::pbuf_open(PipeHandle{6}, 10), .count = 9, .ptr = nullptr};
    host.blocks = {{1, 2}};
    note("result %d", flushAndRefill(reader, writer));
    show(writer);
    show(reader);
}

void openAWriter(std::int32_t capacity) {
    StreamWriter writer;
    void* first = &writer;
    openWriter(writer, pipe, capacity, &first);
    show(writer);
    note("first %s", place(first).c_str());
}

struct Operation {
    std::string_view name;
    void (*perform)();
};

constexpr Operation operations[] = {
    {"flush", [] { flush(3); }},
    {"flush_nothing", [] { flush(0); }},
    {"refill_and_flush", [] { flushAndRefillBoth(2); }},
    {"refill_alone", [] { flushAndRefillBoth(0); }},
    {"refill_with_negative", [] { flushAndRefillBoth(-1); }},
    {"open_writer", [] { openAWriter(10); }},
    {"open_writer_bare", [] { openAWriter(0); }},
    {"open_reader",
     [] {
         StreamReader reader;
         openReader(reader, pipe, 10);
         show(reader);
     }},
    {"open_reader_on_buffer",
     [] {
         StreamReader reader;
         zepl::pbuf_open(PipeHandle{6}, 10);
         openReaderOnBuffer(reader, pipe, host.areas[PbufHandle{106}] + 4, 77);
         show(reader);
     }},
    {"open_in_place_pair",
     [] {
         StreamReader reader;
         StreamWriter writer;
         const Slot params[] = {0, 31, 32, 33, 34};
         openInPlacePair(params, {.source = 4, .destination = 1}, reader, writer, 600);
         show(writer);
         show(reader);
     }},
};

// The kinds that a check accepts for each type of stream; anything but a report of code 3 at the index stands out.
void showAccepted(bool (*check)(ParamMask, ParamMask, std::int32_t)) {
    for (const ParamMask pipeType : {pipeInt16, pipeInt32, pipeFloat, pipeDouble, triggerKind, ParamMask{0}}) {
        std::printf("%x:", pipeType);
        for (ParamMask kind = 1; kind != 0; kind <<= 1) {
            const auto index = static_cast<std::int32_t>(kind & 0xff) + 1;
            try {
                std::printf(check(pipeType, kind, index) ? " %x" : " %x came back false", kind);
            } catch (const Left& left) {
                if (left.call != "code 3 at " + std::to_string(index))
                    std::printf(" %x gave %s", kind, left.call.c_str());
            }
        }
        std::printf("\n");
    }
}

// Which pairs of types pass; for the others the position that is blamed.
void showSameType() {
    constexpr ParamPair pair{.source = 3, .destination = 1};
    for (const ParamMask source : {pipeInt16, pipeInt32, pipeFloat, pipeDouble}) {
        for (const ParamMask destination : {pipeInt16, pipeInt32, pipeFloat, pipeDouble}) {
            host.kinds = {0, destination, 0, source};
            try {
                note(checkSameElementType(ParamList{9}, pair) ? "%x %x passes" : "%x %x does not", source, destination);
            } catch (const Left& left) {
                note("%x %x %s", source, destination, left.call.c_str());
            }
        }
    }
}

template <class Integer>
void divide(Integer dividend, Integer divisor) {
    try {
        note("%lld", static_cast<long long>(divideOrFault(dividend, divisor)));
    } catch (const Left& left) {
        note("%s", left.call.c_str());
    }
}

template <class Integer>
void divideAtTheEdges() {
    constexpr Integer least = std::numeric_limits<Integer>::min(), most = std::numeric_limits<Integer>::max();
    const Integer cases[][2] = {{7, 2}, {-7, 2}, {7, -2},    {least, 1}, {least, -1}, {least + 1, -1},
                                {0, 0}, {5, 0},  {least, 0}, {most, -1}, {0, -1},     {least, least}};
    for (const auto& [dividend, divisor] : cases) divide(dividend, divisor);
}

}  // namespace

void cursors(const char* name) {
    for (const Operation& operation : operations)
        if (operation.name == name) return operation.perform();
    note("no such operation");
}

void checks(const char* name) {
    if (std::string_view(name) == "same")
        showSameType();
    else
        showAccepted(std::string_view(name) == "vector" ? checkVectorForPipe : checkConstantForPipe);
}

void divisions(const char*) {
    divideAtTheEdges<std::int32_t>();
    divideAtTheEdges<std::int64_t>();
}

}  // namespace recording
