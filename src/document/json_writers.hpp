#pragma once

/// RapidJSON's two writers with our digits, our non-finite numbers and our indentation.

#include "document/number_text.hpp"
#include "document/text_buffer.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>

#include <cmath>

namespace ostra::io::json::tree {

/// Writes any double; a non-finite one as its word or as null.
///
/// RapidJSON 1.1.0 has no write flag that makes non-finite doubles null, and its `PrettyWriter`
/// does not compile with any write flag at all, so both writers are used with the default flags and
/// never see a double.
inline void writeDouble(TextBuffer& out, double value, bool allowNaNInf) {
    if (std::isfinite(value)) {
        out.advanceTo(writeFinite(out.reserve(longestDouble), value));
    } else if (!allowNaNInf) {
        out.append("null", 4);
    } else if (std::isnan(value)) {
        out.append("NaN", 3);
    } else if (value > 0) {
        out.append("Infinity", 8);
    } else {
        out.append("-Infinity", 9);
    }
}

/// No white space at all.
class CompactWriter : public rapidjson::Writer<TextBuffer> {
public:
    CompactWriter(TextBuffer& out, bool allowNaNInf)
        : rapidjson::Writer<TextBuffer>(out), allowNaNInf_(allowNaNInf) {}

    bool Double(double value) { // NOLINT(readability-identifier-naming): RapidJSON's name
        Prefix(rapidjson::kNumberType);
        writeDouble(*os_, value, allowNaNInf_);
        return true;
    }

private:
    bool allowNaNInf_;
};

/// One element or member a line.
class IndentedWriter : public rapidjson::PrettyWriter<TextBuffer> {
public:
    /// The members are set directly: `SetIndent` asserts on characters that are no white space,
    /// which callers may want, and asserting would make debug and release builds differ.
    IndentedWriter(TextBuffer& out, bool allowNaNInf, char indent, unsigned count)
        : rapidjson::PrettyWriter<TextBuffer>(out), allowNaNInf_(allowNaNInf) {
        indentChar_ = indent;
        indentCharCount_ = count;
    }

    bool Double(double value) { // NOLINT(readability-identifier-naming): RapidJSON's name
        PrettyPrefix(rapidjson::kNumberType);
        writeDouble(*os_, value, allowNaNInf_);
        return true;
    }

private:
    bool allowNaNInf_;
};

} // namespace ostra::io::json::tree
