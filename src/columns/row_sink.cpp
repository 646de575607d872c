#include "columns/row_sink.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace ostra::io::json::columns {

RowSink::RowSink(std::shared_ptr<const FieldPlan> plan, std::size_t mostRows, bool wantsKeys)
    : plan_(std::move(plan)), joined_(plan_, 0), piece_(plan_),
      mostRows_(mostRows == 0 ? SIZE_MAX : mostRows), wantsKeys_(wantsKeys) {}

void RowSink::append(const Piece& piece, const Keys& keys) {
    joined_.append(piece);
    append(keys);
    rows_ += piece.rows();
    allRows_ += piece.rows();
}

std::size_t RowSink::append(const RecordRun& run) {
    const std::size_t count = std::min(run.count, room());
    piece_.clear();
    pieceKeys_.clear();
    run.appendTo(piece_, count);
    if (run.areMembers && wantsKeys_) {
        run.appendKeysTo(pieceKeys_, count);
    }
    append(piece_, pieceKeys_);
    return count;
}

void RowSink::append(const Keys& keys) {
    if (keys_.offsets.empty()) {
        keys_.offsets.push_back(0);
    }
    const auto before = static_cast<std::int64_t>(keys_.values.size());
    const std::size_t count = keys.ends.size();
    std::transform(keys.ends.begin(), keys.ends.end(), keys_.offsets.extend(count),
                   [before](std::int64_t end) { return before + end; });
    std::fill_n(keys_.states.extend(count), count, State::Present);
    keys_.values.append(keys.bytes.data(), keys.bytes.size());
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
