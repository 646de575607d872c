#include "document/array_growth.hpp"

#include "document/pool_pieces.hpp"

#include <algorithm>
#include <stdexcept>

namespace ostra::io::json::tree {

void growArray(rapidjson::Value& array, rapidjson::SizeType count, Pool& pool) {
    const rapidjson::SizeType capacity = array.Capacity();
    if (capacity < count) {
        const rapidjson::SizeType room = std::max(count, capacity + (capacity + 1) / 2);
        std::size_t bytes = 0;
        if (__builtin_mul_overflow(room, sizeof(rapidjson::Value), &bytes)) {
            throw std::length_error("more children than memory can hold");
        }
        const PoolPieces pieces(pool, {bytes});
        Pool piece = pieces.piece(0);
        array.Reserve(room, piece);
    }
    while (array.Size() < count) {
        array.PushBack(rapidjson::Value(), pool); // within the capacity: takes no memory
    }
}

} // namespace ostra::io::json::tree
