// startup_host SCENE ARGUMENT [nohost | lack:OPERATION | refuse:COMMAND]... plays a scene and notes the calls in it.

#include <cstdio>
#include <cstring>
#include <string_view>

#include "recording_host.h"

namespace {

struct Scene {
    std::string_view name;
    void (*play)(const char* argument);
};

constexpr Scene scenes[] = {
    {"install", recording::install},
    {"table", recording::table},
    {"mathematics", recording::mathematics},
    {"abs", recording::absoluteValues},
    {"abs_of_triggers", recording::absoluteValuesOfTriggers},
    {"loading", recording::loadingTimes},
    {"coincidences", recording::coincidences},
    {"cursors", recording::cursors},
    {"checks", recording::checks},
    {"divide", recording::divisions},
};

bool setTrait(std::string_view trait) {
    if (trait == "nohost")
        recording::host.absent = true;
    else if (trait.starts_with("lack:"))
        recording::host.lacking.emplace(trait.substr(5));
    else if (trait.starts_with("refuse:"))
        recording::host.refusing.emplace(trait.substr(7));
    else
        return false;
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) return 2;
    for (int i = 3; i < count; ++i)
        if (!setTrait(arguments[i])) return 2;
    for (const Scene& scene : scenes) {
        if (scene.name != arguments[1]) continue;
        try {
            scene.play(arguments[2]);
        } catch (const recording::Left& left) {
            recording::note("%s", left.call.c_str());
        }
        return 0;
    }
    return 2;
}
