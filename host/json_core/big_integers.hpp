#pragma once

#include <cstdint>

namespace ostra::io::json::core {

/// What becomes of integers beyond 64 bits.
enum class BigIntegerRule : std::uint8_t {
    Round,        // to the nearest double, as any other number
    RoundAndMark, // so that `base::RawValue::isBigInteger` tells
    Refuse,
};

} // namespace ostra::io::json::core
