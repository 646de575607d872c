/// Any sequence of node vector operations: against the same done plainly, one node after another,
/// on a second copy of the document.

#include "oracle/record.hpp"
#include "oracle/search.hpp"
#include "support.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <iterator>
#include <set>

namespace {

using namespace fuzz;
using tree::NodeVector;

/// The same nodes of both documents, position by position.
struct Pair {
    NodeVector ours;
    Nodes plain;
};

class Session {
public:
    Session(const std::string& text, Choices& choices) : choices_(choices) {
        for (const auto& dom : {ours_, plain_}) {
            dom->document = core::parse_json_document(u"", toBytes(text), {});
        }
        seen_.push_back({NodeVector(ours_, {&ours_->document}), {&plain_->document}});
        at_ = seen_[0];
    }

    void run() {
        using Step = void (Session::*)();
        static const Step steps[] = {
            &Session::children,  &Session::children,    &Session::bySelector, &Session::byName,
            &Session::flattened, &Session::subset,      &Session::goBack,     &Session::joinEarlier,
            &Session::resize,    &Session::setTypes,    &Session::setData,    &Session::setKeys,
            &Session::getKeys,   &Session::compareData, &Session::rootAgain};
        constexpr std::size_t longest = 64; // texts are compared after each
        for (std::size_t n = 0; !choices_.done() && n < longest; ++n) {
            (this->*steps[choices_.below(std::size(steps))])();
            compare();
        }
        compareData();
    }

private:
    // --- Choosing nodes -------------------------------------------------------------------------

    /// Goes on with these nodes, which must be the same of both documents.
    void moveTo(Pair next) {
        constexpr std::size_t most = 40;
        check(next.ours.nodes.size() == next.plain.size(), "number of nodes");
        check(next.ours.dom == ours_, "the document of derived nodes");
        if (next.plain.size() > most) {
            next.ours.nodes.resize(most);
            next.plain.resize(most);
        }
        seen_.push_back(next);
        at_ = std::move(next);
    }

    void rootAgain() { at_ = seen_[0]; }

    /// Nodes held since an earlier step, maybe stale by now.
    void goBack() { at_ = seen_[choices_.below(seen_.size())]; }

    void joinEarlier() {
        const Pair& earlier = seen_[choices_.below(seen_.size())];
        Pair joined = at_;
        joined.ours.nodes.insert(joined.ours.nodes.end(), earlier.ours.nodes.begin(),
                                 earlier.ours.nodes.end());
        joined.plain.insert(joined.plain.end(), earlier.plain.begin(), earlier.plain.end());
        moveTo(joined);
    }

    void children() {
        Nodes plain;
        for (Value* node : at_.plain) {
            for (const auto& child : childrenOf(*node)) {
                plain.push_back(child.second);
            }
        }
        moveTo({at_.ours.get_children(), plain});
    }

    std::string selector(std::vector<std::string>& tokens) {
        std::string text;
        for (std::size_t n = choices_.below(3); n > 0; --n) {
            text += '/' + choices_.shortText();
        }
        check(splitSelector(text, tokens), "a selector made here");
        return text;
    }

    /// Goes on with what `find` finds from each node; the library has marked the others.
    template <class Find>
    void moveToFound(std::pair<NodeVector, tree::NumericArray<bool>> found, const Find& find) {
        Nodes plain;
        for (std::size_t i = 0; i < at_.plain.size(); ++i) {
            Value* const value = find(at_.plain[i]);
            check(found.second->data()[i] == (value == nullptr), "mask of a lookup");
            plain.insert(plain.end(), value != nullptr ? 1 : 0, value);
        }
        moveTo({std::move(found.first), plain});
    }

    void bySelector() {
        std::vector<std::string> tokens;
        const std::string text = selector(tokens);
        moveToFound(at_.ours.get_children(text), [&](Value* node) { return follow(node, tokens); });
    }

    void byName() {
        const std::string name = choices_.shortText();
        moveToFound(at_.ours.get_children_by_node_name(name), [&](Value* node) {
            std::vector<std::string> way;
            return findKey(*node, name, way);
        });
    }

    void flattened() {
        std::vector<std::string> tokens;
        auto [leaves, counts] = at_.ours.get_children_exhaustive(selector(tokens));
        Nodes plain;
        for (std::size_t i = 0; i < at_.plain.size(); ++i) {
            const std::size_t before = plain.size();
            if (Value* found = follow(at_.plain[i], tokens)) {
                flatten(*found, plain);
            }
            check(counts->data()[i] == plain.size() - before, "count of scalars");
        }
        moveTo({std::move(leaves), plain});
    }

    void subset() {
        std::vector<unsigned long> indices;
        Nodes plain;
        bool outside = false;
        const std::size_t nodes = at_.plain.size();
        for (std::size_t n = choices_.below(12); n > 0; --n) {
            const std::size_t index = choices_.below(64) == 63 ? nodes : choices_.below(nodes + 1);
            indices.push_back(index < nodes || choices_.flag() ? index : nodes / 2);
            outside = outside || indices.back() >= nodes;
            plain.push_back(outside ? nullptr : at_.plain[indices.back()]);
        }
        if (outside) {
            plain.clear();
        }
        moveTo({at_.ours.subset(*columnOf(indices)), plain});
    }

    // --- Changing -------------------------------------------------------------------------------

