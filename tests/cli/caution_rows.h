// Lists that meet the conditions of the command pages' cautions, and lists that do not.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace libzepl {

// Pipes i.. and j.. and the trigger t get samples or events, s.. and gains have theirs from the start; o.. and p.. are for
// results.
inline const std::string cautionDeclarations = R"(
pipe i16 : int16
pipe j16 : int16
pipe i32 : int32
pipe if : float
pipe jf : float
pipe id : double
pipe jd : double
trigger t
trigger quiet
trigger u
pipe s16 : int16 starts [1]
pipe r16 : int16 starts [1]
pipe sf : float starts [0.5]
pipe sd : double starts [1]
pipe gains : float starts [1, 0, 0, 1]
pipe o16 : int16
pipe p16 : int16
pipe o32 : int32
pipe of : float
pipe pf : float
pipe od : double
pipe pd : double
variable n16 : int16 = 1
variable n32 : int32 = 1
vector one : float = [1]
vector two : float = [1, 1]
vector three : float = [1, 1, 1]
vector up : int16 = [0, 10, 20]
vector level : int16 = [0, 10, 10]
)";

struct CautionRow {
    std::string command;
    std::string holding;  // the numbers of the conditions that hold of the first task
    std::string text;
    std::uint32_t block = 1024;
};

