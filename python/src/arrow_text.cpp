#include "arrow_text.hpp"

#include "document.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

namespace ostrajson {

namespace {

/// Writes the values of one array; recurses over its types, which nest up to a limit.
class ArrowWriter {
public:
    explicit ArrowWriter(TextSink& out) : out_(out) {}

    void write(const ArrowCells& cells, std::size_t i) {
        if (cells.isMissing(i)) {
            out_.put("null");
            return;
        }
        switch (cells.type()) {
        case ArrowCells::Type::Null:
            break;
        case ArrowCells::Type::Boolean:
            out_.put(cells.boolean(i) ? std::string_view("true") : std::string_view("false"));
            break;
        case ArrowCells::Type::Signed:
            out_.integer(cells.integer(i));
            break;
        case ArrowCells::Type::Unsigned:
            out_.integer(cells.natural(i));
            break;
        case ArrowCells::Type::Float:
            if (cells.isSingle()) {
                out_.floating(static_cast<float>(cells.floating(i)));
            } else {
                out_.floating(cells.floating(i));
            }
            break;
        case ArrowCells::Type::Text:
            out_.string(checked(cells.text(i)));
            break;
        case ArrowCells::Type::Json:
            json(cells.text(i));
            break;
        case ArrowCells::Type::Date:
        case ArrowCells::Type::Time:
        case ArrowCells::Type::Timestamp:
            time(cells, cells.integer(i));
            break;
        case ArrowCells::Type::List:
            list(cells, i);
            break;
        case ArrowCells::Type::Struct:
            object(cells, i);
            break;
        }
    }

private:
    void list(const ArrowCells& cells, std::size_t i) {
        const auto [begin, end] = cells.items(i);
        out_.put('[');
        for (std::size_t item = begin; item < end; ++item) {
            if (item != begin) {
                out_.put(',');
            }
            write(cells.children().front(), item);
        }
        out_.put(']');
    }

    void object(const ArrowCells& cells, std::size_t i) {
        char separator = '{';
        for (const ArrowCells& member : cells.children()) {
            out_.put(separator);
            out_.string(checked(member.name()));
            out_.put(':');
            write(member, cells.row(i));
            separator = ',';
        }
        out_.put(separator == '{' ? std::string_view("{}") : std::string_view("}"));
    }

    /// Producers do not always look whether their texts are UTF-8.
    static std::string_view checked(std::string_view text) {
        if (std::any_of(text.begin(), text.end(), [](char c) { return (c & '\x80') != 0; })) {
            const nb::object decoded = nb::steal(
                PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), nullptr));
            if (!decoded.is_valid()) {
                throw nb::python_error();
            }
        }
        return text;
    }

    void json(std::string_view text) {
        static_cast<void>(parseText(text, "JSON text in a column", {}));
        out_.put(text);
    }

    void time(const ArrowCells& cells, std::int64_t value) {
        using std::chrono::days;
        out_.put('"');
        if (cells.type() == ArrowCells::Type::Date) {
            date(value);
        } else {
            const std::int64_t perDay = 86'400 * cells.perSecond();
            const std::int64_t day = value / perDay - (value % perDay < 0 ? 1 : 0);
            if (cells.type() == ArrowCells::Type::Timestamp) {
                date(day);
                out_.put('T');
            }
            timeOfDay(value - day * perDay, cells.perSecond());
            if (cells.isUtc()) {
                out_.put('Z');
            }
        }
        out_.put('"');
    }

    void date(std::int64_t day) {
        constexpr std::int64_t most = 10'000'000; // as far as the calendar's years go
        const std::chrono::year_month_day date(
            std::chrono::sys_days(std::chrono::days(std::clamp(day, -most, most))));
        print("%04d-%02u-%02u", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
              static_cast<unsigned>(date.day()));
    }

    void timeOfDay(std::int64_t ticks, std::int64_t perSecond) {
        const auto seconds = static_cast<int>(ticks / perSecond);
        print("%02d:%02d:%02d", seconds / 3600, seconds / 60 % 60, seconds % 60);
        if (perSecond > 1) {
            const std::string digits = std::to_string(perSecond + ticks % perSecond);
            out_.put('.');
            out_.put(std::string_view(digits).substr(1));
        }
    }

    template <class... Numbers>
    void print(const char* format, Numbers... numbers) {
        std::array<char, 64> text{};
        const int size = std::snprintf(text.data(), text.size(), format, numbers...);
        out_.put(std::string_view(text.data(), static_cast<std::size_t>(size)));
    }

    TextSink& out_;
};

} // namespace

void writeArrow(TextSink& out, const ArrowInput& input) {
    ArrowWriter writer(out);
    char separator = '[';
    for (const ArrowArray& chunk : input.chunks()) {
        const ArrowCells cells(input.schema(), chunk);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out.put(separator);
            writer.write(cells, i);
            separator = ',';
        }
    }
    out.put(separator == '[' ? std::string_view("[]") : std::string_view("]"));
}

} // namespace ostrajson
