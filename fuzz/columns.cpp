/// Columns of any document: against values taken one after another.

#include "oracle/column_records.hpp"
#include "support.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

namespace {

using namespace fuzz;
using tree::NodeVector;

/// A field a line: its type in three characters, then its pointer.
bool readFields(Choices& choices, std::vector<Field>& fields) {
    const std::size_t count = choices.below(4) + 1;
    choices.line();
    for (std::size_t f = 0; f < count; ++f) {
        std::string line = choices.line();
        line.resize(std::max<std::size_t>(line.size(), 3), '0');
        ColumnType type;
        type.want = static_cast<Want>((line[0] & 0x7F) % 8);
        type.layout = static_cast<Layout>((line[1] & 0x7F) % 3);
        type.width = static_cast<std::size_t>((line[2] & 0x7F) / 2 % 4);
        type.mismatch = static_cast<Mismatch>((line[2] & 0x7F) % 2);
        fields.push_back({"f" + std::to_string(f), line.substr(3), type});
    }
    std::vector<std::string> tokens;
    return std::all_of(fields.begin(), fields.end(), [&](const Field& field) {
        return splitSelector(field.pointer, tokens) &&
               (field.type.layout != Layout::Fixed || field.type.width != 0);
    });
}

bool refused(const NodeVector& records, const std::vector<Field>& fields) {
    try {
        columns::select(records, fields);
        return false;
    } catch (const std::invalid_argument&) {
        return true;
    } catch (const columns::ColumnConflict&) {
        return false;
    }
}

/// Sets what was taken, which changes nothing.
void setBack(const NodeVector& nodes, const Column& column, Value& root) {
    if (column.kind == Kind::Json || column.layout != Layout::Scalar) {
        return;
    }
    const std::string before = textOf(root);
    const columns::ColumnView view = {column.kind, column.rows, column.values.data(),
                                      column.offsets.data(), column.states.data()};
    columns::set_column(nodes, view);
    check(textOf(root) == before, "setting what is there already");
}

} // namespace

/// Fields, a line each, and JSON text whose root's children are the records.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > fuzz::longestInput) {
        return 0;
    }
    Choices choices(data, size);
    std::vector<Field> fields;
    const bool valid = readFields(choices, fields);
    const auto dom = tree::make_dom_ptr();
    try {
        dom->document = core::parse_json_document(u"", toBytes(choices.rest()), {});
    } catch (const std::exception&) {
        return 0;
    }
    const NodeVector records = NodeVector(dom, {&dom->document}).get_children();
    if (!valid) {
        check(refused(records, fields) ||
                  std::any_of(fields.begin(), fields.end(),
                              [](const Field& field) { return field.pointer.starts_with('#'); }),
              "a field that makes no sense");
        return 0;
    }
    PlainSelection model(fields);
    for (Value* record : records.nodes) {
        model.add(*record);
    }
    model.compareOutcome([&] { return columns::select(records, fields); });
    for (const Field& field : fields) {
        PlainSelection one({{"", field.pointer, field.type}});
        for (Value* record : records.nodes) {
            one.add(*record);
        }
        const auto [found, missing] = records.get_children(field.pointer);
        one.compareOutcome([&, &hits = found, &mask = missing] {
            std::vector<Column> columns;
            columns.push_back(columns::get_column(hits, field.type, mask.get()));
            return columns;
        });
        try {
            setBack(found, columns::get_column(found, field.type), dom->document);
        } catch (const columns::ColumnConflict&) {
            continue;
        }
    }
    return 0;
}
