#include "columns/row_sink.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace ostra::io::json::columns {

RowSink::RowSink(std::shared_ptr<const FieldPlan> plan, std::size_t mostRows, bool wantsKeys)
    : plan_(std::move(plan)), joined_(plan_, 0), piece_(plan_),
      mostRows_(mostRows == 0 ? SIZE_MAX : mostRows), wantsKeys_(wantsKeys) {}

void RowSink::append(const Piece& piece) {
    joined_.append(piece);
    rows_ += piece.rows();
    allRows_ += piece.rows();
}

std::size_t RowSink::append(const RecordRun& run) {
    const std::size_t count = std::min(run.count, room());
    piece_.clear();
    run.appendTo(piece_, count);
    if (run.areMembers && wantsKeys_) {
        appendKeys(run, count);
    }
    append(piece_);
    return count;
}

void RowSink::appendKeys(const RecordRun& run, std::size_t count) {
    if (keys_.offsets.empty()) {
        keys_.offsets.push_back(0);
    }
    for (std::size_t i = 0; i < count; ++i) {
        const rapidjson::Value& key = run.first[run.values() * i];
        keys_.values.append(reinterpret_cast<const std::byte*>(key.GetString()),
                            key.GetStringLength());
        keys_.offsets.push_back(static_cast<std::int64_t>(keys_.values.size()));
        keys_.states.push_back(State::Present);
    }
}

RecordColumns RowSink::take(bool keepTypes, bool areMembers) {
    RecordColumns result;
    result.columns = joined_.take(keepTypes);
    result.records = std::exchange(rows_, 0);
    if (areMembers && wantsKeys_) {
        if (keys_.offsets.empty()) {
            keys_.offsets.push_back(0);
        }
        keys_.kind = Kind::Text;
        keys_.rows = result.records;
        result.keys = std::exchange(keys_, Column());
    }
    return result;
}

} // namespace ostra::io::json::columns
