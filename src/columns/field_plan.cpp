#include "columns/field_plan.hpp"

#include <stdexcept>

namespace ostra::io::json::columns {

namespace {

void requireType(const Field& field) {
    const ColumnType& type = field.type;
    const char* wrong = type.want > Want::Json                            ? "no such type"
                        : type.layout > Layout::Fixed                     ? "no such layout"
                        : type.mismatch > Mismatch::Missing               ? "no such mismatch"
                        : type.layout == Layout::Fixed && type.width == 0 ? "a width of 0"
                                                                          : nullptr;
    if (wrong != nullptr) {
        throw std::invalid_argument("field '" + field.name + "': " + wrong);
    }
}

core::JSONPointer pointerOf(const Field& field) {
    try {
        return core::validate_selector(field.pointer);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        throw std::invalid_argument("field '" + field.name + "': " + error.what());
    }
}

} // namespace

FieldPlan::FieldPlan(std::span<const Field> fields, bool indexArrays)
    : fields_(fields.begin(), fields.end()), nodes_(1) {
    slotOf_.reserve(fields_.size());
    for (const Field& field : fields_) {
        requireType(field);
        PathNode& node = nodes_[nodeAt(pointerOf(field), indexArrays)];
        if (node.slot == PathNode::noSlot) {
            node.slot = slots_++;
        }
        slotOf_.push_back(node.slot);
    }
}

std::uint32_t FieldPlan::nodeAt(const core::JSONPointer& pointer, bool indexArrays) {
    std::uint32_t at = 0;
    for (std::size_t t = 0; t < pointer.GetTokenCount(); ++t) {
        const core::JSONPointer::Token& token = pointer.GetTokens()[t];
        const auto next = static_cast<std::uint32_t>(nodes_.size());
        const auto [step, fresh] = nodes_[at].steps.try_emplace(
            std::string(token.name, token.length),
            PathNode::Step{indexArrays ? token.index : SIZE_MAX, next});
        at = step->second.node;
        if (fresh) {
            nodes_.emplace_back();
        }
    }
    return at;
}

std::vector<core::WantedPlace> FieldPlan::wanted() const {
    if (search_) {
        return {};
    }
    std::vector<core::WantedPlace> places(nodes_.size());
    for (std::size_t at = 0; at < nodes_.size(); ++at) {
        const PathNode& node = nodes_[at];
        const bool isWanted = node.slot != PathNode::noSlot;
        if (isWanted != node.steps.empty() || node.steps.size() > core::WantedPlace::mostMembers) {
            return {};
        }
        places[at].slot = isWanted ? node.slot : core::WantedPlace::noSlot;
        for (const auto& [name, step] : node.steps) {
            if (step.index != rapidjson::kPointerInvalidIndex) { // an element, perhaps
                return {};
            }
            places[at].members.push_back({name, step.node});
        }
    }
    return nodes_.front().steps.empty() ? std::vector<core::WantedPlace>() : places;
}

std::shared_ptr<const FieldPlan> makePlan(std::span<const Field> fields, bool indexArrays) {
    return std::make_shared<const FieldPlan>(fields, indexArrays);
}

std::shared_ptr<const FieldPlan> makeSearchPlan(const FieldSearch& search) {
    if (search.max_depth == 0) {
        throw std::invalid_argument("a search for paths without keys");
    }
    return std::make_shared<const FieldPlan>(search);
}

} // namespace ostra::io::json::columns
