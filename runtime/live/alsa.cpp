#include "runtime/live/alsa.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

#include "runtime/diagnostics.h"

namespace libzepl {

namespace {

void sayNothing(const char*, int, const char*, int, const char*, ...) {}

class Library {
 public:
    Library() : handle_(::dlopen("libasound.so.2", RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr)
            throw Problem("the system's library for sound cards, libasound.so.2, is not there",
                          "install it: apt-get install libasound2");
    }
    template <class Function>
    void load(const char* name, Function& function) const {
        void* const found = ::dlsym(handle_, name);
        if (found == nullptr)
            throw Problem("the system's library for sound cards has no " + quoted(name), "update libasound2");
        std::memcpy(&function, &found, sizeof found);
    }

 private:
    void* handle_;  // for as long as the process lives
};

AlsaCalls loaded() {
    const Library library;
    AlsaCalls calls{};
    library.load("snd_strerror", calls.strerror);
    library.load("snd_lib_error_set_handler", calls.setErrorHandler);
    library.load("snd_device_name_hint", calls.nameHints);
    library.load("snd_device_name_get_hint", calls.hintOf);
    library.load("snd_device_name_free_hint", calls.freeHints);
    library.load("snd_pcm_open", calls.open);
    library.load("snd_pcm_close", calls.close);
    library.load("snd_pcm_hw_params_malloc", calls.mallocParams);
    library.load("snd_pcm_hw_params_free", calls.freeParams);
    library.load("snd_pcm_hw_params_any", calls.anyParams);
    library.load("snd_pcm_hw_params_set_access", calls.setAccess);
    library.load("snd_pcm_hw_params_set_format", calls.setFormat);
    library.load("snd_pcm_hw_params_test_format", calls.testFormat);
    library.load("snd_pcm_hw_params_set_channels", calls.setChannels);
    library.load("snd_pcm_hw_params_get_channels_min", calls.minChannels);
    library.load("snd_pcm_hw_params_get_channels_max", calls.maxChannels);
    library.load("snd_pcm_hw_params_set_rate_resample", calls.setResampling);
    library.load("snd_pcm_hw_params_set_rate", calls.setRate);
    library.load("snd_pcm_hw_params_get_rate_min", calls.minRate);
    library.load("snd_pcm_hw_params_get_rate_max", calls.maxRate);
    library.load("snd_pcm_hw_params_set_buffer_time_near", calls.setBufferTime);
    library.load("snd_pcm_hw_params_set_period_time_near", calls.setPeriodTime);
    library.load("snd_pcm_hw_params", calls.setParams);
    library.load("snd_pcm_get_params", calls.getParams);
    library.load("snd_pcm_poll_descriptors_count", calls.descriptorCount);
    library.load("snd_pcm_poll_descriptors", calls.descriptors);
    library.load("snd_pcm_start", calls.start);
    library.load("snd_pcm_drop", calls.drop);
    library.load("snd_pcm_drain", calls.drain);
    library.load("snd_pcm_prepare", calls.prepare);
    library.load("snd_pcm_resume", calls.resume);
    library.load("snd_pcm_state", calls.state);
    library.load("snd_pcm_readi", calls.readFrames);
    library.load("snd_pcm_writei", calls.writeFrames);
    library.load("snd_pcm_status_malloc", calls.mallocStatus);
    library.load("snd_pcm_status_free", calls.freeStatus);
    library.load("snd_pcm_status", calls.status);
    library.load("snd_pcm_status_get_trigger_htstamp", calls.triggerTime);
    calls.setErrorHandler(sayNothing);  // what went wrong is said by the Problem
    return calls;
}

}  // namespace

const AlsaCalls& alsaCalls() {
    static const AlsaCalls calls = loaded();
    return calls;
}

std::vector<std::string> cardsListed(const AlsaCalls& alsa, bool toRecord) {
    std::vector<std::string> names;
    void** hints = nullptr;
    if (alsa.nameHints(-1, "pcm", &hints) < 0) return names;
    for (void** hint = hints; *hint != nullptr; ++hint) {
        char* const name = alsa.hintOf(*hint, "NAME");
        char* const direction = alsa.hintOf(*hint, "IOID");  // none where it does both
        const bool fits = direction == nullptr || std::strcmp(direction, toRecord ? "Input" : "Output") == 0;
        if (name != nullptr && fits) names.push_back("alsa:" + std::string(name));
        std::free(name);
        std::free(direction);
    }
    alsa.freeHints(hints);
    return names;
}

}  // namespace libzepl
