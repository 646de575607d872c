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
        store(at, first >> 8 * (16 - count));
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
        constexpr std::uint32_t lastDigit = std::uint32_t{1} << 24U; // stays where all are 0
        const int zeros = std::countr_zero(digits | lastDigit) / 8;
        store(at, textOf(digits) >> 8 * zeros);
        return at + 4 - zeros;
    }
    if (value < tenTo8) {
        const std::uint64_t digits = eightDigits(value);
        const int zeros = std::countr_zero(digits) / 8;
        store(at, textOf(digits) >> 8 * zeros);
        return at + 8 - zeros;
    }
    return putLarge(at, value);
}

/// The text of a `Decimal`.
class DecimalText {
public:
    explicit DecimalText(std::uint64_t digits) {
        const std::uint64_t firstNine = digits / tenTo8;
        const std::uint64_t first = firstNine / tenTo8;
        const __m128i sixteen = sixteenDigits(firstNine - first * tenTo8, digits % tenTo8);
        first_ = static_cast<char>('0' + first);
        others_ = textOf(sixteen);
        const auto zeros =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(sixteen, _mm_setzero_si128())));
        count_ = std::bit_width((zeros ^ 0xFFFFU) << 1U | 1U);
    }

    /// How many digits there are without the zeros at the end, at least 1.
    int count() const { return count_; }
    char first() const { return first_; }

    /// Stores all 17 digits.
    void storeAll(char* at) const {
        *at = first_;
        storeOthers(at + 1);
    }
    /// Stores the 16 digits behind the first.
    void storeOthers(char* at) const { store(at, others_); }

    /// The first eight digits.
    std::uint64_t firstEight() const {
        return static_cast<std::uint64_t>(_mm_cvtsi128_si64(others_)) << 8U |
               static_cast<unsigned char>(first_);
    }

private:
    __m128i others_;
    int count_;
    char first_;
};

/// Stores digits with the point behind the first `point` of them, 1 to 16.
void storeAroundPoint(char* at, const DecimalText& text, int point) {
    constexpr int atOnce = 7;
    if (point <= atOnce) {
        // The digits behind the point already stand where they belong if all are stored a place
        // further; those in front of it are put in by a mask. Storing and moving them takes longer:
        // bytes cannot be loaded soon after having been stored in other pieces.
        text.storeOthers(at + 2);
        const std::uint64_t here = text.firstEight();
        const std::uint64_t behind = ~std::uint64_t{0} << 8 * point;
        store(at, here ^ ((here ^ here << 8U) & behind));
    } else {
        char digits[17];
        text.storeAll(digits);
        text.storeAll(at);
        std::memcpy(at + point + 1, digits + point, sizeof digits - static_cast<unsigned>(point));
    }
    at[point] = '.';
}

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
    const DecimalText text(decimal.digits);
    const int point = decimal.exponent + 1;  // digits in front of it; negative: zeros behind it
    if (0 < point && point < text.count()) { // 12.3
        storeAroundPoint(at, text, point);
        return at + text.count() + 1;
    }
    if (-mostLeadingZeros <= point && point <= 0) { // 0.00123
        std::memcpy(at, "0.000000", 8);
        text.storeAll(at + 2 - point);
        return at + 2 - point + text.count();
    }
    if (0 < point && point <= longestInteger) { // 12300.0
        text.storeAll(at);
        std::memcpy(at + 17, "0000", 4);
        return putWord(at + point, ".0");
    }
    *at++ = text.first(); // 1e30, 1.23e30
    if (text.count() > 1) {
        *at = '.';
        text.storeOthers(at + 1);
        at += text.count();
    }
    return putExponent(at, decimal.exponent);
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
