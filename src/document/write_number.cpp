#include "document/write_number.hpp"

#include "document/decimal_digits.hpp"
#include "document/shortest_decimal.hpp"
#include "document/text_buffer.hpp"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ostra::io::json::tree {

namespace {

constexpr std::uint64_t tenTo8 = 100'000'000;
constexpr std::uint64_t tenTo16 = tenTo8 * tenTo8;

/// The powers of ten that fit.
constexpr auto powers = [] {
    std::array<std::uint64_t, 20> result{1};
    for (std::size_t i = 1; i < result.size(); ++i) {
        result[i] = 10 * result[i - 1];
    }
    return result;
}();

/// How many digits an integer of at least 10^8 has.
int digitCount(std::uint64_t value) {
    const auto atLeast = static_cast<int>(std::bit_width(value) * 1233 >>
                                          12U); // or one more; 1233 / 4096 is log10(2)
    return atLeast + (value >= powers[static_cast<unsigned>(atLeast)] ? 1 : 0);
}

/// Writes an integer of at least 10^8.
///
/// Digits are counted beforehand: where the text goes on is then known to the processor long before
/// they are.
/// @param at  with room for `smallPiece` bytes.
char* putLarge(char* at, std::uint64_t value) {
    const int count = digitCount(value);
    char* const end = at + count;
    if (value < tenTo16) {
        const __m128i text = textOf(sixteenDigits(value / tenTo8, value % tenTo8));
        const auto first = static_cast<std::uint64_t>(_mm_cvtsi128_si64(text));
        const int zeros = (16 - count) & 7; // 7 at most: there are more than eight digits
        store(at, first >> 8 * zeros);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(end - 8), _mm_unpackhi_epi64(text, text));
    } else {
        const std::uint64_t above = value / tenTo16;
        const std::uint64_t below = value % tenTo16;
        store(at, textOf(fourDigits(static_cast<std::uint32_t>(above))) >> 8 * (20 - count));
        store(end - 16, textOf(sixteenDigits(below / tenTo8, below % tenTo8)));
    }
    return end;
}

/// Writes an integer, without zeros in front. Of short ones, they are counted among the digits: how
/// many there are is hard to predict, and counting beforehand takes longer.
/// @param at  with room for `smallPiece` bytes.
char* putInteger(char* at, std::uint64_t value) {
    if (value < 10'000) {
        const std::uint32_t digits = fourDigits(static_cast<std::uint32_t>(value));
        constexpr std::uint32_t last = std::uint32_t{1} << 24U; // stays if all are 0
        const int zeros = std::countr_zero(digits | last) / 8;
        store(at, textOf(digits) >> 8 * zeros);
        return at + 4 - zeros;
    }
    if (value < tenTo8) {
        const std::uint64_t digits = eightDigits(value);
        constexpr std::uint64_t last = std::uint64_t{1} << 56U;
        const int zeros = std::countr_zero(digits | last) / 8;
        store(at, textOf(digits) >> 8 * zeros);
        return at + 8 - zeros;
    }
    return putLarge(at, value);
}

/// The digits of a `Decimal` as characters.
class DecimalText {
public:
    explicit DecimalText(const Decimal& decimal) : last_(static_cast<char>('0' + decimal.last)) {
        // Not by halves if the second is 0: whether it is can be hard to predict, and costs more
        // than it saves even in files of six digits each.
        const __m128i digits = sixteenDigits(decimal.sixteen / tenTo8, decimal.sixteen % tenTo8);
        sixteen_ = textOf(digits);
        const auto zeros =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(digits, _mm_setzero_si128())));
        const unsigned others = (zeros ^ 0xFFFFU) | ((decimal.last + 15U) & 0x10U) << 12U;
        count_ = (std::countl_zero(others) ^ 31) + 1;
    }

    /// How many digits there are without the zeros at the end, at least 1.
    int count() const { return count_; }

    /// Stores all 17 digits.
    void storeAll(char* at) const {
        store(at, sixteen_);
        at[16] = last_;
    }

    /// Stores all digits with a point behind the first `point` of them, 1 to 16.
    void storeAround(char* at, int point) const {
        constexpr int atOnce = 7;
        storeAll(at + 1);
        if (point <= atOnce) {
            // The digits behind the point stand where they belong; those in front of it are put in
            // by a mask. To store all and then move some takes longer: what has just been stored
            // cannot be loaded in other pieces soon.
            const auto first = static_cast<std::uint64_t>(_mm_cvtsi128_si64(sixteen_));
            const std::uint64_t behind = ~std::uint64_t{0} << 8 * point;
            store(at, first ^ ((first ^ first << 8U) & behind));
        } else {
            char digits[17];
            storeAll(digits);
            std::memcpy(at, digits, static_cast<unsigned>(point));
        }
        at[point] = '.';
    }

private:
    __m128i sixteen_;
    int count_;
    char last_;
};

char* putExponent(char* at, int exponent) {
    *at++ = 'e';
    if (exponent < 0) {
        *at++ = '-';
        exponent = -exponent;
    }
    return putInteger(at, static_cast<unsigned>(exponent));
}

char* putFinite(char* at, double value) {
    constexpr int longestInteger = 21; // digits written before an exponent is used
    constexpr int mostLeadingZeros = 5;
    *at = '-';
    at += std::signbit(value) ? 1 : 0;
    value = std::fabs(value);
    if (value == 0) {
        return putWord(at, "0.0");
    }
    const Decimal decimal = shortestDecimal(value);
    const DecimalText text(decimal);
    const int count = text.count();
    const int point = decimal.exponent + 1; // digits in front of it; negative: zeros behind it
    if (0 < point && point < count) {       // 12.3
        text.storeAround(at, point);
        return at + count + 1;
    }
    if (-mostLeadingZeros <= point && point <= 0) { // 0.00123
        putWord(at, "0.000000");
        text.storeAll(at + 2 - point);
        return at + 2 - point + count;
    }
    if (0 < point && point <= longestInteger) { // 12300.0
        text.storeAll(at);
        putWord(at + 17, "0000");
        return putWord(at + point, ".0");
    }
    text.storeAround(at, 1); // 1e30, 1.23e30
    return putExponent(at + (count > 1 ? count + 1 : 1), decimal.exponent);
}

} // namespace

char* putNumber(char* at, const rapidjson::Value& number, bool allowNaNInf) {
    // The order matters: the number 0 of a fresh value carries every flag and is a double.
    if (number.IsDouble()) {
        return putDouble(at, number.GetDouble(), allowNaNInf);
    }
    if (number.IsUint64()) {
        return putInteger(at, number.GetUint64());
    }
    *at = '-';
    return putInteger(at + 1, -static_cast<std::uint64_t>(number.GetInt64()));
}

char* putDouble(char* at, double value, bool allowNaNInf) {
    if (std::isfinite(value)) {
        return putFinite(at, value);
    }
    if (!allowNaNInf) {
        return putWord(at, "null");
    }
    if (std::isnan(value)) {
        return putWord(at, "NaN");
    }
    return value > 0 ? putWord(at, "Infinity") : putWord(at, "-Infinity");
}

} // namespace ostra::io::json::tree
