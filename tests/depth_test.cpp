/// A document of a million levels under every operation, on the main thread and on one with far
/// less native stack than a byte a level.

#include "examples/list_copy.hpp"
#include "support/operations.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <pthread.h>

namespace {

using test::tree::NodeVector;

constexpr std::size_t levels = 1'000'000;

/// Arrays and objects by turns around a number.
std::string deepText(const std::string& beside = "", const std::string& number = "1") {
    std::string text;
    for (std::size_t i = 0; i < levels / 2; ++i) {
        text += "[{\"k\":";
    }
    text += number;
    for (std::size_t i = 0; i < levels / 2; ++i) {
        text += "}" + beside + "]";
    }
    return text;
}

/// Every level of a document, outermost first.
NodeVector levelsOf(test::tree::DOM document) {
    const auto dom = test::tree::make_dom_ptr();
    *dom = std::move(document);
    NodeVector all(dom, {});
    for (rapidjson::Value* at = &dom->document;;) {
        all.nodes.push_back(at);
        if (at->IsArray()) {
            at = at->Begin();
        } else if (at->IsObject()) {
            at = &at->MemberBegin()->value;
        } else {
            return all;
        }
    }
}

void readEverything() {
    const test::TemporaryFolder folder;
    const std::u16string path = test::u16(folder / "deep.json");
    const std::string text = deepText();
    NodeVector all = levelsOf(test::parse(text));
    ASSERT_EQ(all.nodes.size(), levels + 1);
    test::tree::write_file(*all.dom, path, {});
    EXPECT_TRUE(test::contentOf(test::u8(path)) == text);
    EXPECT_TRUE(test::textOf(test::tree::read_file(path, {})) == text);
    const auto reader = test::tree::LevelReader::MakeFileReaderPtr(path, {});
    EXPECT_TRUE(test::textOf(*reader) == text);

    EXPECT_TRUE(
        std::equal(all.nodes.begin() + 1, all.nodes.end(), all.get_children().nodes.begin()));
    EXPECT_EQ(all.get_children_exhaustive("").first.nodes.size(), 1U);
    EXPECT_EQ(all.get_children("/0/k").first.nodes.size(), levels / 2);
    EXPECT_EQ(all.get_keys()->size(), 1U);
    EXPECT_EQ(all.get_data().doubles->size(), 1U);
    EXPECT_EQ(all.get_types()->data()[levels], rapidjson::kNumberType);
}

/// Finds what lies deepest, by name and by selector.
void findTheDeepest(const std::string& open, const std::string& step, const std::string& close) {
    const std::string text = test::repeat(open, levels) + "{\"b\":1}" + test::repeat(close, levels);
    const std::string selector = test::repeat(step, levels) + "/b";
    EXPECT_ANY_THROW(test::parse(test::repeat(open, levels)));
    const auto dom = test::tree::make_dom_ptr();
    *dom = test::parse(text);
    const NodeVector root(dom, {&dom->document});
    EXPECT_EQ(root.get_children(selector).first.nodes.size(), 1U);
    EXPECT_EQ(root.get_children_exhaustive(selector).first.nodes.size(), 1U);
    EXPECT_EQ(root.get_children_by_node_name("b").first.nodes.size(), 1U);
    EXPECT_EQ(root.get_children_by_node_name("c").first.nodes.size(), 0U);
    EXPECT_TRUE(root.resolve_node_name_to_selector("b") == selector);

    test::tree::LevelReader reader = test::reader(text);
    EXPECT_FALSE(reader.cdNodeName("c", true));
    ASSERT_TRUE(reader.cdNodeName("b", true));
    EXPECT_EQ(test::textOf(reader), "1");
    for (std::size_t i = 0; i < levels; ++i) {
        reader.cdup();
    }
    EXPECT_EQ(test::textOf(reader).size(), text.size() - open.size() - close.size());
    reader.cdup();
    ASSERT_TRUE(reader.cdSelector(selector));
    EXPECT_EQ(test::textOf(reader), "1");
}

void copyEverything() {
    const std::string text = deepText();
    test::tree::LevelReader source = test::reader(text);
    test::tree::LevelReader copy = test::reader("0");
    EXPECT_EQ(example::copyByLists(source, copy).levels, levels);
    EXPECT_TRUE(test::textOf(copy) == deepText("", "1.0"));
}

void changeEverything() {
    // From inside out, every change meets what the earlier ones made.
    NodeVector all = levelsOf(test::parse(deepText()));
    std::ranges::reverse(all.nodes);
    all.set_number_of_children(2);
    EXPECT_TRUE(test::textOf(*all.dom) == deepText(",null"));

    // From outside in, a node is cut off before its turn; what it has become does no harm.
    const auto keys = all.get_keys();
    for (const bool reversed : {false, true}) {
        all = levelsOf(test::parse(deepText()));
        if (reversed) {
            std::ranges::reverse(all.nodes);
        }
        all.set_keys(*keys);
        EXPECT_EQ(test::textOf(*all.dom), R"([{"k":null}])");
        all.set_types(all.get_types());
        EXPECT_EQ(test::textOf(*all.dom), "[]");

        all = levelsOf(test::parse(deepText()));
        all.set_data(all.get_data());
        EXPECT_EQ(test::textOf(*all.dom), "[]");

        const auto reader = test::tree::LevelReader::MakeStringReaderPtr(test::u16(deepText()), {});
        ASSERT_TRUE(reader->cdNodeName("k", true));
        reader->setKeyNames({u"a", u"b"});
        reader->setValueTypes({rapidjson::kArrayType, rapidjson::kArrayType});
        reader->cd(0);
        reader->setValueTypes({rapidjson::kTrueType});
        reader->cdup();
        EXPECT_EQ(test::textOf(*reader), R"({"a":[true],"b":[]})");
    }
}

void doEverything() {
    readEverything();
    findTheDeepest("[", "/0", "]");
    findTheDeepest("{\"a\":", "/a", "}");
    copyEverything();
    changeEverything();
}

TEST(Depth, NeedsNoNativeStack) {
    doEverything();
    pthread_attr_t attributes;
    pthread_t thread{};
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{256} << 10U);
    const auto run = [](void*) -> void* {
        doEverything();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, nullptr), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

} // namespace
