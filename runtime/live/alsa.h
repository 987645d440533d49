// The sound system's library, which is loaded when a sound card is first asked for.
#pragma once

#include <alsa/asoundlib.h>

#include <string>
#include <vector>

namespace libzepl {

// The functions of the library that are used, so that a test can put others in their place.
struct AlsaCalls {
    decltype(&snd_strerror) strerror;
    decltype(&snd_lib_error_set_handler) setErrorHandler;
    decltype(&snd_device_name_hint) nameHints;
    decltype(&snd_device_name_get_hint) hintOf;
    decltype(&snd_device_name_free_hint) freeHints;
    decltype(&snd_pcm_open) open;
    decltype(&snd_pcm_close) close;
    decltype(&snd_pcm_hw_params_malloc) mallocParams;
    decltype(&snd_pcm_hw_params_free) freeParams;
    decltype(&snd_pcm_hw_params_any) anyParams;
    decltype(&snd_pcm_hw_params_set_access) setAccess;
    decltype(&snd_pcm_hw_params_set_format) setFormat;
    decltype(&snd_pcm_hw_params_test_format) testFormat;
    decltype(&snd_pcm_hw_params_set_channels) setChannels;
    decltype(&snd_pcm_hw_params_get_channels_min) minChannels;
    decltype(&snd_pcm_hw_params_get_channels_max) maxChannels;
    decltype(&snd_pcm_hw_params_set_rate_resample) setResampling;
    decltype(&snd_pcm_hw_params_set_rate) setRate;
    decltype(&snd_pcm_hw_params_get_rate_min) minRate;
    decltype(&snd_pcm_hw_params_get_rate_max) maxRate;
    decltype(&snd_pcm_hw_params_set_buffer_time_near) setBufferTime;
    decltype(&snd_pcm_hw_params_set_period_time_near) setPeriodTime;
    decltype(&snd_pcm_hw_params) setParams;
    decltype(&snd_pcm_get_params) getParams;
    decltype(&snd_pcm_poll_descriptors_count) descriptorCount;
    decltype(&snd_pcm_poll_descriptors) descriptors;
    decltype(&snd_pcm_start) start;
    decltype(&snd_pcm_drop) drop;
    decltype(&snd_pcm_drain) drain;
    decltype(&snd_pcm_prepare) prepare;
    decltype(&snd_pcm_resume) resume;
    decltype(&snd_pcm_state) state;
    decltype(&snd_pcm_readi) readFrames;
    decltype(&snd_pcm_writei) writeFrames;
    decltype(&snd_pcm_status_malloc) mallocStatus;
    decltype(&snd_pcm_status_free) freeStatus;
    decltype(&snd_pcm_status) status;
    decltype(&snd_pcm_status_get_trigger_htstamp) triggerTime;
};

// The system's own; a Problem where it has none.
const AlsaCalls& alsaCalls();

// The devices that the system lists, by their addresses.
std::vector<std::string> cardsListed(const AlsaCalls& alsa, bool toRecord);

}  // namespace libzepl
