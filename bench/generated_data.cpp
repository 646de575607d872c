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

constexpr std::array<std::string_view, 6> phrases = {
    "\u540d\u524d:\u524d\u7530\u3042\u3086\u307f\\n",
    "\u7b2c\u4e00\u5370\u8c61:\u306a\u3093\u304b\u6016\u3063\uff01",
    "\u4eca\u306e\u5370\u8c61:\u3068\u308a\u3042\u3048\u305a\u5143\u6c17\u3002",
    "RT @storm_watch: ",
    "http://t.co/96UqoCo0oU ",
    "\u4e00\u306b\u6b62\u307e\u308b\u3068\u66f8\u3044\u3066\u3001\u6b63\u3057\u3044 \U0001F60A"};

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

std::string coordinates(std::size_t count, int decimals) {
    Source source;
    return arrayOf(count, [&](std::string& text, std::size_t) {
        text += R"({"type":"Polygon","coordinates":[[)";
        for (int p = 0; p < 100; ++p) {
            text += (p == 0 ? "[" : ",[") + number(source.between(-141, -52), decimals) + "," +
                    number(source.between(41, 83), decimals) + "]";
        }
        text += "]]}";
    });
}

std::string mesh(std::size_t vertices) {
    Source source;
    const auto list = [](std::size_t count, const auto& value) {
        std::string text = "[";
        for (std::size_t i = 0; i < count; ++i) {
            text += (i == 0 ? "" : ",") + value();
        }
        return text + "]";
    };
    return R"({"positions":)" +
           list(3 * vertices, [&] { return number(source.between(-3, 3), 10); }) + R"(,"colors":)" +
           list(vertices, [] { return std::string("4278190080"); }) + R"(,"indices":)" +
           list(9 * vertices, [&] { return std::to_string(source.below(vertices)); }) + "}";
}

std::string performances(std::size_t count) {
    Source source;
    const auto id = [&source](std::uint64_t first) {
        return std::to_string(first + source.below(1000));
    };
    return arrayOf(count, [&](std::string& text, std::size_t) {
        text += R"({"eventId":)" + id(138'586'341) + R"(,"logo":null,"name":null,"prices":[)";
        for (std::uint64_t n = 1 + source.below(4); n > 0; --n) {
            text += R"({"amount":)" + std::to_string(10'000 + source.below(90'000)) +
                    R"(,"audienceSubCategoryId":337100890,"seatCategoryId":)" + id(338'937'235) +
                    (n > 1 ? "}," : "}");
        }
        text += R"(],"seatCategories":[{"areas":[)";
        for (std::uint64_t n = 4 + source.below(16); n > 0; --n) {
            text += R"({"areaId":)" + id(205'705'993) + R"(,"blockIds":[]})" + (n > 1 ? "," : "");
        }
        text += R"(],"seatCategoryId":)" + id(338'937'235) + R"(}],"start":1372701600000,)";
        text += R"("topicIds":[324846099,107888604],"venueCode":"PLEYEL_PLEYEL"})";
    });
}

std::string statuses(std::size_t count) {
    Source source;
    return arrayOf(count, [&](std::string& text, std::size_t i) {
        const std::string id = std::to_string(505'874'924'095'815'681U + i);
        const std::string user = std::to_string(source.below(4'000'000'000));
        text += R"({"metadata":{"result_type":"recent","iso_language_code":"ja"},)";
        text += R"("created_at":"Sun Aug 31 00:29:15 +0000 2014","id":)" + id;
        text += R"(,"id_str":")" + id + R"(","text":")";
        for (std::uint64_t n = 2 + source.below(6); n > 0; --n) {
            text += source.of(phrases);
        }
        text += R"(","source":"<a href=\"http://twitter.example/download\" rel=\"nofollow\">)";
        text += R"(phone</a>","truncated":false,"in_reply_to_status_id":null,"user":{"id":)" + user;
        text += R"(,"id_str":")" + user + R"(","name":")" + std::string(source.of(phrases));
        text += R"(","location":"","url":null,"entities":{"description":{"urls":[]}},)";
        text += R"("followers_count":)" + std::to_string(source.below(5000));
        text += R"(,"utc_offset":32400,"time_zone":"Irkutsk","geo_enabled":false,"lang":"ja",)";
        text += R"("profile_background_color":"C0DEED","profile_image_url":)";
        text += R"("http://pbs.example/profile_images/)" + id + R"(/normal.jpeg"},"geo":null,)";
        text += R"("retweet_count":)" + std::to_string(source.below(100));
        text += R"(,"entities":{"hashtags":[],"user_mentions":[{"indices":[3,19]}]},"lang":"ja"})";
    });
}

std::string indented(const std::string& compact, std::size_t spaces) {
    std::string text;
    std::size_t depth = 0;
    bool inString = false;
    const auto startLine = [&] { text += '\n' + std::string(depth * spaces, ' '); };
    for (std::size_t i = 0; i < compact.size(); ++i) {
        const char c = compact[i];
        if (inString || c == '"') {
            text += c;
            if (c == '\\') {
                text += compact[++i];
            } else if (c == '"') {
                inString = !inString;
            }
        } else if (c == '[' || c == '{') {
            text += c;
            const bool empty = compact[i + 1] == ']' || compact[i + 1] == '}';
            if (empty) {
                text += compact[++i];
            } else {
                ++depth;
                startLine();
            }
        } else if (c == ']' || c == '}') {
            --depth;
            startLine();
            text += c;
        } else if (c == ',') {
            text += c;
            startLine();
        } else if (c != '\n' && c != ' ') {
            text += c == ':' ? ": " : std::string(1, c);
        }
    }
    return text + '\n';
}

} // namespace bench
