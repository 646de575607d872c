#include "columns/extractor.hpp"

#include "columns/field_plan.hpp"
#include "columns/joined_column.hpp"
#include "columns/piece.hpp"

#include <algorithm>
#include <utility>

namespace ostra::io::json::columns {

namespace {

/// Records that are walked before their values are taken field by field: few enough to stay in the
/// nearest cache, and enough for the loops over a field's values to run.
constexpr std::size_t batchSize = 32;

} // namespace

Piece::Impl::Impl(std::shared_ptr<const FieldPlan> thePlan)
    : plan(std::move(thePlan)), walk(plan), found(plan->slots() * batchSize) {
    columns.reserve(plan->fields().size());
    for (const Field& field : plan->fields()) {
        columns.emplace_back(field.type);
    }
}

template <class Record>
void Piece::Impl::append(std::size_t count, const Record& record) {
    for (std::size_t begin = 0; begin < count; begin += batchSize) {
        const std::size_t some = std::min(batchSize, count - begin);
        std::fill(found.begin(), found.end(), nullptr);
        for (std::size_t i = 0; i < some; ++i) {
            walk.find(record(begin + i), found.data() + i, batchSize);
        }
        for (std::size_t field = 0; field < columns.size(); ++field) {
            columns[field].append(found.data() + plan->slotOf(field) * batchSize, some);
        }
        rows += some;
    }
}

void Piece::Impl::appendFound(const rapidjson::Value* const* values, std::size_t count) {
    columns.front().append(values, count);
    rows += count;
}

Piece::Piece(std::shared_ptr<const FieldPlan> plan)
    : impl_(std::make_unique<Impl>(std::move(plan))) {}
Piece::~Piece() = default;
Piece::Piece(Piece&&) noexcept = default;
Piece& Piece::operator=(Piece&&) noexcept = default;

void Piece::append(const rapidjson::Value* first, std::size_t count, std::size_t stride) {
    const auto* const bytes = reinterpret_cast<const char*>(first);
    impl_->append(count, [bytes, stride](std::size_t i) -> const rapidjson::Value& {
        return *reinterpret_cast<const rapidjson::Value*>(bytes + i * stride);
    });
}

void Piece::append(std::span<rapidjson::Value* const> records) {
    impl_->append(records.size(),
                  [records](std::size_t i) -> const rapidjson::Value& { return *records[i]; });
}

std::size_t Piece::rows() const {
    return impl_->rows;
}

void Piece::clear() noexcept {
    for (PieceColumn& column : impl_->columns) {
        column.clear();
    }
    impl_->rows = 0;
}

struct Joined::Impl {
    std::shared_ptr<const FieldPlan> plan;
    std::vector<JoinedColumn> columns;
    std::size_t rows = 0;
};

Joined::Joined(std::shared_ptr<const FieldPlan> plan, std::size_t likelyRows)
    : impl_(std::make_unique<Impl>()) {
    impl_->plan = std::move(plan);
    impl_->columns.reserve(impl_->plan->fields().size());
    for (const Field& field : impl_->plan->fields()) {
        impl_->columns.emplace_back(field.type, likelyRows);
    }
}

Joined::~Joined() = default;

void Joined::append(const Piece& piece) {
    const std::vector<PieceColumn>& parts = piece.impl().columns;
    std::optional<Misfit> first;
    std::size_t at = 0;
    for (std::size_t field = 0; field < parts.size(); ++field) {
        auto misfit = impl_->columns[field].misfit(parts[field].gathered());
        if (misfit && (!first || misfit->row < first->row)) {
            first = std::move(misfit);
            at = field;
        }
    }
    if (first) {
        throw ColumnConflict(impl_->plan->fields()[at].name, first->row, first->found,
                             first->wanted);
    }
    for (std::size_t field = 0; field < parts.size(); ++field) {
        impl_->columns[field].append(parts[field].gathered());
    }
    impl_->rows += piece.rows();
}

std::size_t Joined::rows() const {
    return impl_->rows;
}

std::vector<Column> Joined::take(bool keepTypes) {
    std::vector<Column> columns;
    columns.reserve(impl_->columns.size());
    for (JoinedColumn& column : impl_->columns) {
        columns.push_back(column.take(keepTypes));
    }
    impl_->rows = 0;
    return columns;
}

} // namespace ostra::io::json::columns
