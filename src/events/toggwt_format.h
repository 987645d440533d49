// What TOGGWT sends: a plain stream, or records with headers.
#pragma once

#include <cstdint>

namespace zcmds {

struct GateFormat {
    std::uint8_t blocks = 0;   // records with headers, as against a plain stream
    std::uint8_t stamped = 0;  // the header holds a start position
    std::uint8_t spanned = 0;  // a window longer than `bsize` continues in further records; else the rest is dropped
    std::uint32_t bsize = 0;   // the maximum number of samples in a block
    std::int32_t headerWords = 0;  // elements of the header pipe that make a header
};

// Sets the three flags by a text such as "FORMAT=BLOCKS STAMPED SINGLE", of which 63 characters are looked at. The case of
// letters does not matter, nor do blanks between the words, but none may follow the last. False if the text is none of
// those that are understood.
bool parseGateFormat(const char* text, GateFormat& format);

}  // namespace zcmds
