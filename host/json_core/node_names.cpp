#include "platform/json_core.hpp"

#include <boost/container/small_vector.hpp>

#include <string_view>

namespace ostra::io::json::core {

namespace {

/// One step down: the member or element `index` of `container`.
struct Step {
    const rapidjson::Value* container;
    std::size_t index;
};

/// Room for ordinary depths without the heap: a search usually runs once per node of a long list.
using Path = boost::container::small_vector<Step, 32>;

std::string_view textOf(const rapidjson::Value& text) {
    return {text.GetString(), text.GetStringLength()};
}

const rapidjson::Value::Member& memberAt(const rapidjson::Value& object, std::size_t index) {
    return object.MemberBegin()[static_cast<std::ptrdiff_t>(index)];
}

/// What stopped `Step` from running to its container's end.
enum class Stop { atEnd, atMatch, atContainer };

Stop advance(Step& step, std::string_view name) {
    const rapidjson::Value& container = *step.container;
    if (container.IsObject()) {
        for (const std::size_t count = container.MemberCount(); step.index < count; ++step.index) {
            const auto& member = memberAt(container, step.index);
            if (textOf(member.name) == name) {
                return Stop::atMatch;
            }
            if (member.value.IsObject() || member.value.IsArray()) {
                return Stop::atContainer;
            }
        }
        return Stop::atEnd;
    }
    for (const std::size_t size = container.Size(); step.index < size; ++step.index) {
        const auto& element = container[step.index];
        if (element.IsObject() || element.IsArray()) {
            return Stop::atContainer;
        }
    }
    return Stop::atEnd;
}

const rapidjson::Value& valueAt(const Step& step) {
    return step.container->IsObject() ? memberAt(*step.container, step.index).value
                                      : (*step.container)[step.index];
}

/// @return the steps from `node` to the first member with key `name`, depth first in document
/// order;
///         none if there is no such member. Cost: linear in what is searched.
Path findNodeName(const rapidjson::Value& node, std::string_view name) {
    Path path;
    if (!node.IsObject() && !node.IsArray()) {
        return path;
    }
    path.push_back({&node, 0});
    while (!path.empty()) {
        switch (advance(path.back(), name)) {
        case Stop::atMatch:
            return path;
        case Stop::atContainer:
            path.push_back({&valueAt(path.back()), 0});
            break;
        case Stop::atEnd:
            path.pop_back();
            if (!path.empty()) {
                ++path.back().index;
            }
            break;
        }
    }
    return path;
}

/// @return whether an earlier member has the same key, so that no selector can take this step.
bool isHidden(const Step& step) {
    const std::string_view key = textOf(memberAt(*step.container, step.index).name);
    for (std::size_t i = 0; i < step.index; ++i) {
        if (textOf(memberAt(*step.container, i).name) == key) {
            return true;
        }
    }
    return false;
}

void appendEscaped(std::string& selector, std::string_view key) {
    for (const char c : key) {
        if (c == '~') {
            selector += "~0";
        } else if (c == '/') {
            selector += "~1";
        } else {
            selector += c;
        }
    }
}

} // namespace

rapidjson::Value* resolve_node_name(rapidjson::Value& node, const std::string& name) {
    const Path path = findNodeName(node, name);
    // The search only reads, but what it finds lies below a value that the caller may change.
    return path.empty() ? nullptr : const_cast<rapidjson::Value*>(&valueAt(path.back()));
}

std::optional<std::string> resolve_node_name_to_selector(const rapidjson::Value& node,
                                                         const std::string& name) {
    const Path path = findNodeName(node, name);
    if (path.empty()) {
        return std::nullopt;
    }
    std::string selector;
    for (const Step& step : path) {
        selector += '/';
        if (step.container->IsArray()) {
            selector += std::to_string(step.index);
        } else if (isHidden(step)) {
            return std::nullopt;
        } else {
            appendEscaped(selector, textOf(memberAt(*step.container, step.index).name));
        }
    }
    return selector;
}

} // namespace ostra::io::json::core
