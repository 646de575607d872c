#include "generated_data.hpp"

#include <array>
#include <charconv>
#include <cstdint>
#include <random>
#include <string_view>

namespace bench {

namespace {

/// Numbers and choices from one sequence, the same on every machine.
class Source {
public:
    std::uint64_t below(std::uint64_t limit) { return engine_() % limit; }
    bool oneIn(std::uint64_t n) { return below(n) == 0; }
    double between(double low, double high) {
        return low + (high - low) * static_cast<double>(engine_() >> 11U) * 0x1p-53;
    }
    template <std::size_t N>
    std::string_view of(const std::array<std::string_view, N>& choices) {
        return choices[below(N)];
    }

private:
    std::mt19937_64 engine_{20261121};
};

std::string number(double value, int precision) {
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   std::chars_format::fixed, precision)
                         .ptr;
    return {text.data(), end};
}

template <class Append>
std::string arrayOf(std::size_t count, const Append& append) {
    std::string text = "[";
    for (std::size_t i = 0; i < count; ++i) {
        text += i == 0 ? "\n" : ",\n";
        append(text, i);
    }
    return text + "\n]\n";
}

constexpr std::array<std::string_view, 8> tags = {
    "raw", "checked", "cal-2", "night", "outlier", "deep", "manual", "r\u00e9p\u00e9t\u00e9"};

constexpr std::array<std::string_view, 12> words = {
    "the", "sea",  "is",           "calm",  "tonight", "http:\\/\\/t.co\\/x1y2",
    "RT",  "wind", "\u6771\u4eac", "gusts", "\\u2603", "\\\"quoted\\\""};

constexpr std::array<std::string_view, 4> languages = {"en", "ja", "is", "fr"};

} // namespace

std::string records(std::size_t count) {
    Source source;
    return arrayOf(count, [&](std::string& text, std::size_t i) {
        text += R"({"id": )" + std::to_string(9007199254740993U + 2 * i);
        text += R"(, "seq": )" + std::to_string(i);
        text += R"(, "name": "station-)" + std::to_string(source.below(100'000)) + "\"";
        text += R"(, "tags": [)";
        const std::uint64_t tagCount = source.below(4);
        for (std::uint64_t t = 0; t < tagCount; ++t) {
            text += (t == 0 ? "\"" : ", \"") + std::string(source.of(tags)) + "\"";
        }
        text += R"(], "pos": {"x": )" + number(source.between(-180, 180), 9);
        text += R"(, "y": )" + number(source.between(-90, 90), 9);
        if (!source.oneIn(16)) {
            text += R"(, "depth": )" + number(source.between(0, 6000), 2);
        }
        text += R"(}, "quality": )" + std::to_string(source.below(5));
        text += source.oneIn(2) ? R"(, "valid": true)" : R"(, "valid": false)";
        if (!source.oneIn(8)) {
            text += R"(, "remark": )" + std::string(source.oneIn(3) ? "null" : "\"as measured\"");
        }
        text += "}";
    });
}

std::string messages(std::size_t count) {
    Source source;
    return arrayOf(count, [&](std::string& text, std::size_t i) {
        text += R"({"id":)" + std::to_string(1'505'874'924'095'815'681U + i);
        text += R"(,"text":")";
        const std::uint64_t length = 4 + source.below(16);
        for (std::uint64_t w = 0; w < length; ++w) {
            text += std::string(source.of(words)) + " ";
        }
        text += R"(","user":{"id":)" + std::to_string(source.below(4'000'000'000));
        text += R"(,"name":"user )" + std::to_string(source.below(100'000));
        text += R"(","lang":")" + std::string(source.of(languages));
        text += R"(","followers":)" + std::to_string(source.below(10'000));
        text += R"(,"verified":false,"url":null},"entities":{"hashtags":[)";
        if (source.oneIn(3)) {
            text += R"({"text":"storm","indices":[32,36]})";
        }
        text += R"(],"urls":[]},"retweets":)" + std::to_string(source.below(1000));
        text += R"(,"favorited":false,"place":null})";
    });
}

std::string catalogue(std::size_t count) {
    Source source;
    return arrayOf(count, [&](std::string& text, std::size_t i) {
        text += R"({"sku":)" + std::to_string(100'000 + i);
        text += R"(,"category":)" + std::to_string(source.below(40));
        text += R"(,"prices":[)";
        for (int p = 0; p < 4; ++p) {
            text += (p == 0 ? "" : ",") + std::string(R"({"amount":)") +
                    std::to_string(source.below(20'000)) + R"(,"zone":)" +
                    std::to_string(source.below(400)) + "}";
        }
        text += R"(],"areas":[)" + std::to_string(source.below(300)) + "," +
                std::to_string(source.below(300)) + "," + std::to_string(source.below(300));
        text += R"(],"stock":)" + std::to_string(source.below(500)) + "}";
    });
}

std::string coordinates(std::size_t count) {
    Source source;
    return arrayOf(count, [&](std::string& text, std::size_t) {
        text += R"({"type":"Polygon","coordinates":[[)";
        for (int p = 0; p < 100; ++p) {
            text += (p == 0 ? "[" : ",[") + number(source.between(-141, -52), 13) + "," +
                    number(source.between(41, 83), 13) + "]";
        }
        text += "]]}";
    });
}

} // namespace bench
