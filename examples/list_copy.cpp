#include "list_copy.hpp"

#include <vector>

namespace example {

namespace {

using ostra::io::json::tree::LevelReader;

/// The children of a level that have levels of their own, and the next of them to enter.
struct OpenLevel {
    std::vector<std::size_t> containers;
    std::size_t next = 0;
};

/// Copies one level and leaves its objects and arrays empty.
OpenLevel copyLevel(const LevelReader& source, LevelReader& copy, CopyCounts& counts) {
    const std::vector<rapidjson::Type> types = source.listValueTypes();
    const std::vector<double> doubles = source.listDoubles();
    const std::vector<unsigned long> uint64s = source.listUint64s();
    const std::vector<long> int64s = source.listInt64s();
    const std::vector<std::u16string> strings = source.listStrings();
    if (source.getCurrentType() == rapidjson::kObjectType) {
        copy.setKeyNames(source.listKeyNames());
    } else {
        copy.setCurrentType(source.getCurrentType());
    }
    copy.setValueTypes(types);
    copy.setNumberTypes(source.listNumberTypes());
    copy.setDoubles(doubles);
    copy.setUint64s(uint64s);
    copy.setInt64s(int64s);
    copy.setStrings(strings);

    ++counts.levels;
    counts.doubles += doubles.size();
    counts.uint64s += uint64s.size();
    counts.int64s += int64s.size();
    counts.strings += strings.size();

    OpenLevel level;
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (types[i] == rapidjson::kObjectType || types[i] == rapidjson::kArrayType) {
            level.containers.push_back(i);
        }
    }
    return level;
}

} // namespace

CopyCounts copyByLists(LevelReader& source, LevelReader& copy) {
    CopyCounts counts;
    std::vector<OpenLevel> path;
    path.push_back(copyLevel(source, copy, counts));
    while (!path.empty()) {
        OpenLevel& level = path.back();
        if (level.next == level.containers.size()) {
            path.pop_back();
            if (!path.empty()) {
                source.cdup();
                copy.cdup();
            }
            continue;
        }
        const std::size_t child = level.containers[level.next++];
        source.cd(child);
        copy.cd(child);
        path.push_back(copyLevel(source, copy, counts));
    }
    return counts;
}

} // namespace example
