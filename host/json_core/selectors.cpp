#include "parse_error.hpp"
#include "platform/json_core.hpp"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace ostra::io::json::core {

namespace {

std::string reasonOf(rapidjson::PointerParseErrorCode code) {
    switch (code) {
    case rapidjson::kPointerParseErrorTokenMustBeginWithSolidus:
        return "expected '/', or nothing at all";
    case rapidjson::kPointerParseErrorInvalidEscape:
        return "expected 0 or 1 after '~'";
    case rapidjson::kPointerParseErrorInvalidPercentEncoding:
        return "malformed percent-encoding";
    case rapidjson::kPointerParseErrorCharacterMustPercentEncode:
        return "this character must be percent-encoded after '#'";
    case rapidjson::kPointerParseErrorNone:
        break;
    }
    return "malformed";
}

} // namespace

JSONPointer validate_selector(const std::string& selector) {
    // RapidJSON writes through null if this memory cannot be had; see ValueBuilder.
    const auto tokens = static_cast<std::size_t>(std::ranges::count(selector, '/'));
    ::operator delete(::operator new(tokens * sizeof(JSONPointer::Token) + selector.size() + 64));

    JSONPointer pointer(selector.data(), selector.size());
    if (!pointer.IsValid()) {
        throw std::invalid_argument("not a JSON Pointer: \"" + printable(selector) +
                                    "\": " + reasonOf(pointer.GetParseErrorCode()) + " (byte " +
                                    std::to_string(pointer.GetParseErrorOffset()) + ')');
    }
    return pointer;
}

} // namespace ostra::io::json::core
