#include "columns/number_marks.hpp"

#include <cstring>

namespace ostra::io::json::columns {

void toDoubles(const std::byte* from, Held held, std::size_t count, std::byte* to) {
    for (std::size_t i = 0; i < count; ++i) {
        std::int64_t integer = 0;
        std::memcpy(&integer, from + 8 * i, 8);
        const double number = held == Held::Signed
                                  ? static_cast<double>(integer)
                                  : static_cast<double>(static_cast<std::uint64_t>(integer));
        std::memcpy(to + 8 * i, &number, 8);
    }
}

} // namespace ostra::io::json::columns
