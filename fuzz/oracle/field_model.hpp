#pragma once

/// The fields of records that are walked one by one: what finding them in blocks is compared with.

#include "read_model.hpp"

#include <ostra/io/json/columns/find_fields.hpp>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace fuzz::blocks {

/// A field and all values at its path; objects that are opened only count.
struct SlowField {
    std::vector<std::string> path;
    std::vector<const rapidjson::Value*> values;
    bool hasObjects = false;
};

class SlowFields {
public:
    explicit SlowFields(std::size_t maxDepth) : maxDepth_(maxDepth) {}

    void add(const rapidjson::Value& value, const std::vector<std::string>& path = {}) {
        if (!value.IsObject() || path.size() == maxDepth_) {
            if (at(path).values.empty()) {
                order.push_back(path);
            }
            at(path).values.push_back(&value);
            return;
        }
        at(path).hasObjects = true;
        for (const auto& member : value.GetObject()) {
            if (&member == &*value.FindMember(member.name)) {
                auto longer = path;
                longer.emplace_back(member.name.GetString(), member.name.GetStringLength());
                add(member.value, longer);
            }
        }
    }

    const SlowField& field(const std::vector<std::string>& path) { return at(path); }

    std::vector<std::vector<std::string>> order;

private:
    SlowField& at(const std::vector<std::string>& path) {
        const auto known = std::find_if(fields_.begin(), fields_.end(),
                                        [&](const SlowField& one) { return one.path == path; });
        return known != fields_.end() ? *known : fields_.emplace_back(SlowField{path, {}, false});
    }

    std::size_t maxDepth_;
    std::deque<SlowField> fields_;
};

/// The class of scalars, null left out.
inline Want slowWant(const std::vector<const rapidjson::Value*>& scalars) {
    const auto are = [&](const auto& test) {
        return std::all_of(scalars.begin(), scalars.end(), [&](const rapidjson::Value* value) {
            return value->IsNull() || test(*value);
        });
    };
    using V = rapidjson::Value;
    const auto isExact = [](const V& v) {
        return v.IsDouble() ||
               (v.IsUint64() && static_cast<long double>(static_cast<double>(v.GetUint64())) ==
                                    static_cast<long double>(v.GetUint64())) ||
               (v.IsInt64() && static_cast<long double>(static_cast<double>(v.GetInt64())) ==
                                   static_cast<long double>(v.GetInt64()));
    };
    return are([](const V&) { return false; })            ? Want::Any
           : are([](const V& v) { return v.IsInt64(); })  ? Want::Int64
           : are([](const V& v) { return v.IsUint64(); }) ? Want::Uint64
           : are(isExact)                                 ? Want::Double
           : are([](const V& v) { return v.IsBool(); })   ? Want::Boolean
           : are([](const V& v) { return v.IsString(); }) ? Want::Text
                                                          : Want::Json;
}

inline std::string slowType(const SlowField& field) {
    std::vector<const rapidjson::Value*> elements;
    std::size_t arrays = 0;
    std::size_t nulls = 0;
    for (const rapidjson::Value* value : field.values) {
        nulls += value->IsNull() ? 1 : 0;
        arrays += value->IsArray() ? 1 : 0;
        if (value->IsArray()) {
            for (const rapidjson::Value& element : value->GetArray()) {
                elements.push_back(&element);
            }
        }
    }
    const bool areArrays = arrays != 0 && arrays + nulls == field.values.size();
    Want want = slowWant(areArrays ? elements : field.values);
    const bool isFlat = areArrays && want != Want::Json && !field.hasObjects;
    want = areArrays && field.hasObjects && want != Want::Json ? Want::Any : want;
    return std::to_string(static_cast<int>(want)) + (isFlat ? " list" : " scalar") +
           (field.hasObjects ? " beside objects\n" : "\n");
}

inline std::string fieldText(const std::vector<std::string>& path) {
    std::string text;
    for (const std::string& key : path) {
        text += std::to_string(key.size()) + ':' + key;
    }
    return text + ' ';
}

/// What finding fields gives, or throws; and that they can be read without a conflict.
inline std::string foundInBlocks(const std::string& text, std::size_t maxDepth,
                                 const ReadOptions& options) {
    try {
        const Source source = Source::memory(text, "source");
        std::string outcome;
        std::vector<Field> fields;
        for (const FoundField& one : find_fields(source, {.max_depth = maxDepth}, options)) {
            fields.push_back({one.pointer, one.pointer, one.type});
            outcome += fieldText(one.path) + std::to_string(static_cast<int>(one.type.want)) +
                       (one.type.layout == Layout::List ? " list" : " scalar") +
                       (one.has_objects ? " beside objects\n" : "\n");
        }
        ReadOptions reading = options;
        reading.index_arrays = false;
        read_columns(source, fields, reading);
        return outcome;
    } catch (const ColumnConflict& error) {
        return std::string("conflict: ") + error.what();
    } catch (const std::exception&) {
        return "error";
    }
}

/// The same of a document that is read as a whole; the records are at the root.
inline std::string foundSlowly(const std::string& text, std::size_t maxDepth,
                               const ReadOptions& options) {
    try {
        const rapidjson::Document document = core::parse_text(u"source", text, options.syntax);
        SlowFields slow(maxDepth);
        if (document.IsArray()) {
            for (const rapidjson::Value& record : document.GetArray()) {
                slow.add(record);
            }
        } else if (document.IsObject()) {
            for (const auto& member : document.GetObject()) {
                slow.add(member.value);
            }
        } else {
            return "error";
        }
        std::string outcome;
        for (const auto& path : slow.order) {
            outcome += fieldText(path) + slowType(slow.field(path));
        }
        return outcome;
    } catch (const std::exception&) {
        return "error";
    }
}

} // namespace fuzz::blocks
