// The embedded host's arrays and exceptions.

#include "document/errors.hpp"
#include "platform/numeric_array.hpp"
#include "platform/string_array.hpp"
#include "support/failure.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using Dimensions = std::vector<unsigned long>;
using Array = std::unique_ptr<matrix::array_base, matrix::detail::qxDestroy_deleter>;

Array make(const Dimensions& dims, qxClassID classId, qxComplexity complexity = qxREAL) {
    return Array(matrix::detail::do_create_numeric(dims, classId, complexity));
}

const std::vector<std::pair<Dimensions, std::size_t>> shapes{
    {{}, 1},        {{0}, 0},          {{0, 1}, 0},
    {{5, 1}, 5},    {{2, 3, 4}, 24},   {{1, 1}, 1},
    {{~0UL, 0}, 0}, {{~0UL, 2, 0}, 0}, {{1, 1000000}, 1000000}};

template <class T>
void expectArrays(qxClassID classId) {
    for (const auto& [dims, count] : shapes) {
        const Array array = make(dims, classId);
        auto* const typed = dynamic_cast<matrix::typed_vector<T>*>(array.get());
        ASSERT_NE(typed, nullptr) << classId;
        EXPECT_EQ(typed->dims(), dims);
        ASSERT_EQ(typed->size(), count);
        EXPECT_EQ(typed->class_id(), classId);
        EXPECT_EQ(typed->complexity(), qxREAL);
        ASSERT_NE(typed->data(), nullptr);
        EXPECT_TRUE(
            std::all_of(typed->data(), typed->data() + count, [](T e) { return e == T(); }));
        std::fill_n(typed->data(), count, T(1));
    }
}

TEST(HostNumericArray, ShapesOfEveryClass) {
    expectArrays<bool>(qxLOGICAL_CLASS);
    expectArrays<double>(qxDOUBLE_CLASS);
    expectArrays<std::uint8_t>(qxUINT8_CLASS);
    expectArrays<std::int64_t>(qxINT64_CLASS);
    expectArrays<std::uint64_t>(qxUINT64_CLASS);
    matrix::destroyArray(nullptr);
}