    void resize() {
        constexpr unsigned long noMemory = 1UL << 58U; // 24 bytes each: more than can be addressed
        constexpr unsigned long tooLong = 1UL << 62U;
        const std::size_t choice = choices_.below(32);
        const unsigned long count = choice == 31 ? noMemory : choice == 30 ? tooLong : choice % 8;
        std::set<const Value*> distinct; // an array needs its memory once, however often it is here
        std::copy_if(at_.plain.begin(), at_.plain.end(), std::inserter(distinct, distinct.end()),
                     [](const Value* node) { return node->IsArray(); });
        const std::size_t arrays = distinct.size();
        const Outcome outcome = outcomeOf([&] { at_.ours.set_number_of_children(count); });
        if (count < noMemory || arrays == 0) {
            check(outcome == Outcome::Done, "a number of children, refused");
            plainResize(at_.plain, count, plain_->document.GetAllocator());
            return;
        }
        // Two are less than 64 bits can count, and three of the smaller number are not.
        const bool countable = count == noMemory && arrays <= 2;
        check(outcome == (countable ? Outcome::NoMemory : Outcome::TooLong),
              "more children than memory");
    }

    Codes codes(std::size_t count) {
        Codes result(count);
        for (std::uint8_t& code : result) {
            code = choices_.below(64) == 63 ? choices_.byte()
                                            : static_cast<std::uint8_t>(choices_.below(7));
        }
        return result;
    }

    void setTypes() {
        const Codes types = codes(choices_.below(at_.plain.size() + 3));
        const bool none = choices_.below(32) == 31;
        const auto column = none ? tree::NumericArray<std::uint8_t>() : columnOf(types);
        const Outcome expected = none && !at_.plain.empty() ? Outcome::NoArray
                                 : none                     ? Outcome::Done
                                                            : plainSetTypes(at_.plain, types);
        check(outcomeOf([&] { at_.ours.set_types(column); }) == expected, "set_types");
    }

    template <class T, class Draw>
    void edit(std::vector<T>& values, const Draw& draw) {
        const std::size_t choice = choices_.below(8);
        if (choice == 0 && !values.empty()) {
            values.pop_back();
        } else if (choice > 2) {
            values.push_back(draw());
        }
        if (choice % 2 == 1 && !values.empty()) {
            values[choices_.below(values.size())] = draw();
        }
    }

    /// A record that the nodes gave, or would give after some edits.
    Record editedRecord() {
        Record record = plainGetData(at_.plain);
        for (std::size_t n = choices_.below(4); n > 0; --n) {
            edit(record.types, [&] { return codes(1)[0]; });
            edit(record.numberTypes, [&] { return static_cast<std::uint8_t>(choices_.below(5)); });
            edit(record.strings, [&] {
                const bool missing = choices_.below(8) == 7;
                const std::u16string unpaired(choices_.below(8) == 7 ? 1 : 0, u'\xD800');
                return missing ? std::nullopt : std::optional(u16(choices_.shortText()) + unpaired);
            });
            edit(record.doubles, [&] { return choices_.real(); });
            edit(record.uint64s, [&] { return choices_.natural(); });
            edit(record.int64s, [&] { return choices_.whole(); });
        }
        return record;
    }

    void setData() {
        Record record = editedRecord();
        const std::size_t absent = choices_.below(64);
        record.absent = absent <= 6 ? absent : 0;
        const tree::NodeVectorData data = record.toHost();
        const Outcome expected = plainSetData(at_.plain, record, plain_->document.GetAllocator());
        check(outcomeOf([&] { at_.ours.set_data(data); }) == expected, "set_data");
    }

    void setKeys() {
        Texts keys;
        bool missing = false;
        for (std::size_t n = choices_.below(6); n > 0; --n) {
            const bool absent = choices_.below(32) == 31;
            missing = missing || absent;
            keys.push_back(absent ? std::nullopt : std::optional(u16(choices_.shortText())));
        }
        const Outcome outcome = outcomeOf([&] { at_.ours.set_keys(*stringsOf(keys)); });
        check(outcome == (missing ? Outcome::Missing : Outcome::Done), "set_keys");
        if (!missing) {
            plainSetKeys(at_.plain, keys, plain_->document.GetAllocator());
        }
    }

    // --- Comparing ------------------------------------------------------------------------------

    void getKeys() { check(textsOf(at_.ours.get_keys()) == plainKeys(at_.plain), "get_keys"); }

    void compareData() {
        const Record record = plainGetData(at_.plain);
        check(vectorOf(at_.ours.get_types()) == record.types, "get_types");
        check(sameRecord(fromHost(at_.ours.get_data()), record), "get_data");
    }

    /// The documents agree, and so do the nodes, which may lie outside of them by now.
    void compare() {
        check(textOf(ours_->document) == textOf(plain_->document), "text of the document");
        for (std::size_t i = 0; i < at_.plain.size(); ++i) {
            check(textOf(*at_.ours.nodes[i]) == textOf(*at_.plain[i]), "text of a node");
        }
    }

    Choices& choices_;
    std::shared_ptr<tree::DOM> ours_ = tree::make_dom_ptr();
    std::shared_ptr<tree::DOM> plain_ = tree::make_dom_ptr();
    Pair at_;
    std::vector<Pair> seen_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::runSession<Session>(data, size);
}
