#include "document/serialise.hpp"

#include "base/parallel_loop.hpp"
#include "document/text_in_rounds.hpp"
#include "document/write_number.hpp"
#include "document/write_string.hpp"
#include "document/writing_plan.hpp"
#include "platform/file_io.hpp"
#include "platform/text_conversion.hpp"

#include <algorithm>
#include <cstring>
#include <vector>

namespace ostra::io::json::tree {

namespace {

/// No white space at all.
class CompactLayout {
public:
    void openLevel() {}
    void openLevels(std::size_t /*count*/) {}
    void closeLevel() {}
    char* startLine(TextBuffer& out, char* at) const { return out.reserve(at, entryRoom); }
    char* putColon(char* at) const {
        *at = ':';
        return at + 1;
    }
};

/// One element or member a line, as RapidJSON's `PrettyWriter` lays them out.
class IndentedLayout {
public:
    explicit IndentedLayout(const std::string& indent)
        : character_(indent.empty() ? ' ' : indent.front()), perLevel_(indent.size()) {}
    void openLevel() { indentation_ += perLevel_; }
    void openLevels(std::size_t count) { indentation_ += count * perLevel_; }
    void closeLevel() { indentation_ -= perLevel_; }
    char* startLine(TextBuffer& out, char* at) const {
        at = out.reserve(at, entryRoom + indentation_);
        *at++ = '\n';
        // A few more than wanted if these are few: a constant number does not need a call.
        constexpr std::size_t few = 32;
        static_assert(few < entryRoom / 2);
        std::memset(at, character_, few);
        if (indentation_ > few) {
            std::memset(at + few, character_, indentation_ - few);
        }
        return at + indentation_;
    }
    char* putColon(char* at) const { return putWord(at, ": "); }

private:
    char character_; // not checked for being white space: callers may want others
    std::size_t perLevel_;
    std::size_t indentation_ = 0;
};

/// Writes a scalar or an empty container.
char* putLeaf(TextBuffer& out, char* at, const rapidjson::Value& value, bool allowNaNInf) {
    switch (value.GetType()) {
    case rapidjson::kNullType:
        return putWord(at, "null");
    case rapidjson::kFalseType:
        return putWord(at, "false");
    case rapidjson::kTrueType:
        return putWord(at, "true");
    case rapidjson::kObjectType:
        return putWord(at, "{}");
    case rapidjson::kArrayType:
        return putWord(at, "[]");
    case rapidjson::kStringType:
        return putString(out, at, value);
    case rapidjson::kNumberType:
        return putNumber(at, value, allowNaNInf);
    }
    return at;
}

char bracketAt(const Entries& entries, bool opening) {
    return entries.ofObject ? (opening ? '{' : '}') : (opening ? '[' : ']');
}

/// Goes to the next entry, and writes what stands before its value.
template <class Layout>
const rapidjson::Value* nextValue(TextBuffer& out, char*& at, Entries& rest, const Layout& layout) {
    at = layout.startLine(out, at);
    if (!rest.ofObject) {
        const auto* const value = static_cast<const rapidjson::Value*>(rest.next);
        rest.next = value + 1;
        return value;
    }
    const auto* const member = static_cast<const rapidjson::Value::Member*>(rest.next);
    rest.next = member + 1;
    at = putString(out, at, member->name);
    at = layout.putColon(at);
    return &member->value;
}

/// Where a walk through a tree stands: entries still to be written, innermost last.
template <class Layout>
struct Walk {
    std::vector<Entries> outer; // the containers around the one that is being written
    Entries rest;
    Layout layout; // of `rest`
};

/// Writes entries and all below them, from `at` on, each with a comma behind it. `Value::Accept`
/// with RapidJSON's writers gives the same text, but its recursion overflows an 8 MB stack at about
/// 100,000 nested arrays.
///
/// Flattened: calls for every key, value and number cost a sixth of the whole.
///
/// @tparam bounded  stops before the first entry that begins past `limit` bytes of text; then
/// `walk`
///                  has the rest, else none.
template <bool bounded, class Layout>
[[gnu::flatten]] char* writeEntries(TextBuffer& out, char* at, Walk<Layout>& walk, bool allowNaNInf,
                                    std::size_t limit = 0) {
    std::vector<Entries>& outer = walk.outer;
    Entries rest = walk.rest;
    Layout layout = walk.layout;
    for (;;) {
        while (rest.next != rest.end) {
            if constexpr (bounded) {
                if (static_cast<std::size_t>(at - out.data()) > limit) {
                    walk.rest = rest;
                    walk.layout = layout;
                    return at;
                }
            }
            const rapidjson::Value* const value = nextValue(out, at, rest, layout);
            if (hasEntries(*value)) {
                outer.push_back(rest);
                rest = entriesOf(*value);
                *at++ = bracketAt(rest, true);
                layout.openLevel();
            } else {
                at = putLeaf(out, at, *value, allowNaNInf);
                *at++ = ',';
            }
        }
        if (outer.empty()) {
            walk.rest = rest;
            return at;
        }
        --at; // the last comma
        layout.closeLevel();
        at = layout.startLine(out, at);
        *at++ = bracketAt(rest, false);
        *at++ = ',';
        rest = outer.back();
        outer.pop_back();
    }
}

/// Writes the steps [begin, end) of a plan.
/// @param layout  of the plan's level 0.
template <class Layout>
char* writeSteps(TextBuffer& out, char* at, const WritingPlan& plan, std::size_t begin,
                 std::size_t end, bool allowNaNInf, const Layout& outermost) {
    for (std::size_t p = plan.partOf(begin); begin < end; ++p) {
        WritingPlan::Part part = plan.parts()[p];
        Layout layout = outermost;
        layout.openLevels(part.level);
        if (part.kind == WritingPlan::Kind::Entries) {
            const std::size_t count = std::min(end - begin, part.firstStep + part.count() - begin);
            const Entries some = part.entries.some(begin - part.firstStep, count);
            Walk<Layout> walk{{}, some, layout};
            at = writeEntries<false>(out, at, walk, allowNaNInf);
            begin += count;
            if (begin == part.firstStep + part.count() && plan.endsContainer(p)) {
                --at;
            }
            continue;
        }
        ++begin;
        if (part.kind == WritingPlan::Kind::Opening) {
            const Entries inner = entriesOf(*nextValue(out, at, part.entries, layout));
            *at++ = bracketAt(inner, true);
            continue;
        }
        at = layout.startLine(out, at);
        *at++ = bracketAt(part.entries, false);
        if (!plan.endsContainer(p)) {
            *at++ = ',';
        }
    }
    return at;
}

/// Writes what a walk has left on all cores.
template <class Layout>
char* writeRest(TextBuffer& out, char* at, Walk<Layout>& walk, bool allowNaNInf,
                const Layout& outermost) {
    constexpr std::size_t deep = 1000; // a plan has parts for every level
    if (walk.outer.size() > deep) {
        return writeEntries<false>(out, at, walk, allowNaNInf);
    }
    walk.outer.push_back(walk.rest);
    const WritingPlan plan(walk.outer);
    const auto write = [&](TextBuffer& part, char* to, std::size_t begin, std::size_t end) {
        return writeSteps(part, to, plan, begin, end, allowNaNInf, outermost);
    };
    return writeInRounds(out, at, plan.steps(), write);
}

/// Writes a value and all below it, from `at` on.
template <class Layout>
char* writeTree(TextBuffer& out, char* at, const rapidjson::Value& root, bool allowNaNInf,
                const Layout& outermost, bool onAllCores) {
    at = out.reserve(at, entryRoom);
    if (!hasEntries(root)) {
        return putLeaf(out, at, root, allowNaNInf);
    }
    Walk<Layout> walk{{}, entriesOf(root), outermost};
    walk.layout.openLevel();
    *at++ = bracketAt(walk.rest, true);
    if (onAllCores && base::severalThreads()) {
        at = writeEntries<true>(out, at, walk, allowNaNInf, worthAllCores);
        if (walk.rest.next != walk.rest.end) {
            at = writeRest(out, at, walk, allowNaNInf, outermost);
        }
    } else {
        at = writeEntries<false>(out, at, walk, allowNaNInf);
    }
    --at; // the last comma
    at = outermost.startLine(out, at);
    *at++ = bracketAt(entriesOf(root), false);
    return at;
}

} // namespace

TextBuffer serialise(const rapidjson::Value& value,
                     const write::struct_::WriteStructOptions& options) {
    TextBuffer text;
    if (options.prettyPrint) {
        const std::string indent = fl::i18n::ustring_to_utf8(options.indentText);
        text.finish(
            writeTree(text, nullptr, value, options.allowNaNInf, IndentedLayout(indent), true));
    } else {
        text.finish(writeTree(text, nullptr, value, options.allowNaNInf, CompactLayout(), true));
    }
    return text;
}

TextBuffer serialiseLines(const rapidjson::Value* values, std::size_t count, bool allowNaNInf) {
    const auto write = [&](TextBuffer& out, char* at, std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            at = writeTree(out, at, values[i], allowNaNInf, CompactLayout(), false);
            at = out.reserve(at, smallPiece);
            *at++ = '\n';
        }
        return at;
    };
    TextBuffer text;
    char* at = nullptr;
    std::size_t done = 0;
    const bool onAllCores = base::severalThreads();
    while (done < count &&
           (!onAllCores || static_cast<std::size_t>(at - text.data()) <= worthAllCores)) {
        at = write(text, at, done, done + 1);
        ++done;
    }
    const auto writeRest = [&](TextBuffer& out, char* to, std::size_t begin, std::size_t end) {
        return write(out, to, done + begin, done + end);
    };
    text.finish(writeInRounds(text, at, count - done, writeRest));
    return text;
}

std::u16string serialiseToString(const rapidjson::Value& value,
                                 const write::struct_::WriteStructOptions& options) {
    const TextBuffer text = serialise(value, options);
    return fl::i18n::utf8_to_ustring(text.data(), text.size());
}

void serialiseToFile(const rapidjson::Value& value, const std::u16string& path,
                     const write::struct_::WriteStructOptions& options) {
    const TextBuffer text = serialise(value, options);
    common::file::writeall(path, text.data(), text.size());
}

} // namespace ostra::io::json::tree
