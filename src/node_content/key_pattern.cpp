#include "node_content/key_pattern.hpp"

#include "base/raw_value.hpp"
#include "document/errors.hpp"
#include "platform/text_conversion.hpp"

#include <cstring>
#include <string_view>

namespace ostra::io::json::tree {

namespace {

std::string requireName(const Tarvel::String::String& keys, std::size_t i) {
    const std::optional<std::u16string_view> name = keys.get(i);
    if (!name) {
        throwError(OSTRA::string::MissingNotSupported());
    }
    return fl::i18n::ustring_to_utf8(std::u16string(*name));
}

constexpr std::size_t wordsFor(std::size_t bytes) {
    return (bytes + sizeof(std::size_t) - 1) / sizeof(std::size_t);
}

} // namespace

KeyPattern::KeyPattern(const Tarvel::String::String& keys) : memberCount_(keys.size()) {
    static_assert(alignof(Member) <= alignof(Word) && sizeof(Member) % sizeof(Word) == 0);
    block_.resize(memberCount_ * (sizeof(Member) / sizeof(Word)));
    rapidjson::Document::AllocatorType unused; // a name held inside its value takes no memory
    for (std::size_t i = 0; i < memberCount_; ++i) {
        const std::string name = requireName(keys, i);
        const bool isInline = name.size() <= base::RawValue::longestInline;
        rapidjson::Value key(name.data(), isInline ? name.size() : 0, unused);
        base::makeMember(bytes() + i * sizeof(Member), key);
        if (!isInline) {
            longNames_.push_back({i, size(), name.size()});
            block_.resize(block_.size() + wordsFor(name.size() + 1));
            std::memcpy(bytes() + longNames_.back().offset, name.c_str(), name.size() + 1);
        }
    }
}

void KeyPattern::copyTo(rapidjson::Value& node, char* storage) const {
    if (memberCount_ == 0) {
        node = rapidjson::Value(rapidjson::kObjectType);
        return;
    }
    std::memcpy(storage, block_.data(), size());
    auto* const members = reinterpret_cast<Member*>(storage);
    for (const LongName& name : longNames_) {
        base::RawValue::setString(members[name.member].name, storage + name.offset, name.length);
    }
    base::RawValue::setObject(node, members, memberCount_);
}

} // namespace ostra::io::json::tree
