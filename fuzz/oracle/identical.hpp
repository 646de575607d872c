#pragma once

/// Whether two readers have made the same of a text.

#include "agreement.hpp"
#include "json_core/chunked_reading.hpp"

#include <cstddef>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace fuzz {

/// To the bit: number classes, the zeros behind short strings, capacities, the order of members.
inline bool identical(const Value& first, const Value& second) {
    constexpr std::size_t longestInline = 21;
    std::vector<std::pair<const Value*, const Value*>> due = {{&first, &second}};
    while (!due.empty()) {
        const auto [a, b] = due.back();
        due.pop_back();
        if (a->GetType() != b->GetType()) {
            return false;
        }
        const auto equalBytes = [](const void* x, const void* y, std::size_t size) {
            return std::memcmp(x, y, size) == 0;
        };
        if (a->IsArray()) {
            if (a->Size() != b->Size() || a->Capacity() != b->Capacity()) {
                return false;
            }
            for (std::size_t i = 0; i < a->Size(); ++i) {
                due.emplace_back(&(*a)[i], &(*b)[i]);
            }
        } else if (a->IsObject()) {
            if (!equalBytes(a, b, 16)) { // the number of members, and the capacity
                return false;
            }
            for (auto m = a->MemberBegin(), n = b->MemberBegin(); !(m == a->MemberEnd());
                 ++m, ++n) {
                due.emplace_back(&m->name, &n->name);
                due.emplace_back(&m->value, &n->value);
            }
        } else if (a->IsString() && a->GetStringLength() > longestInline) {
            if (a->GetStringLength() != b->GetStringLength() ||
                !equalBytes(a->GetString(), b->GetString(), a->GetStringLength() + 1)) {
                return false;
            }
        } else if (!equalBytes(a, b, sizeof *a)) {
            return false;
        }
    }
    return true;
}

/// What has become of a text: a document, or a refusal.
struct Outcome {
    std::optional<rapidjson::Document> document;
    std::string refusal;

    bool operator==(const Outcome& other) const {
        return document && other.document
                   ? identical(*document, *other.document)
                   : !document && !other.document && refusal == other.refusal;
    }
};

template <class Read>
Outcome outcomeOf(const Read& read) {
    try {
        return {read(), {}};
    } catch (const std::runtime_error& error) {
        return {{}, error.what()};
    }
}

/// By the reader that goes byte by byte.
inline Outcome readPlainly(std::string_view text, const ReadOptions& options) {
    return outcomeOf([&] { return core::readPlainly(u"source", text, options, text.size() + 1); });
}

inline Outcome readInChunks(std::string_view text, const ReadOptions& options,
                            std::size_t chunkSize) {
    return outcomeOf([&] { return core::readInChunks(u"source", text, options, chunkSize); });
}

} // namespace fuzz
