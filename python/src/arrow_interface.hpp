#pragma once

/// The three structures of Arrow's C data and C stream interfaces, whose layout never changes
/// (https://arrow.apache.org/docs/format/CDataInterface.html,
/// https://arrow.apache.org/docs/format/CStreamInterface.html). What holds for all of them: a null
/// `release` marks one that was released or moved; whoever has it last calls `release`, once.

#include <cstdint>

namespace ostrajson {

extern "C" {

struct ArrowSchema {
    const char* format;
    const char* name;
    const char* metadata;
    std::int64_t flags;
    std::int64_t n_children;
    ArrowSchema** children;
    ArrowSchema* dictionary;
    void (*release)(ArrowSchema*);
    void* private_data;
};

struct ArrowArray {
    std::int64_t length;
    std::int64_t null_count;
    std::int64_t offset;
    std::int64_t n_buffers;
    std::int64_t n_children;
    const void** buffers;
    ArrowArray** children;
    ArrowArray* dictionary;
    void (*release)(ArrowArray*);
    void* private_data;
};

struct ArrowArrayStream {
    int (*get_schema)(ArrowArrayStream*, ArrowSchema* out);
    int (*get_next)(ArrowArrayStream*, ArrowArray* out);
    const char* (*get_last_error)(ArrowArrayStream*);
    void (*release)(ArrowArrayStream*);
    void* private_data;
};

} // extern "C"

/// Of `ArrowSchema::flags`.
inline constexpr std::int64_t arrowNullable = 2;

/// Names of the capsules that carry them, by the structure
/// (https://arrow.apache.org/docs/format/CDataInterface/PyCapsuleInterface.html).
template <class Structure>
inline constexpr const char* arrowCapsule = "arrow_array_stream";
template <>
inline constexpr const char* arrowCapsule<ArrowSchema> = "arrow_schema";
template <>
inline constexpr const char* arrowCapsule<ArrowArray> = "arrow_array";

/// Releases a structure unless that is done.
template <class Structure>
void release(Structure& structure) {
    if (structure.release != nullptr) {
        structure.release(&structure);
    }
}

} // namespace ostrajson
