// JSON text, written piece by piece. Nothing is allocated, so that a report can also be written where memory has run out, and
// in a signal's handler.
#pragma once

#include <cstdint>
#include <string_view>

namespace libzepl {

// Takes text in pieces.
class TextSink {
 public:
    virtual ~TextSink() = default;
    virtual void write(std::string_view text) = 0;
};

// Writes one value, laid out with two blanks a level, for instance
//     json.beginObject(); json.key("name"); json.value("a"); json.key("values"); json.beginList(); ... json.end(); json.end();
// Nested up to 31 levels. Bytes that are no UTF-8 become U+FFFD, and numbers that JSON lacks the texts "nan", "inf", "-inf".
class JsonWriter {
 public:
    explicit JsonWriter(TextSink& sink) : sink_(sink) {}

    void beginObject() { begin('{'); }
    void beginList() { begin('['); }
    void end();  // of the innermost object or list
    void key(std::string_view name);

    void value(std::string_view text);
    void value(double number);
    void value(std::int64_t number);
    void value(std::uint64_t number);
    void value(std::int32_t number) { value(std::int64_t{number}); }
    void value(std::uint32_t number) { value(std::uint64_t{number}); }
    void boolean(bool truth);
    void null();

    template <class Value>
    void pair(std::string_view name, const Value& of) {
        key(name);
        value(of);
    }

 private:
    void begin(char bracket);
    void beginValue();
    void lineFeed();
    void text(std::string_view text);
    template <class Number>
    void digits(Number number, bool real);

    TextSink& sink_;
    int depth_ = 0;
    bool afterKey_ = false;
    std::uint32_t lists_ = 0;     // a bit for each level: whether it is a list
    std::uint32_t nonEmpty_ = 0;  // a bit for each level: whether something is in it
};

}  // namespace libzepl
