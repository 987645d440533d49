#include "runtime/live/alsa.h"

#include <cstdlib>
#include <cstring>

#include "runtime/base/late_library.h"

namespace libzepl {

namespace {

void sayNothing(const char*, int, const char*, int, const char*, ...) {}

constexpr LateLibrary soundCards("the system's library for sound cards", "libasound.so.2", "libasound2");

template <class Function>
void load(const char* name, Function*& function) {
    function = soundCards.function<Function>(name);
}

AlsaCalls loaded() {
    AlsaCalls calls{};
    load("snd_strerror", calls.strerror);
    load("snd_lib_error_set_handler", calls.setErrorHandler);
    load("snd_device_name_hint", calls.nameHints);
    load("snd_device_name_get_hint", calls.hintOf);
    load("snd_device_name_free_hint", calls.freeHints);
    load("snd_pcm_open", calls.open);
    load("snd_pcm_close", calls.close);
    load("snd_pcm_hw_params_malloc", calls.mallocParams);
    load("snd_pcm_hw_params_free", calls.freeParams);
    load("snd_pcm_hw_params_any", calls.anyParams);
    load("snd_pcm_hw_params_set_access", calls.setAccess);
    load("snd_pcm_hw_params_set_format", calls.setFormat);
    load("snd_pcm_hw_params_test_format", calls.testFormat);
    load("snd_pcm_hw_params_set_channels", calls.setChannels);
    load("snd_pcm_hw_params_get_channels_min", calls.minChannels);
    load("snd_pcm_hw_params_get_channels_max", calls.maxChannels);
    load("snd_pcm_hw_params_set_rate_resample", calls.setResampling);
    load("snd_pcm_hw_params_set_rate", calls.setRate);
    load("snd_pcm_hw_params_get_rate_min", calls.minRate);
    load("snd_pcm_hw_params_get_rate_max", calls.maxRate);
    load("snd_pcm_hw_params_set_buffer_time_near", calls.setBufferTime);
    load("snd_pcm_hw_params_set_period_time_near", calls.setPeriodTime);
    load("snd_pcm_hw_params", calls.setParams);
    load("snd_pcm_get_params", calls.getParams);
    load("snd_pcm_poll_descriptors_count", calls.descriptorCount);
    load("snd_pcm_poll_descriptors", calls.descriptors);
    load("snd_pcm_start", calls.start);
    load("snd_pcm_drop", calls.drop);
    load("snd_pcm_drain", calls.drain);
    load("snd_pcm_prepare", calls.prepare);
    load("snd_pcm_resume", calls.resume);
    load("snd_pcm_state", calls.state);
    load("snd_pcm_readi", calls.readFrames);
    load("snd_pcm_writei", calls.writeFrames);
    load("snd_pcm_status_malloc", calls.mallocStatus);
    load("snd_pcm_status_free", calls.freeStatus);
    load("snd_pcm_status", calls.status);
    load("snd_pcm_status_get_trigger_htstamp", calls.triggerTime);
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
