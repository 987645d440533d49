// Pipes that get a channel each of one source.

#include "runtime/engine/split_source.h"
#include "runtime/session/session_ids.h"

namespace libzepl {

void Session::setInputs(const std::vector<ChannelInput>& inputs, std::unique_ptr<Source> source) {
    Engine& e = unstarted();
    if (inputs.empty() || source == nullptr)
        throw Problem("an input of several pipes has no pipes, or no source", "open one, and name its pipes");
    const ElementType type = objectOf(e, inputs.front().pipe).type;
    std::vector<SplitChannel> channels;
    for (const ChannelInput& each : inputs) {
        expectElements(each.pipe, type);
        channels.push_back({objectOf(e, each.pipe).name, each.channel});
    }
    std::vector<std::unique_ptr<Source>> split = splitSource(std::move(source), type, channels, e.graph.memory);
    e.graph.sharesSources = true;
    for (std::size_t i = 0; i < split.size(); ++i) setInput(inputs[i].pipe, std::move(split[i]));
}

}  // namespace libzepl
