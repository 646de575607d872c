#pragma once

/// Where records go in order: into the columns of the batch at hand.

#include "columns/extractor.hpp"

#include <ostra/io/json/columns/read_columns.hpp>

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace ostra::io::json::columns {

/// Keys of consecutive records.
struct Keys {
    void clear() noexcept {
        bytes.clear();
        ends.clear();
    }

    Block<std::byte> bytes;
    Block<std::int64_t> ends; // of each of them
};

/// Records that a reader has read, side by side.
struct RecordRun {
    /// From the record's key, if it has one, to that of the next.
    std::size_t values() const { return (areMembers ? 1 : 0) + (slots != 0 ? slots : 1); }

    /// Appends the first of them.
    void appendTo(Piece& piece, std::size_t some) const {
        if (some == 0) { // there may be no `first`, then
            return;
        }
        const rapidjson::Value* const begin = first + (areMembers ? 1 : 0);
        const std::size_t stride = values() * sizeof(rapidjson::Value);
        if (slots != 0) {
            piece.appendRows(begin, some, stride, hasHugeIntegers);
        } else {
            piece.append(begin, some, stride, hasHugeIntegers);
        }
    }

    /// Appends the keys of the first of them.
    /// @throws std::bad_alloc  the keys may then only be cleared or destroyed.
    void appendKeysTo(Keys& keys, std::size_t some) const {
        for (std::size_t i = 0; i < some; ++i) {
            const rapidjson::Value& key = first[values() * i];
            keys.bytes.append(reinterpret_cast<const std::byte*>(key.GetString()),
                              key.GetStringLength());
            keys.ends.push_back(static_cast<std::int64_t>(keys.bytes.size()));
        }
    }

    const rapidjson::Value* first = nullptr; // records, or members' keys each in front of its own
    std::size_t count = 0;
    std::size_t slots = 0; // if not 0: the values that stand for a record
    bool areMembers = false;
    bool hasHugeIntegers = false;
};

/// @param read  what a reader has read: `core::Records` or `core::Lines`.
template <class Read>
RecordRun runOf(const Read& read, bool areMembers) {
    return {read.first, read.count, read.slots, areMembers, read.hasBigIntegers};
}

/// Serves one thread at a time.
class RowSink {
public:
    /// @param mostRows  of a batch; 0 for no limit.
    RowSink(std::shared_ptr<const FieldPlan> plan, std::size_t mostRows, bool wantsKeys);

    /// @return how many rows the batch still takes.
    std::size_t room() const { return mostRows_ - rows_; }

    /// Appends a piece of `room()` rows at most.
    /// @param keys  of its rows; none where they are not wanted.
    /// @throws ColumnConflict, std::bad_alloc
    void append(const Piece& piece, const Keys& keys);

    /// Appends the first records of a run, as many as there is room for.
    /// @return how many.
    /// @throws ColumnConflict, std::bad_alloc
    std::size_t append(const RecordRun& run);

    const std::shared_ptr<const FieldPlan>& plan() const { return plan_; }
    std::size_t rows() const { return rows_; }       // of the batch
    std::size_t allRows() const { return allRows_; } // of this one and those before

    /// Prepares the batch for `times` as many rows as it has. Only a guess, which never fails.
    void expect(double times) { joined_.expect(times); }

    /// @param areMembers  whether the records of the text have keys.
    RecordColumns take(bool keepTypes, bool areMembers);

    /// The fields found, by a plan for that.
    std::vector<FoundField> foundFields() const { return joined_.foundFields(); }

private:
    void append(const Keys& keys);

    std::shared_ptr<const FieldPlan> plan_;
    Joined joined_;
    Piece piece_;    // for runs
    Keys pieceKeys_; // likewise
    std::size_t mostRows_;
    std::size_t rows_ = 0;
    std::size_t allRows_ = 0;
    bool wantsKeys_;
    Column keys_;
};

} // namespace ostra::io::json::columns