TEST(HostNumericArray, RefusesWhatItCannotHold) {
    EXPECT_THROW(make({1UL << 32, 1UL << 32}, qxUINT8_CLASS), std::length_error);
    EXPECT_THROW(make({1UL << 61, 1}, qxDOUBLE_CLASS), std::length_error);
    EXPECT_THROW(make({1UL << 63}, qxUINT8_CLASS), std::length_error);
#ifndef __SANITIZE_ADDRESS__ // which ends the process instead
    EXPECT_THROW(make({1UL << 60}, qxUINT8_CLASS), std::bad_alloc);
#endif
    const auto refused = [](qxClassID classId, qxComplexity complexity) {
        return test::messageOf<std::invalid_argument>([&] { make({1, 1}, classId, complexity); });
    };
    EXPECT_EQ(refused(qxClassID(7), qxREAL), "numeric array: no element class 7");
    EXPECT_EQ(refused(qxDOUBLE_CLASS, qxCOMPLEX), "numeric array: no arrays of complexity 1");
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(HostNumericArray, BigColumnsAreNotTouched) {
    const auto residentPages = [] {
        std::ifstream statm("/proc/self/statm");
        long total = 0;
        long resident = 0;
        statm >> total >> resident;
        return resident;
    };
    const long before = residentPages();
    const Array array = make({1UL << 27, 1}, qxDOUBLE_CLASS); // 1 GiB
    EXPECT_LT(residentPages() - before, 1000);
}
#endif

std::unique_ptr<Tarvel::String::String> makeStrings(const Dimensions& dims) {
    return Tarvel::String::make_String(dims.size(), dims.data());
}

TEST(HostStringArray, ElementsAreTextOrMissing) {
    const auto strings = makeStrings({3, 2});
    const std::u16string withNul(u"a\0b", 3);
    strings->set(0, u"");
    strings->set(4, withNul);
    strings->set(5, u"replaced");
    strings->set(5, u"text");
    strings->set(1, u"cleared");
    strings->clear(1);
    EXPECT_EQ(strings->get(0), u"");
    EXPECT_EQ(strings->get(4), withNul);
    for (const std::size_t missing : {1U, 2U, 3U}) {
        EXPECT_EQ(strings->get(missing), std::nullopt);
    }
    EXPECT_THROW(strings->get(6), std::out_of_range);
    EXPECT_THROW(strings->set(6, u"x"), std::out_of_range);
    EXPECT_THROW(strings->clear(~std::size_t{0}), std::out_of_range);
    EXPECT_EQ(strings->get(5), u"text");
}

TEST(HostStringArray, TextsAreReplacedTimeAndAgain) {
    constexpr std::size_t count = 40;
    const auto strings = makeStrings({count});
    std::vector<std::optional<std::u16string>> model(count);
    std::mt19937_64 engine(1);
    for (int n = 0; n < 3000; ++n) {
        const std::size_t i = engine() % count;
        const std::size_t other = engine() % count;
        if (engine() % 8 == 0) {
            strings->clear(i);
            model[i].reset();
        } else if (engine() % 4 == 0 && model[other]) { // a part of the array itself
            strings->set(i, strings->get(other)->substr(model[other]->size() / 3));
            model[i] = model[other]->substr(model[other]->size() / 3);
        } else {
            model[i] = std::u16string(engine() % 400, static_cast<char16_t>(u'a' + n % 26));
            strings->set(i, *model[i]);
        }
        for (std::size_t k = 0; k < count; ++k) {
            ASSERT_EQ(strings->get(k), model[k]) << n << ' ' << k;
        }
    }
}

TEST(HostStringArray, Shapes) {
    for (const auto& [dims, count] : shapes) {
        const auto strings = makeStrings(dims);
        EXPECT_EQ(strings->dims(), dims);
        EXPECT_EQ(strings->size(), count);
    }
    EXPECT_THROW(makeStrings({1UL << 32, 1UL << 32}), std::length_error);
    EXPECT_THROW(makeStrings({1UL << 62}), std::length_error);
}

using foundation::core::except::BaseMsgID;
using foundation::core::except::IMsgIDException;
using MessageException = foundation::core::except::Exception<BaseMsgID, std::exception, void>;

TEST(HostException, NamesIdentifierAndArgumentsAndOutlivesTheOriginal) {
    const std::vector<std::pair<BaseMsgID, std::string>> cases{
        {{{}, "OSTRA:string", "MissingNotSupported"}, "OSTRA:string:MissingNotSupported"},
        {{{std::string("/a~2")}, "A:b", "C"}, "A:b:C: /a~2"},
        {{{-7L, std::u16string(u"größer"), std::string()}, "A", "B"}, "A:B: -7, größer, "},
        {{{}, "", ""}, ":"}};
    for (const auto& [message, text] : cases) {
        auto original = std::make_unique<MessageException>(message);
        const std::unique_ptr<const MessageException> clone(original->clone());
        int seen = 0;
        try {
            original->rethrow();
        } catch (const MessageException& rethrown) {
            original.reset();
            for (const MessageException& error : {std::cref(rethrown), std::cref(*clone)}) {
                EXPECT_EQ(error.what(), text);
                EXPECT_EQ(error.GetID(), message.catalog + ":" + message.key);
                EXPECT_EQ(error.GetBaseMsgIDObj().arguments, message.arguments);
                ++seen;
            }
        }
        EXPECT_EQ(seen, 2);
    }
}

/// Thrown in one shared library, described in another, caught here.
template <class Caught>
bool isCaughtAs() {
    auto reader = ostra::io::json::tree::LevelReader::MakeStringReader(u"{}", {});
    try {
        reader.cdSelector(std::string("no slash"));
    } catch (const Caught&) {
        return true;
    } catch (...) {
    }
    return false;
}

TEST(HostException, CrossesLibraries) {
    using Pointer = OSTRA::io::json::common::InvalidJSONPointer;
    EXPECT_TRUE(isCaughtAs<IMsgIDException>());
    EXPECT_TRUE(isCaughtAs<std::exception>());
    EXPECT_TRUE(isCaughtAs<boost::exception>());
    EXPECT_TRUE((isCaughtAs<foundation::core::except::Exception<Pointer, std::exception, void>>()));
    EXPECT_FALSE(isCaughtAs<MessageException>());
}

} // namespace
