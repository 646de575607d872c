/// A text, read and written: against an independent parser, and back to itself.

#include "oracle/slow_text.hpp"
#include "support.hpp"

#include <nlohmann/json.hpp>

#include <bit>
#include <cmath>
#include <optional>

namespace {

using namespace fuzz;

std::string bits(double value) {
    return std::isnan(value) ? "nan "
                             : "d" + std::to_string(std::bit_cast<std::uint64_t>(value)) + ' ';
}

std::string quoted(const std::string& text) {
    return std::to_string(text.size()) + ':' + text + ' ';
}

/// Writes down what an independent parser finds in a text. That parser is not simdjson, which the
/// library's own UTF-8 check is made of, and which refuses integers beyond 64 bits.
struct Events {
    std::string found;

    bool null() { return add("n "); }
    bool boolean(bool value) { return add(value ? "t " : "f "); }
    bool number_integer(std::int64_t value) { return add(std::to_string(value) + ' '); }
    bool number_unsigned(std::uint64_t value) { return add(std::to_string(value) + ' '); }
    bool number_float(double value, const std::string&) { return add(bits(value)); }
    bool string(const std::string& value) { return add(quoted(value)); }
    bool binary(const std::vector<std::uint8_t>&) { return false; }
    bool start_object(std::size_t) { return add("{ "); }
    bool key(const std::string& value) { return add(quoted(value)); }
    bool end_object() { return add("} "); }
    bool start_array(std::size_t) { return add("[ "); }
    bool end_array() { return add("] "); }
    template <class Error>
    bool parse_error(std::size_t, const std::string&, const Error&) {
        return false;
    }
    bool add(const std::string& event) {
        found += event;
        return true;
    }
};

/// The same of a value.
void addEvents(const Value& value, Events& events) {
    if (value.IsNull()) {
        events.null();
    } else if (value.IsBool()) {
        events.boolean(value.GetBool());
    } else if (value.IsString()) {
        events.string({value.GetString(), value.GetStringLength()});
    } else if (value.IsUint64()) {
        events.number_unsigned(value.GetUint64());
    } else if (value.IsInt64()) {
        events.number_integer(value.GetInt64());
    } else if (value.IsNumber()) {
        events.number_float(value.GetDouble(), {});
    } else if (value.IsObject()) {
        events.start_object(0);
        for (auto m = value.MemberBegin(); !(m == value.MemberEnd()); ++m) {
            events.key(keyOf(*m));
            addEvents(m->value, events);
        }
        events.end_object();
    } else {
        events.start_array(0);
        for (const Value& element : value.GetArray()) {
            addEvents(element, events);
        }
        events.end_array();
    }
}

std::string digits(const std::string& text, std::size_t& at) {
    const std::size_t begin = at;
    at = std::min(text.find_first_not_of("0123456789", at), text.size());
    check(at > begin, "a number in an error message");
    return text.substr(begin, at - begin);
}

/// `source:line:column: reason (byte N)`, with N within the text.
void checkMessage(const std::string& message, std::size_t textSize) {
    const std::string source = "source:";
    check(message.starts_with(source), "source of an error");
    std::size_t at = source.size();
    const std::size_t line = std::stoul(digits(message, at));
    check(line >= 1 && line <= textSize + 1 && message[at++] == ':', "line of an error");
    const std::size_t column = std::stoul(digits(message, at));
    check(column >= 1 && column <= textSize + 1, "column of an error");
    const std::size_t end = message.rfind(" (byte ");
    check(message.substr(at, 2) == ": " && end != std::string::npos && end > at + 2,
          "reason of an error");
    at = end + std::string(" (byte ").size();
    check(std::stoul(digits(message, at)) <= textSize, "offset of an error");
    check(message.substr(at) == ")", "end of an error");
}

struct Reading {
    std::string events;
    std::string text; // written again
    bool operator==(const Reading&) const = default;
};

std::string eventsOf(const tree::DOM& dom) {
    Events events;
    addEvents(dom.document, events);
    return events.found;
}

/// Well-formed text is the same as UTF-16, and so must be what is made of it.
void checkAsUtf16(const std::string& text, const ReadOptions& options, const std::string& events,
                  const std::string& refusal) {
    try {
        const tree::DOM dom = tree::read_string(u16(text), options);
        check(refusal.empty() && dom.buffer == toBytes(text) && eventsOf(dom) == events,
              "a text read as UTF-16");
    } catch (const std::exception& error) {
        check("source:" + std::string(error.what()) == refusal, "a text refused as UTF-16");
    }
}

/// Empty if the text is refused.
std::optional<Reading> readAndWrite(const std::string& text, const ReadOptions& options,
                                    const WriteOptions& form) {
    tree::DOM dom;
    std::string events;
    std::string refusal;
    try {
        dom.document = core::parse_json_document(u"source", toBytes(text), options);
        events = eventsOf(dom);
    } catch (const std::exception& error) {
        refusal = error.what();
        checkMessage(refusal, text.size());
    }
    if (u8(u16(text)) == text) {
        checkAsUtf16(text, options, events, refusal);
    }
    if (!refusal.empty()) {
        return {};
    }
    const std::string written = u8(tree::write_string(dom, form));
    check(written == slowText(dom.document, form), "the text of a document");
    return Reading{events, written};
}

std::optional<std::string> readIndependently(const std::string& text) {
    Events events;
    // That parser takes a NUL for the end of the text.
    if (text.find('\0') != std::string::npos || !nlohmann::json::sax_parse(text, &events)) {
        return {};
    }
    return events.found;
}

} // namespace

/// The first byte chooses the options, the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t longest = 4096; // the oracle recurses
    if (size == 0 || size > longest) {
        return 0;
    }
    const std::uint8_t choice = data[0];
    const std::string text(data + 1, data + size);
    const ReadOptions relaxed = {.allowComments = (choice & 1U) != 0,
                                 .allowTrailingCommas = (choice & 2U) != 0,
                                 .allowNaNInf = (choice & 4U) != 0};
    static const std::array<std::u16string, 4> indents = {u"", u"\t", u"  ", u" \t\u00e9"};
    const WriteOptions form = {.allowNaNInf = relaxed.allowNaNInf,
                               .prettyPrint = (choice & 8U) != 0,
                               .indentText = indents[(choice >> 4U) & 3U]};

    const auto strict = readAndWrite(text, {}, form);
    const auto expected = readIndependently(text);
    check(expected.has_value() == strict.has_value(), "acceptance of a strict text");
    check(!strict || *expected == strict->events, "contents of a strict text");

    const auto read = readAndWrite(text, relaxed, form);
    check(!strict || read == strict, "a strict text under relaxed options");
    check(!read || readAndWrite(read->text, relaxed, form) == read, "a written text, read back");
    return 0;
}
