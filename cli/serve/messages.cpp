#include "cli/serve/messages.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace cli {

namespace {

using Json = nlohmann::json;

struct Mistake {
    std::string why;
};

const Json& fieldOf(const Json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end()) throw Mistake{std::string(name) + " is missing"};
    return *found;
}

double realOf(const Json& object, const char* name, double least, double most) {
    const Json& field = fieldOf(object, name);
    if (!field.is_number()) throw Mistake{std::string(name) + " is no number"};
    const double number = field.get<double>();
    if (!(number >= least && number <= most)) throw Mistake{std::string(name) + " is out of its range"};
    return number;
}

std::size_t wholeOf(const Json& field, const char* name, std::size_t most, std::size_t least = 0) {
    if (!field.is_number_unsigned() || field.get<std::uint64_t>() < least || field.get<std::uint64_t>() > most)
        throw Mistake{std::string(name) + " is no whole number from " + std::to_string(least) + " to " +
                      std::to_string(most)};
    return field.get<std::size_t>();
}

bool flagOf(const Json& object, const char* name, bool otherwise) {
    const auto found = object.find(name);
    if (found == object.end()) return otherwise;
    if (!found->is_boolean()) throw Mistake{std::string(name) + " is neither true nor false"};
    return found->get<bool>();
}

std::vector<std::size_t> pipesOf(const Json& object, const char* name) {
    std::vector<std::size_t> pipes;
    const auto found = object.find(name);
    if (found == object.end()) return pipes;
    if (!found->is_array() || found->size() > Look::mostPipes)
        throw Mistake{std::string(name) + " is no list of at most " + std::to_string(Look::mostPipes) + " pipes"};
    for (const Json& each : *found) pipes.push_back(wholeOf(each, name, 1'000'000));
    return pipes;
}

Look::Trigger triggerOf(const Json& object) {
    if (!object.is_object()) throw Mistake{"trigger is no object"};
    constexpr double most = std::numeric_limits<double>::max();
    return {.pipe = wholeOf(fieldOf(object, "pipe"), "pipe", 1'000'000),
            .level = realOf(object, "level", -most, most),
            .isRising = flagOf(object, "rising", true),
            .waits = flagOf(object, "waits", false)};
}

Look lookOf(const Json& object) {
    constexpr double longest = 1e9;
    Look look;
    if (object.contains("look")) look.number = static_cast<std::uint32_t>(wholeOf(object["look"], "look", 0xFFFF'FFFF));
    look.pipes = pipesOf(object, "pipes");
    look.sampled = pipesOf(object, "sampled");
    look.span = realOf(object, "span", 1e-9, longest);
    look.columns = wholeOf(fieldOf(object, "columns"), "columns", Look::mostColumns, 1);
    if (object.contains("end")) look.end = realOf(object, "end", -longest, longest);
    if (object.contains("trigger")) look.trigger = triggerOf(object["trigger"]);
    if (object.contains("samples")) look.samples = wholeOf(object["samples"], "samples", Look::mostColumns, 1);
    if (object.contains("pictures")) look.pictures = realOf(object, "pictures", 0.1, 60);
    return look;
}

SetValue valueOf(const Json& object) {
    const Json &name = fieldOf(object, "variable"), &value = fieldOf(object, "value");
    if (!name.is_string()) throw Mistake{"variable is no text"};
    if (!value.is_number()) throw Mistake{"value is no number"};
    SetValue set{name.get<std::string>(), {}};
    set.value.real = value.get<double>();
    set.value.isInteger =
        value.is_number_integer() && (!value.is_number_unsigned() || value.get<std::uint64_t>() >> 63 == 0);
    if (set.value.isInteger) set.value.integer = value.get<std::int64_t>();
    return set;
}

Request requestOf(const Json& object) {
    if (!object.is_object()) throw Mistake{"a message is an object"};
    const Json& type = fieldOf(object, "type");
    if (type == "look") return lookOf(object);
    if (type == "set") return valueOf(object);
    if (type == "start") return Start{};
    if (type == "stop") return Stop{};
    if (type == "pause") return SetPaused{true};
    if (type == "continue") return SetPaused{false};
    throw Mistake{"type is none of look, set, start, stop, pause and continue"};
}

}  // namespace

Request parseRequest(std::string_view text) {
    const Json object = Json::parse(text, nullptr, false);
    if (object.is_discarded()) return NotUnderstood{"this is no JSON"};
    try {
        return requestOf(object);
    } catch (const Mistake& mistake) {
        return NotUnderstood{mistake.why};
    }
}

}  // namespace cli
