#include "base/pool_memory.hpp"
#include "base/raw_value.hpp"
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
    const auto setString = [this](rapidjson::Value& value, const std::u16string& text) {
        value = makeStringValue(text, dom.document);
    };
    setValues(*current, values, setString, isString);
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
    using Member = rapidjson::Value::Member;
    setCurrentType(rapidjson::kObjectType);
    // Not AddMember: it writes through null if the pool has no memory, and takes the members
    // again time and again as they become more. No overflow: a name is two thirds of a member.
    auto* const members = static_cast<Member*>(
        base::takeFromPool(dom.document.GetAllocator(), names.size() * sizeof(Member)));
    for (std::size_t i = 0; i < names.size(); ++i) {
        rapidjson::Value name = makeStringValue(names[i], dom.document);
        base::makeMember(members + i, name);
        base::RawValue::setObject(*current, members, i + 1);
    }
}

} // namespace ostra::io::json::tree
