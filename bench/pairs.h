// Pairs of benchmarks whose ratio is what counts, since absolute times move from machine to machine.
#pragma once

#include <string>
#include <vector>

namespace bench {

struct Pair {
    std::string area;           // heading of the table that it stands in, with what an item is
    std::string name;           // of our benchmark
    std::string peer;           // who does the same work, and behind a comma by which of its ways; empty for none
    std::string peerBenchmark;  // its benchmark
    double limit = 0;           // the most that is accepted of the ratio, or with no peer of the time in ns; 0 for none

    std::string library() const { return peer.substr(0, peer.find(',')); }
};

// The names of peers.
inline const std::string plainLoop = "plain loop", copying = "memcpy", fftwPeer = "FFTW", gslPeer = "GSL",
                         kissfftPeer = "kissfft", volkPeer = "VOLK", liquidPeer = "liquid-dsp", numpyPeer = "NumPy",
                         scipyPeer = "SciPy", gnuRadioPeer = "GNU Radio";

// Both benchmarks count items; times are those of an item. A pair whose peer is not installed is left out, and told.
bool compare(Pair pair);

// The peer is the Python library's work of this name in bench/peers.py.
bool compareWithPython(const std::string& area, const std::string& name, const std::string& library, double limit = 0);

const std::vector<Pair>& pairs();

}  // namespace bench
