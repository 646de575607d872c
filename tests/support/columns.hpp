#pragma once

/// Host arrays as plain vectors and back.

#include "support/text.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <gmock/gmock.h>

#include <algorithm>
#include <optional>
#include <vector>

namespace test {

inline tree::NodeVector rootOf(const std::shared_ptr<tree::DOM>& dom) {
    return {dom, {&dom->document}};
}

/// The elements of the array that a text holds.
inline tree::NodeVector elementsOf(const std::string& text) {
    const auto dom = tree::make_dom_ptr();
    *dom = parse(text);
    return rootOf(dom).get_children();
}

/// All values below the root, containers before what they hold.
inline tree::NodeVector everythingBelow(const std::shared_ptr<tree::DOM>& dom) {
    tree::NodeVector all(dom, {});
    for (tree::NodeVector level = rootOf(dom).get_children(); !level.nodes.empty();
         level = level.get_children()) {
        all.nodes.insert(all.nodes.end(), level.nodes.begin(), level.nodes.end());
    }
    return all;
}

template <class T>
void expectColumn(const tree::NumericArray<T>& array, qxClassID classId) {
    EXPECT_EQ(array->class_id(), classId);
    EXPECT_EQ(array->complexity(), qxREAL);
    EXPECT_THAT(array->dims(), testing::ElementsAre(array->size(), 1));
}

template <class T>
std::vector<T> vectorOf(const tree::NumericArray<T>& array) {
    return {array->data(), array->data() + array->size()};
}

/// A row, for the shape of what is handed in does not matter.
template <class T>
tree::NumericArray<T> arrayOf(const std::vector<T>& values, qxClassID classId) {
    const unsigned long dims[] = {1, values.size()};
    tree::NumericArray<T> array(static_cast<matrix::typed_vector<T>*>(
        matrix::detail::do_create_numeric(dims, classId, qxREAL)));
    std::ranges::copy(values, array->data());
    return array;
}

using Texts = std::vector<std::optional<std::string>>; // empty: missing

inline Texts textsOf(const Tarvel::String::String& array) {
    Texts texts(array.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (const std::u16string* text = array.get(i)) {
            texts[i] = u8(*text);
        }
    }
    return texts;
}

inline tree::StringArray stringsOf(const Texts& texts) {
    const std::size_t dims[] = {1, texts.size()};
    tree::StringArray array = Tarvel::String::make_String(2, dims);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (texts[i].has_value()) {
            array->set(i, u16(*texts[i]));
        }
    }
    return array;
}

} // namespace test
