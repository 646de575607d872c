#pragma once

/// The JSON text of a value by RapidJSON's recursive writers, with digits by the standard library.

#include "platform/json_write.hpp"
#include "platform/text_conversion.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>

namespace fuzz {

/// The shortest and closest decimal, in RapidJSON's layout.
inline std::string slowText(double value, bool allowNaNInf) {
    if (!std::isfinite(value)) {
        const std::string word = std::isnan(value) ? "NaN" : value < 0 ? "-Infinity" : "Infinity";
        return allowNaNInf ? word : "null";
    }
    const std::string sign = std::signbit(value) ? "-" : "";
    char buffer[64];
    std::string digits(buffer, std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value),
                                             std::chars_format::scientific)
                                   .ptr);
    const std::size_t exponent = digits.find('e');
    const int point = std::stoi(digits.substr(exponent + 1)) + 1; // behind so many digits
    digits = digits.substr(0, 1) + (exponent > 1 ? digits.substr(2, exponent - 2) : "");
    const int count = static_cast<int>(digits.size());
    if (value != 0 && (point > 21 || point < -5)) {
        return sign + (count > 1 ? digits.insert(1, ".") : digits) + 'e' +
               std::to_string(point - 1);
    }
    if (point <= 0) {
        return sign + "0." + std::string(static_cast<unsigned>(-point), '0') + digits;
    }
    if (point >= count) {
        return sign + digits + std::string(static_cast<unsigned>(point - count), '0') + ".0";
    }
    return sign + digits.insert(static_cast<unsigned>(point), ".");
}

template <class Writer>
class SlowWriter : public Writer {
public:
    SlowWriter(rapidjson::StringBuffer& out, bool allowNaNInf)
        : Writer(out), allowNaNInf_(allowNaNInf) {}
    bool Double(double value) {
        const std::string text = slowText(value, allowNaNInf_);
        return Writer::RawValue(text.data(), text.size(), rapidjson::kNumberType);
    }

private:
    bool allowNaNInf_;
};

/// @param value  not deep: the writers recurse.
inline std::string
slowText(const rapidjson::Value& value,
         const ostra::io::json::write::struct_::WriteStructOptions& options = {}) {
    rapidjson::StringBuffer out;
    if (options.prettyPrint) {
        SlowWriter<rapidjson::PrettyWriter<rapidjson::StringBuffer>> writer(out,
                                                                            options.allowNaNInf);
        const std::string indent = fl::i18n::ustring_to_utf8(options.indentText);
        writer.SetIndent(indent.empty() ? ' ' : indent.front(),
                         static_cast<unsigned>(indent.size()));
        value.Accept(writer);
    } else {
        SlowWriter<rapidjson::Writer<rapidjson::StringBuffer>> writer(out, options.allowNaNInf);
        value.Accept(writer);
    }
    return {out.GetString(), out.GetSize()};
}

} // namespace fuzz
