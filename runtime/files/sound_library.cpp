// The sound library's functions, found when the first is called: with the decoders that it brings along the library would take
// as long to load as everything else that a run without sound files needs.

#include <sndfile.h>

#include "runtime/base/late_library.h"

namespace libzepl {

namespace {

constexpr LateLibrary soundLibrary("the library for sound files", "libsndfile.so.1", "libsndfile1");

}  // namespace

}  // namespace libzepl

// Hidden, so that a program which uses the library itself keeps its own.
#pragma GCC visibility push(hidden)

extern "C" {

#define LIBZEPL_FORWARD(Result, name, parameters, arguments)                                 \
    Result name parameters {                                                                 \
        static auto* const function = libzepl::soundLibrary.function<decltype(name)>(#name); \
        return function arguments;                                                           \
    }

LIBZEPL_FORWARD(SNDFILE*, sf_open_virtual, (SF_VIRTUAL_IO * io, int mode, SF_INFO* info, void* data),
                (io, mode, info, data))
LIBZEPL_FORWARD(int, sf_close, (SNDFILE * sound), (sound))
LIBZEPL_FORWARD(int, sf_command, (SNDFILE * sound, int command, void* data, int size), (sound, command, data, size))
LIBZEPL_FORWARD(int, sf_error, (SNDFILE * sound), (sound))
LIBZEPL_FORWARD(const char*, sf_strerror, (SNDFILE * sound), (sound))
LIBZEPL_FORWARD(const char*, sf_error_number, (int number), (number))
LIBZEPL_FORWARD(sf_count_t, sf_seek, (SNDFILE * sound, sf_count_t frames, int whence), (sound, frames, whence))
LIBZEPL_FORWARD(sf_count_t, sf_readf_short, (SNDFILE * sound, short* to, sf_count_t frames), (sound, to, frames))
LIBZEPL_FORWARD(sf_count_t, sf_readf_int, (SNDFILE * sound, int* to, sf_count_t frames), (sound, to, frames))
LIBZEPL_FORWARD(sf_count_t, sf_readf_float, (SNDFILE * sound, float* to, sf_count_t frames), (sound, to, frames))
LIBZEPL_FORWARD(sf_count_t, sf_readf_double, (SNDFILE * sound, double* to, sf_count_t frames), (sound, to, frames))
LIBZEPL_FORWARD(sf_count_t, sf_write_short, (SNDFILE * sound, const short* from, sf_count_t n), (sound, from, n))
LIBZEPL_FORWARD(sf_count_t, sf_write_int, (SNDFILE * sound, const int* from, sf_count_t n), (sound, from, n))
LIBZEPL_FORWARD(sf_count_t, sf_write_float, (SNDFILE * sound, const float* from, sf_count_t n), (sound, from, n))
LIBZEPL_FORWARD(sf_count_t, sf_write_double, (SNDFILE * sound, const double* from, sf_count_t n), (sound, from, n))
}

#pragma GCC visibility pop
