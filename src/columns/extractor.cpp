#include "columns/extractor.hpp"

#include "base/raw_value.hpp"
#include "columns/field_plan.hpp"
#include "columns/field_survey.hpp"
#include "columns/joined_column.hpp"
#include "columns/piece.hpp"
#include "nodes/visit_nodes.hpp"

#include <algorithm>
#include <utility>

namespace ostra::io::json::columns {

Piece::Impl::Impl(std::shared_ptr<const FieldPlan> thePlan)
    : plan(std::move(thePlan)), walk(plan), found(plan->slots() * batchSize) {
    columns.reserve(plan->fields().size());
    for (const Field& field : plan->fields()) {
        columns.emplace_back(field.type);
    }
    if (plan->search()) {
        survey.emplace(*plan->search());
    }
}

/// Walks some records before their values are taken field by field: few enough for the nearest
/// cache, and enough for the loops over one field's values to run.
template <class Record>
void Piece::Impl::appendBatch(std::size_t count, const Record& record) {
    std::fill(found.begin(), found.end(), nullptr);
    for (std::size_t i = 0; i < count; ++i) {
        walk.find(record(i), found.data() + i, batchSize);
    }
    appendBatchFound(count);
}

void Piece::Impl::appendBatchFound(std::size_t count) {
    for (std::size_t field = 0; field < columns.size(); ++field) {
        columns[field].append(found.data() + plan->slotOf(field) * batchSize, count);
    }
    rows += count;
}

/// The records of a whole document are not in any cache: what their walks will read is prefetched
/// one batch ahead.
void Piece::Impl::appendScattered(std::span<rapidjson::Value* const> records) {
    for (std::size_t begin = 0; begin < records.size(); begin += batchSize) {
        const auto rest = records.subspan(begin);
        const std::size_t count = std::min(batchSize, rest.size());
        appendBatch(count, [this, rest](std::size_t i) -> const rapidjson::Value& {
            if (rest.size() - i > 2 * batchSize) {
                tree::prefetchNode<tree::Access::Read>(rest[i + 2 * batchSize]);
            }
            if (rest.size() - i > batchSize) {
                reached.fetch(*rest[i + batchSize]);
            }
            return *rest[i];
        });
        learnFrom(rest.first(count));
    }
}

void Piece::Impl::learnFrom(std::span<rapidjson::Value* const> batch) {
    constexpr std::size_t oneOf = 8;
    for (std::size_t i = 0; i < batch.size(); i += oneOf) {
        const char* const origin = tree::childStorage(*batch[i]).begin;
        for (std::size_t slot = 0; slot < plan->slots(); ++slot) {
            if (const rapidjson::Value* const value = found[slot * batchSize + i]) {
                reached.learn(origin, reinterpret_cast<const char*>(value - 1), value + 1);
            }
        }
        reached.nodeDone();
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

void Piece::append(const rapidjson::Value* first, std::size_t count, std::size_t stride,
                   bool hasHugeIntegers) {
    for (PieceColumn& column : impl_->columns) {
        column.expectHugeIntegers(hasHugeIntegers);
    }
    const auto* const bytes = reinterpret_cast<const char*>(first);
    if (impl_->survey) {
        for (std::size_t i = 0; i < count; ++i) {
            impl_->survey->add(*reinterpret_cast<const rapidjson::Value*>(bytes + i * stride));
        }
        impl_->rows += count;
        return;
    }
    for (std::size_t begin = 0; begin < count; begin += Impl::batchSize) {
        impl_->appendBatch(std::min(Impl::batchSize, count - begin),
                           [&](std::size_t i) -> const rapidjson::Value& {
                               return *reinterpret_cast<const rapidjson::Value*>(
                                   bytes + (begin + i) * stride);
                           });
    }
}

void Piece::appendRows(const rapidjson::Value* first, std::size_t count, std::size_t stride,
                       bool hasHugeIntegers) {
    for (PieceColumn& column : impl_->columns) {
        column.expectHugeIntegers(hasHugeIntegers);
    }
    const auto* row = reinterpret_cast<const char*>(first);
    const std::size_t slots = impl_->plan->slots();
    for (std::size_t begin = 0; begin < count; begin += Impl::batchSize) {
        const std::size_t batch = std::min(Impl::batchSize, count - begin);
        for (std::size_t i = 0; i < batch; ++i, row += stride) {
            const auto* const values = reinterpret_cast<const rapidjson::Value*>(row);
            for (std::size_t slot = 0; slot < slots; ++slot) {
                const rapidjson::Value& value = values[slot];
                impl_->found[slot * Impl::batchSize + i] =
                    base::RawValue::isAbsent(value) ? nullptr : &value;
            }
        }
        impl_->appendBatchFound(batch);
    }
}

void Piece::append(std::span<rapidjson::Value* const> records) {
    impl_->appendScattered(records);
}

std::size_t Piece::rows() const {
    return impl_->rows;
}

void Piece::clear() noexcept {
    for (PieceColumn& column : impl_->columns) {
        column.clear();
    }
    if (impl_->survey) {
        impl_->survey->clear();
    }
    impl_->rows = 0;
}

struct Joined::Impl {
    std::shared_ptr<const FieldPlan> plan;
    std::vector<JoinedColumn> columns;
    std::optional<FieldSurvey> survey;
    std::size_t rows = 0;
};

Joined::Joined(std::shared_ptr<const FieldPlan> plan, std::size_t likelyRows)
    : impl_(std::make_unique<Impl>()) {
    impl_->plan = std::move(plan);
    impl_->columns.reserve(impl_->plan->fields().size());
    for (const Field& field : impl_->plan->fields()) {
        impl_->columns.emplace_back(field.type, likelyRows);
    }
    if (impl_->plan->search()) {
        impl_->survey.emplace(*impl_->plan->search());
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
    if (impl_->survey) {
        piece.impl().survey->addTo(*impl_->survey);
    }
    impl_->rows += piece.rows();
}

void Joined::expect(double times) {
    for (JoinedColumn& column : impl_->columns) {
        column.expect(times);
    }
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

std::vector<FoundField> Joined::foundFields() const {
    return impl_->survey->fields();
}

} // namespace ostra::io::json::columns
