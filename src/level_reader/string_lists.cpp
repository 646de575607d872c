#include "level_reader/level.hpp"
#include "node_content/text.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

namespace ostra::io::json::tree {

namespace {

const auto isString = [](const rapidjson::Value& value) { return value.IsString(); };

} // namespace

std::vector<std::u16string> LevelReader::listStrings() const {
    return listValues<std::u16string>(*current, toUString, isString);
}

void LevelReader::setStrings(const std::vector<std::u16string>& values) {
    const auto makeString = [this](const std::u16string& text) {
        return makeStringValue(text, dom.document);
    };
    setValues(*current, values, makeString, isString);
}

std::vector<std::u16string> LevelReader::listKeyNames() const {
    std::vector<std::u16string> names;
    if (current->IsObject()) {
        names.reserve(current->MemberCount());
        for (const auto& member : std::as_const(*current).GetObject()) {
            names.push_back(toUString(member.name));
        }
    }
    return names;
}

void LevelReader::setKeyNames(const std::vector<std::u16string>& names) {
    setCurrentType(rapidjson::kObjectType);
    for (const std::u16string& name : names) {
        current->AddMember(makeStringValue(name, dom.document), rapidjson::Value(),
                           dom.document.GetAllocator());
    }
}

} // namespace ostra::io::json::tree
