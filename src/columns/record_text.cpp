#include "columns/record_text.hpp"

#include <stdexcept>
#include <utility>

namespace ostra::io::json::columns {

RecordText::RecordText(ByteSource& source, std::string name, const ReadOptions& options,
                       RowSink& rows)
    : options_(options), rows_(rows), name_(std::move(name)), source_(source), locator_(source) {}

RecordText::~RecordText() = default;

bool RecordText::putInOrder(Stretch& stretch) {
    for (;;) {
        if (run_.count != 0) {
            if (rows_.room() == 0) {
                return false;
            }
            const std::size_t taken = rows_.append(run_);
            run_.first += taken * run_.values();
            run_.count -= taken;
        } else if (unsettled_ != nullptr) {
            settle(*std::exchange(unsettled_, nullptr));
        } else if (rows_.room() == 0) {
            return false;
        } else if (!step(stretch)) {
            return true;
        }
    }
}

core::Window RecordText::window(std::size_t offset, std::size_t size, ReadBuffer& buffer) const {
    const std::string_view bytes = source_.read(offset, size + 1, buffer);
    return {bytes.substr(0, size), bytes.size() <= size};
}

core::ParseErrorFields RecordText::describe(const core::Refusal& refusal,
                                            std::optional<std::size_t> record) {
    const auto [line, column] = locator_.locate(refusal.offset);
    return {.source = name_,
            .line = line,
            .column = column,
            .byte = refusal.offset,
            .record = record,
            .reason = refusal.reason};
}

void RecordText::refuse(const core::Refusal& refusal, std::optional<std::size_t> record) {
    throw core::ParseError(describe(refusal, record));
}

void RecordText::requireUnchanged(bool isUnchanged) const {
    if (!isUnchanged) {
        throw std::runtime_error("cannot read '" + name_ + "': it changed while it was read");
    }
}

void RecordText::forgetBefore(std::size_t offset) {
    if (source_.forgets()) {
        locator_.advanceTo(offset);
        source_.discard(offset);
    }
}

} // namespace ostra::io::json::columns
