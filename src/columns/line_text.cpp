#include "columns/line_text.hpp"

#include <algorithm>
#include <utility>

namespace ostra::io::json::columns {

namespace {

constexpr auto npos = std::string_view::npos;

/// What lines behind a block's end are likely to take.
constexpr std::size_t likelyLine = std::size_t{4} << 10U;

constexpr std::size_t mostDescribed = 100;

} // namespace

LineText::LineText(ByteSource& source, std::string name, const ReadOptions& options, RowSink& rows)
    : RecordText(source, std::move(name), options, rows), again_(options, *rows.plan()) {}

bool LineText::readBlock(BlockReader& reader, Stretch& stretch) {
    const std::size_t blockSize = options_.block_size;
    // The byte in front tells whether a line begins with the block.
    const std::size_t front = stretch.block == 0 ? 0 : 1;
    const std::size_t begin = stretch.block * blockSize - front;
    const std::size_t border = front + blockSize; // of this block and the next one, from `begin`
    std::size_t size = border + std::min(likelyLine, blockSize);
    core::Window window = this->window(begin, size, reader.buffer);
    if (window.bytes.size() <= front) {
        return false;
    }
    const std::size_t lineEnd = front == 0 ? 0 : window.bytes.substr(0, border - 1).find('\n') + 1;
    if (front != 0 && lineEnd == 0) {
        return true; // all of it belongs to a line that begins further in front
    }
    for (;;) {
        const std::size_t last = window.bytes.find('\n', border - 1);
        if (last != npos || window.isLast) {
            window.bytes = window.bytes.substr(0, last == npos ? npos : last + 1);
            break;
        }
        size *= 2;
        window = this->window(begin, size, reader.buffer);
    }
    stretch.textBegin = begin + lineEnd;
    stretch.textEnd = begin + window.bytes.size();
    core::Lines lines = readLines(reader, window.bytes.substr(lineEnd), stretch.textBegin);
    stretch.hasRecords = true;
    runOf(lines, false).appendTo(stretch.piece, lines.count);
    stretch.badLines = lines.badCount;
    stretch.described = std::move(lines.described);
    return true;
}

core::Lines LineText::readLines(BlockReader& reader, std::string_view text,
                                std::size_t offset) const {
    const bool skip = options_.bad_lines == BadLines::Skip;
    return reader.records.readLines(text, offset == 0, skip, skip ? mostDescribed : 1);
}

bool LineText::step(Stretch& stretch) {
    if (std::exchange(stretch.isTried, true)) {
        return false;
    }
    if (stretch.hasRecords) {
        take(stretch, [&] {
            const std::size_t size = stretch.textEnd - stretch.textBegin;
            const std::string_view text = source_.read(stretch.textBegin, size, again_.buffer);
            const core::Lines lines = readLines(again_, text, stretch.textBegin);
            return runOf(lines, false);
        });
    }
    return true;
}

void LineText::settle(const Stretch& stretch) {
    if (stretch.badLines != 0) {
        skipLines(stretch);
    }
    lines_ += stretch.piece.rows() + stretch.badLines;
    position_ = stretch.textEnd;
    forgetBefore((stretch.block + 1) * options_.block_size - 1); // where the next one begins
}

void LineText::skipLines(const Stretch& stretch) {
    for (const core::BadLine& bad : stretch.described) {
        core::Refusal refusal = bad.refusal;
        refusal.offset += stretch.textBegin;
        if (options_.bad_lines == BadLines::Raise) {
            refuse(refusal, lines_ + bad.record);
        }
        if (described_ < mostDescribed) {
            skippedList_.push_back(describe(refusal, lines_ + bad.record));
            ++described_;
        }
    }
    skipped_ += stretch.badLines;
}

void LineText::addTo(RecordColumns& batch) {
    batch.bad_lines = std::exchange(skipped_, 0);
    batch.bad_line_list = std::exchange(skippedList_, {});
}

} // namespace ostra::io::json::columns
