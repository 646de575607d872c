#pragma once

/// Random documents with everything that has ever been trouble in them.

#include <ostra/io/json/tree/dom.hpp>

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace test {

/// As many bytes as a value holds inside itself, and one more.
inline const std::string bytes21 = "exactly 21 bytes long";
inline const std::string bytes22 = "this one has 22 bytes ";

/// Makes random values; the same sequence value makes the same ones.
class RandomJson {
public:
    using Pool = rapidjson::Document::AllocatorType;

    RandomJson(std::uint64_t sequence, Pool& pool) : engine_(sequence), pool_(pool) {}

    std::size_t below(std::size_t limit) { return engine_() % limit; }

    /// Any value; containers nest up to `depth` deep.
    rapidjson::Value value(int depth) {
        const std::size_t kind = below(depth > 0 ? 10 : 7);
        switch (kind) {
        case 0:
            return rapidjson::Value();
        case 1:
            return rapidjson::Value(below(2) == 0);
        case 2:
        case 3:
            return string();
        case 7:
        case 8:
            return object(depth - 1);
        case 9:
            return array(depth - 1);
        default:
            return number();
        }
    }

    /// An object whose keys come from few names, so that they repeat within and across objects.
    rapidjson::Value object(int depth) {
        rapidjson::Value result(rapidjson::kObjectType);
        for (std::size_t n = below(7); n > 0; --n) {
            result.AddMember(copied(key()), value(depth), pool_);
        }
        return result;
    }

    rapidjson::Value array(int depth) {
        rapidjson::Value result(rapidjson::kArrayType);
        for (std::size_t n = below(6); n > 0; --n) {
            result.PushBack(value(depth), pool_);
        }
        return result;
    }

    /// A number at, or near, a boundary of the number classes, or an ordinary one.
    rapidjson::Value number() {
        constexpr std::uint64_t two53 = 1UL << 53U; // from here on doubles have gaps
        constexpr std::uint64_t two63 = 1UL << 63U;
        constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
        static const std::array<std::uint64_t, 8> unsignedOnes = {
            0, 1, two53 - 1, two53, two53 + 1, two63 - 1, two63, ~0UL};
        static const std::array<std::int64_t, 6> signedOnes = {
            -1, 1 - (1L << 53U), -1 - (1L << 53U), least, least + 1, -(1L << 32U)};
        static const std::array doubles = {
            -0.0, 0.1, 1e300, 5e-324, 0x1p53, 1e-7, -123.25, std::numeric_limits<double>::max()};
        switch (below(4)) {
        case 0:
            return rapidjson::Value(unsignedOnes[below(unsignedOnes.size())]);
        case 1:
            return rapidjson::Value(signedOnes[below(signedOnes.size())]);
        case 2:
            return rapidjson::Value(doubles[below(doubles.size())]);
        default:
            return rapidjson::Value(static_cast<int>(below(2000)) - 1000);
        }
    }

    /// Up to 30 characters: both sides of the 21 bytes that a value holds inside itself.
    rapidjson::Value string() {
        static const std::array<std::string, 5> pieces = {"a", "0", std::string(1, '\0'), "\u00e9",
                                                          "\U0001F600"};
        std::string text;
        for (std::size_t n = below(31); n > 0; --n) {
            text += pieces[below(8) < 5 ? 0 : below(pieces.size())];
        }
        return copied(text);
    }

    const std::string& key() {
        static const std::array<std::string, 9> names = {
            "a", "b", "", "0", std::string("a\0b", 3), "~/", "\u6771\u4eac", bytes21, bytes22};
        return names[below(names.size())];
    }

private:
    rapidjson::Value copied(const std::string& text) {
        return rapidjson::Value(text.data(), text.size(), pool_);
    }

    std::mt19937_64 engine_;
    Pool& pool_;
};

/// A shared document whose root is an array of `count` random values, containers most of them.
inline std::shared_ptr<ostra::io::json::tree::DOM> randomDocument(std::uint64_t sequence,
                                                                  std::size_t count, int depth) {
    auto dom = ostra::io::json::tree::make_dom_ptr();
    RandomJson random(sequence, dom->document.GetAllocator());
    dom->document.SetArray();
    for (std::size_t i = 0; i < count; ++i) {
        rapidjson::Value value = random.below(4) == 0   ? random.value(depth)
                                 : random.below(3) == 0 ? random.array(depth)
                                                        : random.object(depth);
        dom->document.PushBack(value, dom->document.GetAllocator());
    }
    return dom;
}

} // namespace test
