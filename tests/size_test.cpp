/// Lengths above 2^31. Takes 16 GiB of memory, 5 GiB of disk and some minutes, so it runs on
/// demand:
///
///     TVIOJSONTREE_BIG_TESTS=1 ctest --preset release -R Size

#include "support/files.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/resource.h>

namespace {

class Size : public testing::Test {
protected:
    void SetUp() override {
        if (std::getenv("TVIOJSONTREE_BIG_TESTS") == nullptr) { // NOLINT(concurrency-mt-unsafe)
            GTEST_SKIP() << "set TVIOJSONTREE_BIG_TESTS=1 if 16 GiB of memory are free";
        }
    }
    void TearDown() override {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        RecordProperty("peak_mebibytes", std::to_string(usage.ru_maxrss >> 10U));
    }
    const test::TemporaryFolder folder;
    const std::string in = folder / "in.json";
    const std::string out = folder / "out.json";
};

TEST_F(Size, OneStringOfMoreThanTwoGigabytes) {
    // In JSON, UTF-8 and UTF-16 the pattern is 100, 99 and 96 units long.
    const std::string pattern = "\\n\u20ac\u00e9" + std::string(93, 'x');
    constexpr std::size_t times = 22'100'000;
    {
        std::ofstream file(in, std::ios::binary);
        file << "[\"";
        for (std::size_t i = 0; i < times; ++i) {
            file << pattern;
        }
        file << "\"]";
    }
    auto dom = test::tree::make_dom_ptr();
    *dom = test::tree::read_file(test::u16(in), {});
    ASSERT_EQ(dom->buffer.size(), times * 100 + 4);
    dom->buffer = {};
    ASSERT_EQ(dom->document[0].GetStringLength(), times * 99);
    test::tree::write_file(*dom, test::u16(out), {});
    EXPECT_TRUE(test::contentOf(in) == test::contentOf(out));

    test::tree::NodeVector root(dom, {&dom->document[0]});
    const auto data = root.get_data();
    const std::u16string_view text = *data.strings->get(0);
    ASSERT_EQ(text.size(), times * 96);
    EXPECT_TRUE(text.ends_with(u"\n\u20ac\u00e9" + std::u16string(93, u'x')));
    *dom = {};
    dom->document.SetArray().PushBack(rapidjson::Value(), dom->document.GetAllocator());
    root.nodes = {&dom->document[0]};
    root.set_data(data);
    test::tree::write_file(*dom, test::u16(out), {});
    EXPECT_TRUE(test::contentOf(in) == test::contentOf(out));
}

TEST_F(Size, OneTextOfMoreThanTwoGigabytes) {
    std::u16string text;
    text.resize(2'200'000'002, u'x');
    text.front() = text.back() = u'"';
    const test::tree::DOM dom = test::tree::read_string(text, {});
    EXPECT_EQ(dom.document.GetStringLength(), text.size() - 2);
    EXPECT_TRUE(test::tree::write_string(dom, {}) == text);
}

TEST_F(Size, AHundredMillionNumbers) {
    constexpr std::size_t count = 100'000'000;
    {
        std::ofstream file(in, std::ios::binary);
        file << "[0";
        for (std::size_t i = 1; i < count; ++i) {
            file << ',' << i;
        }
        file << ']';
    }
    auto dom = test::tree::make_dom_ptr();
    *dom = test::tree::read_file(test::u16(in), {});
    test::tree::write_file(*dom, test::u16(out), {});
    EXPECT_TRUE(test::contentOf(in) == test::contentOf(out));

    test::tree::NodeVector root(dom, {&dom->document});
    test::tree::NodeVector numbers = root.get_children();
    const auto data = numbers.get_data();
    ASSERT_EQ(data.doubles->size(), count);
    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(data.doubles->data()[i], static_cast<double>(i));
    }
    numbers.set_data(data);
    EXPECT_EQ(root.get_children_exhaustive("").second->data()[0], count);
    root.set_number_of_children(count + 1);
    EXPECT_EQ(dom->document[count - 1].GetDouble(), static_cast<double>(count - 1));
    EXPECT_TRUE(dom->document[count].IsNull());
}

} // namespace