inline const std::vector<CautionRow> cautionRows{
    {"FIRFILTER", "1", "FIRFILTER (i16, three, 0, 1, 0, -1, o16)"},
    {"FIRFILTER", "", "FIRFILTER (i16, two, 0, 1, 0, -1, o16)"},
    {"FIRFILTER", "2", "FIRFILTER (i16, 1, three, 0, 1, 0, -1, o16)"},
    {"FIRFILTER", "", "FIRFILTER (i16, 1, two, 0, 1, 0, -1, o16)"},
    {"FIRFILTER", "3", "FIRFILTER (i16, 3, two, 0, 1, 0, -1, o16)"},
    {"FIRFILTER", "", "FIRFILTER (i16, 3, one, 0, 1, 0, -1, o16)"},
    {"FIRFILTER", "4", "FIRFILTER (i16, 2, two, 0, 1, 0, -1, o16)\nPCOUNT (o16, n32)"},
    {"FIRFILTER", "4", "FIRFILTER (i16, 2, two, 0, 1, 0, -1, o16)\nABS (o16, p16)\nPCOUNT (p16, n32)"},
    {"FIRFILTER", "4", "FIRFILTER (i16, 2, two, 0, 1, 0, -1, o16)\nSKIP (o16, 0, 1, 1, p16)\nPCOUNT (o16, n32)"},
    {"FIRFILTER", "", "FIRFILTER (i16, 2, two, 0, 1, 0, -1, o16)\nSKIP (o16, 0, 1, 1, p16)\nPCOUNT (p16, n32)"},
    {"FIRFILTER", "", "FIRFILTER (i16, 2, two, 0, 1, 0, -1, o16)\nABS (o16, p16)\nSKIP (p16, 0, 1, 1, r16)"},
    {"FIRFILTER", "", "FIRFILTER (i16, 2, one, 0, 1, 0, -1, o16)\nPCOUNT (o16, n32)"},
    {"FIRFILTER", "5", "FIRFILTER (i16, 2, three, 0, 1, 2, -1, o16)\nSKIP (o16, 0, 1, 1, p16)\nPCOUNT (p16, n32)"},
    {"FIRLOWPASS", "1", "FIRLOWPASS (i16, 2, o16)"},
    {"FIRLOWPASS", "2", "FIRLOWPASS (i16, 1, 2, o16)"},
    {"FIRLOWPASS", "34", "FIRLOWPASS (i16, 2, 2, o16)\nPCOUNT (o16, n32)"},
    {"FIRLOWPASS", "4",
     "FIRLOWPASS (i16, 2, 2, o16)\nFIRFILTER (o16, 2, two, 0, 1, 0, -1, p16)\nSKIP (p16, 0, 1, 1, r16)"},
    {"RAVERAGE", "1", "RAVERAGE (i16, 32768, o16)"},
    {"RAVERAGE", "", "RAVERAGE (i16, 32767, o16)"},
    {"RAVERAGE", "", "RAVERAGE (i32, 32768, o32)"},
    {"DFT", "1", "DFT (4, 65536, 0, up, if, of)"},
    {"DFT", "", "DFT (4, 65535, 0, up, if, of)"},
    {"DFT", "", "DFT (5, 65536, 0, up, if, of)"},
    {"RANDOM", "1", "RANDOM (0, -2147483648, o32)"},
    {"RANDOM", "", "RANDOM (0, -2147483647, o32)"},
    {"PULSECOUNT", "1", "PULSECOUNT (i16, 16, n32)"},
    {"PULSECOUNT", "2", "PULSECOUNT (i16, 15, n32)\nOFFSET (i32, n32, o32)"},
    {"PULSECOUNT", "", "PULSECOUNT (i16, 15, n32)\nOFFSET (i16, n16, o16)"},
    {"BIRAMP", "1", "BIRAMP (0, 100, 4000, 97, 0.0, o16)"},
    {"BIRAMP", "", "BIRAMP (0, 100, 4000, 96, 0.0, o16)"},
    {"BIRAMP", "", "BIRAMP (0, 100, 4000, 97, o16)"},
    {"PIDRAMP", "1", "PIDRAMP (id, od, 4097, \"LINEAR\")"},
    {"PIDRAMP", "2", "PIDRAMP (id, od, i16, \"LINEAR\")"},
    {"PIDRAMP", "", "PIDRAMP (id, od, s16, \"LINEAR\")"},
    {"PIDRAMP", "", "PIDRAMP (id, od, 4096, \"LINEAR\")"},
    {"DECIBEL", "1", "DECIBEL (i16, 200, 238, o16)"},
    {"DECIBEL", "", "DECIBEL (i16, 200, 237, o16)"},
    {"DECIBEL", "", "DECIBEL (i32, 200, 238, o32)"},
    {"INTERP", "1", "INTERP (i16, level, up, o16)"},
    {"INTERP", "", "INTERP (i16, up, level, o16)"},
    {"BOUND", "1", "BOUND (i16, 5, 4, o16)"},
    {"BOUND", "", "BOUND (i16, 4, 4, o16)"},
    {"BOUND", "", "BOUND (i16, n16, 0, o16)"},
    {"RANGE", "1", "RANGE (i16, inside, 0, -1, o16)"},
    {"RANGE", "", "RANGE (i16, outside, -1, 0, o16)"},
    {"TOGGLE", "1", "TOGGLE (i16, inside, 5, 4, inside, 1, 2, u)"},
    {"TOGGLE", "2", "TOGGLE (i16, inside, 4, 5, outside, 2, 1, u)"},
    {"TOGGLE", "3", "TOGGLE (i16, inside, 4, 5, j16, outside, 1, 2, u)", 32768},
    {"TOGGLE", "", "TOGGLE (i16, inside, 4, 5, j16, outside, 1, 2, u)", 32767},
    {"TOGGLE", "", "TOGGLE (i16, inside, 4, 5, outside, 1, 2, u)", 32768},
    {"ALARM", "12", "ALARM (i16, inside, 5, 4, 3)"},
    {"ALARM", "2", "ALARM (i16, 1, inside, 4, 5, 3)"},
    {"ALARM", "", "ALARM (s16, inside, 4, 5, 3)"},
    {"MTSFILT", "1", "MTSFILT (i16, 512, 4, o16)"},
    {"MTSFILT", "1", "MTSFILT (i16, 512, 2, 7, o16)"},
    {"MTSFILT", "2", "MTSFILT (i16, 8, 15, o16)"},
    {"MTSFILT", "", "MTSFILT (i16, 512, 8, o16)"},
    {"MTSFILT", "", "MTSFILT (i16, 8, 16, o16)"},
    {"MTSFILT", "", "MTSFILT (i16, 8, 1, o16)"},
    {"TSTAMP", "1", "TSTAMP (t, o16)"},
    {"TSTAMP", "", "TSTAMP (t, o32)"},
    {"HIGH", "1", "HIGH (i16, 32769, o16, p16)"},
    {"HIGH", "", "HIGH (i16, 32768, o16, p16)"},
    {"HIGH", "", "HIGH (i16, 32769, o16)"},
    {"LOW", "1", "LOW (if, 32769, of, p16)"},
    {"LOW", "", "LOW (if, 32769, of, o32)"},
    {"QDECODE", "1", "QDECODE (i16, 0, o32, 0)"},
    {"QDECODE", "", "QDECODE (i16, 0, o32, 1)"},
    {"QDECODE", "2", "QDECODE (i16, 0, n32)\nOFFSET (i32, n32, o32)"},
    {"QDECODE", "", "QDECODE (i16, 0, n32)"},
    {"MIXRFFT", "1", "MIXRFFT (16, REVERSE, BARTLETT, if, jf, FULL, PARTS, of, pf)"},
    {"MIXRFFT", "", "MIXRFFT (16, FORWARD, BARTLETT, if, jf, FULL, PARTS, of, pf)"},
    {"MIXRFFT", "", "MIXRFFT (16, REVERSE, HAMMING, if, jf, FULL, PARTS, of, pf)"},
    {"PID", "1", "PID (sd, id, gains, 0.0, od)"},
    {"PID", "2", "PID (id, jd, gains, 1.0, od)"},
    {"PID", "3", "PID (sd, id, if, 1.0, od)"},
    {"PID", "", "PID (sd, id, gains, 1.0, od)"},
    {"PID", "2", "PID (pd, jd, gains, 1.0, od)\nSKIP (id, 0, 1, 1, pd)"},
    {"PIDLATCH", "1", "PIDLATCH (id, od, jd, pd, jd, s16)"},
    {"PIDLATCH", "2", "PIDLATCH (sd, od, id, pd, jd, i16)"},
    {"PIDLATCH", "", "PIDLATCH (sd, od, id, pd, jd, s16)"},
    {"PIDSCRAM", "1", "PIDSCRAM (id, od, 20.0, 100, \"LINEAR\", t)"},
    {"PIDSCRAM", "", "PIDSCRAM (id, od, 20.0, 100, \"LINEAR\", quiet)"},
    {"PWM", "1", "PWM (if, 4, 0, i16, o16)"},
    {"PWM", "", "PWM (sf, 4, 0, i16, o16)"},
    {"MERGEF", "1", "MERGEF (i16, if, o16)\nPCOUNT (o16, n32)"},
    {"MERGEF", "1", "MERGEF (s16, i16, o16)\nPCOUNT (o16, n32)"},
    {"MERGEF", "", "MERGEF (i16, o16)\nPCOUNT (o16, n32)"},
    {"MERGEF", "", "MERGEF (s16, r16, o16)\nPCOUNT (o16, n32)"},
    {"MERGEF", "", "MERGEF (i16, if, o16)\nSEPARATEF (o16, p16, of)"},
    {"BMERGEF", "1", "BMERGEF (i16, j16, 10, o16)"},
    {"BMERGEF", "", "BMERGEF (i16, 10, o16)"},
    {"MRBLOCK", "1", "MRBLOCK (i16, j16, 10, o16)"},
    {"MRBLOCK", "2", "MRBLOCK (i16, n16, 10, o16)\nPVALUE (j16, n16)"},
    {"MRBLOCK", "", "MRBLOCK (i16, n16, 10, o16)"},
    {"PCASSERT", "1", "PCASSERT (j16, u, i16)"},
    {"PCASSERT", "2", "PCASSERT (n16, u, i16)\nPVALUE (j16, n16)"},
    {"PCASSERT", "", "PCASSERT (n16, u, i16)"},
    {"DISCARD", "1", "DISCARD (i16, if)"},
    {"DISCARD", "", "DISCARD (i16)"},
    {"PVALUE", "1", "PVALUE (i16, n16)\nOFFSET (j16, n16, o16)"},
    {"PVALUE", "", "PVALUE (i16, n16)\nOFFSET (j16, 1, o16)"},
    {"PCOUNT", "1", "PCOUNT (i16, n32)\nOFFSET (i32, n32, o32)"},
    {"PCOUNT", "", "PCOUNT (i16, n32)"},
    {"TOGGWT", "1", "TOGGWT (i16, t, o16, 10, \"Format=Blocks Stamped\")"},
    {"TOGGWT", "", "TOGGWT (i16, t, o16, 10, \"FORMAT=BLOCKS SINGLE STAMPED\")"},
    {"TOGGWT", "", "TOGGWT (i16, t, o16)"},
    {"TRIGSEND", "1", "TRIGSEND (t, 10, o32)\nPCOUNT (o32, n32)"},
    {"TRIGSEND", "", "TRIGSEND (quiet, 10, o32)\nPCOUNT (o32, n32)"},
    {"TRIGSEND", "", "TRIGSEND (t, 10, o32)\nTRIGRECV (o32, u)"},
    {"TRIGSCALE", "1", "TRIGSCALE (t, 0, 1, 3, u)"},
    {"TRIGSCALE", "", "TRIGSCALE (t, 0, 1, 2, u)"},
};

inline std::vector<CautionRow> allCautionRows() {
    std::vector<CautionRow> all = cautionRows;
    for (const std::string wave : {"SINEWAVE", "COSINEWAVE", "TRIANGLE", "SAWTOOTH", "SQUAREWAVE"}) {
        all.push_back({wave, "1", wave + " (10, 100, o16, \"AMPLITUDE\", i32)"});
        all.push_back({wave, "", wave + " (10, 100, o16, \"AMPLITUDE\", i16)"});
        all.push_back({wave, "2", wave + " (1, 100, of, \"AMPLITUDE\", if, \"FREQUENCY\", i32)"});
        all.push_back({wave, "", wave + " (1, 100, of, \"AMPLITUDE\", if, \"FREQUENCY\", jf)"});
    }
    return all;
}

}  // namespace libzepl
