#include "document/array_growth.hpp"

#include "document/pool_pieces.hpp"

#include <stdexcept>

namespace ostra::io::json::tree {

void growArray(rapidjson::Value& array, rapidjson::SizeType count, Pool& pool) {
    if (array.Capacity() < count) {
        std::size_t bytes = 0;
        if (__builtin_mul_overflow(count, sizeof(rapidjson::Value), &bytes)) {
            throw std::length_error("more children than memory can hold");
        }
        const PoolPieces pieces(pool, {bytes});
        Pool piece = pieces.piece(0);
        array.Reserve(count, piece);
    }
    while (array.Size() < count) {
        array.PushBack(rapidjson::Value(), pool); // within the capacity: takes no memory
    }
}

} // namespace ostra::io::json::tree
