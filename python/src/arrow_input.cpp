#include "arrow_input.hpp"

#include "errors.hpp"
#include "gil.hpp"

namespace ostrajson {

namespace {

/// Moves a structure out of its capsule.
template <class Structure>
Structure take(nb::handle capsule) {
    auto* const held =
        static_cast<Structure*>(PyCapsule_GetPointer(capsule.ptr(), arrowCapsule<Structure>));
    if (held == nullptr) {
        PyErr_Clear();
        raiseType("values", arrowCapsule<Structure>, capsule);
    }
    Structure taken = *held;
    held->release = nullptr;
    if (taken.release == nullptr) {
        raiseValue("values", "an Arrow capsule that was used before");
    }
    return taken;
}

/// Released at the end, whatever happens.
template <class Structure>
struct Scoped {
    explicit Scoped(Structure given) : structure(given) {}
    ~Scoped() { release(structure); }
    Scoped(const Scoped&) = delete;
    Scoped& operator=(const Scoped&) = delete;

    Structure structure;
};

} // namespace

ArrowInput::ArrowInput(nb::handle object) {
    try {
        if (nb::hasattr(object, "__arrow_c_stream__")) {
            readStream(object.attr("__arrow_c_stream__")());
            return;
        }
        const nb::object pair = object.attr("__arrow_c_array__")();
        if (!PyTuple_Check(pair.ptr()) || PyTuple_GET_SIZE(pair.ptr()) != 2) {
            raiseType("values", "two capsules", pair);
        }
        schema_ = take<ArrowSchema>(PyTuple_GET_ITEM(pair.ptr(), 0));
        chunks_.reserve(1);
        chunks_.push_back(take<ArrowArray>(PyTuple_GET_ITEM(pair.ptr(), 1)));
    } catch (...) {
        releaseAll();
        throw;
    }
}

ArrowInput::~ArrowInput() {
    releaseAll();
}

void ArrowInput::releaseAll() {
    for (ArrowArray& chunk : chunks_) {
        release(chunk);
    }
    chunks_.clear();
    release(schema_);
}

void ArrowInput::readStream(nb::handle capsule) {
    Scoped<ArrowArrayStream> scoped(take<ArrowArrayStream>(capsule));
    ArrowArrayStream& stream = scoped.structure;
    const auto check = [&stream](int status) {
        if (status != 0) {
            const char* const reason = stream.get_last_error(&stream);
            raiseValue("values", reason != nullptr ? reason : "an Arrow stream that fails");
        }
    };
    check(stream.get_schema(&stream, &schema_));
    for (;;) {
        chunks_.push_back({}); // before there is anything to be lost
        ArrowArray& chunk = chunks_.back();
        int status = 0;
        { // a producer may compute, or call Python on another thread
            const GilReleased released;
            status = stream.get_next(&stream, &chunk);
        }
        check(status);
        if (chunk.release == nullptr) {
            chunks_.pop_back();
            return;
        }
    }
}

} // namespace ostrajson
